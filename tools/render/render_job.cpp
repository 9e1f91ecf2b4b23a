#include "render/render_job.h"

#include "pictures/picture_files.h"

namespace oxel::tools {

RenderResult run_job(const RenderJob &job, const RenderSettings &settings, const Panel &panel) {
    RenderResult result{};
    ImageSize &size = result.picture_size;
    const Light picture = open_picture(job.photo, settings.picture, panel, size);
    Forms wanted = frame_form(settings.frame.content);
    wanted.measured |= !job.preview.empty();
    wanted.nominal |= !job.nominal.empty();
    Rendering rendering = render_picture(picture, size, settings, panel, wanted, result.verdict);

    OutputFiles outputs;
    if (!job.preview.empty())
        outputs.write(job.preview, encode_png(job.preview, rendering.measured, size));
    if (!job.nominal.empty())
        outputs.write(job.nominal, encode_png(job.nominal, rendering.nominal, size));
    result.frame_size = size;
    const Bytes frame =
        frame_file(rendering, result.frame_size, settings, panel, panel.layout, job.frame);
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
