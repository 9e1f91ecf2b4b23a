#ifndef OXEL_TOOLS_DECODER_H
#define OXEL_TOOLS_DECODER_H

#include "base/image_size.h"
#include "pictures/framing.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace oxel::tools {

constexpr std::size_t bytes_a_pixel = 6; // 3 channels of light

/// What is asked of a picture.
struct Decoding {
    ImageSize size; // without pixels: the picture's own size is asked for
    Framing framing;
    bool document; // whether a PDF is expected
};

/// What is told of a picture.
struct PictureFacts {
    ImageSize size;             // the decoded picture's, or its own if that is asked for
    std::array<char, 11> taken; // "2019-07-03", as EXIF says; "" if nobody does
};

/// Decodes the picture in a file, here and now, to the bytes of its light, unless its own size is
/// asked for. Throws std::runtime_error and std::bad_alloc.
PictureFacts decode_picture(int file, const Decoding &wanted, const PictureLimits &limits,
                            std::span<std::uint8_t> light);

} // namespace oxel::tools

#endif
