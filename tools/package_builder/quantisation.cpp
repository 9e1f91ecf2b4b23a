#include "package_builder/quantisation.h"

#include "package_builder/cells.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <utility>

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
    Vector3 centre;
    double radius; // about the centre, of a sphere that holds it
};

std::vector<ByteTriangle> byte_triangles(const Characterisation &panel) {
    std::vector<ByteTriangle> triangles;
    for (const HullFacet &facet : panel.facets()) {
        ByteTriangle triangle{facet.corners, {}, {}, {}, 0};
        for (std::size_t i = 0; i < 3; ++i)
            triangle.corners[i] = to_vector(panel.palette()[facet.corners[i]]);
        const auto &[a, b, c] = triangle.corners;
        const Vector3 normal = cross(b - a, c - a);
        const double length = std::sqrt(dot(normal, normal));
        if (length > 0)
            triangle.normal = 1 / length * normal;
        triangle.centre = 1.0 / 3 * (a + b + c);
        for (const Vector3 &corner : triangle.corners)
            triangle.radius = std::max(triangle.radius,
                                       std::sqrt(squared_distance(corner, triangle.centre)) + 1e-6);
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
    const auto nearest_of = [&](const ByteTriangle &triangle) {
        const Mixture mixture = nearest_mixture(triangle.corners, srgb);
        return std::pair(mixture, squared_distance(mixture.of(triangle.corners), srgb));
    };
    double least = limit * limit;
    const std::size_t first = likely;
    std::pair<Mixture, double> of_first;
    if (first < triangles.size()) {
        of_first = nearest_of(triangles[first]);
        least = std::min(least, 1e-9 + (1 + 1e-9) * of_first.second);
    }
    const auto is_further = [&](const ByteTriangle &triangle) {
        const double height = dot(triangle.normal, srgb - triangle.corners[0]);
        const double reach = std::sqrt(least) + triangle.radius;
        return height * height >= least || // its plane already, or all of the sphere
               squared_distance(srgb, triangle.centre) >= reach * reach;
    };
    const ByteTriangle *nearest = nullptr;
    Mixture mixture;
    for (std::size_t i = 0; i < triangles.size(); ++i) {
        if (is_further(triangles[i]))
            continue;
        const auto [found, distance] = i == first ? of_first : nearest_of(triangles[i]);
        if (distance >= least)
            continue;
        least = distance;
        likely = i;
        nearest = &triangles[i];
        mixture = found;
    }
    std::vector<std::size_t> indices;
    for (std::size_t i = 0; nearest && i < mixture.count; ++i)
        indices.push_back(nearest->indices[mixture.points[i]]);
    return indices;
}

} // namespace

Quantiser::Quantiser(const Characterisation &panel, std::size_t together) {
    std::vector<std::size_t> all;
    for (const Vector3 &light : panel.lights()) {
        all.push_back(own_sites_.size());
        own_sites_.push_back(weighted_lab(light));
    }
    choices_.push_back({all});
    // GCC 12's own order of such vectors is none on a big-endian processor.
    const auto precedes = [](const auto &one, const auto &other) {
        return std::lexicographical_compare(one.begin(), one.end(), other.begin(), other.end());
    };
    std::map<std::vector<std::size_t>, std::size_t, decltype(precedes)> known;
    known[{}] = 0; // inside, any will do
    const std::vector<ByteTriangle> triangles =
        is_a_line(panel) ? std::vector<ByteTriangle>() : byte_triangles(panel);
    const std::size_t steps = cell_steps / together;
    const auto place_in_table = [](std::size_t red, std::size_t green, std::size_t blue) {
        return (red * cell_steps + green) * cell_steps + blue;
    };
    for (std::size_t red = 0; red < together; ++red)
        for (std::size_t green = 0; green < together; ++green)
            for (std::size_t blue = 0; blue < together; ++blue)
                offsets_.push_back(place_in_table(red, green, blue));
    const auto middle = [together](std::size_t step) {
        return 4 * double(together) * double(step) + 2 * double(together) - 0.5;
    };
    std::array<double, cell_steps> channel_light{};
    for (std::size_t step = 0; step < steps; ++step)
        channel_light[step] = light_from_srgb({middle(step), 0, 0})[0];
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
            choices_.push_back({surface});
        choices_[choice->second].cells.push_back(
            {weighted_lab(light),
             place_in_table(together * red, together * green, together * blue)});
    }
}

void Quantiser::take_nearest(const Choice &choice, const std::vector<Vector3> &sites,
                             std::vector<std::uint8_t> &table) const {
    for (const Cell &cell : choice.cells) {
        std::size_t nearest = choice.indices.front();
        double least = std::numeric_limits<double>::infinity();
        for (const std::size_t index : choice.indices)
            if (const double d = squared_distance(sites[index], cell.place); d < least) {
                least = d;
                nearest = index;
            }
        for (const std::size_t offset : offsets_)
            table[cell.first + offset] = static_cast<std::uint8_t>(nearest);
    }
}

std::vector<std::uint8_t> Quantiser::table(const std::vector<Vector3> &sites) const {
    std::vector<std::uint8_t> table(package_cells);
    for (const Choice &choice : choices_)
        take_nearest(choice, sites, table);
    return table;
}

std::vector<std::uint8_t> Quantiser::table(const std::vector<Vector3> &sites,
                                           const std::vector<Vector3> &before,
                                           std::vector<std::uint8_t> table) const {
    for (const Choice &choice : choices_)
        if (choice.indices.size() > 1 &&
            std::any_of(choice.indices.begin(), choice.indices.end(),
                        [&](std::size_t index) { return sites[index] != before[index]; }))
            take_nearest(choice, sites, table);
    return table;
}

} // namespace oxel::tools
