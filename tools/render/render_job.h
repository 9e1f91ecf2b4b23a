#ifndef OXEL_TOOLS_RENDER_JOB_H
#define OXEL_TOOLS_RENDER_JOB_H

#include "frames/frame_format.h"
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

/// One photograph and where its renderings go; no name for those that nobody asked for. "-" is the
/// standard input and, for the frame, the standard output.
struct RenderJob {
    std::string photo;
    std::string frame;
    std::string preview;
    std::string nominal;
};

struct RenderResult {
    ImageSize picture_size;
    ImageSize frame_size;
    std::size_t frame_bytes;
    std::optional<int> verdict; // enum Oxel_guard_result
    FileVersions outputs;
};

/// Renders with the adopted panel and publishes the outputs. Throws Failure.
RenderResult run_job(const RenderJob &job, const RenderSettings &settings, const Panel &panel);

} // namespace oxel::tools

#endif
