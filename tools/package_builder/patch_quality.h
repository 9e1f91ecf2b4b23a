#ifndef OXEL_TOOLS_PATCH_QUALITY_H
#define OXEL_TOOLS_PATCH_QUALITY_H

#include "package_builder/package_builder.h"

#include <array>
#include <vector>

namespace oxel::tools {

constexpr std::size_t dithering_modes = 6;

/// A flat patch: what was asked for, what should be seen, and what each dithering mode makes of it.
struct ShownPatch {
    std::size_t cell;
    Vector3 wanted; // light
    std::array<Vector3, dithering_modes> shown;

    /// CIEDE2000, absolute.
    double difference(std::size_t mode) const;
};

/// `count` cells whose target lies inside the gamut, always the same ones; of a gamut that is flat,
/// or too thin for so many inside, any cells make up the rest.
std::vector<std::size_t> reachable_cells(const Characterisation &panel,
                                         const std::vector<Vector3> &targets, std::size_t count);

/// Simulates flat patches of cells: 96 pixels each way, of which the middle 64 count.
std::vector<ShownPatch> show_patches(const Characterisation &panel, const BuiltTables &tables,
                                     const std::vector<std::size_t> &cells);

/// Figures of a list of differences, which must not be empty.
struct DifferenceSummary {
    double mean;
    double percentile95;
    double largest;
    std::size_t worst; // the place of the largest
};

DifferenceSummary summarise(const std::vector<double> &differences);

DifferenceSummary summarise(const std::vector<ShownPatch> &patches, std::size_t mode);

} // namespace oxel::tools

#endif
