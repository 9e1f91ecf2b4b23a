#ifndef OXEL_TOOLS_CONVEX_HULL_H
#define OXEL_TOOLS_CONVEX_HULL_H

#include "package_builder/colour_space.h"

#include <vector>

namespace oxel::tools {

/// The convex hull of colours: all averages that a dithering can make of them. The colours may be
/// any, also repeated, on one line or in one plane.
class ConvexHull {
  public:
    explicit ConvexHull(const std::vector<RgbBytes> &colours); // at least one

    /// The point of the hull that is nearest to `target`, which is `target` itself inside.
    Vector3 nearest(const Vector3 &target) const;

  private:
    std::vector<Vector3> points_;
};

} // namespace oxel::tools

#endif
