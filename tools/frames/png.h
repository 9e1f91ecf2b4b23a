#ifndef OXEL_TOOLS_PNG_H
#define OXEL_TOOLS_PNG_H

#include "frames/frame_format.h"

namespace oxel::tools {

/// An indexed PNG (ISO/IEC 15948) whose indices are the codes and whose palette shows them in the
/// measured colours, with 1, 2, 4 or 8 bits a pixel as the largest code needs.
Bytes encode_png_frame(const FrameImage &frame);

/// The indices of any indexed PNG that is not interlaced. For `size` see FrameFormatEntry.
Bytes decode_png_frame(std::span<const std::uint8_t> file, const Codes &codes, ImageSize &size);

} // namespace oxel::tools

#endif
