#ifndef OXEL_TOOLS_COMMAND_LINE_H
#define OXEL_TOOLS_COMMAND_LINE_H

#include <CLI/CLI.hpp>

#include <memory>
#include <string>

namespace oxel::tools {

/// The whole command: its options and subcommands, which run while it parses, with defaults from
/// the environment and from a configuration file.
std::unique_ptr<CLI::App> make_command_line();

/// Whether --help or help was given, to it or to a subcommand.
bool asks_for_help(const CLI::App &command);

/// The help that was asked for. Throws CLI::ParseError if it is for a command that there is not.
std::string help_text(const CLI::App &app);

/// The commands of which one should have been named, a line each; "" if that is not what is wrong.
std::string missing_commands(const CLI::App &app);

/// What is wrong, and where it was said: on the command line, in the environment or in the file.
std::string explain(const CLI::App &app, const CLI::ParseError &error);

} // namespace oxel::tools

#endif
