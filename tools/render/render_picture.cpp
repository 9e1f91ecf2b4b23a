#include "render/render_picture.h"

#include "Oxel_Morvel6_render.h"
#include "render/panel_codes.h"
#include "render/prepared_render.h"

namespace oxel::tools {

namespace {

int output_type(FrameContent content) {
    return content == FrameContent::nominal ? OUTPUT_NOMINAL_RGB
           : content == FrameContent::eo    ? OUTPUT_EO_RGB
                                            : OUTPUT_TCON_CODE;
}

/// Renders each form that is wanted under the guard, which decides alike for all of them.
int render_guarded(const Bytes &picture, ImageSize size, const RenderSettings &settings,
                   const Panel &panel, const Forms &wanted, Rendering &rendering) {
    const auto render_to = [&](int type, Bytes &output) {
        return tools::render_guarded(panel.source, picture, size, settings.dithering_mode,
                                     *settings.guard_threshold, type, output);
    };
    if (wanted.measured)
        render_to(OUTPUT_EO_RGB, rendering.measured);
    if (wanted.nominal)
        render_to(OUTPUT_NOMINAL_RGB, rendering.nominal);
    return render_to(OUTPUT_TCON_CODE, rendering.tcon);
}

Bytes &frame_of(Rendering &rendering, FrameContent content) {
    switch (output_type(content)) {
    case OUTPUT_NOMINAL_RGB:
        return rendering.nominal;
    case OUTPUT_EO_RGB:
        return rendering.measured;
    default:
        return rendering.tcon;
    }
}

} // namespace

Forms frame_form(FrameContent content) {
    const int type = output_type(content);
    return {type == OUTPUT_TCON_CODE, type == OUTPUT_NOMINAL_RGB, type == OUTPUT_EO_RGB};
}

Tuning tuning_of(const RenderSettings &settings) {
    return settings.dithering_mode == undiffused
               ? Tuning::all
               : tuning_of(settings.picture, settings.dithering_mode);
}

Rendering render_picture(const Light &picture, ImageSize size, const RenderSettings &settings,
                         const Panel &panel, const Forms &wanted, std::optional<int> &verdict) {
    const bool prepared = !settings.picture.bare;
    if (settings.guard_threshold) {
        Rendering rendering;
        verdict = render_guarded(prepare_guarded(picture, size, panel, prepared).bytes, size,
                                 settings, panel, wanted, rendering);
        return rendering;
    }
    if (settings.dithering_mode == undiffused)
        return render_undiffused(bytes_of(picture), panel);
    return render(prepare_page(picture, size, panel, prepared, settings.picture.inks), panel,
                  settings.dithering_mode, wanted);
}

Bytes frame_file(Rendering &rendering, ImageSize &size, const RenderSettings &settings,
                 const Panel &panel, int layout, const std::string &name) {
    Bytes &image = frame_of(rendering, settings.frame.content);
    apply_layout(panel.source, layout, image, size);
    return encode_frame(panel.source, file_format(settings.frame), settings.frame.gzip,
                        {size, image, codes_of(panel, settings.frame.content), name});
}

} // namespace oxel::tools
