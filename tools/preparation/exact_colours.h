#ifndef OXEL_TOOLS_EXACT_COLOURS_H
#define OXEL_TOOLS_EXACT_COLOURS_H

#include "preparation/light.h"

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace oxel::tools {

/// The colours of drawings that a panel has an ink for, which must stay flat: the eight pure ones,
/// whose channels are 0 or 255, and the inks as measured.
class ExactColours {
  public:
    /// `palette` holds 3 bytes R, G, B an ink, in sRGB.
    explicit ExactColours(std::span<const std::uint8_t> palette = {});

    /// Whether a pixel of 3 channels of light is one of them, but for the rounding of a resize.
    bool hold(const std::uint16_t *light) const {
        if (!have_green(light[1])) // as in nearly all pixels of photographs
            return false;
        const auto pure = [](std::uint16_t channel) {
            return near(channel, 0) || near(channel, 65535);
        };
        if (pure(light[0]) && pure(light[1]) && pure(light[2]))
            return true;
        for (const auto &ink : inks_)
            if (near(light[0], ink[0]) && near(light[1], ink[1]) && near(light[2], ink[2]))
                return true;
        return false;
    }

    /// Whether a pixel of 3 bytes is one of them.
    bool hold(const std::uint8_t *bytes) const {
        const std::array<std::uint16_t, 3> light{light_of_byte(bytes[0]), light_of_byte(bytes[1]),
                                                 light_of_byte(bytes[2])};
        return hold(light.data());
    }

    /// Whether one of them has this light in its green, but for that rounding.
    bool have_green(std::uint16_t light) const { return greens_[light]; }

    /// Whether two channels of light are the same, but for that rounding.
    static bool near(std::uint16_t channel, std::uint16_t other) {
        const int apart = int{channel} - int{other};
        return apart <= rounding && apart >= -rounding;
    }

  private:
    static constexpr int rounding = 4; // a fifth of the smallest step of a byte

    std::vector<std::array<std::uint16_t, 3>> inks_; // in light
    std::vector<bool> greens_;                       // of each light
};

} // namespace oxel::tools

#endif
