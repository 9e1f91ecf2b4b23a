#ifndef OXEL_TOOLS_COMPARE_COMMAND_H
#define OXEL_TOOLS_COMPARE_COMMAND_H

#include <CLI/CLI.hpp>

namespace oxel::tools {

/// Adds "compare", which runs while `app` parses; throws Failure.
void add_compare_command(CLI::App &app);

} // namespace oxel::tools

#endif
