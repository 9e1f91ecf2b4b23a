#ifndef OXEL_TOOLS_PICTURE_OPTIONS_H
#define OXEL_TOOLS_PICTURE_OPTIONS_H

#include "render/picture_settings.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace oxel::tools {

/// Adds --panel, --size, --fit, --rotate, --background, the adjustments and the limits.
void add_picture_options(CLI::App &command, PictureSettings &settings);

/// The part of a command's help that explains them.
extern const char *const picture_explanation;

// Options that several commands have.

/// Checks the name of a PNG to be written: it must not be one of another format.
std::string check_png_name(const std::string &name);

CLI::Option *add_panel_option(CLI::App &command, std::string &panel);
CLI::Option *add_size_option(CLI::App &command, std::optional<ImageSize> &size,
                             const std::string &description);

/// An option of names, which stand for the values of an enumeration from 0.
template <class Enumeration>
CLI::Option *add_choice(CLI::App &command, const std::string &name, Enumeration &value,
                        const std::vector<std::string> &names, const std::string &description) {
    const auto choose = [&value, names](const std::string &choice) {
        const auto place = std::find(names.begin(), names.end(), choice) - names.begin();
        value = static_cast<Enumeration>(place);
    };
    return command.add_option_function<std::string>(name, choose, description)
        ->check(CLI::IsMember(names))
        ->default_str(names[static_cast<std::size_t>(value)]);
}

} // namespace oxel::tools

#endif
