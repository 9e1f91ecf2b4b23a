#ifndef OXEL_TOOLS_CHART_COMMAND_H
#define OXEL_TOOLS_CHART_COMMAND_H

#include <CLI/CLI.hpp>

namespace oxel::tools {

/// Adds "chart patches", "chart scene" and "chart gradients", which run while `app` parses; they
/// throw Failure.
void add_chart_command(CLI::App &app);

} // namespace oxel::tools

#endif
