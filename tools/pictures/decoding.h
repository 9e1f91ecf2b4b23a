#ifndef OXEL_TOOLS_DECODING_H
#define OXEL_TOOLS_DECODING_H

#include "base/image_size.h"
#include "pictures/framing.h"

#include <array>
#include <cstddef>

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

} // namespace oxel::tools

#endif
