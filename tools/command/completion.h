#ifndef OXEL_TOOLS_COMPLETION_H
#define OXEL_TOOLS_COMPLETION_H

#include <CLI/CLI.hpp>

#include <iosfwd>

namespace oxel::tools {

// Scripts that complete the command line in a shell: commands, options, and the values of choices.

void write_bash_completion(std::ostream &script, const CLI::App &app);
void write_zsh_completion(std::ostream &script, const CLI::App &app);
void write_fish_completion(std::ostream &script, const CLI::App &app);

} // namespace oxel::tools

#endif
