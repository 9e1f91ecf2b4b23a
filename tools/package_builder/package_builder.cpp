#include "package_builder/package_builder.h"

#include "package_builder/compensation.h"
#include "package_builder/package_file.h"
#include "package_builder/quantisation.h"

#include <cstddef>

namespace oxel::tools {

namespace {

/// Each at the place of its Tuning. No table serves all: errors that the wide kernels round away
/// are up to seven bytes of light tones that Floyd and Steinberg's keeps.
constexpr DiffusionWeights diffusion_weights[] = {
    {0.75, 0.125, 0.125},
    {1, 0, 0},
    {0, 1, 0},
    {0, 0, 1},
};

} // namespace

const std::vector<std::string> &tuning_names() {
    static const std::vector<std::string> names = {"all", "floyd", "jjn", "stucki"};
    return names;
}

std::vector<RgbBytes> palette_of(const std::vector<PanelColour> &colours) {
    std::vector<RgbBytes> palette;
    for (const PanelColour &colour : colours)
        palette.push_back(colour.rgb);
    return palette;
}

BuiltTables build_tables(const Characterisation &panel, const BuildOptions &options) {
    BuiltTables tables;
    options.progress(0);
    tables.targets = GamutMapping(panel, options.intent).map_cells();
    options.progress(0.3);
    tables.quantisation = quantisation_table(panel);
    options.progress(0.4);
    tables.gamut = compensate(panel, tables.targets, PatchSimulation(panel, tables.quantisation),
                              diffusion_weights[static_cast<std::size_t>(options.tuning)],
                              [&](double share) { options.progress(0.4 + 0.6 * share); });
    return tables;
}

std::vector<std::uint8_t> assemble_package(const std::vector<PanelColour> &colours,
                                           const BuiltTables &tables) {
    std::vector<std::uint8_t> palette;
    std::vector<std::uint8_t> tcon;
    for (const PanelColour &colour : colours) {
        palette.insert(palette.end(), colour.rgb.begin(), colour.rgb.end());
        tcon.push_back(colour.tcon);
    }
    return write_package(palette, tcon, tables.gamut, tables.quantisation);
}

std::vector<std::uint8_t> build_package(const std::vector<PanelColour> &colours,
                                        const BuildOptions &options) {
    return assemble_package(colours, build_tables(Characterisation(palette_of(colours)), options));
}

} // namespace oxel::tools
