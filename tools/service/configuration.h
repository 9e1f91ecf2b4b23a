#ifndef OXEL_TOOLS_CONFIGURATION_H
#define OXEL_TOOLS_CONFIGURATION_H

#include "render/render_picture.h"
#include "service/picture_order.h"
#include "service/schedule.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace oxel::tools {

enum class Caption { none, name, date, text };

/// Where a device's pictures come from: one of these.
struct PictureSource {
    std::string album;
    std::vector<std::string> folders; // an album without a name
    std::string picture;
    std::vector<std::string> command;
    std::string address;

    /// Whether its picture must be asked for.
    bool is_asked() const { return !command.empty() || !address.empty(); }
};

struct DeviceConfiguration {
    std::string id;
    RenderSettings settings;
    PictureSource source;
    Order order = Order::name;
    std::uint64_t seed = 0;
    ScheduleRules schedule;
    Caption caption = Caption::none;
    bool pairs = false;
    std::string token;
};

/// What a configuration file says. Paths are absolute, or begin in the file's folder.
struct Configuration {
    std::string host = "127.0.0.1";
    int port = 8480;
    std::string cache;
    int cache_megabytes = 1000;
    std::string state;
    std::string site;
    std::string token; // of the page and of uploads
    int upload_megabytes = 40;
    int jobs = 0; // 0: a processor each
    std::map<std::string, std::vector<std::string>> albums;
    std::vector<DeviceConfiguration> devices;
};

/// Reads the settings of renders, by the names that the command's options have. Throws
/// std::exception that tells what is wrong.
using SettingsReader =
    std::function<RenderSettings(const std::vector<std::pair<std::string, std::string>> &)>;

/// Throws Failure that names `file`, the line and the key.
Configuration parse_configuration(const std::string &file, std::string_view text,
                                  const SettingsReader &read_settings);

} // namespace oxel::tools

#endif
