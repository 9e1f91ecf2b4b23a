#ifndef OXEL_WEB_DEVELOPED_H
#define OXEL_WEB_DEVELOPED_H

#include "preparation/development.h"
#include "preparation/light.h"

#include <cstdint>
#include <optional>
#include <span>

namespace oxel::tools {

/// `amounts` are those of struct Development, in its order.
Development development_of(const std::int32_t *amounts);

/// A picture of 3 bytes a pixel, developed. It is kept, as long as the same picture is asked for
/// with the same amounts: while only adjustments change, it need not be developed again. An
/// instance has one panel, and so always the same exact colours.
class DevelopedPicture {
  public:
    std::span<const std::uint16_t> light(std::span<const std::uint8_t> picture, ImageSize size,
                                         const Development &development, const ExactColours &exact);

    /// Rounded.
    std::span<const std::uint8_t> bytes(std::span<const std::uint8_t> picture, ImageSize size,
                                        const Development &development, const ExactColours &exact);

    /// From now on also keeps what does not depend on the amounts, for whoever changes them
    /// quickly.
    void expect_changes() { expects_changes_ = true; }

  private:
    bool holds(std::span<const std::uint8_t> picture, ImageSize size) const;

    bool expects_changes_ = false;
    std::int32_t width_ = 0;
    Development development_;
    std::vector<std::uint8_t> picture_;
    std::optional<Developer> developer_;
    Light light_;
    std::vector<std::uint8_t> bytes_; // empty until they are asked for
};

} // namespace oxel::tools

#endif
