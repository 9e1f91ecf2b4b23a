#ifndef OXEL_TOOLS_CONVEX_HULL_H
#define OXEL_TOOLS_CONVEX_HULL_H

#include "package_builder/vector3.h"

#include <array>
#include <cstddef>
#include <vector>

namespace oxel::tools {

/// The places in `points` of three corners, in rising order.
using HullTriangle = std::array<std::size_t, 3>;

/// The surface of the convex hull, as triangles in rising order, by qhull. The points must span a
/// body.
std::vector<HullTriangle> hull_triangles(const std::vector<Vector3> &points);

} // namespace oxel::tools

#endif
