#include "service/configuration.h"

#include "base/failure.h"
#include "base/files.h"
#include "base/suggestion.h"

#include <toml++/toml.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <optional>
#include <set>

namespace oxel::tools {

namespace {

namespace fs = std::filesystem;

constexpr std::int64_t most_devices = 100'000;

/// A table of the file that knows its name, and which of its keys have been read.
class Section {
  public:
    Section(const std::string &file, const toml::table &table, std::string name)
        : file_(file), table_(table), name_(std::move(name)) {}

    [[noreturn]] void fail(const std::string &key, const std::string &reason) const {
        const toml::node *const node = table_.get(key);
        const auto line = (node ? node->source() : table_.source()).begin.line;
        const std::string path = name_.empty() || key.empty() ? name_ + key : name_ + "." + key;
        throw Failure(file_, printable((line > 0 ? "line " + std::to_string(line) + ": " : "") +
                                       (path.empty() ? "" : path + ": ") + reason));
    }

    bool has(const std::string &key) const { return table_.contains(key); }

    std::optional<std::string> text(const std::string &key) {
        return value<std::string>(key, "must be a string");
    }

    std::optional<bool> flag(const std::string &key) {
        return value<bool>(key, "must be true or false");
    }

    std::optional<std::int64_t> integer(const std::string &key, std::int64_t least,
                                        std::int64_t most) {
        const std::string reason =
            "must be an integer from " + std::to_string(least) + " to " + std::to_string(most);
        const auto number = value<std::int64_t>(key, reason);
        if (number && (*number < least || *number > most))
            fail(key, reason);
        return number;
    }

    /// A string or an array of them.
    std::vector<std::string> texts(const std::string &key) {
        read_.insert(key);
        std::vector<std::string> list;
        const toml::node *const node = table_.get(key);
        if (!node)
            return list;
        if (const auto one = node->value_exact<std::string>())
            return {*one};
        const toml::array *const array = node->as_array();
        if (!array || array->empty())
            fail(key, "must be a string, or an array of strings");
        for (const toml::node &element : *array) {
            const auto one = element.value_exact<std::string>();
            if (!one)
                fail(key, "must hold strings");
            list.push_back(*one);
        }
        return list;
    }

    /// Places of a name among `names`.
    std::optional<std::size_t> choice(const std::string &key,
                                      const std::vector<std::string> &names) {
        const auto name = text(key);
        if (!name)
            return std::nullopt;
        const auto place = std::find(names.begin(), names.end(), *name);
        if (place == names.end()) {
            std::string list;
            for (const std::string &each : names)
                list += (list.empty() ? "" : ", ") + each;
            fail(key, "must be one of " + list + suggestion(*name, names));
        }
        return static_cast<std::size_t>(place - names.begin());
    }

    std::optional<Section> section(const std::string &key) {
        read_.insert(key);
        const toml::node *const node = table_.get(key);
        if (!node)
            return std::nullopt;
        if (!node->is_table())
            fail(key, "must be a table");
        return Section(file_, *node->as_table(), name_.empty() ? key : name_ + "." + key);
    }

    std::vector<std::string> keys() const {
        std::vector<std::string> names;
        for (const auto &[key, node] : table_)
            names.emplace_back(key.str());
        return names;
    }

    /// The keys that nobody has read, with their values as text.
    std::vector<std::pair<std::string, std::string>> rest() const {
        std::vector<std::pair<std::string, std::string>> pairs;
        for (const auto &[key, node] : table_) {
            const std::string name(key.str());
            if (read_.count(name) == 0)
                pairs.emplace_back(name, text_of(name, node));
        }
        return pairs;
    }

    void expect_no_more(const std::vector<std::string> &known) const {
        for (const auto &[key, node] : table_)
            if (const std::string name(key.str()); read_.count(name) == 0)
                fail(name, "unknown key" + suggestion(name, known));
    }

    const std::set<std::string> &read() const { return read_; }

  private:
    template <class Value>
    std::optional<Value> value(const std::string &key, const std::string &reason) {
        read_.insert(key);
        const toml::node *const node = table_.get(key);
        if (!node)
            return std::nullopt;
        const auto found = node->value_exact<Value>();
        if (!found)
            fail(key, reason);
        return found;
    }

    std::string text_of(const std::string &key, const toml::node &node) const {
        if (const auto text = node.value_exact<std::string>())
            return *text;
        if (const auto flag = node.value_exact<bool>())
            return *flag ? "true" : "false";
        if (const auto number = node.value_exact<std::int64_t>())
            return std::to_string(*number);
        if (const auto real = node.value_exact<double>())
            return std::to_string(*real);
        fail(key, "must be a string, a number, true or false");
    }

