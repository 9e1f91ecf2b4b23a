#include "panels/table_lookup.h"

#include "package_builder/package_file.h"

namespace oxel::tools {

namespace {

constexpr std::size_t cells = std::size_t{64} * 64 * 64;

std::size_t cell_at(const std::uint8_t *rgb) {
    return static_cast<std::size_t>((rgb[0] >> 2) * 4096 + (rgb[1] >> 2) * 64 + (rgb[2] >> 2));
}

} // namespace

bool look_up(std::span<const std::uint8_t> package, std::span<const std::uint8_t> rgb,
             std::span<std::uint8_t> indices) {
    const auto fields = read_package_fields(package);
    if (!fields)
        return false;
    const auto gamut = package_table(package, fields->gamut, 3 * cells);
    const auto quantisation = package_table(package, fields->quantisation, cells);
    const bool whole = !gamut.empty() && !quantisation.empty() &&
                       !package_table(package, fields->palette, 3UL * fields->colours).empty() &&
                       !package_table(package, fields->tcon, fields->colours).empty();
    if (!whole)
        return false;
    for (std::size_t i = 0; i < indices.size(); ++i) {
        indices[i] = quantisation[cell_at(&gamut[3 * cell_at(&rgb[3 * i])])];
        if (indices[i] >= fields->colours)
            return false;
    }
    return true;
}

} // namespace oxel::tools
