#ifndef OXEL_TOOLS_PICTURE_NEEDS_H
#define OXEL_TOOLS_PICTURE_NEEDS_H

#include "preparation/exact_colours.h"
#include "preparation/grid.h"
#include "preparation/ink_colours.h"

#include <cstdint>
#include <span>

namespace oxel::tools {

// What a package tells those who prepare pictures for it.

/// Where a package's builder has put the cells of the gamut table.
Grid grid_of(std::span<const std::uint8_t> package);

/// What pictures for a package must keep flat.
ExactColours exact_colours_of(std::span<const std::uint8_t> package);

/// The colours that stand for its inks.
InkColours ink_colours_of(std::span<const std::uint8_t> package, Inks inks);

} // namespace oxel::tools

#endif
