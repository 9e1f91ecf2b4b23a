#include "package_builder/patch_quality.h"

#include "package_builder/cells.h"
#include "package_builder/colour_difference.h"
#include "package_builder/patch_simulation.h"

#include <algorithm>
#include <numeric>
#include <random>

namespace oxel::tools {

double ShownPatch::difference(std::size_t mode) const {
    return ciede2000(lab_from_light(shown[mode]), lab_from_light(wanted));
}

std::vector<std::size_t> reachable_cells(const Characterisation &panel,
                                         const std::vector<Vector3> &targets, std::size_t count) {
    constexpr double depth = 1e-6; // clipped colours lie on the surface
    const std::size_t patience = panel.dimension() < 3 ? 0 : 4000 * count;
    std::mt19937 random(2000);
    std::vector<std::size_t> cells;
    for (std::size_t tries = 0; cells.size() < count; ++tries) {
        const std::size_t cell = random() % package_cells;
        if (tries >= patience || panel.holds(targets[cell], depth))
            cells.push_back(cell);
    }
    return cells;
}

std::vector<ShownPatch> show_patches(const Characterisation &panel, const BuiltTables &tables,
                                     const std::vector<std::size_t> &cells) {
    const PatchSimulation simulation(panel, tables.quantisation);
    std::vector<ShownPatch> patches;
    for (std::size_t done = 0; done < cells.size(); done += PatchSimulation::lanes) {
        const std::size_t count = std::min(PatchSimulation::lanes, cells.size() - done);
        std::vector<DitheredBytes> bytes;
        for (std::size_t i = 0; i < count; ++i) {
            const std::size_t cell = cells[done + i];
            const std::uint8_t *mapped = tables.gamut.data() + 3 * cell;
            bytes.emplace_back(RgbBytes{mapped[0], mapped[1], mapped[2]});
            patches.push_back({cell, tables.targets[cell], {}});
        }
        for (std::size_t mode = 0; mode < dithering_modes; ++mode) {
            const std::vector<Vector3> lights =
                simulation.mean_light(int(mode), bytes, {.size = 96, .border = 16});
            for (std::size_t i = 0; i < count; ++i)
                patches[done + i].shown[mode] = lights[i];
        }
    }
    return patches;
}

DifferenceSummary summarise(const std::vector<double> &differences) {
    std::vector<double> sorted = differences;
    std::sort(sorted.begin(), sorted.end());
    const auto worst = std::max_element(differences.begin(), differences.end());
    return {std::accumulate(sorted.begin(), sorted.end(), 0.0) / double(sorted.size()),
            sorted[std::min(sorted.size() - 1, sorted.size() * 95 / 100)], sorted.back(),
            std::size_t(worst - differences.begin())};
}

DifferenceSummary summarise(const std::vector<ShownPatch> &patches, std::size_t mode) {
    std::vector<double> differences;
    for (const ShownPatch &patch : patches)
        differences.push_back(patch.difference(mode));
    return summarise(differences);
}

} // namespace oxel::tools
