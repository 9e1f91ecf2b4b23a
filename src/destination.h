#ifndef OXEL_DESTINATION_H
#define OXEL_DESTINATION_H

#include <cstdint>

namespace [[gnu::visibility("hidden")]] oxel {

/// The three bytes that each palette index becomes in an image, and one that nobody needs. There
/// are `count` indices; the entries behind them are 0.
struct ColourTable {
    std::uint8_t bytes[256][4];
    int count;
};

/// An image of 3 bytes a pixel that shows palette indices in some colours.
struct ColouredImage {
    std::uint8_t *pixels;
    ColourTable colours;
};

/// Where the palette indices of a picture go: as they are to a plane of one byte a pixel, and in
/// colours to images, one after the other.
struct Destination {
    std::int32_t width; // of a row, in pixels
    std::uint8_t *plane = nullptr;
    int image_count = 0;
    ColouredImage images[3] = {};
};

/// Delivers the indices of a piece of a row. The diffusion has read the picture's pixels by then
/// that belong to the piece, stand left of it, or stand in rows above: they may be written over.
void deliver(const Destination &destination, std::int32_t row, std::int32_t column,
             const std::uint8_t *indices, std::int32_t count);

} // namespace oxel

#endif
