#ifndef OXEL_FORMS_VECTOR_ADJUSTMENT_H
#define OXEL_FORMS_VECTOR_ADJUSTMENT_H

#include "double_lanes.h"
#include "portable.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

// The colour adjustment of two pixels for each double that a register holds. What is rounded to
// whole degrees in the end is computed in floats, all pixels at once; what decides bytes, in
// doubles with the operations of the portable form in the same order. Selections stand in place of
// its branches.
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
static_assert(Inverse<255>::holds_up_to(510));

template <int divisor, class Lanes>
Lanes quotient(Lanes integers) {
    return integers * Inverse<divisor>::high + integers * Inverse<divisor>::low;
}

template <class Target>
DoubleLanes<Target> clamp_lanes(DoubleLanes<Target> x) {
    return Target::lesser(Target::greater(x, splat_double<Target>(0.0)), splat_double<Target>(1.0));
}

/// A turn of the hue circle in degrees: for each of a pixel's channels by what the slope between
/// its levels is multiplied, or -1 where the channel is at the upper level. A degree is as long as
/// a register of some instruction sets.
struct HuePlaces {
    alignas(64) double place[360][4];
};
constexpr HuePlaces places_of_hues(int hues = 360) {
    constexpr double third = 0.333333, one_sixth = 1.0 / 6.0, two_thirds = 2.0 / 3.0;
    const auto place = [](double position) {
        return position < one_sixth    ? position
               : position < 0.5        ? -1.0
               : position < two_thirds ? two_thirds - position
                                       : 0.0;
    };
    HuePlaces places{};
    for (int hue = 0; hue < hues; ++hue) {
        const double turn = hue / 360.0, ahead = turn + third, behind = turn - third;
        places.place[hue][0] = place(ahead > 1.0 ? ahead - 1.0 : ahead);
        places.place[hue][1] = place(turn);
        places.place[hue][2] = place(behind < 0.0 ? behind + 1.0 : behind);
    }
    return places;
}
#ifdef __wasm__
// Pages load the table's code instead of the table, twenty times as much. A count that compilers
// cannot know keeps them from working it out.
inline const HuePlaces hue_places = [] {
    volatile int hues = 360;
    return places_of_hues(hues);
}();
#else
inline constexpr HuePlaces hue_places = places_of_hues();
#endif

/// Greatest and least in a register, and how far apart.
template <class Target>
struct Spread {
    FloatLanes<Target> greatest, least, delta;

    Spread(FloatLanes<Target> r, FloatLanes<Target> g, FloatLanes<Target> b)
        : greatest(Target::greater(Target::greater(r, g), b)),
          least(Target::lesser(Target::lesser(r, g), b)), delta(greatest - least) {}
};

/// The shifted hue of channels from 0 to 255, in whole degrees. A quotient that is no integer is
/// 1/255 or more away from the next one, and floats of this size are 1/16384 apart at most: so they
/// truncate as doubles do.
template <class Target>
IntLanes<Target> hue_of(FloatLanes<Target> r, FloatLanes<Target> g, FloatLanes<Target> b,
                        const Spread<Target> &spread, int shift) {
    using Ints = IntLanes<Target>;
    using Floats = FloatLanes<Target>;
    const Ints red = r == spread.greatest;
    const Ints green_above_blue = g >= b;
    const Floats difference = red ? g - b : green_above_blue ? b - r : r - g;
    const Floats origin = red ? (green_above_blue ? Floats{} : Floats{} + 360.0F)
                              : (green_above_blue ? Floats{} + 120.0F : Floats{} + 240.0F);
    const Floats one_if_grey = spread.delta == 0.0F ? Floats{} + 1.0F : Floats{};
    const Floats hue = difference * 60.0F / (spread.delta + one_if_grey) + origin;
    const Ints turned = red ? __builtin_convertvector(hue, Ints) + shift
                            : __builtin_convertvector(hue + static_cast<float>(shift), Ints);
    const Ints positive = turned + ((turned < 0) & 720);
    return positive - ((positive >= 360) & 360);
}

/// The bytes of some pixels' channels.
template <class Target>
struct Channels {
    DoubleLanes<Target> level[3];

    /// Of pixels with the least and the greatest of their channels so far apart and of such a sum.
    Channels(DoubleLanes<Target> delta, DoubleLanes<Target> sum,
             const DoubleLanes<Target> (&place)[3], const Adjustment &adjustment) {
        constexpr double least_saturation = 0.1;
        using Doubles = DoubleLanes<Target>;
        const LaneMask<Target> dark = sum <= 255.0;
        const Doubles share = quotient<255>(sum);
        // Greys would divide by 0.
        const Doubles none{}, one = splat_double<Target>(1.0);
        const Doubles one_if_grey = delta == 0.0 ? one : none;
        const Doubles divisor = (dark ? sum : 2.0 - share) + one_if_grey;
        Doubles saturation = (dark ? delta : quotient<255>(delta)) / divisor;
        const Doubles more =
            saturation >= least_saturation ? splat_double<Target>(adjustment.saturation) : none;
        saturation = clamp_lanes<Target>(saturation + more);
        const Doubles lightness =
            clamp_lanes<Target>(share * 0.5 * adjustment.contrast_factor -
                                adjustment.contrast_offset + adjustment.brightness);
        const Doubles upper = lightness < 0.5 ? (saturation + 1.0) * lightness
                                              : saturation + lightness - lightness * saturation;
        const Doubles lower = lightness + lightness - upper;
        const Doubles slope = (upper - lower) * 6.0;
        // A level that lies beyond 0 or 1 does so by rounding alone, and truncates to the byte that
        // it would be clamped to.
        for (int channel = 0; channel < 3; ++channel)
            level[channel] =
                (place[channel] < 0.0 ? upper : slope * place[channel] + lower) * 255.0;
    }
};

