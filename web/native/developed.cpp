#include "developed.h"

#include <algorithm>

namespace oxel::tools {

namespace {

DevelopedPicture developed_picture;

} // namespace

Development development_of(const std::int32_t *amounts) {
    return {amounts[0],
            amounts[1],
            amounts[2],
            amounts[3],
            static_cast<WhiteBalance>(amounts[4]),
            amounts[5] != 0,
            amounts[6] != 0};
}

std::span<const std::uint16_t> DevelopedPicture::light(std::span<const std::uint8_t> picture,
                                                       ImageSize size,
                                                       const Development &development,
                                                       const ExactColours &exact) {
    if (size.width == width_ && development == development_ &&
        std::equal(picture.begin(), picture.end(), picture_.begin(), picture_.end()))
        return light_;
    width_ = size.width;
    development_ = development;
    picture_.assign(picture.begin(), picture.end());
    light_.resize(picture.size());
    bytes_.clear();
    light_of_bytes(picture, light_);
    develop(light_, size, development, exact);
    return light_;
}

std::span<const std::uint8_t> DevelopedPicture::bytes(std::span<const std::uint8_t> picture,
                                                      ImageSize size,
                                                      const Development &development,
                                                      const ExactColours &exact) {
    light(picture, size, development, exact);
    if (bytes_.empty())
        bytes_ = bytes_of(light_);
    return bytes_;
}

DevelopedPicture &developed() {
    return developed_picture;
}

} // namespace oxel::tools
