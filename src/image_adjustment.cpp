#include "Oxel_Morvel6_render.h"
#include "image_size.h"
#include "numeric_helpers.h"

#include <cstddef>
#include <cstdint>

#include "exact_double.h"

namespace [[gnu::visibility("hidden")]] oxel {

namespace {

struct Hsl {
    double hue; // degrees, 0 to 360
    double saturation;
    double lightness;
};

double lesser(double a, double b) {
    return a < b ? a : b;
}

/// Of channels from 0 to 255. Greys have hue and saturation 0.
Hsl to_hsl(double r, double g, double b) {
    const bool red = r >= g && r >= b;
    const bool green = !red && g >= b && g >= r;
    const double max = red ? r : green ? g : b;
    const double min = red ? lesser(g, b) : green ? lesser(r, b) : lesser(r, g);
    const double delta = max - min;
    const double sum = min + max;

    Hsl hsl{0.0, 0.0, sum * 0.5 / 255.0};
    if (delta == 0.0)
        return hsl;
    if (red)
        hsl.hue = static_cast<int>((g - b) * 60.0 / delta + 360.0) % 360;
    else if (green)
        hsl.hue = (b - r) * 60.0 / delta + 120.0;
    else
        hsl.hue = (r - g) * 60.0 / delta + 240.0;
    hsl.saturation = sum <= 255.0 ? delta / sum : delta / 255.0 / (2.0 - sum / 255.0);
    return hsl;
}

/// The four amounts, as the formulas take them.
struct Adjustment {
    std::int32_t hue;
    double saturation;
    double contrast_factor;
    double contrast_offset;
    double brightness;

    Hsl apply(Hsl hsl) const;
};

double clamp_to_unit(double x) {
    return x < 0.0 ? 0.0 : x > 1.0 ? 1.0 : x;
}

Hsl Adjustment::apply(Hsl hsl) const {
    constexpr double least_saturation = 0.1; // below it a hue is mostly noise
    const auto degrees = static_cast<std::int64_t>(hsl.hue + hue) % 360;
    hsl.hue = static_cast<double>(degrees < 0 ? degrees + 360 : degrees);
    if (hsl.saturation >= least_saturation)
        hsl.saturation = clamp_to_unit(hsl.saturation + saturation);
    hsl.lightness = clamp_to_unit(hsl.lightness * contrast_factor - contrast_offset + brightness);
    return hsl;
}

/// The levels between which a colour's channels lie.
struct Levels {
    double lower;
    double upper;

    explicit Levels(const Hsl &hsl)
        : lower(0.0), upper(hsl.lightness < 0.5
                                ? (hsl.saturation + 1.0) * hsl.lightness
                                : hsl.saturation + hsl.lightness - hsl.lightness * hsl.saturation) {
        lower = hsl.lightness + hsl.lightness - upper;
    }

    /// The byte of the channel at a position on the hue circle, which is 1 around.
    std::uint8_t channel(double position) const {
        return static_cast<std::uint8_t>(static_cast<int>(level(wrap(position)) * 255.0));
    }

  private:
    static double wrap(double position) {
        return position < 0.0 ? position + 1.0 : position > 1.0 ? position - 1.0 : position;
    }

    double level(double position) const {
        constexpr double one_sixth = 1.0 / 6.0;
        constexpr double two_thirds = 2.0 / 3.0;
        const double slope = (upper - lower) * 6.0;
        if (position < one_sixth)
            return clamp_to_unit(slope * position + lower);
        if (position < 0.5)
            return upper;
        if (position < two_thirds)
            return slope * (two_thirds - position) + lower;
        return lower;
    }
};

/// The gamma curve, worked out for the bytes that occur: each costs a power.
class GammaCurve {
  public:
    explicit GammaCurve(double gamma) : gamma_(gamma) {}

    std::uint8_t operator()(std::uint8_t byte) {
        if (gamma_ == 1.0)
            return byte;
        if (!known_[byte]) {
            const double power = my_pow(byte / 255.0, gamma_) * 255.0;
            curve_[byte] = truncates_to_int32(power)
                               ? static_cast<std::uint8_t>(static_cast<std::int32_t>(power))
                               : std::uint8_t{0};
            known_[byte] = true;
        }
        return curve_[byte];
    }

  private:
    double gamma_;
    bool known_[256] = {};
    std::uint8_t curve_[256];
};

void adjust_pixel(const std::uint8_t *input, std::size_t input_red, std::uint8_t *output,
                  std::size_t output_red, const Adjustment &adjustment, GammaCurve &gamma) {
    constexpr double third = 0.333333; // of the hue circle
    const Hsl hsl = adjustment.apply(to_hsl(input[input_red], input[1], input[2 - input_red]));
    const Levels levels(hsl);
    const double hue = hsl.hue / 360.0;
    output[output_red] = gamma(levels.channel(hue + third));
    output[1] = gamma(levels.channel(hue));
    output[2 - output_red] = gamma(levels.channel(hue - third));
}

} // namespace

} // namespace oxel

int32_t Oxel_image_adjustment(const uint8_t *input_image, uint32_t rgb_order, uint8_t *output_image,
                              uint32_t output_order, int32_t width, int32_t height, int32_t hue,
                              int32_t saturation, int32_t brightness, int32_t contrast,
                              double gamma) noexcept {
    using namespace oxel;
    const ImageSize size{width, height};
    if (size.empty())
        return OXEL_SUCCESS;
    if (rgb_order > ORDER_BGR)
        return OXEL_BAD_SELECTOR;
    const bool writes = output_order <= ORDER_BGR;
    if (!size.supported() || !input_image || (writes && !output_image))
        return OXEL_BAD_ARGUMENT;
    if (!writes)
        return OXEL_SUCCESS;

    const Adjustment adjustment{hue, saturation / 100.0, contrast / 50.0 + 1.0, contrast / 100.0,
                                brightness / 100.0};
    GammaCurve curve(gamma);
    const std::size_t input_red = rgb_order == ORDER_RGB ? 0 : 2;
    const std::size_t output_red = output_order == ORDER_RGB ? 0 : 2;
    for (std::size_t i = 0; i < 3 * size.pixels(); i += 3)
        adjust_pixel(input_image + i, input_red, output_image + i, output_red, adjustment, curve);
    return OXEL_SUCCESS;
}
