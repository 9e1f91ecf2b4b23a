#include "panels/picture_needs.h"

#include "package_builder/noted_options.h"
#include "package_builder/package_file.h"

namespace oxel::tools {

namespace {

/// 3 bytes an ink, or nothing if the package does not hold them all.
std::span<const std::uint8_t> palette_of(std::span<const std::uint8_t> package) {
    const auto fields = read_package_fields(package);
    return fields ? package_table(package, fields->palette, 3UL * fields->colours)
                  : std::span<const std::uint8_t>();
}

} // namespace

Grid grid_of(std::span<const std::uint8_t> package) {
    const auto options = noted_options(package);
    return options ? grid_of(options->intent) : Grid::middles;
}

ExactColours exact_colours_of(std::span<const std::uint8_t> package) {
    return ExactColours(palette_of(package));
}

InkColours ink_colours_of(std::span<const std::uint8_t> package, Inks inks) {
    return InkColours(palette_of(package), inks);
}

} // namespace oxel::tools
