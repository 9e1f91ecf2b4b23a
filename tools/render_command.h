#ifndef OXEL_TOOLS_RENDER_COMMAND_H
#define OXEL_TOOLS_RENDER_COMMAND_H

#include <CLI/CLI.hpp>

namespace oxel::tools {

/// Adds "render", which runs while `app` parses; throws Failure.
void add_render_command(CLI::App &app);

} // namespace oxel::tools

#endif
