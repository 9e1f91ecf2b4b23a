#ifndef OXEL_TOOLS_PAGE_H
#define OXEL_TOOLS_PAGE_H

#include "preparation/inks.h"
#include "preparation/preparation.h"

namespace oxel::tools {

/// A rectangle of a picture that is rendered by itself.
struct PageRegion {
    int x;
    int y;
    PreparedPicture picture;
};

/// A picture in which some pixels have their ink already.
struct Page {
    ImageSize size;
    InkPlane inks;
    std::vector<PageRegion> regions; // which hold all other pixels, and do not overlap
};

/// Prepares a picture of 3 channels of light a pixel. What is not ink is divided into rectangles
/// that lie apart, each of which is rendered as a picture of its own: so no error passes from one
/// to another, nor from an ink. In a rectangle, pixels of ink continue what is beside them.
Page prepare_page(std::span<const std::uint16_t> light, ImageSize size, Grid grid,
                  const ExactColours &exact, InkPlane inks);

} // namespace oxel::tools

#endif
