#include "command/command_line.h"

#include "base/suggestion.h"
#include "command/command_tree.h"
#include "command/commands.h"
#include "render/library.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <map>

namespace oxel::tools {

namespace {

constexpr const char *configuration_explanation = R"(
Defaults of options: the command line goes before the environment, and that before the configuration
file. OXEL_NAME in the environment stands for the option --name of every command, with _ for -. The
configuration file, TOML or INI, has a section for each command:
  [render]
  panel = "six-colour"
  fit = "contain"
It is the one that --config or OXEL_CONFIG names, else oxel.toml in $XDG_CONFIG_HOME or ~/.config.

Exit codes: 0 done; 1 the job failed, for the reason told on the standard error; 2 wrong command
line, environment or configuration file. A failed job leaves no outputs and no changed files
behind.

Examples:
  oxel render photo.jpg --panel six-colour -o frame.bin --preview preview.png
  OXEL_PANEL=six-colour oxel compare photo.jpg -o sheet.png
  oxel render --help)";

std::string environment_name(const std::string &option) {
    std::string name = "OXEL_" + option;
    for (char &c : name)
        c = c == '-' ? '_' : static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return name;
}

/// What a variable of the environment says; "" if it is not there, too.
std::string variable(const std::string &name) {
    const char *const value = std::getenv(name.c_str());
    return value ? value : "";
}

/// Files in which CLI11 sees only what the environment does not say, which it reads later.
class Defaults : public CLI::ConfigTOML {
  public:
    std::vector<CLI::ConfigItem> from_config(std::istream &input) const override {
        std::vector<CLI::ConfigItem> values = CLI::ConfigTOML::from_config(input);
        std::erase_if(values, [](const CLI::ConfigItem &item) {
            return !variable(environment_name(item.name)).empty();
        });
        for (const CLI::ConfigItem &item : values)
            given_[item.name] = item.inputs;
        return values;
    }

    /// Whether the file gives an option of this name these values.
    bool give(const std::string &name, const std::vector<std::string> &values) const {
        const auto place = given_.find(name);
        return place != given_.end() && place->second == values;
    }

  private:
    mutable std::map<std::string, std::vector<std::string>> given_;
};

std::string configuration_file() {
    if (const std::string named = variable("OXEL_CONFIG"); !named.empty())
        return named;
    if (const std::string folder = variable("XDG_CONFIG_HOME"); !folder.empty())
        return folder + "/oxel.toml";
    const std::string home = variable("HOME");
    return home.empty() ? "" : home + "/.config/oxel.toml";
}

/// Gives each named option of a command and its subcommands its variable, except for those that
/// name the file to write.
void read_environment(CLI::App &command) {
    for (CLI::Option *option : command.get_options())
        if (!long_name(*option).empty() && option->get_configurable() && !option->check_sname("o"))
            option->envname(environment_name(long_name(*option)));
    for (CLI::App *subcommand : command.get_subcommands({}))
        read_environment(*subcommand);
}

/// The values that the option of this name was given, whichever command has it.
std::vector<std::string> values_of(const CLI::App &command, const std::string &name) {
    const CLI::Option *const option = command.get_option_no_throw("--" + name);
    if (option && option->count() > 0)
        return option->results();
    for (const CLI::App *subcommand : command.get_subcommands({}))
        if (auto values = values_of(*subcommand, name); !values.empty())
            return values;
    return {};
}

std::vector<std::string> command_names(const CLI::App &command) {
    std::vector<std::string> names;
    for (const CLI::App *each : commands_of(command))
        names.push_back(each->get_name());
    return names;
}

/// The long names of a command's options, with `dashes` before them.
std::vector<std::string> option_names(const CLI::App &command, const std::string &dashes) {
    std::vector<std::string> names;
    for (const CLI::Option *option : command.get_options())
        if (!long_name(*option).empty())
            names.push_back(dashes + long_name(*option));
    return names;
}

/// The last of the commands that were named: package build of oxel package build.
const CLI::App &named_command(const CLI::App &app) {
    const auto named = app.get_subcommands();
    return named.empty() ? app : named_command(*named.back());
}

CLI::ParseError unknown_command(const std::string &word, const CLI::App &command) {
    return CLI::ExtrasError("unknown command " + word + suggestion(word, command_names(command)),
                            CLI::ExitCodes::ExtrasError);
}

/// Explains a word of the command line that no command or option took.
std::string explain_extra(const CLI::App &app, const std::string &word) {
    const CLI::App &command = named_command(app);
    if (word.starts_with("-"))
        return "unknown option " + word +
               suggestion(word.substr(0, word.find('=')), option_names(command, "--"));
    return command_names(command).empty() ? "unexpected argument " + word
                                          : unknown_command(word, command).what();
}

/// A key of the configuration file that no command has: "render.diver", or "rendr.++", by which
/// CLI11 marks the start of a section.
std::string explain_key(const CLI::App &app, const std::string &key) {
    const CLI::App *command = &app;
    std::size_t start = 0;
    for (std::size_t dot; (dot = key.find('.', start)) != key.npos; start = dot + 1) {
        const std::string section = key.substr(start, dot - start);
        const CLI::App *const found = find_command(*command, section);
        if (!found)
            return "unknown section " + key.substr(0, dot) +
                   suggestion(section, command_names(*command));
        command = found;
    }
    return "unknown key " + key + suggestion(key.substr(start), option_names(*command, ""));
}

class Formatter : public CLI::Formatter {
  public:
    Formatter() { column_width(34); }

