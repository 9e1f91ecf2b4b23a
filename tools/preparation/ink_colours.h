#ifndef OXEL_TOOLS_INK_COLOURS_H
#define OXEL_TOOLS_INK_COLOURS_H

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace oxel::tools {

/// Which colours of a picture stand for a panel's inks.
enum class Inks {
    automatic, // both
    measured,  // the inks as measured
    nominal,   // pure colours: black, white, yellow, red, green, blue, cyan, magenta, orange
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
    /// claim a pure colour the clearer one has it. One between red and yellow, beside a red and a
    /// yellow, is orange. Greys between stand for none.
    InkColours(std::span<const std::uint8_t> palette, Inks inks);

    /// The palette index of the ink that a pixel of light is exactly, or -1.
    int ink_of(const std::uint16_t *light) const {
        return reds_.empty() || !reds_[light[0]] ? -1 : known_ink_of(light);
    }

    /// The same of a pixel of bytes.
    int ink_of(const std::uint8_t *bytes) const {
        return byte_greens_[bytes[1]] ? known_ink_of(bytes) : -1;
    }

    /// The pure ones first.
    const std::vector<Colour> &colours() const { return colours_; }

  private:
    void add_pure_colours(std::span<const std::uint8_t> palette);
    void add(const std::array<std::uint8_t, 3> &bytes, std::size_t ink);
    int known_ink_of(const std::uint16_t *light) const;
    int known_ink_of(const std::uint8_t *bytes) const;

    std::vector<Colour> colours_;
    std::vector<bool> reds_;              // which first channels of light any of them has
    std::array<bool, 256> byte_greens_{}; // which second channels of bytes
};

} // namespace oxel::tools

#endif
