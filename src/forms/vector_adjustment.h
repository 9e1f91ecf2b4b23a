#ifndef OXEL_FORMS_VECTOR_ADJUSTMENT_H
#define OXEL_FORMS_VECTOR_ADJUSTMENT_H

#include "double_lanes.h"
#include "portable.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

// The colour adjustment of as many pixels as a register holds doubles, with the operations of the
// portable form in the same order, and selections in place of its branches.
namespace [[gnu::visibility("hidden")]] oxel {

namespace {

// Quotients of small integers by a constant. The constant's inverse is split into a part of so few
// bits that its product is exact, and a small rest; then only the sum is rounded, and rounded
// right, as is checked for every integer in question.
template <int divisor>
struct Inverse {
    static constexpr double scale = 281474976710656.0; // 2^48
    static constexpr double high = static_cast<double>(281474976710656 / divisor) / scale;
    static constexpr double low = (1.0 - divisor * high) / divisor;

    static constexpr bool holds_up_to(int largest) {
        for (int n = 0; n <= largest; ++n)
            if (n * high + n * low != static_cast<double>(n) / divisor)
                return false;
        return true;
    }
};
static_assert(Inverse<255>::holds_up_to(510) && Inverse<360>::holds_up_to(359));

template <int divisor, class Lanes>
Lanes quotient(Lanes integers) {
    return integers * Inverse<divisor>::high + integers * Inverse<divisor>::low;
}

template <class Target>
DoubleLanes<Target> clamp_lanes(DoubleLanes<Target> x) {
    return Target::lesser(Target::greater(x, splat_double<Target>(0.0)), splat_double<Target>(1.0));
}

/// Truncated toward zero.
template <class Target>
IntLanes<Target> to_ints(DoubleLanes<Target> x) {
    if constexpr (requires { Target::to_ints(x); })
        return Target::to_ints(x);
    else
        return __builtin_convertvector(x, IntLanes<Target>);
}

/// The levels between which a colour's channels lie, and what is between.
template <class Target>
class LevelLanes {
  public:
    LevelLanes(DoubleLanes<Target> saturation, DoubleLanes<Target> lightness)
        : upper_(lightness < 0.5 ? (saturation + 1.0) * lightness
                                 : saturation + lightness - lightness * saturation),
          lower_(lightness + lightness - upper_), slope_((upper_ - lower_) * 6.0) {}

    /// The bytes of the channel at positions on the hue circle, from 0 to 1. A level that lies
    /// beyond 0 or 1 does so by rounding alone, and truncates to the byte that it would be clamped
    /// to.
    IntLanes<Target> channel(DoubleLanes<Target> position) const {
        constexpr double one_sixth = 1.0 / 6.0;
        constexpr double two_thirds = 2.0 / 3.0;
        const LaneMask<Target> rising = position < one_sixth;
        DoubleLanes<Target> level = slope_ * (rising ? position : two_thirds - position) + lower_;
        level = position < two_thirds ? level : lower_;
        level = position < 0.5 ? (rising ? level : upper_) : level;
        return to_ints<Target>(level * 255.0);
    }

