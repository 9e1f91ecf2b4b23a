#include "preparation/page.h"

#include <algorithm>

namespace oxel::tools {

namespace {

/// Gives each pixel of ink in a row that of the nearest one without, at its left or else its right.
/// Returns whether there is any without.
template <class Channel>
bool fill_row(std::span<const std::int16_t> inks, Channel *row) {
    const auto is_ink = [](std::int16_t ink) { return ink >= 0; };
    const auto known = std::find_if_not(inks.begin(), inks.end(), is_ink);
    if (known == inks.end())
        return false;
    const auto first = static_cast<std::size_t>(known - inks.begin());
    for (std::size_t x = first; x-- > 0;)
        std::copy_n(row + 3 * first, 3, row + 3 * x);
    for (std::size_t x = first + 1; x < inks.size(); ++x)
        if (inks[x] >= 0)
            std::copy_n(row + 3 * (x - 1), 3, row + 3 * x);
    return true;
}

/// The picture with each pixel of ink like a near one without.
template <class Channel>
std::vector<Channel> without_inks(std::span<const Channel> given, ImageSize size,
                                  const InkPlane &inks) {
    std::vector<Channel> picture(given.begin(), given.end());
    const auto width = static_cast<std::size_t>(size.width);
    const auto height = static_cast<std::size_t>(size.height);
    std::vector<bool> known(height);
    for (std::size_t y = 0; y < height; ++y)
        known[y] = fill_row(std::span(inks).subspan(y * width, width), &picture[3 * y * width]);
    const auto take = [&](std::size_t to, std::size_t from) {
        if (known[to] || !known[from])
            return;
        std::copy_n(&picture[3 * from * width], 3 * width, &picture[3 * to * width]);
        known[to] = true;
    };
    for (std::size_t y = 1; y < height; ++y)
        take(y, y - 1);
    for (std::size_t y = height - 1; y-- > 0;)
        take(y, y + 1);
    return picture;
}

template <class Channel>
std::optional<PreparedPicture> apart(std::span<const Channel> picture, ImageSize size, Grid grid,
                                     const ExactColours &exact, const InkPlane &inks, int preroll) {
    if (std::find(inks.begin(), inks.end(), beside_ink) == inks.end())
        return std::nullopt;
    return prepare(without_inks(picture, size, inks), size, grid, exact, preroll);
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
    return apart(light, size, grid, exact, inks, preroll);
}

std::optional<PreparedPicture> prepare_apart(std::span<const std::uint8_t> bytes, ImageSize size,
                                             Grid grid, const ExactColours &exact,
                                             const InkPlane &inks, int preroll) {
    return apart(bytes, size, grid, exact, inks, preroll);
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
