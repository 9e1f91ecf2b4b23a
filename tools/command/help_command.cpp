#include "command/commands.h"

#include "command/command_line.h"

#include <iostream>

namespace oxel::tools {

void add_help_command(CLI::App &app) {
    CLI::App *command = app.add_subcommand("help", "Explain a command");
    command->footer(R"(
Prints what COMMAND --help prints, or the list of all commands.

Examples:
  oxel help render
  oxel help package build)");
    const auto words = std::make_shared<std::vector<std::string>>();
    command->add_option("COMMAND", *words, "The command, and its subcommand");
    command->callback([&app, words] { std::cout << help_text(app); });
}

} // namespace oxel::tools
