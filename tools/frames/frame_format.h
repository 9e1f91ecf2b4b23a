#ifndef OXEL_TOOLS_FRAME_FORMAT_H
#define OXEL_TOOLS_FRAME_FORMAT_H

#include "base/files.h"
#include "base/image_size.h"

#include <optional>
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

/// What a frame's pixels say: codes of the timing controller, palette indices, pure or measured
/// colours.
enum class FrameContent { tcon, index, nominal, eo };

/// How a frame is laid out in its file.
struct FrameSettings {
    FrameContent content = FrameContent::tcon;
    FrameFormat format = FrameFormat::bytes;
    std::optional<int> layout; // instead of the panel's
};

/// Whether the format holds what the frame says: colours are not packed.
bool format_fits(const FrameSettings &settings);

/// The format of the file: colours are always three bytes.
FrameFormat file_format(const FrameSettings &settings);

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
