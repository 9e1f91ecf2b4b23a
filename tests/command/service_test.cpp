// What the service decides without a network: when frames change, which picture comes, who may ask
// for what, and what of it is sent.
#include "service/album.h"
#include "service/digest.h"
#include "service/frame_store.h"
#include "service/kept_bytes.h"
#include "service/picture_order.h"
#include "service/response.h"
#include "service/schedule.h"

#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>

using namespace oxel::tools;
namespace fs = std::filesystem;

namespace {

Moment utc(int year, int month, int day, int hour, int minute = 0) {
    std::tm parts{};
    parts.tm_year = year - 1900;
    parts.tm_mon = month - 1;
    parts.tm_mday = day;
    parts.tm_hour = hour;
    parts.tm_min = minute;
    return timegm(&parts);
}

ScheduleRules times(std::vector<int> minutes) {
    for (int &time : minutes)
        time *= 60;
    return {0, minutes, {}, "Europe/Berlin"};
}

ScheduleRules every(int hours) {
    return {hours * 3600, {}, {}, "Europe/Berlin"};
}

/// A folder of its own for a test, with files of these names.
class Files {
  public:
    explicit Files(const std::vector<std::string> &names) {
        std::string pattern = (fs::temp_directory_path() / "oxel-XXXXXX").string();
        folder_ = mkdtemp(pattern.data());
        for (const std::string &name : names) {
            fs::create_directories((folder_ / name).parent_path());
            std::ofstream(folder_ / name) << name;
        }
    }
    Files(const Files &) = delete;
    Files &operator=(const Files &) = delete;
    ~Files() { fs::remove_all(folder_); }
    fs::path operator/(const std::string &name) const { return folder_ / name; }

  private:
    fs::path folder_;
};

} // namespace

TEST(Schedule, KnowsWhenTheClocksJump) {
    ScheduleRules quiet = every(6);
    quiet.quiet = {22 * 3600, 6 * 3600 + 1800};
    ScheduleRules dublin = times({90});
    dublin.zone = "Europe/Dublin";
    const struct {
        ScheduleRules rules;
        Moment now, begin, end;
    } table[] = {
        // Half past two is not there on the 29th of March: what was to come then comes at three.
        {times({150}), utc(2026, 3, 29, 0), utc(2026, 3, 28, 1, 30), utc(2026, 3, 29, 1)},
        {times({150}), utc(2026, 3, 29, 1), utc(2026, 3, 29, 1), utc(2026, 3, 30, 0, 30)},
        {times({130, 160}), utc(2026, 3, 29, 0), utc(2026, 3, 28, 1, 40), utc(2026, 3, 29, 1)},
        // On the 25th of October it is there twice: it comes the first time.
        {times({150}), utc(2026, 10, 25, 0), utc(2026, 10, 24, 0, 30), utc(2026, 10, 25, 0, 30)},
        {times({150}), utc(2026, 10, 25, 0, 30), utc(2026, 10, 25, 0, 30),
         utc(2026, 10, 26, 1, 30)},
        // Intervals, too, are the clocks': six is in the quiet hours when it comes five hours after
        // midnight, and no day of 25 hours has a change more.
        {quiet, utc(2026, 3, 28, 5), utc(2026, 3, 27, 17), utc(2026, 3, 28, 11)},
        {quiet, utc(2026, 3, 29, 4), utc(2026, 3, 28, 17), utc(2026, 3, 29, 10)},
        {every(24), utc(2026, 10, 25, 22, 30), utc(2026, 10, 24, 22), utc(2026, 10, 25, 23)},
        {every(12), utc(2026, 10, 25, 10, 30), utc(2026, 10, 24, 22), utc(2026, 10, 25, 11)},
        // Winter time is the odd one in Dublin's rules.
        {dublin, utc(2026, 10, 25, 0), utc(2026, 10, 24, 0, 30), utc(2026, 10, 25, 0, 30)},
        {every(1), utc(2026, 7, 1, 9, 59), utc(2026, 7, 1, 9), utc(2026, 7, 1, 10)},
    };
    for (const auto &row : table) {
        const Slot slot = Schedule(row.rules).slot_at(row.now);
        EXPECT_EQ(slot.begin, row.begin) << row.now;
        EXPECT_EQ(slot.end, row.end) << row.now;
    }
    const auto slots = [](const ScheduleRules &rules, Moment from, Moment to) {
        const Schedule schedule(rules);
        return schedule.slot_at(to).number - schedule.slot_at(from).number;
    };
    // From noon to noon by the clock.
    EXPECT_EQ(slots(every(1), utc(2026, 3, 28, 11), utc(2026, 3, 29, 10)), 23);
    EXPECT_EQ(slots(every(1), utc(2026, 10, 24, 10), utc(2026, 10, 25, 11)), 25);
    EXPECT_EQ(slots(times({130, 160}), utc(2026, 3, 28, 11), utc(2026, 3, 29, 10)), 1);
    EXPECT_EQ(slots(times({130, 160}), utc(2026, 3, 29, 10), utc(2026, 3, 30, 10)), 2);
}

