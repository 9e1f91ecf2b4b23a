#include "package_builder/package_builder.h"

#include "package_builder/cells.h"
#include "package_builder/compensation.h"
#include "package_builder/kernel_agreement.h"
#include "package_builder/package_file.h"
#include "package_builder/quantisation.h"

#include <algorithm>
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

constexpr std::size_t rough_step = 3; // cells between those that are computed, which ends with one
constexpr std::size_t rough_nodes = (cell_steps - 1) / rough_step + 1;

/// A gamut table of the colours of every third cell, and what lies between them.
std::vector<std::uint8_t> interpolated(const std::vector<Vector3> &colours) {
    std::vector<std::uint8_t> table;
    table.reserve(3 * package_cells);
    const auto node = [](std::size_t cell) { return std::min(cell / rough_step, rough_nodes - 2); };
    for_each_cell([&](std::size_t red, std::size_t green, std::size_t blue) {
        Vector3 colour{};
        for (std::size_t corner = 0; corner < 8; ++corner) {
            std::size_t place = 0;
            double weight = 1;
            for (std::size_t axis = 0; const std::size_t cell : {red, green, blue}) {
                const std::size_t upper = corner >> axis++ & 1;
                const double rest = double(cell) / rough_step - double(node(cell));
                place = place * rough_nodes + node(cell) + upper;
                weight *= upper == 1 ? rest : 1 - rest;
            }
            if (weight > 0)
                colour = colour + weight * colours[place];
        }
        const RgbBytes bytes = to_bytes(colour);
        table.insert(table.end(), bytes.begin(), bytes.end());
    });
    return table;
}

/// Fills in what is computed, of fewer cells.
void build_roughly(const Characterisation &panel, const BuildOptions &options,
                   BuiltTables &tables) {
    tables.targets = GamutMapping(panel, options.intent).map_every(rough_step);
    options.progress(0.2);
    const Quantiser quantiser(panel, 2);
    tables.quantisation = quantiser.table(quantiser.own_sites());
    options.progress(0.4);
    tables.gamut = interpolated(
        roughly_compensate(panel, tables.targets, PatchSimulation(panel, tables.quantisation),
                           weights_for(options.tuning, colours_of_all),
                           [&](double share) { options.progress(0.4 + 0.6 * share); }));
    options.progress(1);
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
    if (options.rough) {
        build_roughly(panel, options, tables);
        return tables;
    }
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
