#ifndef OXEL_TOOLS_QUIET_MIXTURE_H
#define OXEL_TOOLS_QUIET_MIXTURE_H

#include "package_builder/characterisation.h"

#include <optional>
#include <vector>

namespace oxel::tools {

/// Of the mixtures that show a colour, the one whose dots differ least in luminance. That cuts the
/// gamut into tetrahedra of inks: the regular triangulation of the inks' light, lifted by the
/// square of its luminance.
class QuietMixtures {
  public:
    /// None of palettes with more than 16 colours on the hull, which would take too long.
    explicit QuietMixtures(const Characterisation &panel);

    /// In terms of the corners; none outside of the gamut, and none of a gamut that is no body.
    std::optional<Mixture> at(const Vector3 &light) const;

  private:
    struct Tetrahedron {
        std::array<std::size_t, 4> corners;
        Vector3 origin;
        Matrix3 weights; // of the last three corners, of a place relative to the origin, the first
    };

    std::vector<Tetrahedron> tetrahedra_;
};

} // namespace oxel::tools

#endif
