#ifndef OXEL_FORMS_VECTOR_MEASURE_H
#define OXEL_FORMS_VECTOR_MEASURE_H

#include "../numeric_helpers.h"
#include "double_lanes.h"
#include "portable.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

// The inner loops of the line-pair measure: counts and powers.
namespace [[gnu::visibility("hidden")]] oxel {

namespace {

/// Compares a register of indices at a time with one colour after the other, which pays for small
/// palettes.
template <class Target>
void count_in_lanes(const std::uint8_t *indices, std::size_t count, int colours,
                    std::int32_t *counts) {
    constexpr std::size_t lanes = 8 * Target::doubles;
    constexpr std::size_t most = 255; // matches that a byte can count
    constexpr int few_colours = 16;
    if (colours > few_colours)
        return portable::count_indices(indices, count, colours, counts);

    while (count >= lanes) {
        const std::size_t vectors = count / lanes < most ? count / lanes : most;
        for (int index = 0; index < colours; ++index) {
            ByteLanes<Target> matches{};
            for (std::size_t i = 0; i < vectors; ++i) {
                ByteLanes<Target> some;
                std::memcpy(&some, indices + i * lanes, lanes);
                matches -= (ByteLanes<Target>)(some == static_cast<std::uint8_t>(index));
            }
            for (std::size_t i = 0; i < lanes; ++i)
                counts[index] += matches[i];
        }
        indices += vectors * lanes;
        count -= vectors * lanes;
    }
    portable::count_indices(indices, count, colours, counts);
}

/// The lanes whose series has not ended. Instruction sets with registers for masks have their own.
template <class Target>
struct UnfinishedLanes {
    LaneMask<Target> lanes = ~LaneMask<Target>{};

    bool any() const { return Target::any(lanes); }

    DoubleLanes<Target> choose(DoubleLanes<Target> unfinished, DoubleLanes<Target> others) const {
        return lanes ? unfinished : others;
    }

    /// Those where `x` is small end.
    void end_at_small(DoubleLanes<Target> x) {
        const auto magnitude = (DoubleLanes<Target>)((LaneMask<Target>)x & INT64_MAX);
        lanes &= ~(magnitude < tolerance);
    }
};
template <class Target>
struct UnfinishedOf {
    using Type = UnfinishedLanes<Target>;
};
template <class Target>
    requires requires { typename Target::Unfinished; }
struct UnfinishedOf<Target> {
    using Type = typename Target::Unfinished;
};
template <class Target>
using Unfinished = typename UnfinishedOf<Target>::Type;

/// The inverses of small numbers, each in two parts. A quotient x / n lies 1 / (2 * n) of its last
/// place or more from where rounding turns, and the parts' product with x is off by 2^-50 of that
/// place: so one rounding, of the fused sum, is the division's.
struct SmallInverses {
    double high[series_cap], low[series_cap];
};
inline constexpr SmallInverses small_inverses = [] {
    SmallInverses inverses{};
    for (int n = 1; n < series_cap; ++n) {
        const double high = 1.0 / n, upper = static_cast<double>(static_cast<float>(high));
        inverses.high[n] = high;
        inverses.low[n] = (1.0 - n * upper - n * (high - upper)) / n; // exact but for the division
    }
    return inverses;
}();

template <class Target>
DoubleLanes<Target> divided(DoubleLanes<Target> x, int n) {
    if constexpr (requires { Target::fused(x, 1.0, x); })
        return Target::fused(x, small_inverses.high[n], x * small_inverses.low[n]);
    else
        return x / splat_double<Target>(n);
}

/// my_exp in lock step: a lane whose series has ended keeps its sum.
template <class Target>
DoubleLanes<Target> exp_in_lanes(DoubleLanes<Target> x, Unfinished<Target> lanes) {
    DoubleLanes<Target> sum = splat_double<Target>(1.0), term = sum;
    for (int n = 1; n < series_cap && lanes.any(); ++n) {
        term = term * divided<Target>(x, n);
        sum = lanes.choose(sum + term, sum);
        lanes.end_at_small(term);
    }
    return sum;
}

/// my_ln of positive numbers in lock step.
template <class Target>
DoubleLanes<Target> ln_in_lanes(DoubleLanes<Target> x) {
    DoubleLanes<Target> y = x - 1.0;
    Unfinished<Target> lanes;
    for (int step = 0; step < newton_cap && lanes.any(); ++step) {
        const DoubleLanes<Target> e = exp_in_lanes<Target>(y, lanes);
        const DoubleLanes<Target> d = (e - x) / e;
        y = lanes.choose(y - d, y);
        lanes.end_at_small(d);
    }
    return y;
}

/// In lock step, all but those that my_pow finds without a series.
template <class Target>
void power_in_lanes(double *numbers, std::size_t count, double exponent) {
    std::size_t places[Target::doubles];
    int taken = 0;
    const auto raise_taken = [&] {
        DoubleLanes<Target> x = splat_double<Target>(1.0);
        for (int i = 0; i < taken; ++i)
            x[i] = numbers[places[i]];
        const DoubleLanes<Target> powers =
            exp_in_lanes<Target>(ln_in_lanes<Target>(x) * exponent, {});
        for (int i = 0; i < taken; ++i)
            numbers[places[i]] = powers[i];
        taken = 0;
    };
    for (std::size_t i = 0; i < count; ++i) {
        if (!(numbers[i] > 0.0) || exponent == 0.0) {
            numbers[i] = my_pow(numbers[i], exponent);
            continue;
        }
        places[taken++] = i;
        if (taken == Target::doubles)
            raise_taken();
    }
    raise_taken();
}

} // namespace

} // namespace oxel

#endif
