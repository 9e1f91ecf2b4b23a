#ifndef OXEL_TOOLS_PNG_H
#define OXEL_TOOLS_PNG_H

#include "frames/frame_format.h"

#include <optional>

namespace oxel::tools {

/// An indexed PNG (ISO/IEC 15948) whose indices are the codes and whose palette shows them in the
/// measured colours, with 1, 2, 4 or 8 bits a pixel as the largest code needs.
Bytes encode_png_frame(const FrameImage &frame);

/// An indexed PNG of a picture, 3 bytes a pixel. Nothing if it has more than 256 colours.
std::optional<Bytes> encode_png_of_few_colours(const Bytes &rgb, ImageSize size);

/// The indices of any indexed PNG that is not interlaced. For `size` see FrameFormatEntry.
Bytes decode_png_frame(std::span<const std::uint8_t> file, const Codes &codes, ImageSize &size);

} // namespace oxel::tools

#endif