    const std::string &file_;
    const toml::table &table_;
    std::string name_;
    std::set<std::string> read_;
};

/// "30m", "2h", "45s": seconds; 0 if it is none.
int parse_duration(std::string_view text) {
    int number = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
    const std::string_view unit = text.substr(static_cast<std::size_t>(read.ptr - text.data()));
    const int seconds = unit == "s" ? 1 : unit == "m" ? 60 : unit == "h" ? 3600 : 0;
    return read.ec == std::errc() && seconds > 0 && number > 0 && number <= 86400 / seconds
               ? number * seconds
               : 0;
}

/// "06:30": seconds of the day.
std::optional<int> parse_time(std::string_view text) {
    const auto digits = [&](std::size_t place) {
        const auto digit = [&](std::size_t i) { return text[i] >= '0' && text[i] <= '9'; };
        return digit(place) && digit(place + 1) ? 10 * (text[place] - '0') + text[place + 1] - '0'
                                                : 99;
    };
    if (text.size() != 5 || text[2] != ':' || digits(0) > 23 || digits(3) > 59)
        return std::nullopt;
    return 3600 * digits(0) + 60 * digits(3);
}

bool is_plain_name(const std::string &name) {
    return !name.empty() && name.size() <= 64 && name.front() != '.' &&
           std::all_of(name.begin(), name.end(), [](char c) {
               return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                      c == '-' || c == '_' || c == '.';
           });
}

class Reader {
  public:
    Reader(const std::string &file, const SettingsReader &read_settings)
        : file_(file), folder_(fs::absolute(file).parent_path()), read_settings_(read_settings) {}

    Configuration read(const toml::table &root) {
        Section whole(file_, root, "");
        if (const auto listen = whole.text("listen"))
            read_address(whole, *listen);
        configuration_.cache = path(whole.text("cache").value_or("cache"));
        configuration_.state = path(whole.text("state").value_or("state"));
        configuration_.site = whole.has("site") ? path(*whole.text("site")) : "";
        configuration_.cache_megabytes = small(whole, "cache-megabytes", 1, 10'000'000, 1000);
        configuration_.upload_megabytes = small(whole, "upload-megabytes", 1, 1000, 40);
        configuration_.jobs = small(whole, "jobs", 1, 1024, 0);
        configuration_.token = token(whole);
        if (auto albums = whole.section("albums"))
            read_albums(*albums);
        if (auto devices = whole.section("devices"))
            read_devices(*devices);
        whole.expect_no_more({whole.read().begin(), whole.read().end()});
        if (configuration_.devices.empty() && configuration_.albums.empty()) // as a cut file has
            throw Failure(file_, "has neither devices nor albums");
        return std::move(configuration_);
    }

  private:
    static int small(Section &section, const std::string &key, int least, int most, int otherwise) {
        return static_cast<int>(section.integer(key, least, most).value_or(otherwise));
    }

    std::string path(const std::string &name) const {
        return (fs::path(folder_) / name).lexically_normal().string();
    }

    void read_address(const Section &whole, const std::string &listen) {
        const std::size_t colon = listen.rfind(':');
        std::string host = listen.substr(0, colon);
        if (host.size() > 2 && host.front() == '[' && host.back() == ']')
            host = host.substr(1, host.size() - 2);
        int port = -1;
        if (colon != listen.npos) {
            const char *const end = listen.data() + listen.size();
            if (std::from_chars(listen.data() + colon + 1, end, port).ptr != end)
                port = -1;
        }
        if (host.empty() || port < 0 || port > 65535)
            whole.fail("listen", "must be ADDRESS:PORT, such as 127.0.0.1:8480 or [::]:8480");
        configuration_.host = host;
        configuration_.port = port;
    }

    /// A secret, or the file that holds it.
    std::string token(Section &section) {
        const auto direct = section.text("token");
        const auto named = section.text("token-file");
        if (direct && named)
            section.fail("token-file", "is given beside token");
        std::string secret = direct.value_or("");
        if (named) {
            std::error_code unknown;
            if (!fs::is_regular_file(path(*named), unknown))
                section.fail("token-file", *named + " is not a file");
            const Bytes bytes = read_file(path(*named));
            secret.assign(bytes.begin(), bytes.end());
            secret.erase(secret.find_last_not_of(" \t\r\n") + 1);
        }
        if ((direct || named) && secret.size() < 8)
            section.fail(named ? "token-file" : "token",
                         "is too short: a token has 8 letters or more");
        return secret;
    }

    void check_folders(const Section &section, const std::string &key,
                       const std::vector<std::string> &folders) const {
        std::set<std::string> names;
        for (const std::string &folder : folders) {
            std::error_code unknown;
            if (folder.empty() || !fs::is_directory(folder, unknown))
                section.fail(key, folder + " is not a folder");
            if (!names.insert(fs::weakly_canonical(folder, unknown).filename()).second)
                section.fail(key, "two of its folders have the same name");
        }
    }

    std::vector<std::string> folders(Section &section, const std::string &key) {
        std::vector<std::string> list;
        for (const std::string &name : section.texts(key))
            list.push_back(path(
                name.size() > 1 && name.ends_with('/') ? name.substr(0, name.size() - 1) : name));
        check_folders(section, key, list);
        return list;
    }

