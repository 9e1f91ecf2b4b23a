#ifndef OXEL_TOOLS_PANEL_DESCRIPTION_H
#define OXEL_TOOLS_PANEL_DESCRIPTION_H

#include "base/image_size.h"
#include "package_builder/package_builder.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace oxel::tools {

struct PanelDescription {
    std::string name;
    std::optional<ImageSize> size;
    int layout = 0; // enum Oxel_tft_mode, or 0 for none
    std::vector<std::string> colour_names;
    std::vector<PanelColour> colours;
};

/// Reads a description in JSON. Throws Failure that names `file` and the key; warns on the standard
/// error of what is unusual.
PanelDescription parse_panel_description(const std::string &file, std::string_view json);

} // namespace oxel::tools

#endif
