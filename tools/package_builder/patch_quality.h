#ifndef OXEL_TOOLS_PATCH_QUALITY_H
#define OXEL_TOOLS_PATCH_QUALITY_H

#include "package_builder/package_builder.h"

#include <array>
#include <vector>

namespace oxel::tools {

/// A flat patch of a picture: what was asked for, what should be seen, and what each dithering mode
/// makes of it after the dither onto the package's grid.
struct ShownPatch {
    RgbBytes asked;
    Vector3 wanted; // light
    std::array<Vector3, dithering_modes> shown;

    /// CIEDE2000, absolute.
    double difference(std::size_t mode) const;
};

/// `count` colours of any bytes whose place after the mapping lies inside the gamut, always the
/// same ones; of a gamut that is flat, or too thin for so many inside, any colours make up the
/// rest.
std::vector<RgbBytes> reachable_colours(const Characterisation &panel, const GamutMapping &mapping,
                                        std::size_t count);

/// Simulates flat patches: 96 pixels each way, of which the middle 64 count, below 64 rows in
/// which the diffusion settles.
std::vector<ShownPatch> show_patches(const Characterisation &panel, const GamutMapping &mapping,
                                     const BuiltTables &tables,
                                     const std::vector<RgbBytes> &colours);

/// How good a grey ramp is, in L* and CIEDE2000 relative to the paper.
struct RampFigures {
    double step_back; // the most that a lighter grey is darker
    double jump;      // the most that L* rises in four bytes
    double cast;      // the furthest from neutral, of what can be mixed without a cast
};

/// The greys of every second byte, from black on.
std::vector<RgbBytes> ramp_greys();

/// Of the light that is seen of each of them.
RampFigures judge_ramp(const Characterisation &panel, const std::vector<Vector3> &lights);

/// For each dithering mode.
std::array<RampFigures, dithering_modes>
judge_greys(const Characterisation &panel, const GamutMapping &mapping, const BuiltTables &tables);

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
