#include "render/render_job.h"

#include "Oxel_Morvel6_render.h"
#include "base/failure.h"
#include "preparation/light.h"
#include "render/panel_codes.h"
#include "render/prepared_render.h"

namespace oxel::tools {

namespace {

int output_type(FrameContent content) {
    return content == FrameContent::nominal ? OUTPUT_NOMINAL_RGB
           : content == FrameContent::eo    ? OUTPUT_EO_RGB
                                            : OUTPUT_TCON_CODE;
}

/// Renders each output that the job wants under the guard, which decides alike for all of them.
int render_guarded(const Bytes &picture, ImageSize size, const RenderJob &job,
                   const RenderSettings &settings, const Panel &panel, Rendering &rendering) {
    const auto render_to = [&](int type, Bytes &output) {
        return tools::render_guarded(panel.source, picture, size, settings.dithering_mode,
                                     *settings.guard_threshold, type, output);
    };
    if (!job.preview.empty() || settings.frame.content == FrameContent::eo)
        render_to(OUTPUT_EO_RGB, rendering.measured);
    if (!job.nominal.empty() || settings.frame.content == FrameContent::nominal)
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

RenderResult run_job(const RenderJob &job, const RenderSettings &settings, const Panel &panel) {
    RenderResult result{};
    Rendering rendering;
    ImageSize &size = result.picture_size;
    const bool guarded = settings.guard_threshold.has_value();
    const Light picture = open_picture(job.photo, settings.picture, panel, size);
    const bool prepared = !settings.picture.bare;
    if (guarded)
        result.verdict = render_guarded(prepare_guarded(picture, size, panel, prepared).bytes, size,
                                        job, settings, panel, rendering);
    else if (settings.dithering_mode == undiffused)
        rendering = render_undiffused(bytes_of(picture), panel);
    else
        rendering = render(prepare_page(picture, size, panel, prepared, settings.picture.inks),
                           panel, settings.dithering_mode);

    OutputFiles outputs;
    if (!job.preview.empty())
        outputs.write(job.preview, encode_png(job.preview, rendering.measured, size));
    if (!job.nominal.empty())
        outputs.write(job.nominal, encode_png(job.nominal, rendering.nominal, size));
    Bytes &image = frame_of(rendering, settings.frame.content);
    result.frame_size = size;
    apply_layout(panel.source, panel.layout, image, result.frame_size);
    const Bytes frame = encode_frame(
        panel.source, file_format(settings.frame), settings.frame.gzip,
        {result.frame_size, image, codes_of(panel, settings.frame.content), job.frame});
    result.frame_bytes = frame.size();
    if (job.frame == "-")
        write_standard_output(frame);
    else
        outputs.write(job.frame, frame);
    result.outputs = outputs.versions();
    outputs.publish();
    return result;
}

} // namespace oxel::tools
