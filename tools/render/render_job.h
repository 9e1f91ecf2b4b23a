#ifndef OXEL_TOOLS_RENDER_JOB_H
#define OXEL_TOOLS_RENDER_JOB_H

#include "render/render_picture.h"

#include <optional>
#include <string>

namespace oxel::tools {

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
