// Writes the man page of each command, or the completion for a shell, from the command line itself:
//
//   oxel_manual man FOLDER     writes oxel.1, oxel-render.1, ...
//   oxel_manual bash|zsh|fish FILE

#include "base/failure.h"
#include "command/command_line.h"
#include "command/command_tree.h"
#include "command/completion.h"
#include "render/library.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iostream>
#include <sstream>

namespace oxel::tools {

namespace {

std::string page_name(const CLI::App &command) {
    std::string name = full_name(command);
    std::replace(name.begin(), name.end(), ' ', '-');
    return name;
}

/// The day of SOURCE_DATE_EPOCH, or else that of the library's version, so that each build of a
/// version writes the same pages.
std::string date() {
    if (const char *const epoch = std::getenv("SOURCE_DATE_EPOCH")) {
        const std::time_t seconds = std::strtoll(epoch, nullptr, 10);
        char text[16];
        std::strftime(text, sizeof text, "%Y-%m-%d", std::gmtime(&seconds));
        return text;
    }
    const std::string log = library_log(); // "v2.2.1 (2025-01-31):"
    return log.substr(log.rfind(" (") + 2, 10);
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
        } else {
            start(line.starts_with("  "));
            page << roff(indented ? line.substr(2) : line) << '\n';
        }
    }
    if (indented)
        page << ".RE\n.fi\n";
}

/// What a help says below the options, in the parts that are sections of a page.
struct Footer {
    std::string description;
    std::string exit_codes;
    std::string examples;
};

Footer footer_of(const CLI::App &command) {
    Footer footer;
    std::istringstream lines(command.get_footer());
    std::string *part = &footer.description;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("Exit codes: ")) {
            part = &footer.exit_codes;
            line.erase(0, std::string("Exit codes: ").size());
        } else if (line == "Examples:" || line == "Example:") {
            part = &footer.examples;
            continue;
        }
        *part += line + "\n";
    }
    return footer;
}

void write_section(std::ostream &page, const char *title, const std::string &text) {
    if (text.empty())
        return;
    page << ".SH " << title << '\n';
    write_text(page, text);
}

void write_options(std::ostream &page, const CLI::App &command) {
    page << ".SH OPTIONS\n";
    for (const auto &options : {arguments_of(command), options_of(command)})
        for (const CLI::Option *option : options)
            page << ".TP\n\\fB" << roff(option->get_name(option->get_positional(), true))
                 << "\\fR \\fI" << roff(value_text(*option)) << "\\fR\n"
                 << roff(option->get_description()) << '\n';
    const auto commands = commands_of(command);
    if (!commands.empty())
        page << ".SH COMMANDS\n";
    for (const CLI::App *each : commands)
        page << ".TP\n.BR " << roff(page_name(*each)) << " (1)\n"
             << roff(each->get_description()) << '\n';
}

void write_environment(std::ostream &page, const CLI::App &command) {
    page << ".SH ENVIRONMENT\n";
    for (const CLI::Option *option : options_of(command))
        if (!option->get_envname().empty())
            page << ".TP\n.B " << option->get_envname() << "\nThe default of \\fB\\-\\-"
                 << roff(long_name(*option)) << "\\fR.\n";
    page << ".TP\n.B OXEL_CONFIG\nThe configuration file, instead of "
            "\\fI$XDG_CONFIG_HOME/oxel.toml\\fR or \\fI~/.config/oxel.toml\\fR.\n"
            ".SH FILES\n.TP\n.I ~/.config/oxel.toml\nDefaults of options, a section for each "
            "command; see\n.BR oxel (1).\n"
            ".TP\n.I FRAME.oxel\\-partN\nAn output while it is written; it takes its name when it "
            "is whole.\n";
    if (command.get_name() == "render")
        page
            << ".TP\n.I .oxel\\-render.json\nBeside the frames of a batch: how they were made, for "
               "\\fB\\-\\-resume\\fR.\n";
}

/// The command above, those beside it and those below.
void write_see_also(std::ostream &page, const CLI::App &command) {
    std::vector<const CLI::App *> others = commands_of(command);
    if (const CLI::App *const parent = command.get_parent()) {
        others.push_back(parent);
        for (const CLI::App *each : commands_of(*parent))
            if (each != &command)
                others.push_back(each);
    }
    page << ".SH SEE ALSO\n";
    for (const CLI::App *each : others)
        page << ".BR " << roff(page_name(*each)) << " (1)" << (each == others.back() ? "" : ",")
             << '\n';
}

void write_page(std::ostream &page, const CLI::App &command, const std::string &exit_codes) {
    page << ".TH " << page_name(command) << " 1 " << date() << " \"oxel " << library_version()
         << "\"\n"
         << ".SH NAME\n"
         << roff(page_name(command)) << " \\- " << roff(command.get_description()) << "\n"
         << ".SH SYNOPSIS\n.B " << roff(full_name(command)) << "\n";
    for (const CLI::Option *option : options_of(command))
        if (option->get_required())
            page << roff(option->get_name()) << " \\fI" << roff(value_text(*option)) << "\\fR\n";
    page << (options_of(command).empty() ? "" : "[\\fIoption\\fR ...]\n");
    for (const CLI::Option *option : arguments_of(command))
        page << "\\fI" << roff(option->get_name(true)) << "\\fR"
             << (option->get_expected_max() > 1 ? " ..." : "") << '\n';
    page << (commands_of(command).empty() ? "" : "\\fIcommand\\fR ...\n");
    const Footer footer = footer_of(command);
    write_section(page, "DESCRIPTION", footer.description);
    write_options(page, command);
    write_section(page, "EXIT STATUS", exit_codes);
    write_environment(page, command);
    write_section(page, "EXAMPLES", footer.examples);
    write_see_also(page, command);
}

void write_pages(const std::string &folder, const CLI::App &command,
                 const std::string &exit_codes) {
    const std::string path = folder + "/" + page_name(command) + ".1";
    std::ofstream page(path);
    write_page(page, command, exit_codes);
    if (!page.flush())
        throw Failure(path, "cannot be written");
    for (const CLI::App *each : commands_of(command))
        write_pages(folder, *each, exit_codes);
}

void write(const std::string &what, const std::string &target) {
    setenv("HOME", "~", 1); // in the defaults
    unsetenv("XDG_CONFIG_HOME");
    unsetenv("OXEL_CONFIG");
    const auto app = make_command_line();
    if (what == "man")
        return write_pages(target, *app, footer_of(*app).exit_codes);
    std::ofstream script(target);
    if (what == "zsh")
        write_zsh_completion(script, *app);
    else if (what == "fish")
        write_fish_completion(script, *app);
    else
        write_bash_completion(script, *app);
    if (!script.flush())
        throw Failure(target, "cannot be written");
}

} // namespace

} // namespace oxel::tools

int main(int argc, char **argv) {
    try {
        if (argc != 3)
            throw std::invalid_argument("usage: oxel_manual man FOLDER | bash|zsh|fish FILE");
        oxel::tools::write(argv[1], argv[2]);
        return 0;
    } catch (const std::exception &error) {
        std::cerr << "oxel_manual: " << error.what() << '\n';
        return 1;
    }
}
