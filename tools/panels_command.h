#ifndef OXEL_TOOLS_PANELS_COMMAND_H
#define OXEL_TOOLS_PANELS_COMMAND_H

#include <CLI/CLI.hpp>

namespace oxel::tools {

/// Adds "panels", which runs while `app` parses.
void add_panels_command(CLI::App &app);

} // namespace oxel::tools

#endif
