#include "package_builder/package_builder.h"

#include "package_builder/compensation.h"
#include "package_builder/kernel_agreement.h"
#include "package_builder/package_file.h"
#include "package_builder/quantisation.h"

#include <cstddef>
#include <iterator>

namespace oxel::tools {

namespace {

/// Of all, a rendering's default diffusion counts most, and more yet for greys, whose casts strike
/// the eye first.
constexpr DiffusionWeights colours_of_all = {0.62, 0.38};
constexpr DiffusionWeights greys_of_all = {0.8, 0.2};

constexpr const char *names[] = {"all", "floyd", "jjn", "stucki"};
static_assert(std::size(names) == tunings);

DiffusionWeights weights_for(Tuning tuning, const DiffusionWeights &of_all) {
    if (tuning == Tuning::all)
        return of_all;
    DiffusionWeights weights{};
    weights[static_cast<std::size_t>(tuning) - 1] = 1;
    return weights;
}

} // namespace

const std::vector<std::string> &tuning_names() {
    static const std::vector<std::string> strings(std::begin(names), std::end(names));
    return strings;
}

std::vector<RgbBytes> palette_of(const std::vector<PanelColour> &colours) {
    std::vector<RgbBytes> palette;
    for (const PanelColour &colour : colours)
        palette.push_back(colour.rgb);
    return palette;
}

BuiltTables build_tables(const Characterisation &panel, const BuildOptions &options) {
    BuiltTables tables;
    tables.producer = {'O',
                       'X',
                       1,
                       static_cast<std::uint8_t>(options.intent),
                       static_cast<std::uint8_t>(options.tuning),
                       0};
    options.progress(0);
    tables.targets = GamutMapping(panel, options.intent).map_cells();
    options.progress(0.2);
    const Quantiser quantiser(panel);
    std::vector<Vector3> sites = quantiser.own_sites();
    if (options.tuning == Tuning::all)
        sites = agreeing_sites(panel, quantiser,
                               [&](double share) { options.progress(0.2 + 0.3 * share); });
    options.progress(0.5);
    tables.quantisation = quantiser.table(sites);
    tables.gamut = compensate(panel, tables.targets, PatchSimulation(panel, tables.quantisation),
                              weights_for(options.tuning, colours_of_all),
                              weights_for(options.tuning, greys_of_all),
                              [&](double share) { options.progress(0.5 + 0.5 * share); });
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
    return write_package(tables.producer, palette, tcon, tables.gamut, tables.quantisation);
}

std::vector<std::uint8_t> build_package(const std::vector<PanelColour> &colours,
                                        const BuildOptions &options) {
    return assemble_package(colours, build_tables(Characterisation(palette_of(colours)), options));
}

} // namespace oxel::tools
