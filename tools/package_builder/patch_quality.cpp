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

std::vector<RgbBytes> reachable_colours(const Characterisation &panel, const GamutMapping &mapping,
                                        std::size_t count) {
    constexpr double depth = 1e-6; // clipped colours lie on the surface
    const std::size_t patience = panel.dimension() < 3 ? 0 : 1000 * count;
    std::mt19937 random(2000);
    Vector3 near = mapping.start();
    std::vector<RgbBytes> colours;
    for (std::size_t tries = 0; colours.size() < count; ++tries) {
        RgbBytes colour{};
        for (std::uint8_t &channel : colour)
            channel = static_cast<std::uint8_t>(random() & 0xFF);
        if (tries >= patience ||
            panel.holds(mapping.map(light_from_srgb(to_vector(colour)), near), depth))
            colours.push_back(colour);
    }
    return colours;
}

std::vector<ShownPatch> show_patches(const Characterisation &panel, const GamutMapping &mapping,
                                     const BuiltTables &tables,
                                     const std::vector<RgbBytes> &colours) {
    const PatchSimulation simulation(panel, tables.quantisation);
    Vector3 near = mapping.start();
    std::vector<ShownPatch> patches;
    for (std::size_t done = 0; done < colours.size(); done += PatchSimulation::lanes) {
        const std::size_t count = std::min(PatchSimulation::lanes, colours.size() - done);
        std::vector<DitheredBytes> given;
        for (std::size_t i = 0; i < count; ++i) {
            const RgbBytes &asked = colours[done + i];
            given.emplace_back(tables.gamut, mapping.grid(), asked);
            patches.push_back({asked, mapping.map(light_from_srgb(to_vector(asked)), near), {}});
        }
        for (std::size_t mode = 0; mode < dithering_modes; ++mode) {
            const std::vector<Vector3> lights =
                simulation.mean_light(int(mode), given, {.size = 96, .border = 16, .lead = 48});
            for (std::size_t i = 0; i < count; ++i)
                patches[done + i].shown[mode] = lights[i];
        }
    }
    return patches;
}

namespace {

double luminance_of_lightness(double lightness) {
    constexpr double end_of_line = 8;
    return lightness > end_of_line ? power((lightness + 16) / 116, 3) : lightness * 27 / 24389;
}

} // namespace

std::vector<RgbBytes> ramp_greys() {
    std::vector<RgbBytes> greys;
    for (int byte = 0; byte < 256; byte += 2)
        greys.push_back(to_bytes({double(byte), double(byte), double(byte)}));
    return greys;
}

RampFigures judge_ramp(const Characterisation &panel, const std::vector<Vector3> &lights) {
    const Vector3 paper = panel.lights()[panel.white()];
    const auto can_mix = [&](double lightness) {
        const Vector3 grey = luminance_of_lightness(lightness) * paper;
        const Vector3 nearest = panel.nearest(grey).of(panel.corner_lights());
        return ciede2000(lab_from_light(nearest, paper), lab_from_light(grey, paper)) < 1;
    };
    std::vector<Vector3> lab;
    for (const Vector3 &light : lights)
        lab.push_back(lab_from_light(light, paper));
    RampFigures figures{};
    double lightest = lab[0][0];
    for (std::size_t i = 0; i < lab.size(); ++i) {
        lightest = std::max(lightest, lab[i][0]);
        figures.step_back = std::max(figures.step_back, lightest - lab[i][0]);
        if (i >= 2)
            figures.jump = std::max(figures.jump, lab[i][0] - lab[i - 2][0]);
        if (can_mix(lab[i][0]))
            figures.cast = std::max(figures.cast, ciede2000(lab[i], {lab[i][0], 0, 0}));
    }
    return figures;
}

std::array<RampFigures, dithering_modes>
judge_greys(const Characterisation &panel, const GamutMapping &mapping, const BuiltTables &tables) {
    const std::vector<ShownPatch> patches = show_patches(panel, mapping, tables, ramp_greys());
    std::array<RampFigures, dithering_modes> figures{};
    for (std::size_t mode = 0; mode < dithering_modes; ++mode) {
        std::vector<Vector3> lights;
        for (const ShownPatch &patch : patches)
            lights.push_back(patch.shown[mode]);
        figures[mode] = judge_ramp(panel, lights);
    }
    return figures;
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
