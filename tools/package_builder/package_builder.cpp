#include "package_builder/package_builder.h"

#include "package_builder/convex_hull.h"
#include "package_builder/package_file.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace oxel::tools {

namespace {

/// Calls `f` with the channels' steps (0 to 63) of every cell in the order of the tables.
template <class F>
void for_each_cell(F f) {
    for (int red = 0; red < 64; ++red)
        for (int green = 0; green < 64; ++green)
            for (int blue = 0; blue < 64; ++blue)
                f(red, green, blue);
}

/// A tone scale from ink black to paper white: pure white becomes the paper's white, and greys stay
/// on the line between the two. Between the ends it is darker than a straight one, because the eye
/// averages light, and dots look lighter than the average of their bytes. The exponent was chosen
/// by looking at photographs.
class PaperRange {
  public:
    explicit PaperRange(const std::vector<RgbBytes> &palette) {
        const auto [darkest, lightest] = std::minmax_element(
            palette.begin(), palette.end(), [](const RgbBytes &a, const RgbBytes &b) {
                return lab_from_srgb(to_vector(a))[0] < lab_from_srgb(to_vector(b))[0];
            });
        black_ = to_vector(*darkest);
        white_ = to_vector(*lightest);
    }

    double scale(std::size_t channel, int step) const {
        const double tone = step / 63.0;
        return black_[channel] + tone * std::sqrt(tone) * (white_[channel] - black_[channel]);
    }

  private:
    Vector3 black_;
    Vector3 white_;
};

/// What a Floyd-Steinberg diffusion loses of each channel of a pixel, about, as it rounds every
/// share of an error down. Given in advance, it keeps tones true, and keeps the errors of dark
/// detail from spreading over white paper as a pattern of dots.
constexpr double rounding_loss = 2;

/// Colours are clipped in sRGB because the diffusion keeps averages of its bytes.
std::vector<std::uint8_t> gamut_table(const std::vector<RgbBytes> &palette) {
    const PaperRange range(palette);
    const ConvexHull hull(palette);
    std::vector<std::uint8_t> table;
    table.reserve(3 * package_cells);
    for_each_cell([&](int red, int green, int blue) {
        Vector3 mapped =
            hull.nearest({range.scale(0, red), range.scale(1, green), range.scale(2, blue)});
        for (double &channel : mapped)
            channel += rounding_loss;
        const RgbBytes bytes = to_bytes(mapped);
        table.insert(table.end(), bytes.begin(), bytes.end());
    });
    return table;
}

/// The palette index nearest to the centre of each cell. Nearest in sRGB again: in the space that
/// the diffusion works in, no error can run away, and it mixes greys from inks of like lightness
/// where L*a*b* would have it sprinkle black and white, which shows as grain.
std::vector<std::uint8_t> quantisation_table(const std::vector<RgbBytes> &palette) {
    const auto doubled_offset = [](int step, int channel) { return 8 * step + 3 - 2 * channel; };
    std::vector<std::uint8_t> table;
    table.reserve(package_cells);
    for_each_cell([&](int red, int green, int blue) {
        const auto distance = [&](const RgbBytes &rgb) {
            const int r = doubled_offset(red, rgb[0]);
            const int g = doubled_offset(green, rgb[1]);
            const int b = doubled_offset(blue, rgb[2]);
            return r * r + g * g + b * b;
        };
        const auto nearest = std::min_element(palette.begin(), palette.end(),
                                              [&](const RgbBytes &one, const RgbBytes &other) {
                                                  return distance(one) < distance(other);
                                              });
        table.push_back(static_cast<std::uint8_t>(nearest - palette.begin()));
    });
    return table;
}

} // namespace

std::vector<std::uint8_t> build_package(const std::vector<PanelColour> &colours) {
    std::vector<RgbBytes> palette;
    std::vector<std::uint8_t> palette_bytes;
    std::vector<std::uint8_t> tcon;
    for (const PanelColour &colour : colours) {
        palette.push_back(colour.rgb);
        palette_bytes.insert(palette_bytes.end(), colour.rgb.begin(), colour.rgb.end());
        tcon.push_back(colour.tcon);
    }
    return write_package(palette_bytes, tcon, gamut_table(palette), quantisation_table(palette));
}

} // namespace oxel::tools