TEST(Schedule, LeavesNoSlotOutAndCountsNoneTwice) {
    ScheduleRules odd{7000, {}, std::pair(23 * 3600, 5 * 3600), "Australia/Lord_Howe"};
    for (const ScheduleRules &rules : {odd, every(5), times({0, 125, 150, 1439})}) {
        const Schedule schedule(rules);
        Slot slot = schedule.slot_at(utc(2020, 1, 1, 0));
        EXPECT_EQ(slot.number, 0);
        while (slot.begin < utc(2027, 1, 1, 0)) {
            const Slot next = schedule.slot_at(slot.end);
            ASSERT_EQ(next.number, slot.number + 1);
            ASSERT_EQ(next.begin, slot.end);
            ASSERT_EQ(schedule.slot_at(next.end - 1).number, next.number);
            slot = next;
        }
    }
    EXPECT_THROW(Schedule({86400, {}, std::pair(82800, 3600), "UTC"}), std::runtime_error);
    EXPECT_THROW(Schedule({3600, {}, {}, "Europe/Atlantis"}), std::runtime_error);
}

TEST(PictureOrder, ShowsEachPictureOnceACycle) {
    for (const std::size_t count : {1U, 2U, 3U, 5U, 40U}) {
        std::set<std::vector<std::size_t>> orders;
        for (std::int64_t cycle = -3; cycle < 60; ++cycle) {
            std::vector<std::size_t> order;
            for (std::int64_t i = 0; i < static_cast<std::int64_t>(count); ++i) {
                const std::int64_t step = cycle * static_cast<std::int64_t>(count) + i;
                order.push_back(shuffled_place(7, "kitchen", step, count));
                if (count > 1) {
                    EXPECT_NE(order.back(), shuffled_place(7, "kitchen", step - 1, count));
                }
            }
            EXPECT_EQ(std::set(order.begin(), order.end()).size(), count);
            orders.insert(order);
        }
        if (count > 3) {
            EXPECT_GT(orders.size(), 30U) << count;
        }
    }
    const auto orders_of = [](std::uint64_t seed, const std::string &device) {
        std::vector<std::size_t> order;
        for (std::int64_t step = 0; step < 40; ++step)
            order.push_back(shuffled_place(seed, device, step, 40));
        return order;
    };
    EXPECT_NE(orders_of(1, "a"), orders_of(2, "a"));
    EXPECT_NE(orders_of(1, "a"), orders_of(1, "b"));
}

