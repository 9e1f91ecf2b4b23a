#ifndef OXEL_DIFFUSION_KERNEL_H
#define OXEL_DIFFUSION_KERNEL_H

#include "diffusion.h"

namespace [[gnu::visibility("hidden")]] oxel {

/// An error-diffusion kernel, written for a scan from left to right; a scan the other way mirrors
/// it.
struct DiffusionKernel {
    static constexpr int columns = 5; // x - 2 to x + 2
    static constexpr int centre = 2;
    static constexpr int heaviest = 8; // weight that forms are made for

    int rows;    // the pixel's own row and the rows below that receive error
    int reach;   // columns that error travels to either side
    int divisor; // of every weight; a power of two where shares are floored
    bool floors; // shares are rounded toward minus infinity, else toward zero
    int weights[3][columns];

    [[gnu::always_inline]] constexpr bool has_weight(int weight) const {
        for (const auto &row : weights)
            for (const int w : row)
                if (w == weight)
                    return true;
        return false;
    }

    /// The part of a pixel's error that the pixel at (row, column) of `weights` receives.
    [[gnu::always_inline]] constexpr int share(int row, int column, int error) const {
        const int weighted = weights[row][column] * error;
        return floors ? weighted >> __builtin_ctz(static_cast<unsigned>(divisor))
                      : weighted / divisor;
    }
};

/// Floyd and Steinberg, "An adaptive algorithm for spatial greyscale", 1976.
inline constexpr DiffusionKernel floyd_steinberg{
    2, 1, 16, true, {{0, 0, 0, 7, 0}, {0, 3, 5, 1, 0}, {}}};

/// Jarvis, Judice and Ninke, "A survey of techniques for the display of continuous tone pictures
/// on bilevel displays", 1976.
inline constexpr DiffusionKernel jarvis_judice_ninke{
    3, 2, 48, false, {{0, 0, 0, 7, 5}, {3, 5, 7, 5, 3}, {1, 3, 5, 3, 1}}};

/// Stucki, "MECCA - a multiple-error correction computation algorithm for bilevel image hardcopy
/// reproduction", 1981.
inline constexpr DiffusionKernel stucki{
    3, 2, 42, false, {{0, 0, 0, 8, 4}, {2, 4, 8, 4, 2}, {1, 2, 4, 2, 1}}};

/// Calls `f`, a template of a kernel, with the one that is named.
template <class F>
[[gnu::always_inline]] inline auto with_kernel(Kernel kernel, const F &f) {
    switch (kernel) {
    case Kernel::floyd_steinberg:
        return f.template operator()<floyd_steinberg>();
    case Kernel::jarvis_judice_ninke:
        return f.template operator()<jarvis_judice_ninke>();
    case Kernel::stucki:
        break;
    }
    return f.template operator()<stucki>();
}

/// Processors multiply words much faster than they divide. A share is the upper half of the product
/// of error and factor, error * factor >> 16, and where that is below 0 and shares are rounded
/// toward zero, one more.
///
/// A floored share's factor is exact. Any other is above 65536 * weight / divisor by 2 at most, so
/// the product is too large by 2 * 255 / 65536 = 1/128 at most. A quotient that is no integer lies
/// 1/48 or more below the next one, so an error above 0 has the right upper half, and one below 0
/// always has the integer below its quotient. Factors are even for processors that double products.
[[gnu::always_inline]] constexpr int share_factor(const DiffusionKernel &kernel, int weight) {
    return kernel.floors ? 65536 / kernel.divisor * weight
                         : 2 * (32768 * weight / kernel.divisor + 1);
}

/// Whether all of that holds, error by error, and factors fit the 16 bits, one of them the sign,
/// that processors multiply.
[[gnu::always_inline]] constexpr bool factors_are_exact(const DiffusionKernel &kernel) {
    for (int place = 0; place < 3 * DiffusionKernel::columns; ++place) {
        const int row = place / DiffusionKernel::columns;
        const int column = place % DiffusionKernel::columns;
        const int weight = kernel.weights[row][column];
        if (share_factor(kernel, weight) > 32767)
            return false;
        for (int error = -255; weight != 0 && error <= 255; ++error) {
            const int rounded_up = !kernel.floors && error < 0;
            if ((error * share_factor(kernel, weight) >> 16) + rounded_up !=
                kernel.share(row, column, error))
                return false;
        }
    }
    return true;
}

/// Whether all forms can diffuse by a kernel: it reaches a row and a column far, or two of each.
[[gnu::always_inline]] constexpr bool suits_all_forms(const DiffusionKernel &kernel) {
    if (kernel.reach != kernel.rows - 1)
        return false;
    for (const auto &row : kernel.weights)
        for (const int weight : row)
            if (weight > DiffusionKernel::heaviest)
                return false;
    return factors_are_exact(kernel);
}
static_assert(suits_all_forms(floyd_steinberg) && suits_all_forms(jarvis_judice_ninke) &&
              suits_all_forms(stucki));

} // namespace oxel

#endif
