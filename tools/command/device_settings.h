#ifndef OXEL_TOOLS_DEVICE_SETTINGS_H
#define OXEL_TOOLS_DEVICE_SETTINGS_H

#include "render/render_picture.h"

#include <string>
#include <utility>
#include <vector>

namespace oxel::tools {

/// Reads settings that have the names and values of the options of oxel render. Throws
/// std::runtime_error.
RenderSettings
read_device_settings(const std::vector<std::pair<std::string, std::string>> &settings);

} // namespace oxel::tools

#endif
