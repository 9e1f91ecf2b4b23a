#ifndef OXEL_TOOLS_FRAME_FORMAT_H
#define OXEL_TOOLS_FRAME_FORMAT_H

#include "base/bytes.h"
#include "base/image_size.h"
#include "frames/codes.h"

#include <optional>
#include <span>
#include <string>

namespace oxel::tools {

// The files that a panel's device takes. Everything in this room but deflate.cpp needs the C++
// standard library alone.

/// The forms of a frame's file, in the order of frame_formats.
enum class FrameFormat { bytes, rgb, packed4, packed2, packed1, planes1, png, bmp, c };

/// What a frame's pixels say: codes of the timing controller, palette indices, pure or measured
/// colours.
enum class FrameContent { tcon, index, nominal, eo };

/// A frame before it is written.
struct FrameImage {
    ImageSize size;
    const Bytes &pixels; // 3 bytes a pixel: R, G, B, or the code three times
    const Codes &codes;  // of the panel; not used for colours
    std::string name;    // of the file, for formats that name what they hold
};

/// One of the forms. `encode` and `decode` throw std::runtime_error that tells what is wrong with
/// the frame.
struct FrameFormatEntry {
    const char *name;
    const char *suffix;      // of files of this form
    int bits;                // of a code; 0: as many as the panel's largest code needs
    bool holds_colours;      // also takes R, G, B
    bool tells_size;         // its file has a header; that of the others is nothing but pixels
    const char *explanation; // for people
    Bytes (*encode)(const FrameImage &frame);
    /// `size` is the size that the frame must have; formats that tell it set it where it is 0 x 0.
    Bytes (*decode)(std::span<const std::uint8_t> file, const Codes &codes, ImageSize &size);
};

std::span<const FrameFormatEntry> frame_formats();
const FrameFormatEntry &entry_of(FrameFormat format);

/// How a frame is laid out in its file.
struct FrameSettings {
    FrameContent content = FrameContent::tcon;
    std::optional<FrameFormat> format; // bytes, if nobody says
    bool gzip = false;
    std::optional<int> layout; // instead of the panel's
};

bool holds_codes(FrameContent content);

/// The format of the file: colours are always three bytes.
FrameFormat file_format(const FrameSettings &settings);

/// What the end of a file's name says.
struct FrameName {
    std::optional<FrameFormat> format; // of those that tell their size
    bool gzip;
};
FrameName parse_frame_name(const std::string &path);

/// The suffix of the files of a batch: ".bin", ".png.gz", ...
std::string frame_suffix(const FrameSettings &settings);

/// The frame's file, compressed if `gzip`. Throws Failure that blames `source` if a code does not
/// fit.
Bytes encode_frame(const std::string &source, FrameFormat format, bool gzip,
                   const FrameImage &frame);

/// Undoes encode_frame: 3 bytes a pixel. A `size` of 0 x 0 becomes that which the file tells; any
/// other is the one that the frame must have. Throws Failure that blames `source`.
Bytes decode_frame(const std::string &source, FrameFormat format, bool gzip,
                   std::span<const std::uint8_t> file, const Codes &codes, ImageSize &size);

} // namespace oxel::tools

#endif
