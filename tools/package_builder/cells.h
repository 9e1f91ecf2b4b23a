#ifndef OXEL_TOOLS_CELLS_H
#define OXEL_TOOLS_CELLS_H

#include "package_builder/vector3.h"

#include <cstddef>

namespace oxel::tools {

constexpr std::size_t cell_steps = 64;
constexpr std::size_t package_cells = cell_steps * cell_steps * cell_steps;

/// Calls `f` with the channels' steps of every cell, 0 to 63, in the order of a package's tables.
template <class F>
void for_each_cell(F f) {
    for (std::size_t red = 0; red < cell_steps; ++red)
        for (std::size_t green = 0; green < cell_steps; ++green)
            for (std::size_t blue = 0; blue < cell_steps; ++blue)
                f(red, green, blue);
}

/// The middle of the four bytes that share a step of a channel.
constexpr double middle_byte(std::size_t step) {
    return 4 * double(step) + 1.5;
}

/// Noise that a table can have in itself: a picture that is dithered onto its grid takes three
/// steps of a channel equally often, so it brings no change of tone.
constexpr int texture_of_step(std::size_t step) {
    return step % 3 == 0 ? 2 : -1;
}

} // namespace oxel::tools

#endif
