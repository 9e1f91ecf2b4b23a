#ifndef OXEL_TOOLS_PACKAGE_BUILDER_H
#define OXEL_TOOLS_PACKAGE_BUILDER_H

#include "package_builder/characterisation.h"
#include "package_builder/gamut_mapping.h"
#include "package_builder/package_file.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace oxel::tools {

/// One colour that a panel can show.
struct PanelColour {
    RgbBytes rgb; // measured, in sRGB
    std::uint8_t tcon;
};

std::vector<RgbBytes> palette_of(const std::vector<PanelColour> &colours);

struct BuildOptions {
    Intent intent = Intent::perceptual;
    Tuning tuning = Tuning::all;
    /// Called with a share of the work from 0 to 1, which never falls.
    std::function<void(double)> progress = [](double) {};
};

/// A package's tables, with what they aim at.
struct BuiltTables {
    std::vector<Vector3> targets; // the light that each cell should be shown in
    std::vector<std::uint8_t> gamut;
    std::vector<std::uint8_t> quantisation;
};

/// The same palette and options give the same bytes on every machine. Does not touch the state of
/// the rendering library, so it may run while a package is adopted, and on any thread.
BuiltTables build_tables(const Characterisation &panel, const BuildOptions &options = {});

/// `options` are those that the tables were built with.
std::vector<std::uint8_t> assemble_package(const std::vector<PanelColour> &colours,
                                           const BuiltTables &tables, const BuildOptions &options);

/// Builds the LUT package of a panel of 2 to 256 colours, in the order of their palette indices.
std::vector<std::uint8_t> build_package(const std::vector<PanelColour> &colours,
                                        const BuildOptions &options = {});

} // namespace oxel::tools

#endif
