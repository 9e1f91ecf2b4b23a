#include "service/caption.h"

#include "base/descriptor.h"
#include "base/failure.h"
#include "pictures/picture.h"

#include <algorithm>
#include <sys/mman.h>
#include <unistd.h>

namespace oxel::tools {

namespace {

/// At most so many letters of UTF-8.
std::string shortened(const std::string &text, int letters) {
    std::size_t end = 0;
    for (int count = 0; end < text.size(); ++end)
        if ((static_cast<unsigned char>(text[end]) & 0xC0) != 0x80 && ++count > letters)
            break;
    return end < text.size() ? text.substr(0, end) + "\u2026" : text;
}

std::string escaped(const std::string &text) {
    std::string xml;
    for (const char c : text)
        xml += c == '<' ? "&lt;" : c == '&' ? "&amp;" : std::string(1, c);
    return xml;
}

} // namespace

int caption_rows(ImageSize frame) {
    return std::min(std::max(18, frame.height / 16), frame.height / 2);
}

Light draw_caption(const std::string &text, int width, int rows, const PictureLimits &limits) {
    const int letter = rows * 2 / 3; // pixels high, and about half as wide
    const std::string caption = shortened(printable(text), std::max(1, 2 * width / letter - 2));
    const std::string svg = R"(<svg xmlns="http://www.w3.org/2000/svg" width=")" +
                            std::to_string(width) + R"(" height=")" + std::to_string(rows) +
                            R"("><rect width="100%" height="100%" fill="#fff"/>)" +
                            R"(<text x="50%" y=")" + std::to_string(rows * 3 / 4) +
                            R"(" font-size=")" + std::to_string(letter) +
                            R"(" font-family="DejaVu Sans, sans-serif" text-anchor="middle">)" +
                            escaped(caption) + "</text></svg>";
    const Descriptor file(memfd_create("caption", MFD_CLOEXEC));
    if (!file || write(file.get(), svg.data(), svg.size()) != static_cast<ssize_t>(svg.size()))
        throw Failure("caption", "there is no memory to draw it");
    return load_picture("/proc/self/fd/" + std::to_string(file.get()), {width, rows},
                        {.fit = Fit::stretch, .smooth_text = false}, limits);
}

} // namespace oxel::tools
