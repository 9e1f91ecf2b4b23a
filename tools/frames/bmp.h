#ifndef OXEL_TOOLS_BMP_H
#define OXEL_TOOLS_BMP_H

#include "frames/frame_format.h"

namespace oxel::tools {

/// An indexed BMP whose indices are the codes and whose palette shows them in the measured colours,
/// with 1, 4 or 8 bits a pixel as the largest code needs, the bottom row first.
Bytes encode_bmp(const FrameImage &frame);

/// The indices of any indexed BMP that is not compressed. For `size` see FrameFormatEntry.
Bytes decode_bmp(std::span<const std::uint8_t> file, const Codes &codes, ImageSize &size);

} // namespace oxel::tools

#endif
