// Frames' files behind a C interface.
#include "frames/deflate.h"
#include "frames/frame_format.h"
#include "render/panel_codes.h"

#include <cstring>
#include <utility>

using namespace oxel::tools;

namespace {

Bytes result;

} // namespace

extern "C" {

const std::uint8_t *oxel_result() {
    return result.data();
}

std::size_t oxel_result_size() {
    return result.size();
}

/// The name of the format at this place, or null behind the last; its suffix; whether it also takes
/// colours.
const char *oxel_format_name(std::size_t format) {
    return format < frame_formats().size() ? frame_formats()[format].name : nullptr;
}

const char *oxel_format_suffix(std::size_t format) {
    return frame_formats()[format].suffix;
}

std::uint32_t oxel_crc(const std::uint8_t *bytes, std::size_t size) {
    return crc_of({bytes, size});
}

/// `pixels` are 3 bytes each; `content` is a FrameContent; `names` holds the names of the package's
/// colours, a line each; `name` is that of the file.
void oxel_encode_frame(std::size_t format, std::int32_t content, const std::uint8_t *pixels,
                       std::int32_t width, std::int32_t height, const std::uint8_t *package,
                       std::size_t package_size, const char *names, const char *name) {
    Panel panel;
    panel.source = "the panel";
    panel.package.assign(package, package + package_size);
    while (const char *end = std::strchr(names, '\n')) {
        panel.colour_names.emplace_back(names, end);
        names = end + 1;
    }
    const ImageSize size{width, height};
    const Bytes bytes(pixels, pixels + 3 * size.pixels());
    result = encode_frame("the frame", static_cast<FrameFormat>(format), false,
                          {size, bytes, codes_of(panel, static_cast<FrameContent>(content)), name});
}
}
