#include "preparation/page.h"

#include <algorithm>

namespace oxel::tools {

namespace {

/// The picture with each pixel of ink like a near one without.
std::vector<std::uint16_t> without_inks(std::span<const std::uint16_t> light, ImageSize size,
                                        const InkPlane &inks) {
    std::vector<std::uint16_t> picture(light.begin(), light.end());
    const auto width = static_cast<std::size_t>(size.width);
    std::vector<bool> known(inks.size());
    for (std::size_t i = 0; i < inks.size(); ++i)
        known[i] = inks[i] < 0;
    const auto take = [&](std::size_t to, bool there, std::size_t from) {
        if (!there || known[to] || !known[from])
            return;
        std::copy_n(&picture[3 * from], 3, &picture[3 * to]);
        known[to] = true;
    };
    // Along rows first, then from row to row.
    for (std::size_t i = 0; i < inks.size(); ++i)
        take(i, i % width > 0, i - 1);
    for (std::size_t i = inks.size(); i-- > 0;)
        take(i, (i + 1) % width > 0, i + 1);
    for (std::size_t i = 0; i < inks.size(); ++i)
        take(i, i >= width, i - width);
    for (std::size_t i = inks.size(); i-- > 0;)
        take(i, i + width < inks.size(), i + width);
    return picture;
}

} // namespace

Page prepare_page(std::span<const std::uint16_t> light, ImageSize size, Grid grid,
                  const ExactColours &exact, InkPlane inks, int preroll) {
    return {prepare(light, size, grid, exact, preroll),
            prepare_apart(light, size, grid, exact, inks, preroll), std::move(inks)};
}

std::optional<PreparedPicture> prepare_apart(std::span<const std::uint16_t> light, ImageSize size,
                                             Grid grid, const ExactColours &exact,
                                             const InkPlane &inks, int preroll) {
    if (std::find(inks.begin(), inks.end(), beside_ink) == inks.end())
        return std::nullopt;
    return prepare(without_inks(light, size, inks), size, grid, exact, preroll);
}

void put_together(std::span<const std::int16_t> inks, std::span<const std::uint8_t> colours,
                  std::span<const std::uint8_t> apart, std::span<std::uint8_t> rendering) {
    for (std::size_t i = 0; i < inks.size(); ++i)
        if (inks[i] >= 0)
            std::copy_n(&colours[3 * static_cast<std::size_t>(inks[i])], 3, &rendering[3 * i]);
        else if (inks[i] == beside_ink)
            std::copy_n(&apart[3 * i], 3, &rendering[3 * i]);
}

} // namespace oxel::tools
