#ifndef OXEL_WEB_DEVELOPED_H
#define OXEL_WEB_DEVELOPED_H

#include "preparation/development.h"
#include "preparation/light.h"

#include <cstdint>
#include <span>

namespace oxel::tools {

/// `amounts` are those of struct Development, in its order.
Development development_of(const std::int32_t *amounts);

/// A picture of 3 bytes a pixel, developed. It is kept, as long as the same picture is asked for
/// with the same amounts: while only adjustments change, it need not be developed again.
class DevelopedPicture {
  public:
    std::span<const std::uint16_t> light(std::span<const std::uint8_t> picture, ImageSize size,
                                         const Development &development, const ExactColours &exact);

    /// Rounded.
    std::span<const std::uint8_t> bytes(std::span<const std::uint8_t> picture, ImageSize size,
                                        const Development &development, const ExactColours &exact);

  private:
    std::int32_t width_ = 0;
    Development development_;
    std::vector<std::uint8_t> picture_;
    Light light_;
    std::vector<std::uint8_t> bytes_; // empty until they are asked for
};

/// The one of this instance, which has one panel, and so always the same exact colours.
DevelopedPicture &developed();

} // namespace oxel::tools

#endif
