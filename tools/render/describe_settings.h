#ifndef OXEL_TOOLS_DESCRIBE_SETTINGS_H
#define OXEL_TOOLS_DESCRIBE_SETTINGS_H

#include "panels/panel.h"
#include "render/render_picture.h"

#include <cstdint>
#include <string>

namespace oxel::tools {

/// All that frames depend on beside their photographs, on a line.
std::string describe(const RenderSettings &settings, const Panel &panel);

/// The same if the sum of the panel's package is known, which takes milliseconds to compute.
std::string describe(const RenderSettings &settings, const Panel &panel, std::uint32_t package_sum);

} // namespace oxel::tools

#endif
