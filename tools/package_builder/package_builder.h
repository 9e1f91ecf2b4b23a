#ifndef OXEL_TOOLS_PACKAGE_BUILDER_H
#define OXEL_TOOLS_PACKAGE_BUILDER_H

#include "package_builder/characterisation.h"
#include "package_builder/gamut_mapping.h"
#include "package_builder/package_file.h"
#include "package_builder/patch_simulation.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace oxel::tools {

/// One colour that a panel can show.
struct PanelColour {
    RgbBytes rgb; // measured, in sRGB
    std::uint8_t tcon;

    bool operator==(const PanelColour &) const = default;
};

std::vector<RgbBytes> palette_of(const std::vector<PanelColour> &colours);

/// For which diffusions a package's colours are right.
enum class Tuning {
    all, // a compromise, leaning to Floyd and Steinberg's, the default of a rendering
    floyd,
    jjn,
    stucki,
};

constexpr std::size_t tunings = 1 + kernels;

/// Each at the place of its value.
const std::vector<std::string> &tuning_names();

/// The tuning for one diffusion, an enum Oxel_dithering_mode.
constexpr Tuning tuning_for(int dithering_mode) {
    return static_cast<Tuning>(dithering_mode / 2 + 1);
}

struct BuildOptions {
    Intent intent = Intent::perceptual;
    Tuning tuning = Tuning::all;
    /// About the same tables in a tenth of the time, to look at while the others are built.
    bool rough = false;
    /// Called with a share of the work from 0 to 1, which never falls.
    std::function<void(double)> progress = [](double) {};
};

/// A package's tables, with what they aim at.
struct BuiltTables {
    std::vector<Vector3> targets; // the light that each cell should be shown in
    std::vector<std::uint8_t> gamut;
    std::vector<std::uint8_t> quantisation;
    ProducerBytes producer{}; // the options, as noted_options reads them
};

/// The same palette and options give the same bytes on every machine. Does not touch the state of
/// the rendering library, so it may run while a package is adopted, and on any thread.
BuiltTables build_tables(const Characterisation &panel, const BuildOptions &options = {});

std::vector<std::uint8_t> assemble_package(const std::vector<PanelColour> &colours,
                                           const BuiltTables &tables);

/// Builds the LUT package of a panel of 2 to 256 colours, in the order of their palette indices.
std::vector<std::uint8_t> build_package(const std::vector<PanelColour> &colours,
                                        const BuildOptions &options = {});

} // namespace oxel::tools

#endif
