#include "command/commands.h"

#include "panels/panel.h"

#include <iostream>

namespace oxel::tools {

namespace {

void list_panels() {
    for (const PanelDescription &panel : built_in_panel_descriptions()) {
        std::cout << panel.name << ": ";
        if (panel.size)
            std::cout << panel.size->text() << ", ";
        for (std::size_t i = 0; i < panel.colour_names.size(); ++i)
            std::cout << (i ? " " : "") << panel.colour_names[i];
        std::cout << '\n';
    }
}

} // namespace

void add_panels_command(CLI::App &app) {
    CLI::App *command = app.add_subcommand("panels", "List the built-in panels");
    command->footer(R"(
Shows the name of each, by which --panel knows it, its size and its colours.

Example:
  oxel panels)");
    command->callback(list_panels);
}

} // namespace oxel::tools
