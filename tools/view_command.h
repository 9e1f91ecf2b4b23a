#ifndef OXEL_TOOLS_VIEW_COMMAND_H
#define OXEL_TOOLS_VIEW_COMMAND_H

#include <CLI/CLI.hpp>

namespace oxel::tools {

/// Adds "view", which runs while `app` parses; throws Failure.
void add_view_command(CLI::App &app);

} // namespace oxel::tools

#endif
