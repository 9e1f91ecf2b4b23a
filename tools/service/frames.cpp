#include "service/frames.h"

#include "base/failure.h"
#include "frames/deflate.h"
#include "pictures/picture.h"
#include "pictures/picture_files.h"
#include "service/digest.h"
#include "service/fetch.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <fcntl.h>
#include <iostream>
#include <sys/stat.h>
#include <unistd.h>

namespace oxel::tools {

namespace {

/// What could not be done is tried again after so many seconds: perhaps there was no memory.
constexpr std::int64_t failure_seconds = 600;

/// After so many seconds a source that failed is asked again.
constexpr std::int64_t asking_seconds = 60;

constexpr std::size_t most_fetched = std::size_t{1} << 26;

/// How many steps back a picture is looked for that can be shown.
constexpr std::int64_t most_steps_back = 200;

/// Notes about so many files are kept.
constexpr std::size_t most_notes = 100'000;

constexpr int thumbnail_side = 320;

const char *suffix_of(FrameForm form) {
    return form == FrameForm::frame ? ".frame" : form == FrameForm::gzip ? ".frame.gz" : ".png";
}

/// Of a picture's own, and of files that the configuration names.
OpenPictureFile open_named(const std::string &path) {
    Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status{};
    if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        throw Failure(path, "no such picture");
    const std::int64_t changed =
        status.st_mtim.tv_sec * std::int64_t{1'000'000'000} + status.st_mtim.tv_nsec;
    return {std::move(file),
            std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) + ":" +
                std::to_string(status.st_size) + ":" + std::to_string(changed),
            changed};
}

OpenPictureFile picture_of(OpenFile stored, const std::string &identity) {
    return {std::move(stored.file), identity, 0};
}

std::string day_of_change(std::int64_t nanoseconds) {
    const time_t seconds = nanoseconds / 1'000'000'000;
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    std::string text(16, '\0');
    text.resize(std::strftime(text.data(), text.size(), "%Y-%m-%d", &parts));
    return text;
}

std::string stem_of(const std::string &name) {
    const std::string last = last_part(name);
    return last.substr(0, last.rfind('.'));
}

std::string first_line(const std::string &text) {
    std::string line = text.substr(0, text.find_first_of("\r\n"));
    line.erase(line.find_last_not_of(" \t") + 1);
    return line;
}

void tell(const std::string &text) {
    std::cerr << "oxel: " + printable(text) + "\n" << std::flush;
}

} // namespace

std::string Frames::digest_of(const OpenPictureFile &file) {
    {
        const std::lock_guard lock(mutex_);
        const auto known = digests_.find(file.identity);
        if (known != digests_.end())
            return known->second;
    }
    const std::string digest = digest_of_file(file.file.get());
    const std::lock_guard lock(mutex_);
    if (digests_.size() >= most_notes)
        digests_.clear();
    return digests_[file.identity] = digest;
}

std::string Frames::caption_of(const Device &device, const std::string &name,
                               const Descriptor &folder, const OpenPictureFile &file) {
    switch (device.configuration.caption) {
    case Caption::none:
        return "";
    case Caption::name:
        return stem_of(name);
    case Caption::text:
        return folder ? first_line(read_beside(folder, stem_of(name) + ".txt", 1000)) : "";
    case Caption::date:
        break;
    }
    {
        const std::lock_guard lock(mutex_);
        const auto known = days_.find(file.identity);
        if (known != days_.end())
            return known->second;
    }
    std::string day;
    try {
        day = picture_day(file.path(), device.configuration.settings.picture.limits);
    } catch (const Failure &) { // it will be told when the picture is to be shown
    }
    if (day.empty() && file.changed > 0)
        day = day_of_change(file.changed);
    const std::lock_guard lock(mutex_);
    if (days_.size() >= most_notes)
        days_.clear();
    return days_[file.identity] = day;
}

ShownPicture Frames::shown(const Device &device, const std::string &name) {
    OpenPictureFile file = device.album->open(name);
    const Descriptor folder = device.album->open_folder_of(name);
    const Crops crops = read_crops(folder, name);
    const auto crop = crops.find(device.configuration.id);
    std::string digest = digest_of(file);
    std::string caption = caption_of(device, name, folder, file);
    return {std::move(file), name, std::move(digest),
            crop == crops.end() ? std::nullopt : std::optional(crop->second), std::move(caption)};
}

bool Frames::is_portrait(const Album &album, const AlbumPicture &picture) {
    ImageSize size{1, 1};
    std::string identity;
    try {
        const OpenPictureFile file = album.open(picture.name);
        identity = file.identity;
        {
            const std::lock_guard lock(mutex_);
            const auto known = portraits_.find(identity);
            if (known != portraits_.end())
                return known->second;
        }
        size = picture_size(file.path(), {});
    } catch (const Failure &) { // it stands alone, and will be told when it is to be shown
    }
    const std::lock_guard lock(mutex_);
    if (portraits_.size() >= most_notes)
        portraits_.clear();
    return portraits_[identity] = size.height > size.width;
}

/// What is shown at a time, in the album's order: each portrait with the next one, if they are to
/// be pairs, in the place of the first.
std::optional<Frames::Units> Frames::units_of(const Device &device, Diligence diligence) {
    const std::shared_ptr<const AlbumListing> listing = device.album->listing();
    const bool pairs = device.configuration.pairs && device.size.width > device.size.height;
    const Order order = device.configuration.order == Order::newest ? Order::newest : Order::name;
    const std::pair key(device.album.get(), order);
    if (pairs) {
        const std::lock_guard lock(mutex_);
        const auto known = units_.find(key);
        if (known != units_.end() && known->second.first == listing)
            return known->second.second;
        if (diligence != Diligence::make)
            return std::nullopt;
    }
    std::vector<const AlbumPicture *> pictures;
    for (const AlbumPicture &picture : *listing)
        pictures.push_back(&picture);
    if (order == Order::newest)
        std::stable_sort(
            pictures.begin(), pictures.end(),
            [](const AlbumPicture *a, const AlbumPicture *b) { return a->changed > b->changed; });
    Units units;
    std::optional<std::size_t> open_pair;
    for (const AlbumPicture *picture : pictures) {
        const bool portrait = pairs && is_portrait(*device.album, *picture);
        if (portrait && open_pair) {
            units[*open_pair].push_back(picture->name);
            open_pair.reset();
            continue;
        }
        if (portrait)
            open_pair = units.size();
        units.push_back({picture->name});
    }
    if (pairs) {
        const std::lock_guard lock(mutex_);
        if (units_.size() > 1000)
            units_.clear();
        units_[key] = {listing, units};
    }
    return units;
}

/// Why it failed in the last seconds; nothing if it did not. Clocks may have been set back since.
std::optional<std::string> Frames::failure_of(const std::string &key, std::int64_t seconds) {
    const Moment now = clock_.now();
    const std::lock_guard lock(mutex_);
    const auto failed = failed_.find(key);
    if (failed == failed_.end() || now < failed->second.first ||
        now >= failed->second.first + seconds)
        return std::nullopt;
    return failed->second.second;
}

bool Frames::source_failed(const std::string &device) {
    const std::lock_guard lock(mutex_);
    return failing_.contains(device);
}

void Frames::note_failure(const std::string &key, const std::string &reason) {
    const Moment now = clock_.now();
    const std::lock_guard lock(mutex_);
    if (failed_.size() >= most_notes)
        failed_.clear();
    failed_[key] = {now, reason};
}

/// The right to make something, which one thread at a time has.
class Frames::Making {
  public:
    Making(Frames &frames, std::string name) : frames_(frames), name_(std::move(name)) {
        std::unique_lock lock(frames_.mutex_);
        frames_.made_.wait(lock, [&] { return frames_.under_way_.insert(name_).second; });
    }
    Making(const Making &) = delete;
    Making &operator=(const Making &) = delete;
    ~Making() {
        {
            const std::lock_guard lock(frames_.mutex_);
            frames_.under_way_.erase(name_);
        }
        frames_.made_.notify_all();
    }

