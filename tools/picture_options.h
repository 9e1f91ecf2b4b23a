#ifndef OXEL_TOOLS_PICTURE_OPTIONS_H
#define OXEL_TOOLS_PICTURE_OPTIONS_H

#include "library.h"
#include "panel.h"
#include "picture.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace oxel::tools {

/// How photographs become the pictures that a panel renders.
struct PictureOptions {
    std::string panel;
    std::optional<ImageSize> size; // instead of the panel's
    Framing framing;
    Adjustment adjustment;
};

/// Adds --panel, --size, --fit, --rotate, --background and the adjustments.
void add_picture_options(CLI::App &command, PictureOptions &options);

/// The part of a command's help that explains them.
extern const char *const picture_explanation;

/// A photograph as `options` want it; `size` receives the size that they ask for, the panel's, or
/// its own.
Bytes open_picture(const std::string &photo, const PictureOptions &options, const Panel &panel,
                   ImageSize &size);

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

/// The names of enum Oxel_dithering_mode, each at the place of its value.
extern const std::vector<std::string> dither_names;

} // namespace oxel::tools

#endif
