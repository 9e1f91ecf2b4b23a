#ifndef OXEL_TOOLS_FRAME_OPTIONS_H
#define OXEL_TOOLS_FRAME_OPTIONS_H

#include "frames/frame_format.h"
#include "panels/panel.h"

#include <CLI/CLI.hpp>

namespace oxel::tools {

/// Adds --output, --frame, --gzip and --layout.
void add_frame_options(CLI::App &command, FrameSettings &settings);

/// `settings` with what the end of the frame's name says; "" and "-" say nothing. Throws
/// CLI::ParseError if they contradict each other or put colours into a format of codes.
FrameSettings settle_frame_options(FrameSettings settings, const std::string &name);

void add_layout_option(CLI::App &command, std::optional<int> &layout);

/// Tells on the standard error that no layout was applied if nobody said which: a package does not.
void note_missing_layout(const Panel &panel, std::optional<int> layout);

/// The part of a command's help that explains them.
std::string frame_explanation();

} // namespace oxel::tools

#endif
