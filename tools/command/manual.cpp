// Prints the man page of each command, or the completion for bash, from the command line itself:
//
//   oxel_manual man FOLDER     writes oxel.1, oxel-render.1, ...
//   oxel_manual bash FILE

#include "base/failure.h"
#include "command/command_line.h"
#include "render/library.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>

namespace oxel::tools {

namespace {

/// The name that a command is called by: "oxel package build".
std::string full_name(const CLI::App &command) {
    const CLI::App *const parent = command.get_parent();
    return parent ? full_name(*parent) + " " + command.get_name() : command.get_name();
}

std::string page_name(const CLI::App &command) {
    std::string name = full_name(command);
    std::replace(name.begin(), name.end(), ' ', '-');
    return name;
}

/// Text as roff shows it letter by letter.
std::string roff(const std::string &text) {
    std::string escaped = text.starts_with('.') || text.starts_with('\'') ? "\\&" : "";
    for (const char c : text)
        escaped += c == '\\' ? "\\e" : c == '-' ? "\\-" : std::string(1, c);
    return escaped;
}

/// Paragraphs, and lines that are indented in the help, which stay lines.
void write_text(std::ostream &page, const std::string &text) {
    std::istringstream lines(text);
    bool indented = false;
    bool section_begins = true;
    bool paragraph_ended = false;
    const auto start = [&](bool indent) {
        if (!indent && indented)
            page << ".RE\n.fi\n";
        if (!section_begins && (indent != indented || (!indent && paragraph_ended)))
            page << ".PP\n";
        if (indent && !indented)
            page << ".nf\n.RS 4\n";
        indented = indent;
        section_begins = paragraph_ended = false;
    };
    for (std::string line; std::getline(lines, line);) {
        if (line.empty()) {
            paragraph_ended = true;
        } else if (line == "Examples:" || line == "Example:") {
            page << ".SH EXAMPLES\n";
            section_begins = true;
        } else {
            start(line.starts_with("  "));
            page << roff(indented ? line.substr(2) : line) << '\n';
        }
    }
    if (indented)
        page << ".RE\n.fi\n";
}

std::vector<const CLI::App *> subcommands_of(const CLI::App &command) {
    return command.get_subcommands([](const CLI::App *) { return true; });
}

std::vector<const CLI::Option *> named_options(const CLI::App &command) {
    return command.get_options([](const CLI::Option *option) { return !option->get_positional(); });
}

std::vector<const CLI::Option *> arguments(const CLI::App &command) {
    return command.get_options([](const CLI::Option *option) { return option->get_positional(); });
}

void write_page(std::ostream &page, const CLI::App &command) {
    page << ".TH " << page_name(command) << " 1 \"\" \"oxel " << library_version() << "\"\n"
         << ".SH NAME\n"
         << roff(page_name(command)) << " \\- " << roff(command.get_description()) << "\n"
         << ".SH SYNOPSIS\n.B " << roff(full_name(command)) << "\n";
    for (const CLI::Option *option : named_options(command))
        if (option->get_required())
            page << roff(option->get_name()) << " \\fI" << roff(value_text(*option)) << "\\fR\n";
    page << (named_options(command).empty() ? "" : "[\\fIoption\\fR ...]\n");
    for (const CLI::Option *option : arguments(command))
        page << "\\fI" << roff(option->get_name(true)) << "\\fR"
             << (option->get_expected_max() > 1 ? " ..." : "") << '\n';
    const auto subcommands = subcommands_of(command);
    page << (subcommands.empty() ? "" : "\\fIcommand\\fR ...\n");
    page << ".SH OPTIONS\n";
    for (const auto &options : {arguments(command), named_options(command)})
        for (const CLI::Option *option : options)
            page << ".TP\n\\fB" << roff(option->get_name(option->get_positional(), true))
                 << "\\fR \\fI" << roff(value_text(*option)) << "\\fR\n"
                 << roff(option->get_description()) << '\n';
    if (!subcommands.empty())
        page << ".SH COMMANDS\n";
    for (const CLI::App *subcommand : subcommands)
        page << ".TP\n.BR " << roff(page_name(*subcommand)) << " (1)\n"
             << roff(subcommand->get_description()) << '\n';
    page << ".SH DESCRIPTION\n";
    write_text(page, command.get_footer());
}

void write_pages(const std::string &folder, const CLI::App &command) {
    const std::string path = folder + "/" + page_name(command) + ".1";
    std::ofstream page(path);
    write_page(page, command);
    if (!page.flush())
        throw Failure(path, "cannot be written");
    for (const CLI::App *subcommand : subcommands_of(command))
        write_pages(folder, *subcommand);
}

/// The cases of a bash function: the words that may follow each command, and each option's values.
void write_cases(std::ostream &script, const CLI::App &command) {
    std::string words;
    for (const CLI::App *subcommand : subcommands_of(command)) {
        write_cases(script, *subcommand);
        words += subcommand->get_name() + " ";
    }
    for (const CLI::Option *option : named_options(command)) {
        std::string values;
        for (const std::string &value : choices(*option))
            values += value + " ";
        for (const std::string &name : option->get_lnames())
            words += "--" + name + " ";
        if (!is_flag(*option) && !option->get_lnames().empty())
            script << "    \"" << full_name(command) << " --" << option->get_lnames().front()
                   << "\") values='" << values << "' ;;\n";
    }
    script << "    \"" << full_name(command) << "\") words='" << words << "' ;;\n";
}

void write_completion(std::ostream &script, const CLI::App &app) {
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

void write(const std::string &what, const std::string &target) {
    setenv("HOME", "~", 1); // in the defaults
    unsetenv("XDG_CONFIG_HOME");
    unsetenv("OXEL_CONFIG");
    const auto app = make_command_line();
    if (what == "man")
        return write_pages(target, *app);
    std::ofstream script(target);
    write_completion(script, *app);
    if (!script.flush())
        throw Failure(target, "cannot be written");
}

} // namespace

} // namespace oxel::tools

int main(int argc, char **argv) {
    try {
        if (argc != 3)
            throw std::invalid_argument("usage: oxel_manual man FOLDER | bash FILE");
        oxel::tools::write(argv[1], argv[2]);
        return 0;
    } catch (const std::exception &error) {
        std::cerr << "oxel_manual: " << error.what() << '\n';
        return 1;
    }
}
