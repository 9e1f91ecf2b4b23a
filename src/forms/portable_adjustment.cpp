#include "portable.h"

#include "../exact_double.h"

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

double clamp_to_unit(double x) {
    return x < 0.0 ? 0.0 : x > 1.0 ? 1.0 : x;
}

Hsl apply(const Adjustment &adjustment, Hsl hsl) {
    constexpr double least_saturation = 0.1; // below it a hue is mostly noise
    const int degrees = static_cast<int>(hsl.hue + adjustment.hue) % 360;
    hsl.hue = static_cast<double>(degrees < 0 ? degrees + 360 : degrees);
    if (hsl.saturation >= least_saturation)
        hsl.saturation = clamp_to_unit(hsl.saturation + adjustment.saturation);
    hsl.lightness = clamp_to_unit(hsl.lightness * adjustment.contrast_factor -
                                  adjustment.contrast_offset + adjustment.brightness);
    return hsl;
}

/// The levels between which a colour's channels lie.
struct Levels {
    double upper;
    double lower;

    explicit Levels(const Hsl &hsl)
        : upper(hsl.lightness < 0.5
                    ? (hsl.saturation + 1.0) * hsl.lightness
                    : hsl.saturation + hsl.lightness - hsl.lightness * hsl.saturation),
          lower(hsl.lightness + hsl.lightness - upper) {}

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

} // namespace

namespace portable {

void adjust(const PixelRun &run, const Adjustment &adjustment) {
    constexpr double third = 0.333333; // of the hue circle
    for (std::size_t i = 0; i < 3 * run.count; i += 3) {
        const std::uint8_t *input = run.input + i;
        const Hsl hsl =
            apply(adjustment, to_hsl(input[run.input_red], input[1], input[2 - run.input_red]));
        const Levels levels(hsl);
        const double hue = hsl.hue / 360.0;
        std::uint8_t *output = run.output + i;
        output[run.output_red] = levels.channel(hue + third);
        output[1] = levels.channel(hue);
        output[2 - run.output_red] = levels.channel(hue - third);
    }
}

void map_bytes(std::uint8_t *bytes, std::size_t count, const std::uint8_t (&curve)[256]) {
    for (std::size_t i = 0; i < count; ++i)
        bytes[i] = curve[bytes[i]];
}

} // namespace portable

} // namespace oxel

#include "../exact_double_end.h"
