#ifndef OXEL_TOOLS_DEVELOPMENT_H
#define OXEL_TOOLS_DEVELOPMENT_H

#include "base/image_size.h"
#include "preparation/blur.h"
#include "preparation/exact_colours.h"
#include "preparation/light.h"

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

/// What developing must know of a picture's lightness, whatever the amounts; each is worked out
/// when it is needed first.
struct LightnessPlanes {
    Plane lightness;
    Plane base;   // without detail, but with its edges
    Plane coarse; // what clarity compares with
    Plane fine;   // what sharpening compares with
};

/// Develops one picture by different amounts, and works out once what does not depend on them.
class Developer {
  public:
    Developer(Light picture, ImageSize size);

    /// As develop does. `developed` receives as many channels.
    void develop(const Development &amounts, const ExactColours &exact,
                 std::span<std::uint16_t> developed);

  private:
    Light picture_;
    ImageSize size_;
    Development balanced_for_; // of which the white balance and the levels count
    Light balanced_;
    LightnessPlanes planes_; // of that
};

} // namespace oxel::tools

#endif
