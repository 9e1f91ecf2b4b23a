#ifndef OXEL_TOOLS_PACKAGE_BUILDER_H
#define OXEL_TOOLS_PACKAGE_BUILDER_H

#include "package_builder/colour_space.h"

#include <cstdint>
#include <vector>

namespace oxel::tools {

/// One colour that a panel can show.
struct PanelColour {
    RgbBytes rgb; // measured, in sRGB
    std::uint8_t tcon;
};

/// Builds the LUT package of a panel of 2 to 256 colours, in the order of their palette indices.
/// The same colours give the same bytes on every machine.
std::vector<std::uint8_t> build_package(const std::vector<PanelColour> &colours);

} // namespace oxel::tools

#endif
