#ifndef OXEL_POWER_GUARD_H
#define OXEL_POWER_GUARD_H

#include <cstdint>

namespace [[gnu::visibility("hidden")]] oxel {

/// How strongly the mix of palette colours changes from one line pair (rows 2p and 2p + 1) of an
/// index plane to the next: the sum over successive pairs, and over the adopted palette's indices
/// in ascending order, of my_pow(change of the index's share of the pair's pixels, 2.0).
///
/// A last odd row takes no part, nor do indices from COLOR_NUMBER on. Fewer than two pairs give
/// 0.0; otherwise a width of 0 gives NaN, and a negative one 0.0.
double calculate_difference_of_central_tendency(const std::uint8_t *index_plane, std::int32_t width,
                                                std::int32_t height);

} // namespace oxel

#endif