TEST(Response, SendsWhatWasAskedFor) {
    const struct {
        const char *if_none_match, *range, *if_range;
        int status;
        std::uint64_t first, length;
    } table[] = {
        {"", "", "", 200, 0, 100},
        {"\"tag\"", "", "", 304, 0, 0},
        {"\"other\", W/\"tag\"", "", "", 304, 0, 0},
        {"*", "", "", 304, 0, 0},
        {"\"other\"", "", "", 200, 0, 100},
        {"tag", "", "", 200, 0, 100},
        {"\"tag\"", "bytes=0-9", "", 304, 0, 0},
        {"", "bytes=0-9", "", 206, 0, 10},
        {"", "bytes=90-", "", 206, 90, 10},
        {"", "bytes=90-1000", "", 206, 90, 10},
        {"", "bytes=-10", "", 206, 90, 10},
        {"", "bytes=-1000", "", 206, 0, 100},
        {"", "bytes=99-99", "", 206, 99, 1},
        {"", "bytes=99-99999999999999999999999", "", 206, 99, 1},
        {"", "bytes=100-", "", 416, 100, 0},
        {"", "bytes=-0", "", 416, 0, 0},
        {"", "bytes=9-0", "", 200, 0, 100},
        {"", "bytes=0-1,5-6", "", 200, 0, 100},
        {"", "Bytes=0-9", "", 206, 0, 10},
        {"", "bytes=-", "", 200, 0, 100},
        {"", "bytes=+1-2", "", 200, 0, 100},
        {"", "lines=0-9", "", 200, 0, 100},
        {"", "bytes=0-9", "\"tag\"", 206, 0, 10},
        {"", "bytes=0-9", "\"other\"", 200, 0, 100},
    };
    for (const auto &row : table) {
        Request request;
        request.method = "GET";
        request.if_none_match = row.if_none_match;
        request.range = row.range;
        request.if_range = row.if_range;
        Response response;
        response.text.assign(100, 'x');
        response.etag = "\"tag\"";
        apply_conditions(request, response);
        EXPECT_EQ(response.status, row.status) << row.if_none_match << row.range;
        EXPECT_EQ(response.length, row.length) << row.if_none_match << row.range;
        if (response.status == 206) {
            EXPECT_EQ(response.first, row.first) << row.range;
        }
    }
    Request head;
    head.method = "HEAD";
    head.range = "bytes=0-9";
    Response whole;
    whole.text.assign(100, 'x');
    whole.etag = "\"tag\"";
    apply_conditions(head, whole);
    EXPECT_EQ(whole.status, 200);
    EXPECT_EQ(whole.length, 100U);
    for (const char *yes :
         {"gzip", "GZIP;Q=1", "br, gzip", "*", "gzip;q=0.5", "deflate;q=0, gzip ; q=1"})
        EXPECT_TRUE(accepts_gzip(yes)) << yes;
    for (const char *no :
         {"", "br", "gzip;q=0", "Gzip;Q=0", "gzip;q=0.0", "*;q=0", "*, gzip;q=0", "gzipped"})
        EXPECT_FALSE(accepts_gzip(no)) << no;
}

TEST(Request, NamesNothingOutsideTheAlbums) {
    for (const char *target : {"",
                               "albums/a",
                               "http://here/albums/../a",
                               "/albums//a",
                               "/albums/../a",
                               "/albums/%2e%2e/a",
                               "/albums/.%2E/a",
                               "/albums/%2e/a",
                               "/albums/a%2fb",
                               "/albums/a%5Cb",
                               "/albums/a\\b",
                               "/albums/a%00.jpg",
                               "/albums/a%0a",
                               "/albums/%",
                               "/albums/%4",
                               "/albums/%zz",
                               "/albums/%c0%ae%c0%ae/a",
                               "/albums/%ff",
                               "/albums/%ed%a0%80",
                               "//albums",
                               "/a?b=%f"})
        EXPECT_FALSE(parse_target(target)) << target;
    EXPECT_EQ(parse_target("http://here/albums/a")->path, parse_target("/albums/a")->path);
    const auto target = parse_target("/albums/a%20b/%C3%BC%25.jpg?device=k%26&thumbnail&x=1=2");
    ASSERT_TRUE(target);
    EXPECT_EQ(target->path, (std::vector<std::string>{"albums", "a b", "\u00fc%.jpg"}));
    EXPECT_EQ(target->value("device"), "k&");
    EXPECT_EQ(target->value("x"), "1=2");
    EXPECT_TRUE(target->has("thumbnail"));
    EXPECT_TRUE(parse_target("/")->path.empty());

    const Files files({"album/a.jpg", "album/sub/b.jpg", "album/.hidden.jpg", "album/.git/c.jpg",
                       "album/notes.txt", "album/d.pdf", "outside/e.jpg",
                       "album/folder.jpg/f.png"});
    fs::create_symlink(files / "outside/e.jpg", files / "album/link.jpg");
    fs::create_directory_symlink(files / "outside", files / "album/way");
    fs::create_directory_symlink(files / "album/sub", files / "album/within");
    fs::create_hard_link(files / "album/a.jpg", files / "album/twin.JPG");
    mkfifo((files / "album/pipe.jpg").c_str(), 0600);
    Album album({(files / "album").string()});
    std::set<std::string> names;
    for (const AlbumPicture &picture : *album.listing())
        names.insert(picture.name);
    EXPECT_EQ(names, (std::set<std::string>{"a.jpg", "sub/b.jpg", "twin.JPG", "folder.jpg/f.png"}));
    for (const std::string &name : names)
        EXPECT_NO_THROW(album.open(name)) << name;
    for (const char *name : {"link.jpg", "way/e.jpg", "within/b.jpg", ".hidden.jpg", ".git/c.jpg",
                             "notes.txt", "d.pdf", "folder.jpg", "pipe.jpg", "../outside/e.jpg",
                             "sub/../../outside/e.jpg", "", "sub", "none.jpg", "/etc/passwd.jpg"})
        EXPECT_ANY_THROW(album.open(name)) << name;
}

