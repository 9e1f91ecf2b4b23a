#include "preparation/preparation.h"

namespace oxel::tools {

namespace {

template <class Channel>
PreparedPicture prepared(std::span<const Channel> channels, ImageSize size, Grid grid,
                         const ExactColours &exact, int preroll) {
    PreparedPicture picture{{}, {size.width, size.height + preroll}, preroll};
    picture.bytes.resize(3 * picture.size.pixels());
    const std::span<std::uint8_t> bytes = picture.bytes;
    dither_to_grid(channels, size, grid, exact, bytes.last(3 * size.pixels()));
    mirror_above(bytes, size, preroll);
    return picture;
}

} // namespace

PreparedPicture prepare(std::span<const std::uint16_t> light, ImageSize size, Grid grid,
                        const ExactColours &exact, int preroll) {
    return prepared(light, size, grid, exact, preroll);
}

PreparedPicture prepare(std::span<const std::uint8_t> picture, ImageSize size, Grid grid,
                        const ExactColours &exact, int preroll) {
    return prepared(picture, size, grid, exact, preroll);
}

} // namespace oxel::tools
