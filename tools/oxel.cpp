#include "library.h"
#include "package_command.h"
#include "panels_command.h"
#include "render_command.h"

#include <CLI/CLI.hpp>

#include <iostream>

namespace {

enum ExitCode { done = 0, job_failed = 1, wrong_command_line = 2 };

constexpr const char *exit_codes = R"(
Exit codes: 0 done; 1 the job failed, for the reason told on the standard error; 2 wrong command
line. A failed job leaves no outputs and no changed files behind.)";

void parse_and_run(int argc, char **argv) {
    CLI::App app("Renders pictures for colour e-paper panels.", "oxel");
    app.footer(exit_codes);
    app.set_version_flag("--version", oxel::tools::library_version);
    app.require_subcommand(1);
    oxel::tools::add_render_command(app);
    oxel::tools::add_package_command(app);
    oxel::tools::add_panels_command(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success &wish) { // --help, --version
        app.exit(wish);
    }
}

int fail(ExitCode code, const std::string &reason) {
    std::cerr << "oxel: " << reason << '\n';
    return code;
}

} // namespace

int main(int argc, char **argv) {
    try {
        parse_and_run(argc, argv);
        if (!std::cout.flush())
            return fail(job_failed, "standard output: cannot be written");
        return done;
    } catch (const CLI::ParseError &error) {
        return fail(wrong_command_line, error.what() + std::string(" (see --help)"));
    } catch (const std::bad_alloc &) {
        return fail(job_failed, "out of memory");
    } catch (const std::exception &error) {
        return fail(job_failed, error.what());
    }
}
