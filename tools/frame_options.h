#ifndef OXEL_TOOLS_FRAME_OPTIONS_H
#define OXEL_TOOLS_FRAME_OPTIONS_H

#include "frame_format.h"
#include "picture_options.h"

#include <optional>

namespace oxel::tools {

/// What a frame's pixels say: codes of the timing controller, palette indices, pure or measured
/// colours.
enum class FrameContent { tcon, index, nominal, eo };

/// How a frame is laid out in its file.
struct FrameOptions {
    FrameContent content = FrameContent::tcon;
    FrameFormat format = FrameFormat::bytes;
    std::optional<int> layout; // instead of the panel's
};

/// Adds --output, --frame and --layout.
void add_frame_options(CLI::App &command, FrameOptions &options);

/// The format that colours have is rgb. Throws CLI::ParseError if `options` pack them.
FrameFormat file_format(const FrameOptions &options);

/// The part of a command's help that explains them. Not a string: other files' constants begin with
/// it, and so might be made before it.
extern const char *const frame_explanation;

} // namespace oxel::tools

#endif
