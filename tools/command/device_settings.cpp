#include "command/device_settings.h"

#include "base/suggestion.h"
#include "command/command_tree.h"
#include "command/frame_options.h"
#include "command/render_options.h"

#include <CLI/CLI.hpp>

#include <stdexcept>

namespace oxel::tools {

RenderSettings
read_device_settings(const std::vector<std::pair<std::string, std::string>> &settings) {
    RenderSettings read;
    CLI::App command;
    command.set_help_flag();
    add_render_options(command, read);
    std::vector<std::string> names;
    for (const CLI::Option *option : options_of(command))
        names.push_back(long_name(*option));
    std::vector<std::string> words;
    for (const auto &[name, value] : settings) {
        if (std::find(names.begin(), names.end(), name) == names.end())
            throw std::runtime_error("unknown key " + name + suggestion(name, names));
        words.insert(words.begin(), "--" + name + "=" + value); // CLI11 takes the last first
    }
    try {
        command.parse(words);
        check_render_options(read);
        read.frame = settle_frame_options(read.frame, "");
    } catch (const CLI::ParseError &error) {
        const std::string message = error.what();
        throw std::runtime_error(message.starts_with("--") ? message.substr(2) : message);
    }
    return read;
}

} // namespace oxel::tools
