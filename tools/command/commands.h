#ifndef OXEL_TOOLS_COMMANDS_H
#define OXEL_TOOLS_COMMANDS_H

#include <CLI/CLI.hpp>

namespace oxel::tools {

// Each adds a subcommand of oxel, which runs while `app` parses and throws Failure.

void add_chart_command(CLI::App &app);
void add_compare_command(CLI::App &app);
void add_guard_command(CLI::App &app);
void add_help_command(CLI::App &app);
void add_package_command(CLI::App &app);
void add_panels_command(CLI::App &app);
void add_render_command(CLI::App &app);
void add_serve_command(CLI::App &app);
void add_version_command(CLI::App &app);
void add_view_command(CLI::App &app);

} // namespace oxel::tools

#endif