  private:
    Frames &frames_;
    const std::string name_;
};

/// What was asked for in a slot is asked for once; as long as that fails, what came before is
/// shown.
std::optional<OpenPictureFile> Frames::fetched(const Device &device, std::int64_t slot,
                                               Diligence diligence) {
    const PictureSource &source = device.configuration.source;
    const auto name_of = [&](std::int64_t number) {
        Digest digest;
        digest.add(device.configuration.id);
        digest.add(source.address);
        for (const std::string &word : source.command)
            digest.add(word);
        digest.add(std::to_string(number));
        return digest.hex() + ".picture";
    };
    const std::string name = name_of(slot);
    if (auto stored = store_.find(name))
        return picture_of(std::move(*stored), name);
    if (!failure_of(name, asking_seconds)) {
        if (diligence == Diligence::look)
            return std::nullopt;
        const Making making(*this, name);
        if (auto stored = store_.find(name)) // another thread has asked meanwhile
            return picture_of(std::move(*stored), name);
        try {
            if (!failure_of(name, asking_seconds)) {
                const Bytes bytes = fetch_picture(device.configuration.id, source, most_fetched);
                {
                    const std::lock_guard lock(mutex_);
                    failing_.erase(device.configuration.id);
                }
                return picture_of(keep(name, bytes), name);
            }
        } catch (const Failure &failure) {
            ++metrics_.fetch_failures;
            tell(device.configuration.id + ": " + failure.what());
            note_failure(name, failure.reason());
            const std::lock_guard lock(mutex_);
            failing_.insert(device.configuration.id);
        }
    }
    for (std::int64_t back = 1; back < most_steps_back; ++back)
        if (auto stored = store_.find(name_of(slot - back)))
            return picture_of(std::move(*stored), name_of(slot - back));
    throw Failure(device.configuration.id, "its source gives no picture");
}

std::optional<Frames::Pictures> Frames::pictures_at(const Device &device, std::int64_t step,
                                                    std::int64_t slot, Diligence diligence) {
    const DeviceConfiguration &configuration = device.configuration;
    Pictures pictures;
    if (device.album) {
        const auto units = units_of(device, diligence);
        if (!units)
            return std::nullopt;
        if (units->empty())
            throw Failure(configuration.id, "its album holds no pictures");
        const std::size_t place =
            configuration.order == Order::shuffled
                ? shuffled_place(configuration.seed, configuration.id, step, units->size())
                : plain_place(step, units->size());
        for (const std::string &name : (*units)[place])
            pictures.push_back(shown(device, name));
        return pictures;
    }
    std::optional<OpenPictureFile> file;
    if (!configuration.source.picture.empty())
        file = open_named(configuration.source.picture);
    else if (file = fetched(device, slot, diligence); !file)
        return std::nullopt;
    const std::string name =
        configuration.source.picture.empty() ? configuration.id : configuration.source.picture;
    std::string digest = digest_of(*file);
    const Descriptor nowhere;
    std::string caption = caption_of(device, name, nowhere, *file);
    pictures.push_back(
        {std::move(*file), name, std::move(digest), std::nullopt, std::move(caption)});
    return pictures;
}

/// A cache that cannot be written says nothing against the picture, which a panel waits for.
OpenFile Frames::keep(const std::string &name, std::span<const std::uint8_t> bytes) {
    try {
        return store_.put(name, bytes);
    } catch (const Failure &failure) {
        tell(failure.what());
        return store_.hold(name, bytes);
    }
}

OpenFile Frames::make(const Device &device, const Pictures &pictures, const std::string &key,
                      FrameForm form) {
    const std::string name = key + suffix_of(form);
    if (form == FrameForm::gzip) {
        std::optional<OpenFile> frame = store_.find(key + suffix_of(FrameForm::frame));
        if (!frame)
            frame = make(device, pictures, key, FrameForm::frame);
        return keep(name, deflate_bytes(read_open_file(*frame), Wrapping::gzip));
    }
    const auto start = std::chrono::steady_clock::now();
    const Light picture = compose(device, pictures);
    OpenFile file = keep(name, form == FrameForm::frame ? device_frame(device, picture, turns_)
                                                        : device_preview(device, picture, turns_));
    ++metrics_.renders;
    metrics_.render_microseconds +=
        static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(
                                       std::chrono::steady_clock::now() - start)
                                       .count());
    return file;
}

