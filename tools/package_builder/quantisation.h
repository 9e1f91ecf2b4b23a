#ifndef OXEL_TOOLS_QUANTISATION_H
#define OXEL_TOOLS_QUANTISATION_H

#include "package_builder/characterisation.h"

#include <cstdint>
#include <vector>

namespace oxel::tools {

/// The third stage: the palette index that each cell takes, in the order of a package's tables.
///
/// It is the nearest to the cell's middle in CIE L*a*b*, where lightness counts most, as in minimal
/// brightness variation (Shaked, Arad, Fitzhugh and Sobel, "Color diffusion: error-diffusion for
/// color halftones", 1996): that keeps grain low. Outside the gamut only those colours can be
/// taken that the nearest reachable colour is a mixture of: else a diffusion that is asked for a
/// colour on the surface would balance its errors with colours from beyond, and miss it.
std::vector<std::uint8_t> quantisation_table(const Characterisation &panel);

} // namespace oxel::tools

#endif