    std::string make_option_opts(const CLI::Option *option) const override {
        const std::string value = value_text(*option);
        return (value.empty() ? "" : " " + value) + (option->get_required() ? " REQUIRED" : "");
    }
};

} // namespace

std::unique_ptr<CLI::App> make_command_line() {
    auto app = std::make_unique<CLI::App>("Renders pictures for colour e-paper panels.", "oxel");
    app->footer(configuration_explanation);
    app->formatter(std::make_shared<Formatter>());
    app->set_version_flag("--version", "oxel " + library_version())->configurable(false);
    app->get_help_ptr()->configurable(false);
    app->require_subcommand(1);
    app->fallthrough(); // --config may stand behind the subcommand
    app->config_formatter(std::make_shared<Defaults>());
    app->allow_config_extras(CLI::config_extras_mode::error);
    app->set_config("--config", configuration_file(), "File of defaults",
                    !variable("OXEL_CONFIG").empty())
        ->option_text("FILE")
        ->configurable(false);
    add_render_command(*app);
    add_compare_command(*app);
    add_view_command(*app);
    add_chart_command(*app);
    add_guard_command(*app);
    add_package_command(*app);
    add_serve_command(*app);
    add_panels_command(*app);
    add_help_command(*app);
    add_version_command(*app);
    read_environment(*app);
    return app;
}

bool asks_for_help(const CLI::App &command) {
    const auto subcommands = command.get_subcommands();
    return command.get_help_ptr()->count() > 0 || command.get_name() == "help" ||
           std::any_of(subcommands.begin(), subcommands.end(),
                       [](const CLI::App *subcommand) { return asks_for_help(*subcommand); });
}

std::string help_text(const CLI::App &app) {
    if (!app.got_subcommand("help"))
        return app.help();
    const CLI::App *command = &app;
    for (const std::string &word : app.get_subcommand("help")->get_option("COMMAND")->results()) {
        const CLI::App *const found = find_command(*command, word);
        if (!found)
            throw unknown_command(word, *command);
        command = found;
    }
    return app.get_formatter()->make_help(command, full_name(*command), CLI::AppFormatMode::Normal);
}

std::string missing_commands(const CLI::App &app) {
    const CLI::App &command = named_command(app);
    const auto commands = commands_of(command);
    if (commands.empty() || !app.remaining(true).empty())
        return "";
    std::string list;
    for (const CLI::App *each : commands)
        list += full_name(*each) + std::string(12 - each->get_name().size(), ' ') +
                each->get_description() + "\n";
    return list;
}

std::string explain(const CLI::App &app, const CLI::ParseError &error) {
    std::string message = error.what();
    const auto &defaults = dynamic_cast<const Defaults &>(*app.get_config_formatter_base());
    const std::string file = app.get_config_ptr()->as<std::string>();
    if (error.get_name() == "FileError")
        return file + ": cannot be read";
    // CLI11 misses a command before it looks at words that it does not know.
    if (const auto words = app.remaining(true);
        error.get_name() == "RequiredError" && !words.empty())
        return explain_extra(app, words.front());
    if (!missing_commands(app).empty())
        return "a command is missing";
    const std::string unknown = "INI was not able to parse ";
    if (message.starts_with(unknown)) {
        return file + ": " + explain_key(app, message.substr(unknown.size()));
    }
    const bool about_value =
        error.get_name() == "ValidationError" || error.get_name() == "ConversionError";
    const std::size_t dashes = message.find("--");
    if (!about_value || dashes == std::string::npos)
        return message;
    const std::string name = message.substr(
        dashes + 2, message.find_first_not_of("abcdefghijklmnopqrstuvwxyz-", dashes) - dashes - 2);
    const std::vector<std::string> values = values_of(app, name);
    if (values == std::vector{variable(environment_name(name))})
        return environment_name(name) + ": " + message;
    return defaults.give(name, values) ? file + ": " + message : message;
}

} // namespace oxel::tools
