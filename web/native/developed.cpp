#include "developed.h"

#include "same_bytes.h"

namespace oxel::tools {

Development development_of(const std::int32_t *amounts) {
    return {amounts[0],
            amounts[1],
            amounts[2],
            amounts[3],
            static_cast<WhiteBalance>(amounts[4]),
            amounts[5] != 0,
            amounts[6] != 0};
}

bool DevelopedPicture::holds(std::span<const std::uint8_t> picture, ImageSize size) const {
    return size.width == width_ && same_bytes(picture, picture_);
}

std::span<const std::uint16_t> DevelopedPicture::light(std::span<const std::uint8_t> picture,
                                                       ImageSize size,
                                                       const Development &development,
                                                       const ExactColours &exact) {
    const bool held = holds(picture, size);
    if (held && development == development_)
        return light_;
    development_ = development;
    bytes_.clear();
    light_.resize(picture.size());
    if (!held) {
        width_ = size.width;
        picture_.assign(picture.begin(), picture.end());
        developer_.reset();
    }
    if (!developer_ || !expects_changes_)
        light_of_bytes(picture, light_);
    if (!expects_changes_) {
        develop(light_, size, development, exact);
        return light_;
    }
    if (!developer_)
        developer_.emplace(light_, size);
    developer_->develop(development, exact, light_);
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

} // namespace oxel::tools
