#include "command/command_tree.h"

#include <sstream>

namespace oxel::tools {

std::string full_name(const CLI::App &command) {
    const CLI::App *const parent = command.get_parent();
    return parent ? full_name(*parent) + " " + command.get_name() : command.get_name();
}

std::vector<const CLI::App *> commands_of(const CLI::App &command) {
    return command.get_subcommands([](const CLI::App *) { return true; });
}

const CLI::App *find_command(const CLI::App &command, const std::string &name) {
    for (const CLI::App *each : commands_of(command))
        if (each->get_name() == name)
            return each;
    return nullptr;
}

std::vector<const CLI::Option *> options_of(const CLI::App &command) {
    return command.get_options([](const CLI::Option *option) { return !option->get_positional(); });
}

std::vector<const CLI::Option *> arguments_of(const CLI::App &command) {
    return command.get_options([](const CLI::Option *option) { return option->get_positional(); });
}

std::string long_name(const CLI::Option &option) {
    return option.get_lnames().empty() ? "" : option.get_lnames().front();
}

bool is_flag(const CLI::Option &option) {
    return option.get_expected_min() == 0;
}

std::vector<std::string> choices(const CLI::Option &option) {
    const std::string type = option.get_type_name(); // TEXT:{one,other}
    const std::size_t from = type.find('{');
    std::vector<std::string> names;
    if (from == std::string::npos)
        return names;
    std::istringstream list(type.substr(from + 1, type.find('}') - from - 1));
    for (std::string name; std::getline(list, name, ',');)
        names.push_back(name);
    return names;
}

std::string value_text(const CLI::Option &option) {
    std::string text = option.get_option_text();
    if (is_flag(option))
        return "";
    for (const std::string &name : choices(option))
        text += (text.empty() ? "" : "|") + name;
    if (text.empty() && !option.get_positional())
        text = option.get_type_name();
    if (!option.get_default_str().empty() && !option.get_positional())
        text += " [" + option.get_default_str() + "]";
    return text;
}

} // namespace oxel::tools
