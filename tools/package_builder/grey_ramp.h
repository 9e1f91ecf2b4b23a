#ifndef OXEL_TOOLS_GREY_RAMP_H
#define OXEL_TOOLS_GREY_RAMP_H

#include "package_builder/patch_solver.h"

#include <vector>

namespace oxel::tools {

/// A cell of the ramp: the light wanted, its bytes without a texture, not rounded, and as they are,
/// and whether they are to stay.
struct GreyStep {
    Vector3 wanted;
    Vector3 given;
    RgbBytes bytes;
    bool fixed;
};

/// Finds the bytes of a gamut table's greys together, so that they rise without steps back and
/// without casts. A picture that is dithered onto the table's grid mixes each cell with those about
/// it, so what counts is what is shown of mixtures: cells are the knots of a curve. What single
/// cells show, as of pictures that are not prepared, counts for less.
///
/// From a fixed-point iteration over all of them, then one cell after another is moved by a byte
/// while that helps. Lightness and casts are relative to `white`.
void solve_grey_ramp(std::vector<GreyStep> &ramp, const PatchSolver &solver, const Vector3 &white);

} // namespace oxel::tools

#endif
