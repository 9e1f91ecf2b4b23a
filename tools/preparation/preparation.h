#ifndef OXEL_TOOLS_PREPARATION_H
#define OXEL_TOOLS_PREPARATION_H

#include "preparation/development.h"
#include "preparation/grid.h"
#include "preparation/preroll.h"

#include <vector>

namespace oxel::tools {

/// A picture as the library should get it: 3 bytes R, G, B a pixel, the first rows of which are to
/// be cut off what the library makes of it.
struct PreparedPicture {
    std::vector<std::uint8_t> bytes;
    ImageSize size; // with those rows
    int preroll;
};

/// Prepares a picture of 3 channels of light a pixel, which has been developed, for a panel with
/// this grid and these exact colours. `preroll` is preroll_rows(size), or 0 for renderings under
/// the power guard, whose measure must not count rows that nobody will see.
PreparedPicture prepare(std::span<const std::uint16_t> light, ImageSize size, Grid grid,
                        const ExactColours &exact, int preroll);

/// The same of a picture of 3 bytes a pixel, in less time than by way of their light.
PreparedPicture prepare(std::span<const std::uint8_t> picture, ImageSize size, Grid grid,
                        const ExactColours &exact, int preroll);

} // namespace oxel::tools

#endif
