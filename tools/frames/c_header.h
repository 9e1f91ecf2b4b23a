#ifndef OXEL_TOOLS_C_HEADER_H
#define OXEL_TOOLS_C_HEADER_H

#include "frames/frame_format.h"

namespace oxel::tools {

/// A header for C99 and C++ with a constant array: packed rows of 1, 2, 4 or 8 bits a code as the
/// largest code needs. Its names come from that of the file: "my photo.h" has my_photo_frame,
/// MY_PHOTO_FRAME_WIDTH and so on.
Bytes encode_c_header(const FrameImage &frame);

/// Reads what encode_c_header writes. For `size` see FrameFormatEntry.
Bytes decode_c_header(std::span<const std::uint8_t> file, const Codes &codes, ImageSize &size);

} // namespace oxel::tools

#endif
