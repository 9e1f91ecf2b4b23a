#ifndef OXEL_TOOLS_RENDER_OPTIONS_H
#define OXEL_TOOLS_RENDER_OPTIONS_H

#include "render/render_picture.h"

#include <CLI/CLI.hpp>

namespace oxel::tools {

/// Adds all that says how a picture becomes a frame: the options of pictures and of frames,
/// --dither and --guard.
void add_render_options(CLI::App &command, RenderSettings &settings);

/// Throws CLI::ParseError if they contradict each other.
void check_render_options(const RenderSettings &settings);

} // namespace oxel::tools

#endif