std::optional<ShownFrame> Frames::find(const Device &device, const Pictures &pictures,
                                       FrameForm form, Diligence diligence) {
    const std::string key = frame_key(device, pictures);
    const std::string name = key + suffix_of(form);
    if (auto file = store_.find(name)) {
        ++metrics_.cache_hits;
        return ShownFrame{key, std::move(*file)};
    }
    const auto expect_no_failure = [&] {
        if (const auto reason = failure_of(key, failure_seconds))
            throw Failure(pictures.front().name, *reason);
    };
    expect_no_failure();
    if (diligence != Diligence::make)
        return std::nullopt;
    const Making making(*this, name);
    if (auto file = store_.find(name)) // another thread has made it meanwhile
        return ShownFrame{key, std::move(*file)};
    expect_no_failure();
    try {
        ++metrics_.cache_misses;
        return ShownFrame{key, make(device, pictures, key, form)};
    } catch (const Failure &failure) {
        note_failure(key, failure.reason());
        ++metrics_.render_failures;
        tell(failure.what());
        throw;
    }
}

std::optional<ShownFrame> Frames::at_step(const Device &device, std::int64_t step,
                                          std::int64_t slot, FrameForm form, Diligence diligence) {
    std::optional<Failure> last;
    for (std::int64_t back = 0; back < most_steps_back; ++back) {
        try {
            const auto pictures = pictures_at(device, step - back, slot - back, diligence);
            return pictures ? find(device, *pictures, form, diligence) : std::nullopt;
        } catch (const Failure &failure) {
            last = failure;
            if (!device.album)
                break;
        }
    }
    throw Failure(*last);
}

