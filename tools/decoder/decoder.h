#ifndef OXEL_TOOLS_DECODER_H
#define OXEL_TOOLS_DECODER_H

#include "pictures/decoding.h"

#include <cstdint>
#include <span>

namespace oxel::tools {

/// Decodes the picture in a file, here and now, to the bytes of its light, unless its own size is
/// asked for. Throws std::runtime_error and std::bad_alloc.
PictureFacts decode_picture(int file, const Decoding &wanted, const PictureLimits &limits,
                            std::span<std::uint8_t> light);

} // namespace oxel::tools

#endif
