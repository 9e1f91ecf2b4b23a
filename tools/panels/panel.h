#ifndef OXEL_TOOLS_PANEL_H
#define OXEL_TOOLS_PANEL_H

#include "base/bytes.h"
#include "base/image_size.h"
#include "panels/panel_description.h"

#include <optional>
#include <string>
#include <vector>

namespace oxel::tools {

/// A panel as rendering needs it.
struct Panel {
    std::string source; // the file or the built-in name, for messages
    std::string name;   // the description's; of a package, which has none, the file's
    Bytes package;
    std::optional<ImageSize> size;
    int layout = 0;
    std::vector<std::string> colour_names; // none of a package
    std::vector<PanelColour> colours;      // the description's; none if there is just a package
    Intent intent = Intent::perceptual;    // of its packages, if there is a description
};

/// Gives the panel the package for these diffusions. A panel that came as a package keeps it.
void tune(Panel &panel, Tuning tuning);

std::optional<Panel> built_in_panel(const std::string &name, Tuning tuning = Tuning::all);

/// Whether they are a panel description: a package is never text.
bool is_description(const Bytes &bytes);

/// A panel from a package or from a description, whichever the bytes are.
Panel panel_from_bytes(const std::string &source, Bytes bytes, Tuning tuning = Tuning::all);

/// Opens the built-in panel of this name, or a package or a description in a file of this name.
Panel open_panel(const std::string &name, Tuning tuning = Tuning::all,
                 std::optional<Intent> intent = std::nullopt);

PanelDescription read_panel_description(const std::string &path);

std::vector<PanelDescription> built_in_panel_descriptions();

} // namespace oxel::tools

#endif
