#ifndef OXEL_TOOLS_PANEL_H
#define OXEL_TOOLS_PANEL_H

#include "files.h"
#include "image_size.h"
#include "panel_description.h"

#include <optional>
#include <string>
#include <vector>

namespace oxel::tools {

/// A panel as rendering needs it.
struct Panel {
    std::string source; // the file or the built-in name, for messages
    Bytes package;
    std::optional<ImageSize> size;
    int layout = 0;
};

/// Opens the built-in panel of this name, or a package or a description in a file of this name.
Panel open_panel(const std::string &name);

PanelDescription read_panel_description(const std::string &path);

std::vector<PanelDescription> built_in_panel_descriptions();

} // namespace oxel::tools

#endif
