#ifndef OXEL_TOOLS_PACKAGE_COMMAND_H
#define OXEL_TOOLS_PACKAGE_COMMAND_H

#include <CLI/CLI.hpp>

namespace oxel::tools {

/// Adds "package build" and "package info", which run while `app` parses; they throw Failure.
void add_package_command(CLI::App &app);

} // namespace oxel::tools

#endif
