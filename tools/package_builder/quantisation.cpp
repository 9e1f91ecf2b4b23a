#include "package_builder/quantisation.h"

#include "package_builder/cells.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>

namespace oxel::tools {

namespace {

/// Chosen by the colour error and the grain of flat patches and by photographs; see docs/colour.md.
constexpr Vector3 lab_weights = {1.5, 1, 0.8};

Vector3 weighted_lab(const Vector3 &light) {
    const Vector3 lab = lab_from_light(light);
    return {lab_weights[0] * lab[0], lab_weights[1] * lab[1], lab_weights[2] * lab[2]};
}

/// In bytes: cells as near to a surface triangle are taken for its own.
constexpr double surface_thickness = 6;

/// In bytes: the casts that measuring leaves of greys are no larger.
constexpr double line_radius = 3;

/// Whether all colours lie along a line, as greys do: then all of the gamut is surface, and which
/// of its triangles a cell is nearest to says nothing.
bool is_a_line(const Characterisation &panel) {
    const Vector3 dark = to_vector(panel.palette()[panel.black()]);
    const Vector3 line = to_vector(panel.palette()[panel.white()]) - dark;
    return std::all_of(panel.palette().begin(), panel.palette().end(), [&](const RgbBytes &rgb) {
        const Vector3 aside = cross(to_vector(rgb) - dark, line);
        return dot(aside, aside) < line_radius * line_radius * dot(line, line);
    });
}

/// A triangle of the gamut's surface as the diffusion sees it: flat in sRGB bytes.
struct ByteTriangle {
    std::array<std::size_t, 3> indices;
    std::array<Vector3, 3> corners;
    Vector3 normal; // of length 1, or 0
};

std::vector<ByteTriangle> byte_triangles(const Characterisation &panel) {
    std::vector<ByteTriangle> triangles;
    for (const HullFacet &facet : panel.facets()) {
        ByteTriangle triangle{facet.corners, {}, {}};
        for (std::size_t i = 0; i < 3; ++i)
            triangle.corners[i] = to_vector(panel.palette()[facet.corners[i]]);
        const auto &[a, b, c] = triangle.corners;
        const Vector3 normal = cross(b - a, c - a);
        const double length = std::sqrt(dot(normal, normal));
        if (length > 0)
            triangle.normal = 1 / length * normal;
        triangles.push_back(triangle);
    }
    return triangles;
}

/// The palette indices that the place of a surface nearest to a colour is mixed of: one, two or
/// three; none if it is not nearer than `limit`. `likely` is the triangle that is tried beforehand,
/// to see the least of the others; it receives the one found.
std::vector<std::size_t> nearest_on_surface(const std::vector<ByteTriangle> &triangles,
                                            const Vector3 &srgb, double limit,
                                            std::size_t &likely) {
    std::vector<std::size_t> indices;
    double least = limit * limit;
    const auto distance = [&](const ByteTriangle &triangle, const Mixture &mixture) {
        return squared_distance(mixture.of(triangle.corners), srgb);
    };
    if (likely < triangles.size())
        least = std::min(
            least, 1e-9 + (1 + 1e-9) * distance(triangles[likely],
                                                nearest_mixture(triangles[likely].corners, srgb)));
    for (const ByteTriangle &triangle : triangles) {
        const double height = dot(triangle.normal, srgb - triangle.corners[0]);
        if (height * height >= least) // its plane is further away already
            continue;
        const Mixture mixture = nearest_mixture(triangle.corners, srgb);
        const double d = distance(triangle, mixture);
        if (d >= least)
            continue;
        least = d;
        likely = std::size_t(&triangle - triangles.data());
        indices.clear();
        for (std::size_t i = 0; i < mixture.count; ++i)
            indices.push_back(triangle.indices[mixture.points[i]]);
    }
    return indices;
}

} // namespace

Quantiser::Quantiser(const Characterisation &panel, std::size_t together) : together_(together) {
    std::vector<std::size_t> all;
    for (const Vector3 &light : panel.lights()) {
        all.push_back(own_sites_.size());
        own_sites_.push_back(weighted_lab(light));
    }
    choices_.push_back(all);
    // GCC 12's own order of such vectors is none on a big-endian processor.
    const auto precedes = [](const auto &one, const auto &other) {
        return std::lexicographical_compare(one.begin(), one.end(), other.begin(), other.end());
    };
    std::map<std::vector<std::size_t>, std::size_t, decltype(precedes)> known;
    known[{}] = 0; // inside, any will do
    const std::vector<ByteTriangle> triangles =
        is_a_line(panel) ? std::vector<ByteTriangle>() : byte_triangles(panel);
    const std::size_t steps = cell_steps / together;
    const auto middle = [together](std::size_t step) {
        return 4 * double(together) * double(step) + 2 * double(together) - 0.5;
    };
    std::array<double, cell_steps> channel_light{};
    for (std::size_t step = 0; step < steps; ++step)
        channel_light[step] = light_from_srgb({middle(step), 0, 0})[0];
    cells_.reserve(steps * steps * steps);
    std::size_t likely = triangles.size();
    for (std::size_t number = 0; number < steps * steps * steps; ++number) {
        const std::size_t red = number / steps / steps;
        const std::size_t green = number / steps % steps;
        const std::size_t blue = number % steps;
        const Vector3 light = {channel_light[red], channel_light[green], channel_light[blue]};
        const double thickness =
            panel.holds(light) ? surface_thickness : std::numeric_limits<double>::infinity();
        const std::vector<std::size_t> surface = nearest_on_surface(
            triangles, {middle(red), middle(green), middle(blue)}, thickness, likely);
        const auto [choice, is_new] = known.try_emplace(surface, choices_.size());
        if (is_new)
            choices_.push_back(surface);
        cells_.push_back({weighted_lab(light), choice->second});
    }
}

std::vector<std::uint8_t> Quantiser::table(const std::vector<Vector3> &sites) const {
    std::vector<std::uint8_t> taken;
    taken.reserve(cells_.size());
    for (const Cell &cell : cells_) {
        const std::vector<std::size_t> &choice = choices_[cell.choice];
        std::size_t nearest = choice.front();
        double least = std::numeric_limits<double>::infinity();
        for (std::size_t i = 0; i < choice.size() && choice.size() > 1; ++i)
            if (const double d = squared_distance(sites[choice[i]], cell.place); d < least) {
                least = d;
                nearest = choice[i];
            }
        taken.push_back(static_cast<std::uint8_t>(nearest));
    }
    if (together_ == 1)
        return taken;
    const std::size_t steps = cell_steps / together_;
    std::vector<std::uint8_t> table;
    table.reserve(package_cells);
    for_each_cell([&](std::size_t red, std::size_t green, std::size_t blue) {
        table.push_back(
            taken[(red / together_ * steps + green / together_) * steps + blue / together_]);
    });
    return table;
}

} // namespace oxel::tools
