#ifndef OXEL_TOOLS_CONVEX_HULL_H
#define OXEL_TOOLS_CONVEX_HULL_H

#include "package_builder/vector3.h"

#include <array>
#include <cstddef>
#include <vector>

namespace oxel::tools {

/// The places in `points` of three corners, in rising order.
using HullTriangle = std::array<std::size_t, 3>;

/// The surface of the convex hull, as triangles in rising order: the points are joined one by one
/// to a first body. Throws std::runtime_error if they span none.
std::vector<HullTriangle> hull_triangles(const std::vector<Vector3> &points);

} // namespace oxel::tools

#endif
