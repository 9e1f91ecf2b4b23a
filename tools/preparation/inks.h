#ifndef OXEL_TOOLS_INKS_H
#define OXEL_TOOLS_INKS_H

#include "base/image_size.h"

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace oxel::tools {

/// Which colours of a picture stand for a panel's inks.
enum class Inks {
    automatic, // both
    measured,  // the inks as measured
    nominal,   // pure colours: black, white, yellow, red, green, blue, cyan, magenta
    off,
};

/// The colours that stand for a panel's inks.
class InkColours {
  public:
    struct Colour {
        std::array<std::uint8_t, 3> bytes;
        std::array<std::uint16_t, 3> light;
        int ink; // palette index
    };

    /// `palette` holds 3 bytes R, G, B an ink, in sRGB. The darkest ink is black and the lightest
    /// white; another is the pure colour whose channels are high where its own are. Of two that
    /// claim a pure colour the clearer one has it. Greys between stand for none.
    InkColours(std::span<const std::uint8_t> palette, Inks inks);

    /// The palette index of the ink that a pixel of light is exactly, or -1.
    int ink_of(const std::uint16_t *light) const;

    const std::vector<Colour> &colours() const { return colours_; }

  private:
    void add(const std::array<std::uint8_t, 3> &bytes, int ink);

    std::vector<Colour> colours_;
};

/// A palette index a pixel, or -1 where the picture is to be diffused; empty if it is everywhere.
using InkPlane = std::vector<std::int16_t>;

/// Finds the flat areas of ink in a picture of 3 channels of light a pixel, at least 16 connected
/// pixels, and what belongs to them: smaller spots of ink that touch one, and the smoothed pixels
/// between two of them, which become the nearer of the two inks. Within thin strokes on one ink,
/// which may have no pixel of their own colour, a pixel takes it if it has half as much of it as the
/// most coloured one beside it.
InkPlane find_inks(std::span<const std::uint16_t> light, ImageSize size, const InkColours &colours);

} // namespace oxel::tools

#endif
