#include "package_builder/nearest_mixture.h"

namespace oxel::tools {

namespace {

constexpr double tolerance = 1e-13; // of what a step toward another point would gain

std::size_t furthest_along(const Vector3 &direction, std::span<const Vector3> points) {
    std::size_t furthest = 0;
    double most = dot(points[0], direction);
    for (std::size_t i = 1; i < points.size(); ++i)
        if (const double reach = dot(points[i], direction); reach > most) {
            most = reach;
            furthest = i;
        }
    return furthest;
}

/// A point in the simplex of up to four affinely independent points.
class SimplexPoint {
  public:
    explicit SimplexPoint(std::span<const Vector3> points) : points_(points) {
        mixture_.weights[0] = 1;
        mixture_.count = 1;
    }

    const Mixture &mixture() const { return mixture_; }
    /// Goes to the nearest point of the affine hull of other corners, if it lies inside of them.
    void start_at(const Mixture &corners, const Vector3 &target) {
        const Mixture before = mixture_;
        mixture_ = corners;
        mixture_.weights = nearest_in_affine_hull(target);
        for (std::size_t i = 0; i < mixture_.count; ++i)
            if (!(mixture_.weights[i] > 0)) {
                mixture_ = before;
                return;
            }
    }

    bool in_tetrahedron() const { return mixture_.count == 4; }
    Vector3 position() const { return mixture_.of(points_); }

    void add_corner(std::size_t point) {
        mixture_.points[mixture_.count] = point;
        mixture_.weights[mixture_.count++] = 0;
    }

    /// Moves toward `target`, dropping each corner whose opposite side stops the way, until it is
    /// the nearest point of the affine hull of the corners left.
    void approach(const Vector3 &target) {
        for (;;) {
            const Weights goal = nearest_in_affine_hull(target);
            const std::size_t obstacle = first_side_met(goal);
            if (obstacle == mixture_.count) {
                mixture_.weights = goal;
                return;
            }
            const double step = step_to_side(obstacle, goal);
            for (std::size_t i = 0; i < mixture_.count; ++i)
                mixture_.weights[i] += step * (goal[i] - mixture_.weights[i]);
            drop_corner(obstacle);
        }
    }

  private:
    using Weights = std::array<double, 4>;

    const Vector3 &corner(std::size_t i) const { return points_[mixture_.points[i]]; }

    double step_to_side(std::size_t corner, const Weights &goal) const {
        return mixture_.weights[corner] / (mixture_.weights[corner] - goal[corner]);
    }

    std::size_t first_side_met(const Weights &goal) const {
        std::size_t first = mixture_.count;
        for (std::size_t i = 0; i < mixture_.count; ++i)
            if (goal[i] <= 0 &&
                (first == mixture_.count || step_to_side(i, goal) < step_to_side(first, goal)))
                first = i;
        return first;
    }

    void drop_corner(std::size_t corner) {
        const std::size_t last = --mixture_.count;
        mixture_.points[corner] = mixture_.points[last];
        mixture_.weights[corner] = mixture_.weights[last];
    }

    Weights nearest_in_affine_hull(const Vector3 &target) const {
        switch (mixture_.count) {
        case 1:
            return {1};
        case 2:
            return nearest_along<1>(target);
        case 3:
            return nearest_along<2>(target);
        default:
            return nearest_along<3>(target);
        }
    }

    /// Solves the normal equations of the edges from corner 0. They are positive definite, so
    /// elimination needs no pivoting.
    template <std::size_t edges>
    Weights nearest_along(const Vector3 &target) const {
        std::array<Vector3, edges> edge;
        for (std::size_t i = 0; i < edges; ++i)
            edge[i] = corner(i + 1) - corner(0);
        const Vector3 way = target - corner(0);
        double rows[edges][edges + 1];
        for (std::size_t i = 0; i < edges; ++i) {
            for (std::size_t j = 0; j <= i; ++j)
                rows[i][j] = rows[j][i] = dot(edge[i], edge[j]);
            rows[i][edges] = dot(edge[i], way);
        }
        for (std::size_t pivot = 0; pivot < edges; ++pivot)
            for (std::size_t i = 0; i < edges; ++i)
                if (i != pivot)
                    eliminate(rows[i], rows[pivot], pivot, edges);
        Weights weights{1};
        for (std::size_t i = 0; i < edges; ++i) {
            weights[i + 1] = rows[i][edges] / rows[i][i];
            weights[0] -= weights[i + 1];
        }
        return weights;
    }

    static void eliminate(double *row, const double *pivot_row, std::size_t pivot,
                          std::size_t last) {
        const double factor = row[pivot] / pivot_row[pivot];
        for (std::size_t i = pivot; i <= last; ++i)
            row[i] -= factor * pivot_row[i];
    }

    std::span<const Vector3> points_;
    Mixture mixture_;
};

} // namespace

Mixture nearest_mixture(std::span<const Vector3> points, const Vector3 &target,
                        const Mixture *start) {
    SimplexPoint point(points);
    if (start)
        point.start_at(*start, target);
    Vector3 position = point.position();
    double distance = squared_distance(target, position);
    for (;;) {
        const Vector3 way = target - position;
        const std::size_t corner = furthest_along(way, points);
        if (dot(way, points[corner] - position) <= tolerance || point.in_tetrahedron())
            return point.mixture();
        const Mixture before = point.mixture();
        point.add_corner(corner);
        point.approach(target);
        position = point.position();
        const double next_distance = squared_distance(target, position);
        if (!(next_distance < distance)) // only rounding is left
            return before;
        distance = next_distance;
    }
}

} // namespace oxel::tools
