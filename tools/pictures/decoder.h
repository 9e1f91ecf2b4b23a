#ifndef OXEL_TOOLS_DECODER_H
#define OXEL_TOOLS_DECODER_H

#include "base/image_size.h"
#include "pictures/framing.h"
#include "preparation/light.h"

#include <string>

namespace oxel::tools {

/// What is asked of a picture.
struct Decoding {
    ImageSize size; // without pixels: the picture's own size is asked for
    Framing framing;
    bool document; // whether a PDF is expected
};

struct DecodedPicture {
    ImageSize size;
    Light light; // none if its own size was asked for
};

/// Decodes the picture in a file, here and now. Throws std::runtime_error and std::bad_alloc.
DecodedPicture decode_picture(int file, const Decoding &wanted, const PictureLimits &limits);

} // namespace oxel::tools

#endif