template <class Target, int... i>
DoubleLanes<Target> places_of(const std::uint32_t *hues, int channel,
                              std::integer_sequence<int, i...>) {
    return DoubleLanes<Target>{hue_places.place[hues[i]][channel]...};
}

template <class Target, int first, int... i>
DoubleLanes<Target> half_as_doubles(FloatLanes<Target> x, std::integer_sequence<int, i...>) {
    if constexpr (requires { Target::template half_as_doubles<first>(x); })
        return Target::template half_as_doubles<first>(x);
    else
        return __builtin_convertvector(__builtin_shufflevector(x, x, (first + i)...),
                                       DoubleLanes<Target>);
}

template <class Target, int... i>
IntLanes<Target> truncated(DoubleLanes<Target> low, DoubleLanes<Target> high,
                           std::integer_sequence<int, i...>) {
    if constexpr (requires { Target::truncated(low, high); }) {
        return Target::truncated(low, high);
    } else {
        using Half = typename WideRegister<Target>::HalfInts;
        return __builtin_shufflevector(__builtin_convertvector(low, Half),
                                       __builtin_convertvector(high, Half), i...);
    }
}

/// What the channels of some pixels come of.
template <class Target>
struct Measured {
    std::uint32_t hues[2 * Target::doubles];
    FloatLanes<Target> delta, sum;
};

template <class Target>
Measured<Target> measure_group(const IntLanes<Target> (&channels)[3], int shift) {
    using Floats = FloatLanes<Target>;
    const auto r = __builtin_convertvector(channels[0], Floats);
    const auto g = __builtin_convertvector(channels[1], Floats);
    const auto b = __builtin_convertvector(channels[2], Floats);
    const Spread<Target> spread(r, g, b);
    const IntLanes<Target> hue = hue_of<Target>(r, g, b, spread, shift);
    Measured<Target> measured{{}, spread.delta, spread.least + spread.greatest};
    std::memcpy(measured.hues, &hue, sizeof hue);
    return measured;
}

template <class Target>
void adjust_group(const Measured<Target> &measured, const Adjustment &adjustment,
                  IntLanes<Target> (&channels)[3]) {
    constexpr std::make_integer_sequence<int, Target::doubles> each;
    const auto half = [&](auto start) {
        constexpr int first = start;
        const std::uint32_t *hues = measured.hues + first;
        DoubleLanes<Target> place[3];
        if constexpr (requires { Target::gather_fours(hue_places.place, hues, place); }) {
            Target::gather_fours(hue_places.place, hues, place);
        } else {
            place[0] = places_of<Target>(hues, 0, each);
            place[1] = places_of<Target>(hues, 1, each);
            place[2] = places_of<Target>(hues, 2, each);
        }
        return Channels<Target>(half_as_doubles<Target, first>(measured.delta, each),
                                half_as_doubles<Target, first>(measured.sum, each), place,
                                adjustment);
    };
    const auto low = half(std::integral_constant<int, 0>());
    const auto high = half(std::integral_constant<int, Target::doubles>());
    for (int channel = 0; channel < 3; ++channel)
        channels[channel] =
            truncated<Target>(low.level[channel], high.level[channel],
                              std::make_integer_sequence<int, 2 * Target::doubles>());
}

template <class Target, int... i>
IntLanes<Target> load_each(const std::uint8_t *pixels, std::integer_sequence<int, i...>) {
    const auto load = [&](int pixel) {
        const bool last = pixel == 2 * Target::doubles - 1; // has no byte behind it, but one before
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
        return load_each<Target>(pixels, std::make_integer_sequence<int, 2 * Target::doubles>());
}

/// The counterpart, which writes no other byte.
template <class Target>
void store_pixels(IntLanes<Target> lanes, std::uint8_t *pixels) {
    if constexpr (requires { Target::store_pixels(lanes, pixels); }) {
        Target::store_pixels(lanes, pixels);
    } else {
        constexpr int last = 2 * Target::doubles - 1;
        for (int i = 0; i <= last; ++i) {
            const std::int32_t bytes = lanes[i];
            std::memcpy(pixels + 3 * i, &bytes, i < last ? 4 : 3);
        }
    }
}

template <class Target>
void adjust_in_lanes(const PixelRun &run, const Adjustment &adjustment) {
    constexpr std::size_t lanes = 2 * Target::doubles;
    const auto input_red = static_cast<int>(8 * run.input_red);
    const auto output_red = static_cast<int>(8 * run.output_red);
    // One stage for some groups, then the other, so that the groups' chains overlap.
    constexpr std::size_t groups = Target::groups_adjusted;
    std::size_t done = 0;
    while (done + lanes <= run.count) {
        const std::size_t left = (run.count - done) / lanes;
        const std::size_t count = groups > 1 && left < groups ? left : groups;
        Measured<Target> measured[groups];
        for (std::size_t i = 0; i < count; ++i) {
            const IntLanes<Target> pixels = load_pixels<Target>(run.input + 3 * (done + i * lanes));
            measured[i] = measure_group<Target>(
                {pixels >> input_red & 255, pixels >> 8 & 255, pixels >> (16 - input_red) & 255},
                adjustment.hue);
        }
        for (std::size_t i = 0; i < count; ++i, done += lanes) {
            IntLanes<Target> channels[3];
            adjust_group<Target>(measured[i], adjustment, channels);
            store_pixels<Target>(channels[0] << output_red | channels[1] << 8 |
                                     channels[2] << (16 - output_red),
                                 run.output + 3 * done);
        }
    }
    portable::adjust({run.input + 3 * done, run.input_red, run.output + 3 * done, run.output_red,
                      run.count - done},
                     adjustment);
}

} // namespace

} // namespace oxel

#endif
