// The frames' formats behind a C interface, for Python's ctypes.

#include "frames/frame_format.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <stdexcept>

using namespace oxel::tools;

extern "C" {

/// A frame's file, or a frame out of one, or the reason why there is none.
struct OxelFrame {
    const char *error; // null if there are bytes
    const std::uint8_t *bytes;
    std::size_t size;
    std::int32_t width;
    std::int32_t height;
};

/// The codes of a panel and their colours, 3 bytes a code.
struct OxelCodes {
    const std::uint8_t *codes;
    const std::uint8_t *colours;
    std::size_t count;
};

/// The name of a format; null behind the last one's.
const char *oxel_frame_format(std::size_t format);

/// `pixels` are 3 bytes a pixel.
OxelFrame *oxel_frame_encode(std::int32_t format, bool gzip, const char *name, std::int32_t width,
                             std::int32_t height, const std::uint8_t *pixels,
                             const OxelCodes *codes);

/// Width and height are 0 if the file is to tell them. The bytes are 3 a pixel.
OxelFrame *oxel_frame_decode(std::int32_t format, bool gzip, std::int32_t width,
                             std::int32_t height, const std::uint8_t *file, std::size_t size,
                             const OxelCodes *codes);

void oxel_frame_free(OxelFrame *frame);
}

namespace {

/// What an OxelFrame points at.
struct OwnedFrame : OxelFrame {
    Bytes content;
    std::string message;
};

/// `make` may change the size.
template <class Make>
OxelFrame *deliver(ImageSize size, Make make) {
    auto owned = std::make_unique<OwnedFrame>();
    try {
        owned->content = make(size);
        static_cast<OxelFrame &>(*owned) = {nullptr, owned->content.data(), owned->content.size(),
                                            size.width, size.height};
    } catch (const std::exception &error) {
        owned->message = error.what();
        owned->error = owned->message.c_str();
    }
    return owned.release();
}

Codes codes_of(const OxelCodes &table) {
    Codes codes;
    for (std::size_t i = 0; i < table.count; ++i) {
        const std::uint8_t *const rgb = table.colours + 3 * i;
        if (std::none_of(codes.begin(), codes.end(),
                         [&](const Code &known) { return known.code == table.codes[i]; }))
            codes.push_back({table.codes[i], {rgb[0], rgb[1], rgb[2]}, ""});
    }
    return codes;
}

} // namespace

const char *oxel_frame_format(std::size_t format) {
    return format < frame_formats().size() ? frame_formats()[format].name : nullptr;
}

OxelFrame *oxel_frame_encode(std::int32_t format, bool gzip, const char *name, std::int32_t width,
                             std::int32_t height, const std::uint8_t *pixels,
                             const OxelCodes *codes) {
    return deliver({width, height}, [&](ImageSize &size) {
        if (!size.supported())
            throw std::invalid_argument("frame: is empty or too large");
        const Bytes image(pixels, pixels + 3 * size.pixels());
        return encode_frame("frame", static_cast<FrameFormat>(format), gzip,
                            {size, image, codes_of(*codes), name});
    });
}

OxelFrame *oxel_frame_decode(std::int32_t format, bool gzip, std::int32_t width,
                             std::int32_t height, const std::uint8_t *file, std::size_t size,
                             const OxelCodes *codes) {
    return deliver({width, height}, [&](ImageSize &frame_size) {
        const auto chosen = static_cast<FrameFormat>(format);
        if (frame_size.pixels() == 0 && !entry_of(chosen).tells_size)
            throw std::invalid_argument("size: is needed, as the format does not tell it");
        return decode_frame("frame", chosen, gzip, {file, size}, codes_of(*codes), frame_size);
    });
}

void oxel_frame_free(OxelFrame *frame) {
    delete static_cast<OwnedFrame *>(frame);
}
