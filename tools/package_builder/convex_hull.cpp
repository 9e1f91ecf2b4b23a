#include "package_builder/convex_hull.h"

#include <algorithm>
#include <cstddef>

namespace oxel::tools {

namespace {

constexpr double tolerance = 1e-7; // of distances, in squared bytes

Vector3 operator-(const Vector3 &a, const Vector3 &b) {
    return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}

double dot(const Vector3 &a, const Vector3 &b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

const Vector3 &furthest_along(const Vector3 &direction, const std::vector<Vector3> &points) {
    return *std::max_element(points.begin(), points.end(), [&](const Vector3 &a, const Vector3 &b) {
        return dot(a, direction) < dot(b, direction);
    });
}

/// A point in the simplex of up to four affinely independent corners.
class SimplexPoint {
  public:
    explicit SimplexPoint(const Vector3 &corner) : corners_{corner}, weights_{1}, count_(1) {}

    bool in_tetrahedron() const { return count_ == 4; }

    Vector3 position() const {
        Vector3 sum{};
        for (std::size_t i = 0; i < count_; ++i)
            for (std::size_t axis = 0; axis < 3; ++axis)
                sum[axis] += weights_[i] * corners_[i][axis];
        return sum;
    }

    void add_corner(const Vector3 &corner) {
        corners_[count_] = corner;
        weights_[count_++] = 0;
    }

    /// Moves toward `target`, dropping each corner whose opposite side stops the way, until it is
    /// the nearest point of the affine hull of the corners left.
    void approach(const Vector3 &target) {
        for (;;) {
            const Weights goal = nearest_in_affine_hull(target);
            const std::size_t obstacle = first_side_met(goal);
            if (obstacle == count_) {
                weights_ = goal;
                return;
            }
            const double step = step_to_side(obstacle, goal);
            for (std::size_t i = 0; i < count_; ++i)
                weights_[i] += step * (goal[i] - weights_[i]);
            drop_corner(obstacle);
        }
    }

  private:
    using Weights = std::array<double, 4>;

    double step_to_side(std::size_t corner, const Weights &goal) const {
        return weights_[corner] / (weights_[corner] - goal[corner]);
    }

    std::size_t first_side_met(const Weights &goal) const {
        std::size_t first = count_;
        for (std::size_t i = 0; i < count_; ++i)
            if (goal[i] <= 0 &&
                (first == count_ || step_to_side(i, goal) < step_to_side(first, goal)))
                first = i;
        return first;
    }

    void drop_corner(std::size_t corner) {
        --count_;
        corners_[corner] = corners_[count_];
        weights_[corner] = weights_[count_];
    }

    /// Solves the normal equations of the edges from corner 0. They are positive definite, so
    /// elimination needs no pivoting.
    Weights nearest_in_affine_hull(const Vector3 &target) const {
        const std::size_t edges = count_ - 1;
        double rows[3][4];
        for (std::size_t i = 0; i < edges; ++i) {
            const Vector3 edge = corners_[i + 1] - corners_[0];
            for (std::size_t j = 0; j < edges; ++j)
                rows[i][j] = dot(edge, corners_[j + 1] - corners_[0]);
            rows[i][edges] = dot(edge, target - corners_[0]);
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

    std::array<Vector3, 4> corners_;
    Weights weights_;
    std::size_t count_;
};

} // namespace

ConvexHull::ConvexHull(const std::vector<RgbBytes> &colours) {
    std::transform(colours.begin(), colours.end(), std::back_inserter(points_), to_vector);
}

/// Wolfe, "Finding the nearest point in a polytope", Mathematical Programming 11, 1976.
Vector3 ConvexHull::nearest(const Vector3 &target) const {
    SimplexPoint point(points_.front());
    Vector3 position = points_.front();
    double distance = dot(target - position, target - position);
    for (;;) {
        const Vector3 way = target - position;
        const Vector3 &corner = furthest_along(way, points_);
        if (dot(way, corner - position) <= tolerance || point.in_tetrahedron())
            return position;
        point.add_corner(corner);
        point.approach(target);
        const Vector3 next = point.position();
        const double next_distance = dot(target - next, target - next);
        if (next_distance >= distance) // only rounding is left
            return position;
        position = next;
        distance = next_distance;
    }
}

} // namespace oxel::tools
