#include "package_builder/convex_hull.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <stdexcept>

namespace oxel::tools {

namespace {

__extension__ typedef __int128 Wide;

/// A point on a grid so coarse that which side of a plane it lies on is computed without rounding:
/// the surface closes whatever the points are.
using GridPoint = std::array<std::int64_t, 3>;

std::vector<GridPoint> to_grid(const std::vector<Vector3> &points) {
    constexpr double steps = 1 << 30;
    double largest = 0;
    for (const Vector3 &point : points)
        for (const double coordinate : point)
            largest = std::max(largest, std::abs(coordinate));
    std::vector<GridPoint> grid;
    for (const Vector3 &point : points) {
        GridPoint place{};
        for (std::size_t i = 0; i < 3 && largest > 0; ++i)
            place[i] = std::llround(point[i] / largest * steps);
        grid.push_back(place);
    }
    return grid;
}

/// Six times the volume over a triangle: above 0 if it shows `point` its corners counterclockwise.
Wide height(const std::vector<GridPoint> &points, const HullTriangle &triangle,
            const GridPoint &point) {
    Wide edges[3][3];
    for (std::size_t corner = 0; corner < 3; ++corner)
        for (std::size_t i = 0; i < 3; ++i)
            edges[corner][i] = points[triangle[corner]][i] - point[i];
    const auto &[a, b, c] = edges;
    return -(a[0] * (b[1] * c[2] - b[2] * c[1]) + a[1] * (b[2] * c[0] - b[0] * c[2]) +
             a[2] * (b[0] * c[1] - b[1] * c[0]));
}

/// The square of twice the area, which is only compared: rounded, but alike on every machine.
double area(const GridPoint &a, const GridPoint &b, const GridPoint &c) {
    double sum = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        const std::size_t j = (i + 1) % 3;
        const auto component = static_cast<double>(Wide{b[i] - a[i]} * (c[j] - a[j]) -
                                                   Wide{b[j] - a[j]} * (c[i] - a[i]));
        sum += component * component;
    }
    return sum;
}

/// Four points that span a body: the first, the two that make the largest triangle with it, and the
/// one furthest from that. Sides with more than three corners are cut between them.
std::optional<std::array<std::size_t, 4>> first_body(const std::vector<GridPoint> &points) {
    HullTriangle base{};
    double largest = 0;
    for (std::size_t i = 1; i < points.size(); ++i)
        for (std::size_t j = i + 1; j < points.size(); ++j)
            if (const double found = area(points[0], points[i], points[j]); found > largest) {
                largest = found;
                base = {0, i, j};
            }
    std::size_t top = 0;
    Wide highest = 0;
    for (std::size_t i = 0; i < points.size(); ++i) {
        const Wide found = height(points, base, points[i]);
        if (const Wide size = found < 0 ? -found : found; size > highest) {
            highest = size;
            top = i;
        }
    }
    if (highest == 0)
        return std::nullopt;
    return std::array{base[0], base[1], base[2], top};
}

/// Joins the surface to a point outside it: the triangles that the point sees give way to those
/// between it and their border.
void add_point(std::vector<HullTriangle> &surface, const std::vector<GridPoint> &points,
               std::size_t point) {
    const auto hidden =
        std::stable_partition(surface.begin(), surface.end(), [&](const HullTriangle &triangle) {
            return height(points, triangle, points[point]) <= 0;
        });
    std::vector<HullTriangle> seen;
    seen.assign(hidden, surface.end());
    surface.resize(surface.size() - seen.size());
    const auto is_seen = [&](std::size_t from, std::size_t to) {
        return std::any_of(seen.begin(), seen.end(), [&](const HullTriangle &triangle) {
            for (std::size_t i = 0; i < 3; ++i)
                if (triangle[i] == from && triangle[(i + 1) % 3] == to)
                    return true;
            return false;
        });
    };
    for (const HullTriangle &triangle : seen)
        for (std::size_t i = 0; i < 3; ++i)
            if (const auto from = triangle[i], to = triangle[(i + 1) % 3]; !is_seen(to, from))
                surface.push_back({from, to, point});
}

} // namespace

std::vector<HullTriangle> hull_triangles(const std::vector<Vector3> &points) {
    const std::vector<GridPoint> grid = to_grid(points);
    const auto body = first_body(grid);
    if (!body)
        throw std::runtime_error("the convex hull of the colours cannot be found");
    auto [a, b, c, d] = *body;
    if (height(grid, {a, b, c}, grid[d]) > 0)
        std::swap(b, c);
    std::vector<HullTriangle> surface = {{a, b, c}, {a, d, b}, {b, d, c}, {c, d, a}};
    for (std::size_t i = 0; i < grid.size(); ++i)
        add_point(surface, grid, i);
    for (HullTriangle &triangle : surface)
        std::sort(triangle.begin(), triangle.end());
    std::sort(surface.begin(), surface.end());
    return surface;
}

} // namespace oxel::tools
