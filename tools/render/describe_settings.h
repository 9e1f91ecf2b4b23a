#ifndef OXEL_TOOLS_DESCRIBE_SETTINGS_H
#define OXEL_TOOLS_DESCRIBE_SETTINGS_H

#include "panels/panel.h"
#include "render/render_picture.h"

#include <string>

namespace oxel::tools {

/// All that frames depend on beside their photographs, on a line.
std::string describe(const RenderSettings &settings, const Panel &panel);

} // namespace oxel::tools

#endif
