#include "preparation/preroll.h"

#include <algorithm>

namespace oxel::tools {

int preroll_rows(ImageSize size) {
    constexpr std::int32_t rows = 128; // on two colours 64 leave half a step of lightness
    const bool fits = size.supported() && size.height <= INT32_MAX - rows &&
                      ImageSize{size.width, size.height + rows}.supported();
    return fits ? rows : 0;
}

void mirror_above(std::span<std::uint8_t> bytes, ImageSize picture, int rows) {
    const auto row_bytes = 3 * static_cast<std::size_t>(picture.width);
    const auto row = [&](int y) { return bytes.subspan(std::size_t(y) * row_bytes, row_bytes); };
    for (int above = 0; above < rows; ++above) {
        // Down and up again in pictures of few rows.
        const int place = above % (2 * picture.height);
        const int y = std::min(place, 2 * picture.height - 1 - place);
        const auto from = row(rows + y);
        std::copy(from.begin(), from.end(), row(rows - 1 - above).begin());
    }
}

} // namespace oxel::tools
