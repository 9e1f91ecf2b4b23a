#ifndef OXEL_TOOLS_RENDER_PICTURE_H
#define OXEL_TOOLS_RENDER_PICTURE_H

#include "frames/frame_format.h"
#include "preparation/light.h"
#include "render/picture_settings.h"

#include <optional>
#include <string>

namespace oxel::tools {

/// How all photographs of a run are rendered.
struct RenderSettings {
    PictureSettings picture;
    int dithering_mode = 1; // enum Oxel_dithering_mode, or undiffused
    std::optional<double> guard_threshold;
    FrameSettings frame;
};

/// Of the package that such renders want.
Tuning tuning_of(const RenderSettings &settings);

/// The form that a frame of it shows.
Forms frame_form(FrameContent content);

/// Prepares and renders a picture with the adopted panel. `verdict`, enum Oxel_guard_result, is
/// set for renders under the guard. Throws Failure.
Rendering render_picture(const Light &picture, ImageSize size, const RenderSettings &settings,
                         const Panel &panel, const Forms &wanted, std::optional<int> &verdict);

/// The file of the rendering's frame, in this driving layout. `size` becomes the frame's; `name` is
/// the file's. The panel must be the adopted one. Throws Failure.
Bytes frame_file(Rendering &rendering, ImageSize &size, const RenderSettings &settings,
                 const Panel &panel, int layout, const std::string &name);

} // namespace oxel::tools

#endif
