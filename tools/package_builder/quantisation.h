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
/// color halftones", 1996): that keeps grain low. On the gamut's surface and beyond, only those
/// colours can be taken that the nearest place on the surface is mixed of. Else a diffusion that
/// is asked for a colour of the surface balances its errors with other colours and misses it; to
/// force it there the compensation would have to ask for colours far outside, whose errors smear.
std::vector<std::uint8_t> quantisation_table(const Characterisation &panel);

} // namespace oxel::tools

#endif
