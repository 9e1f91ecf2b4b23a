#ifndef OXEL_TOOLS_EXACT_COLOURS_H
#define OXEL_TOOLS_EXACT_COLOURS_H

#include "preparation/light.h"

#include <algorithm>
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

    /// Whether one of them has this byte of green.
    bool have_green(std::uint8_t byte) const {
        const std::uint16_t light = light_of_byte(byte);
        const auto has_it = [light](const auto &ink) { return near(light, ink[1]); };
        return byte == 0 || byte == 255 || std::any_of(inks_.begin(), inks_.end(), has_it);
    }

    /// Whether two channels of light are the same, but for that rounding.
    static bool near(std::uint16_t channel, std::uint16_t other) {
        constexpr int rounding = 4; // a fifth of the smallest step of a byte
        const int apart = int{channel} - int{other};
        return apart <= rounding && apart >= -rounding;
    }

  private:
    std::vector<std::array<std::uint16_t, 3>> inks_; // in light
};

} // namespace oxel::tools

#endif
