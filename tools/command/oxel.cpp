#include "base/failure.h"
#include "base/files.h"
#include "command/command_line.h"

#include <iostream>

namespace {

enum ExitCode { done = 0, job_failed = 1, wrong_command_line = 2 };

int fail(ExitCode code, const std::string &reason) {
    std::cerr << "oxel: " << oxel::tools::printable(reason) << '\n';
    return code;
}

void parse_and_run(int argc, char **argv) {
    const auto app = oxel::tools::make_command_line();
    try {
        app->parse(argc, argv);
    } catch (const CLI::Success &wish) { // --help, --version
        app->exit(wish);
    } catch (const CLI::ParseError &error) {
        if (oxel::tools::asks_for_help(*app)) { // which is wanted most when something is wrong
            std::cout << oxel::tools::help_text(*app);
        } else {
            std::cout << oxel::tools::missing_commands(*app) << std::flush;
            throw std::invalid_argument(oxel::tools::explain(*app, error));
        }
    }
}

} // namespace

int main(int argc, char **argv) {
    try {
        oxel::tools::remove_temporaries_when_interrupted();
        parse_and_run(argc, argv);
        oxel::tools::sync_folders();
        if (!std::cout.flush())
            return fail(job_failed, "standard output: cannot be written");
        return done;
    } catch (const std::invalid_argument &error) {
        return fail(wrong_command_line, error.what() + std::string(" (see --help)"));
    } catch (const CLI::ParseError &error) {
        return fail(wrong_command_line, error.what());
    } catch (const std::bad_alloc &) {
        return fail(job_failed, "out of memory");
    } catch (const std::exception &error) {
        return fail(job_failed, error.what());
    }
}
