#ifndef OXEL_TOOLS_COMPENSATION_H
#define OXEL_TOOLS_COMPENSATION_H

#include "package_builder/patch_solver.h"

#include <functional>
#include <vector>

namespace oxel::tools {

/// The fourth stage. A diffusion keeps the mean of the bytes that it is given, roughly, but dots
/// average in light; and the roundings of its shares make light and dark of their own. So a
/// package's gamut table does not hold the colours wanted, but the bytes whose diffusion gives
/// them: for each target the fixed point at which a simulated patch has the light wanted.
///
/// The fixed points of greys are found one by one, those of other colours on a lattice of colours,
/// and interpolated between. Targets that are a palette colour itself get bytes that every
/// diffusion renders in that colour alone.
///
/// Returns 3 bytes a target. `progress` is called with a share of the work from 0 to 1.
std::vector<std::uint8_t>
compensate(const Characterisation &panel, const std::vector<Vector3> &targets,
           const PatchSimulation &simulation, const DiffusionWeights &weights,
           const DiffusionWeights &grey_weights, const std::function<void(double)> &progress);

/// About the same in a tenth of the time, before it is rounded to bytes.
std::vector<Vector3> roughly_compensate(const Characterisation &panel,
                                        const std::vector<Vector3> &targets,
                                        const PatchSimulation &simulation,
                                        const DiffusionWeights &weights,
                                        const std::function<void(double)> &progress);

} // namespace oxel::tools

#endif
