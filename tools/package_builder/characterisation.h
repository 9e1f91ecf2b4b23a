#ifndef OXEL_TOOLS_CHARACTERISATION_H
#define OXEL_TOOLS_CHARACTERISATION_H

#include "package_builder/colour_space.h"
#include "package_builder/nearest_mixture.h"

#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace oxel::tools {

/// A triangle of a convex hull, and the half-space dot(normal, light) <= offset that holds the
/// hull.
struct HullFacet {
    std::array<std::size_t, 3> corners; // places in the palette, anticlockwise from outside
    Vector3 normal;                     // of length 1, outward
    double offset;
};

/// The first stage: what a panel can show. Dots that are too small to see average in light, so the
/// colours of a panel are the convex hull of its palette in linear light, on the scale 0 to 1.
class Characterisation {
  public:
    /// `palette` holds measured colours in sRGB, at least one.
    explicit Characterisation(std::vector<RgbBytes> palette);

    const std::vector<RgbBytes> &palette() const { return palette_; }
    const std::vector<Vector3> &lights() const { return lights_; }

    /// The entries of the greatest and the least L*; the first of several.
    std::size_t white() const { return white_; }
    std::size_t black() const { return black_; }

    /// 3 for a body; 2, 1 or 0 if all colours lie in a plane, on a line or in one point.
    int dimension() const { return dimension_; }

    /// None unless the dimension is 3.
    const std::vector<HullFacet> &facets() const { return facets_; }

    /// The palette colours that span the hull, as light, and their places in the palette.
    const std::vector<Vector3> &corner_lights() const { return corner_lights_; }
    std::size_t corner_index(std::size_t corner) const { return corner_indices_[corner]; }

    /// Whether `light` lies inside, at least `depth` from the surface.
    bool holds(const Vector3 &light, double depth = 0) const;

    /// The nearest reachable light, in terms of the corners.
    Mixture nearest(const Vector3 &light) const { return nearest_mixture(corner_lights_, light); }

    /// The volume in cubic units of CIE L*a*b*.
    double lab_volume() const;

    /// What a user should know of a palette whose colours repeat or span no body; empty if nothing.
    std::vector<std::string> remarks() const;

  private:
    void find_facets();
    void find_corners();

    std::vector<RgbBytes> palette_;
    std::vector<Vector3> lights_;
    std::size_t white_;
    std::size_t black_;
    int dimension_;
    std::vector<HullFacet> facets_;
    std::vector<Vector3> corner_lights_;
    std::vector<std::size_t> corner_indices_;
};

} // namespace oxel::tools

#endif
