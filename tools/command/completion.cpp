#include "command/completion.h"

#include "command/command_tree.h"
#include "panels/panel.h"

#include <algorithm>
#include <ostream>

namespace oxel::tools {

namespace {

/// The values of a choice, or the names of the built-in panels, beside which there are files.
std::vector<std::string> values_of(const CLI::Option &option) {
    std::vector<std::string> values = choices(option);
    if (long_name(option) == "panel")
        for (const PanelDescription &panel : built_in_panel_descriptions())
            values.push_back(panel.name);
    return values;
}

/// Whether its value may be a file: all but choices and numbers are taken for some.
bool takes_file(const CLI::Option &option) {
    return choices(option).empty();
}

std::string joined(const std::vector<std::string> &words) {
    std::string line;
    for (const std::string &word : words)
        line += word + " ";
    return line;
}

/// `text` with a backslash before each of `special`.
std::string escaped(const std::string &text, const std::string &special) {
    std::string result;
    for (const char c : text)
        result += (special.find(c) == special.npos ? "" : "\\") + std::string(1, c);
    return result;
}

/// In single quotes, for a shell in which nothing is special between them.
std::string quoted(const std::string &text) {
    std::string result = "'";
    for (const char c : text)
        result += c == '\'' ? "'\\''" : std::string(1, c);
    return result + "'";
}

/// The cases of a bash function: the words that may follow each command, and each option's values.
void write_cases(std::ostream &script, const CLI::App &command) {
    std::string words;
    for (const CLI::App *subcommand : commands_of(command)) {
        write_cases(script, *subcommand);
        words += subcommand->get_name() + " ";
    }
    for (const CLI::Option *option : options_of(command)) {
        const std::string values = joined(values_of(*option));
        for (const std::string &name : option->get_lnames())
            words += "--" + name + " ";
        if (!is_flag(*option) && !option->get_lnames().empty())
            script << "    \"" << full_name(command) << " --" << option->get_lnames().front()
                   << "\") values='" << values << "' ;;\n";
    }
    script << "    \"" << full_name(command) << "\") words='" << words << "' ;;\n";
}

} // namespace

void write_bash_completion(std::ostream &script, const CLI::App &app) {
    script << R"(# Completion of oxel for bash.

_oxel_lookup() {
    words='' values=none
    case $1 in
)";
    write_cases(script, app);
    script << R"(    esac
}

_oxel() {
    local current=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
    local command=oxel word words values
    if [[ $current == = ]]; then # readline splits --name=value
        current=
    elif [[ $before == = ]]; then
        before=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    for word in "${COMP_WORDS[@]:1:COMP_CWORD - 1}"; do
        _oxel_lookup "$command $word"
        [[ $word != -* && $words ]] && command+=" $word"
    done
    _oxel_lookup "$command $before"
    if [[ $before == --* && $values != none ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$values" -- "$current")
        return
    fi
    _oxel_lookup "$command"
    local offered=
    for word in $words; do
        [[ $word == -* && $current != -* ]] || offered+="$word "
    done
    mapfile -t COMPREPLY < <(compgen -W "$offered" -- "$current")
}

complete -o bashdefault -o default -F _oxel oxel
)";
}

namespace {

/// What _arguments completes behind an option or in an argument's place: message and action.
std::string zsh_value(const CLI::Option &option, const std::string &name) {
    const std::string values = joined(values_of(option));
    const std::string message = ":" + escaped(name, ":") + ":";
    if (!takes_file(option))
        return message + "(" + values + ")";
    return message + (values.empty() ? "_files" : "_oxel_name_or_file " + values);
}

void write_zsh_function(std::ostream &script, const CLI::App &command) {
    for (const CLI::App *subcommand : commands_of(command))
        write_zsh_function(script, *subcommand);
    std::string name = full_name(command);
    std::replace(name.begin(), name.end(), ' ', '_');
    script << "\n_" << name << "() {\n    local state\n    local -a commands\n    _arguments -C";
    const auto add = [&](const std::string &spec) { script << " \\\n        " << quoted(spec); };
    for (const CLI::Option *option : options_of(command)) {
        const std::string text = "[" + escaped(option->get_description(), "[]:\\") + "]";
        const std::string value =
            is_flag(*option) ? "" : zsh_value(*option, option->get_name(false, false));
        for (const std::string &each : option->get_lnames())
            add("--" + each + (is_flag(*option) ? "" : "=") + text + value);
        for (const std::string &each : option->get_snames())
            add("-" + each + text + value);
    }
    for (const CLI::Option *argument : arguments_of(command))
        add((argument->get_expected_max() > 1 ? "*" : "") +
            zsh_value(*argument, argument->get_name(true)));
    if (!commands_of(command).empty()) {
        add(":command:->command");
        add("*::argument:->argument");
    }
    script << "\n";
    if (!commands_of(command).empty()) {
        script << "    case $state in\n    command)\n        commands=(\n";
        for (const CLI::App *each : commands_of(command))
            script << "            "
                   << quoted(each->get_name() + ":" + escaped(each->get_description(), ":"))
                   << "\n";
        script << "        )\n        _describe command commands ;;\n"
                  "    argument) (( $+functions[_"
               << name << "_$words[1]] )) && _" << name << "_$words[1] ;;\n    esac\n";
    }
    script << "}\n";
}

} // namespace

void write_zsh_completion(std::ostream &script, const CLI::App &app) {
    script << "#compdef oxel\n# Completion of oxel for zsh.\n";
    script << R"zsh(
_oxel_name_or_file() {
    _alternative "names:name:($*)" 'files:file:_files'
}
)zsh";
    write_zsh_function(script, app);
    script << "\n_oxel \"$@\"\n";
}

namespace {

void write_fish_lines(std::ostream &script, const CLI::App &command, const std::string &path) {
    std::string names;
    for (const CLI::App *each : commands_of(command))
        names += " " + each->get_name();
    const std::string none_named =
        names.empty() ? path : path + "; and not __fish_seen_subcommand_from" + names;
    const auto line = [&](const std::string &condition) -> std::ostream & {
        return script << "complete -c oxel -n " << quoted(condition);
    };
    for (const CLI::App *each : commands_of(command)) {
        line(none_named) << " -f -a " << each->get_name() << " -d "
                         << quoted(each->get_description()) << "\n";
        write_fish_lines(script, *each,
                         path + "; and __fish_seen_subcommand_from " + each->get_name());
    }
    for (const CLI::Option *option : options_of(command)) {
        line(none_named);
        for (const std::string &name : option->get_lnames())
            script << " -l " << name;
        for (const std::string &name : option->get_snames())
            script << " -s " << name;
        if (!is_flag(*option))
            script << (takes_file(*option) ? " -r -F" : " -x");
        if (!is_flag(*option) && !values_of(*option).empty())
            script << " -a " << quoted(joined(values_of(*option)));
        script << " -d " << quoted(option->get_description()) << "\n";
    }
}

} // namespace

void write_fish_completion(std::ostream &script, const CLI::App &app) {
    script << "# Completion of oxel for fish.\n";
    write_fish_lines(script, app, "true");
}

} // namespace oxel::tools