TEST(Album, ComesAndGoesWithItsFolder) {
    const Files files({"album/a.png", "album/below/b.png"});
    Album album({files / "album"});
    EXPECT_EQ(album.listing()->size(), 2U);
    fs::rename(files / "album", files / "away");
    EXPECT_EQ(album.listing()->size(), 0U);
    EXPECT_THROW(album.open("a.png"), std::exception);
    fs::rename(files / "away", files / "album");
    EXPECT_EQ(album.listing()->size(), 2U);
}

TEST(Digest, ComparesSecretsAndKnowsTheStandardsSums) {
    for (const char *text : {"", "secret", "secret-secret"}) {
        EXPECT_TRUE(same_secret(text, text));
        EXPECT_FALSE(same_secret(text + std::string("x"), text));
        EXPECT_FALSE(same_secret(std::string(text) + std::string(1, '\0'), text));
    }
    EXPECT_FALSE(same_secret("Secret", "secret"));
    EXPECT_EQ(bearer("Bearer secret"), "secret");
    EXPECT_EQ(bearer("bearer secret"), "secret");
    for (const char *none : {"", "Bearer", "Basic secret", "secret", "Bearersecret"})
        EXPECT_EQ(bearer(none), "") << none;
    const std::string abc = "abc";
    Digest digest;
    digest.add(std::span(reinterpret_cast<const std::uint8_t *>(abc.data()), abc.size()));
    EXPECT_EQ(digest.hex(), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(FrameStore, RemovesWhatWasNotAskedForForLongest) {
    const Files files({"cache/old.oxel-part0"});
    const auto age = [&](const std::string &name, int seconds) {
        fs::last_write_time(files / ("cache/" + name),
                            fs::file_time_type::clock::now() - std::chrono::seconds(seconds));
    };
    age("old.oxel-part0", 7200);
    FrameStore store((files / "cache").string(), 1000);
    EXPECT_FALSE(fs::exists(files / "cache/old.oxel-part0"));
    const std::vector<std::uint8_t> bytes(400, 1);
    store.put("a", bytes);
    store.put("b", bytes);
    age("a", 3000);
    age("b", 2000);
    EXPECT_EQ(store.find("a")->bytes, 400U);
    EXPECT_EQ(store.put("c", bytes).bytes, 400U);
    EXPECT_TRUE(store.find("a"));
    EXPECT_FALSE(store.find("b"));
    EXPECT_TRUE(store.find("c"));
    EXPECT_EQ(store.bytes(), 800U);
}

TEST(KeptBytes, ForgetsWhatWasNotAskedForForLongest) {
    KeptBytes kept(12'000);
    const auto bytes = std::make_shared<const Bytes>(5000, std::uint8_t{7});
    kept.keep("a", bytes);
    kept.keep("b", bytes);
    EXPECT_EQ(kept.find("a"), bytes);
    kept.keep("c", bytes);
    kept.keep("c", bytes); // another thread was at it, too
    EXPECT_EQ(kept.find("a"), bytes);
    EXPECT_EQ(kept.find("b"), nullptr);
    EXPECT_EQ(kept.find("c"), bytes);
}
