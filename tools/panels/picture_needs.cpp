#include "panels/picture_needs.h"

#include "package_builder/noted_options.h"
#include "package_builder/package_file.h"

namespace oxel::tools {

Grid grid_of(std::span<const std::uint8_t> package) {
    const auto options = noted_options(package);
    return options ? grid_of(options->intent) : Grid::middles;
}

ExactColours exact_colours_of(std::span<const std::uint8_t> package) {
    const auto fields = read_package_fields(package);
    return ExactColours(fields ? package_table(package, fields->palette, 3UL * fields->colours)
                               : std::span<const std::uint8_t>());
}

} // namespace oxel::tools
