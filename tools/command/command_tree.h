#ifndef OXEL_TOOLS_COMMAND_TREE_H
#define OXEL_TOOLS_COMMAND_TREE_H

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace oxel::tools {

// What a command line consists of, for its own messages, the manual and the completions.

/// The name that a command is called by: "oxel package build".
std::string full_name(const CLI::App &command);

std::vector<const CLI::App *> commands_of(const CLI::App &command);

/// Null if there is none.
const CLI::App *find_command(const CLI::App &command, const std::string &name);

/// Options with a name, and arguments, which have only a place.
std::vector<const CLI::Option *> options_of(const CLI::App &command);
std::vector<const CLI::Option *> arguments_of(const CLI::App &command);

bool is_flag(const CLI::Option &option);

/// The long name, without its dashes; "" if there is none.
std::string long_name(const CLI::Option &option);

/// The value that an option takes, as help shows it: "" for a flag.
std::string value_text(const CLI::Option &option);

/// The values that an option can have, if it is a choice.
std::vector<std::string> choices(const CLI::Option &option);

} // namespace oxel::tools

#endif
