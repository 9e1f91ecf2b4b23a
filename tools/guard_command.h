#ifndef OXEL_TOOLS_GUARD_COMMAND_H
#define OXEL_TOOLS_GUARD_COMMAND_H

#include <CLI/CLI.hpp>

namespace oxel::tools {

/// Adds "guard", which runs while `app` parses; throws Failure.
void add_guard_command(CLI::App &app);

} // namespace oxel::tools

#endif