    void read_albums(Section &albums) {
        for (const std::string &name : albums.keys()) {
            if (!is_plain_name(name))
                albums.fail(name, "an album's name has letters, digits, - _ and . only");
            configuration_.albums[name] = folders(albums, name);
        }
    }

    void read_devices(Section &devices) {
        if (static_cast<std::int64_t>(devices.keys().size()) > most_devices)
            devices.fail("", "more than " + std::to_string(most_devices) + " devices");
        for (const std::string &id : devices.keys()) {
            if (!is_plain_name(id))
                devices.fail(id, "a device's id has letters, digits, - _ and . only");
            Section section = *devices.section(id);
            configuration_.devices.push_back(read_device(section, id));
        }
    }

    DeviceConfiguration read_device(Section &section, const std::string &id) {
        DeviceConfiguration device;
        device.id = id;
        read_source(section, device.source);
        if (const auto order = section.choice("order", {"newest", "name", "shuffled"}))
            device.order = static_cast<Order>(*order);
        device.seed = static_cast<std::uint64_t>(section.integer("seed", 0, INT64_MAX).value_or(0));
        read_schedule(section, device.schedule);
        if (const auto caption = section.choice("caption", {"none", "name", "date", "text"}))
            device.caption = static_cast<Caption>(*caption);
        device.pairs = section.flag("pairs").value_or(false);
        device.token = token(section);
        if (!section.has("panel"))
            section.fail("", "panel is missing");
        auto settings = section.rest();
        for (auto &[key, value] : settings)
            if (key == "panel" && fs::exists(path(value)))
                value = path(value);
        try {
            const auto known = known_settings_.find(settings);
            device.settings = known != known_settings_.end()
                                  ? known->second
                                  : known_settings_[settings] = read_settings_(settings);
        } catch (const std::exception &error) {
            section.fail("", error.what());
        }
        return device;
    }

    void read_source(Section &section, PictureSource &source) {
        source.album = section.text("album").value_or("");
        if (section.has("folder"))
            source.folders = folders(section, "folder");
        source.picture = section.has("picture") ? path(*section.text("picture")) : "";
        source.command = section.texts("command");
        source.address = section.text("address").value_or("");
        int sources = 0;
        for (const char *key : {"album", "folder", "picture", "command", "address"})
            sources += section.has(key);
        if (sources != 1)
            section.fail("", "must have one of album, folder, picture, command and address");
        if (section.has("album") && configuration_.albums.count(source.album) == 0) {
            std::vector<std::string> names;
            for (const auto &[name, folders] : configuration_.albums)
                names.push_back(name);
            section.fail("album",
                         "there is no album " + source.album + suggestion(source.album, names));
        }
        if (section.has("address") && !source.address.starts_with("http://") &&
            !source.address.starts_with("https://"))
            section.fail("address", "must begin with http:// or https://");
    }

    void read_schedule(Section &section, ScheduleRules &rules) {
        if (const auto interval = section.text("interval")) {
            rules.interval = parse_duration(*interval);
            if (rules.interval == 0)
                section.fail("interval", "must be such as 90s, 30m or 6h, at most 24h");
        }
        for (const std::string &text : section.texts("times")) {
            const auto time = parse_time(text);
            if (!time)
                section.fail("times", text + " is no time of day, such as 06:30");
            rules.times.push_back(*time);
        }
        if (section.has("interval") && section.has("times"))
            section.fail("times", "is given beside interval");
        if (!section.has("interval") && !section.has("times"))
            rules.interval = 3600;
        if (const auto quiet = section.text("quiet")) {
            const std::size_t dash = quiet->find('-');
            const auto from = parse_time(quiet->substr(0, dash));
            const auto to =
                dash == quiet->npos ? std::nullopt : parse_time(quiet->substr(dash + 1));
            if (!from || !to || *from == *to)
                section.fail("quiet", "must be such as 22:00-06:30");
            rules.quiet = {*from, *to};
        }
        rules.zone = section.text("zone").value_or("UTC");
        if (checked_.insert(rules).second) {
            try {
                const Schedule schedule(rules);
            } catch (const std::runtime_error &error) {
                section.fail(section.has("zone") ? "zone" : "quiet", error.what());
            }
        }
    }

    const std::string &file_;
    const fs::path folder_;
    const SettingsReader &read_settings_;
    Configuration configuration_;
    std::set<ScheduleRules> checked_;
    // Most devices have those of others.
    std::map<std::vector<std::pair<std::string, std::string>>, RenderSettings> known_settings_;
};

} // namespace

Configuration parse_configuration(const std::string &file, std::string_view text,
                                  const SettingsReader &read_settings) {
    try {
        const toml::table root = toml::parse(text);
        return Reader(file, read_settings).read(root);
    } catch (const toml::parse_error &error) {
        throw Failure(file, "line " + std::to_string(error.source().begin.line) + ": " +
                                printable(error.description()));
    }
}

} // namespace oxel::tools
