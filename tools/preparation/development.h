#ifndef OXEL_TOOLS_DEVELOPMENT_H
#define OXEL_TOOLS_DEVELOPMENT_H

#include "base/image_size.h"
#include "preparation/exact_colours.h"

#include <cstdint>
#include <span>

namespace oxel::tools {

enum class WhiteBalance {
    none,
    automatic, // shades of grey: Finlayson and Trezzi, 2004, with the sixth power
    grey,      // grey world: Buchsbaum, 1980
};

/// What a photographer does to a picture before it is printed. Amounts are hundredths.
struct Development {
    int clarity = 0;    // -100 to 100: contrast of what is some 15 pixels large
    int sharpen = 0;    // 0 to 200: contrast of the finest detail
    int shadows = 0;    // -100 to 100: above 0 lightens what is dark, without its surroundings
    int highlights = 0; // -100 to 100: below 0 darkens what is light
    WhiteBalance white_balance = WhiteBalance::none;
    bool auto_levels = false; // stretches the light: 1 in 200 pixels black, 1 in 200 white
    bool monochrome = false;

    bool operator==(const Development &) const = default;
};

/// Develops a picture of 3 channels of light a pixel in place: the white balance and the levels in
/// linear light, the rest in CIE lightness, which keeps hues. Clarity, sharpening, shadows and
/// highlights leave exact colours as they are.
void develop(std::span<std::uint16_t> light, ImageSize size, const Development &amounts,
             const ExactColours &exact);

} // namespace oxel::tools

#endif