  private:
    DoubleLanes<Target> upper_, lower_, slope_;
};

/// The hue of channels from 0 to 255, in degrees: whole degrees where red is the largest.
template <class Target>
DoubleLanes<Target> hue_of(DoubleLanes<Target> r, DoubleLanes<Target> g, DoubleLanes<Target> b,
                           DoubleLanes<Target> delta) {
    const LaneMask<Target> red = (r >= g) & (r >= b);
    const LaneMask<Target> green_above_blue = g >= b;
    const DoubleLanes<Target> difference = red ? g - b : green_above_blue ? b - r : r - g;
    const DoubleLanes<Target> origin =
        red ? (green_above_blue ? splat_double<Target>(0.0) : splat_double<Target>(360.0))
            : (green_above_blue ? splat_double<Target>(120.0) : splat_double<Target>(240.0));
    const DoubleLanes<Target> hue = difference * 60.0 / delta + origin;
    return red ? Target::truncate(hue) : hue;
}

template <class Target>
void adjust_group(DoubleLanes<Target> r, DoubleLanes<Target> g, DoubleLanes<Target> b,
                  const Adjustment &adjustment, IntLanes<Target> (&channels)[3]) {
    constexpr double least_saturation = 0.1, third = 0.333333;
    const DoubleLanes<Target> one = splat_double<Target>(1.0);
    const DoubleLanes<Target> max = Target::greater(Target::greater(r, g), b);
    const DoubleLanes<Target> min = Target::lesser(Target::lesser(r, g), b);
    const DoubleLanes<Target> delta = max - min, sum = min + max;
    const LaneMask<Target> grey = delta == 0.0; // and would divide by 0

    DoubleLanes<Target> hue = hue_of<Target>(r, g, b, grey ? one : delta);
    hue = Target::truncate(hue + static_cast<double>(adjustment.hue));
    hue = hue < 0.0 ? hue + 720.0 : hue;
    hue = hue >= 360.0 ? hue - 360.0 : hue;

    const LaneMask<Target> dark = sum <= 255.0;
    const DoubleLanes<Target> share = quotient<255>(sum);
    const DoubleLanes<Target> divisor = dark ? sum : 2.0 - share;
    DoubleLanes<Target> saturation = (dark ? delta : quotient<255>(delta)) / (grey ? one : divisor);
    saturation = saturation >= least_saturation
                     ? clamp_lanes<Target>(saturation + adjustment.saturation)
                     : saturation;
    const DoubleLanes<Target> lightness =
        clamp_lanes<Target>(share * 0.5 * adjustment.contrast_factor - adjustment.contrast_offset +
                            adjustment.brightness);

    const LevelLanes<Target> levels(saturation, lightness);
    const DoubleLanes<Target> turn = quotient<360>(hue);
    const DoubleLanes<Target> ahead = turn + third, behind = turn - third;
    channels[0] = levels.channel(ahead > 1.0 ? ahead - 1.0 : ahead);
    channels[1] = levels.channel(turn);
    channels[2] = levels.channel(behind < 0.0 ? behind + 1.0 : behind);
}

template <class Target, int... i>
IntLanes<Target> load_each(const std::uint8_t *pixels, std::integer_sequence<int, i...>) {
    const auto load = [&](int pixel) {
        const bool last = pixel == Target::doubles - 1; // has no byte behind it, but one before
        std::int32_t bytes;
        std::memcpy(&bytes, pixels + 3 * pixel - last, 4);
        return last ? bytes >> 8 : bytes;
    };
    return IntLanes<Target>{load(i)...};
}

/// Pixels of three bytes, each in the lower ones of a lane.
template <class Target>
IntLanes<Target> load_pixels(const std::uint8_t *pixels) {
    if constexpr (requires { Target::load_pixels(pixels); })
        return Target::load_pixels(pixels);
    else
        return load_each<Target>(pixels, std::make_integer_sequence<int, Target::doubles>());
}

/// The counterpart, which writes no other byte.
template <class Target>
void store_pixels(IntLanes<Target> lanes, std::uint8_t *pixels) {
    if constexpr (requires { Target::store_pixels(lanes, pixels); }) {
        Target::store_pixels(lanes, pixels);
    } else {
        for (int i = 0; i < Target::doubles; ++i) {
            const std::int32_t bytes = lanes[i];
            std::memcpy(pixels + 3 * i, &bytes, i + 1 < Target::doubles ? 4 : 3);
        }
    }
}

template <class Target>
void adjust_in_lanes(const PixelRun &run, const Adjustment &adjustment) {
    constexpr std::size_t lanes = Target::doubles;
    const auto input_red = static_cast<int>(8 * run.input_red);
    const auto output_red = static_cast<int>(8 * run.output_red);
    std::size_t done = 0;
    for (; done + lanes <= run.count; done += lanes) {
        const IntLanes<Target> pixels = load_pixels<Target>(run.input + 3 * done);
        const auto channel = [&](int shift) {
            return __builtin_convertvector(pixels >> shift & 255, DoubleLanes<Target>);
        };
        IntLanes<Target> channels[3];
        adjust_group<Target>(channel(input_red), channel(8), channel(16 - input_red), adjustment,
                             channels);
        store_pixels<Target>(channels[0] << output_red | channels[1] << 8 |
                                 channels[2] << (16 - output_red),
                             run.output + 3 * done);
    }
    portable::adjust({run.input + 3 * done, run.input_red, run.output + 3 * done, run.output_red,
                      run.count - done},
                     adjustment);
}

} // namespace

} // namespace oxel

#endif
