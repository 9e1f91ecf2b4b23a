#ifndef OXEL_TOOLS_PICTURE_SETTINGS_H
#define OXEL_TOOLS_PICTURE_SETTINGS_H

#include "panels/panel.h"
#include "pictures/picture.h"
#include "preparation/development.h"
#include "preparation/ink_colours.h"
#include "render/library.h"

#include <optional>
#include <string>

namespace oxel::tools {

/// How photographs become the pictures that a panel renders.
struct PictureSettings {
    std::string panel;
    std::optional<Intent> intent;  // of the package that is built for the panel
    std::optional<ImageSize> size; // instead of the panel's
    Framing framing;
    PictureLimits limits;
    Adjustment adjustment;
    Development development;
    Inks inks = Inks::automatic;
    bool bare = false; // the library gets its bytes as they are
};

/// What the panel's tables are tuned for, for an enum Oxel_dithering_mode. Those that are tuned for
/// one diffusion want pictures that are dithered onto their grid.
Tuning tuning_of(const PictureSettings &settings, int dithering_mode);

/// A photograph as `settings` want it, developed and adjusted; `size` receives the size that they
/// ask for, the panel's, or its own.
Light open_picture(const std::string &photo, const PictureSettings &settings, const Panel &panel,
                   ImageSize &size);

} // namespace oxel::tools

#endif
