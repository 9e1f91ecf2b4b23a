#ifndef OXEL_TOOLS_FRAME_OPTIONS_H
#define OXEL_TOOLS_FRAME_OPTIONS_H

#include "frames/frame_format.h"

#include <CLI/CLI.hpp>

namespace oxel::tools {

/// Adds --output, --frame and --layout.
void add_frame_options(CLI::App &command, FrameSettings &settings);

/// Throws CLI::ParseError if `settings` pack colours.
void check_frame_options(const FrameSettings &settings);

/// Throws CLI::ParseError if a frame, which has no header, would get a picture's name.
void check_frame_name(const std::string &name);

/// The part of a command's help that explains them. Not a string: other files' constants begin with
/// it, and so might be made before it.
extern const char *const frame_explanation;

} // namespace oxel::tools

#endif
