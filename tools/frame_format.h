#ifndef OXEL_TOOLS_FRAME_FORMAT_H
#define OXEL_TOOLS_FRAME_FORMAT_H

#include "files.h"
#include "image_size.h"

#include <string>

namespace oxel::tools {

/// How a frame's pixels stand in its file, row after row without a header.
enum class FrameFormat {
    bytes,   // one byte a pixel, the code
    rgb,     // three bytes a pixel
    packed4, // 4 bits a pixel: the left pixel in the high half of the byte
    packed2, // 2 bits a pixel: the leftmost pixel in the two highest bits
    // Packed rows begin with a byte of their own; bits that are left at their end are 0.
};

/// The bytes of a frame's file.
std::size_t frame_bytes(FrameFormat format, ImageSize size);

/// From an image of 3 bytes a pixel, equal ones unless the format is rgb. Throws Failure that
/// blames `panel` if a code does not fit.
Bytes encode_frame(const std::string &panel, FrameFormat format, ImageSize size,
                   const Bytes &image);

/// Undoes encode_frame.
Bytes decode_frame(FrameFormat format, ImageSize size, const Bytes &frame);

} // namespace oxel::tools

#endif