ShownFrame Frames::of_upload(const Device &device, OpenPictureFile file, FrameForm form) {
    std::string digest = digest_of_file(file.file.get());
    Pictures pictures;
    pictures.push_back({std::move(file), "the picture", std::move(digest), std::nullopt, ""});
    return *find(device, pictures, form, Diligence::make);
}

std::optional<ShownFrame> Frames::thumbnail(const Album &album, const std::string &name,
                                            Diligence diligence) {
    const OpenPictureFile file = album.open(name);
    Digest digest;
    digest.add("thumbnail");
    digest.add(digest_of(file));
    const std::string key = digest.hex();
    if (auto stored = store_.find(key + ".jpg"))
        return ShownFrame{key, std::move(*stored)};
    if (diligence != Diligence::make)
        return std::nullopt;
    try {
        const ImageSize own = picture_size(file.path(), {});
        const int longer = std::max({own.width, own.height, thumbnail_side});
        const auto scaled = [&](int side) {
            return std::max(1, static_cast<int>(std::int64_t{side} * thumbnail_side / longer));
        };
        const ImageSize size{scaled(own.width), scaled(own.height)};
        const Light light = load_picture(file.path(), size, {.fit = Fit::stretch});
        return ShownFrame{key, keep(key + ".jpg", encode_jpeg(name, bytes_of(light), size))};
    } catch (const Failure &failure) {
        throw Failure(name, failure.reason());
    }
}

} // namespace oxel::tools
