#ifndef OXEL_TOOLS_LINE_PAIRS_H
#define OXEL_TOOLS_LINE_PAIRS_H

#include "base/bytes.h"
#include "base/image_size.h"

#include <vector>

namespace oxel::tools {

/// What the power guard measures, taken apart: for each line pair (rows 2p and 2p + 1), the squared
/// changes of each palette index's share since the pair before, index by index. `codes` is an image
/// of palette indices, 3 equal bytes a pixel.
std::vector<std::vector<double>> line_pair_changes(const Bytes &codes, ImageSize size,
                                                   int palette_size);

/// The measure itself, bit for bit what the library compares with a threshold.
double guard_measure(const std::vector<std::vector<double>> &changes);

} // namespace oxel::tools

#endif
