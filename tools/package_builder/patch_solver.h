#ifndef OXEL_TOOLS_PATCH_SOLVER_H
#define OXEL_TOOLS_PATCH_SOLVER_H

#include "package_builder/patch_simulation.h"
#include "package_builder/quiet_mixture.h"

#include <array>
#include <vector>

namespace oxel::tools {

/// How much each kernel's diffusion counts; the sum is 1. Plain and serpentine order make the same
/// flat patches.
using DiffusionWeights = std::array<double, kernels>;

/// A colour to be shown, and a guess at what has to be given for it, both in sRGB bytes.
struct PatchGoal {
    Vector3 wanted;
    Vector3 guess;
};

/// Adds what a Floyd-Steinberg diffusion loses of each channel, about, as it rounds every share of
/// an error down. A palette colour with so much added is still rendered pure, by every diffusion,
/// and swallows small errors that come in from the neighbourhood: with less, the errors of dark
/// detail would grow into dots all over the white paper.
Vector3 add_rounding_loss(const Vector3 &srgb);

/// What has to be given for a flat patch to be shown in a colour.
class PatchSolver {
  public:
    /// The panel and the simulation must outlive the solver.
    PatchSolver(const Characterisation &panel, const PatchSimulation &simulation,
                const DiffusionWeights &weights);

    /// The reachable colour nearest to `srgb`, guessed to be mixed as quietly as it can be. A
    /// colour on the surface has one mixture only.
    PatchGoal goal(const Vector3 &srgb) const;

    /// The sRGB bytes, not rounded, whose patches come out in the colours wanted, by fixed-point
    /// iteration; 1 to PatchSimulation::lanes of them.
    std::vector<Vector3> solve(const std::vector<PatchGoal> &goals) const;

    const DiffusionWeights &weights() const { return weights_; }

    /// The light of each colour in a kernel's diffusion; any number of colours.
    std::vector<Vector3> show(std::size_t kernel, std::span<const DitheredBytes> colours) const;

    /// Bytes that are not far outside the hull of the palette's.
    Vector3 confine(const Vector3 &given) const;

    /// Whether all diffusions that count round shares toward zero, as the wide kernels do. Of a
    /// colour within some eleven levels of an ink they lose the whole error, and show the ink.
    bool loses_small_errors() const { return weights_[0] == 0; }

    /// How many a picture is mixed of.
    std::size_t colours() const { return corner_bytes_.size(); }

    /// The texture that cells of such bytes need so that this does not happen, in bytes.
    double texture(const Vector3 &given) const;

  private:
    const Characterisation &panel_;
    QuietMixtures quiet_;
    const PatchSimulation &simulation_;
    DiffusionWeights weights_;
    std::vector<Vector3> corner_bytes_;
    double whole_texture_ = 0;
};

} // namespace oxel::tools

#endif
