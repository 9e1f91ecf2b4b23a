#include "command/commands.h"

#include "render/library.h"

#include <iostream>

namespace oxel::tools {

void add_version_command(CLI::App &app) {
    const auto log = std::make_shared<bool>(false);
    CLI::App *command = app.add_subcommand("version", "Print the version");
    command->footer(R"(
Prints the same line as oxel --version, or what changed from version to version in the library.

Examples:
  oxel version
  oxel version --log)");
    command->add_flag("--log", *log, "Print the library's log of changes")->configurable(false);
    command->callback(
        [log] { std::cout << (*log ? library_log() : "oxel " + library_version()) << '\n'; });
}

} // namespace oxel::tools
