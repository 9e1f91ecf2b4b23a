#ifndef OXEL_TOOLS_NEAREST_MIXTURE_H
#define OXEL_TOOLS_NEAREST_MIXTURE_H

#include "package_builder/vector3.h"

#include <array>
#include <cstddef>
#include <span>

namespace oxel::tools {

/// An average of up to four points, which are named by their places in a list.
struct Mixture {
    std::array<std::size_t, 4> points{};
    std::array<double, 4> weights{}; // positive, their sum is 1
    std::size_t count = 0;

    Vector3 of(std::span<const Vector3> list) const {
        Vector3 sum{};
        for (std::size_t i = 0; i < count; ++i)
            sum = sum + weights[i] * list[points[i]];
        return sum;
    }
};

/// The average of points that comes nearest to `target`: the target itself inside their convex
/// hull. The points may be any, also repeated, on one line or in one plane; at least one. `start`
/// is what is likely mixed, of points that span as many dimensions as they can: it saves time.
///
/// Wolfe, "Finding the nearest point in a polytope", Mathematical Programming 11, 1976.
Mixture nearest_mixture(std::span<const Vector3> points, const Vector3 &target,
                        const Mixture *start = nullptr);

} // namespace oxel::tools

#endif
