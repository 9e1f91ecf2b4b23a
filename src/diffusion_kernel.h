#ifndef OXEL_DIFFUSION_KERNEL_H
#define OXEL_DIFFUSION_KERNEL_H

namespace [[gnu::visibility("hidden")]] oxel {

/// An error-diffusion kernel, written for a scan from left to right; a scan the other way mirrors
/// it.
struct DiffusionKernel {
    static constexpr int columns = 5; // x - 2 to x + 2
    static constexpr int centre = 2;

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

} // namespace oxel

#endif
