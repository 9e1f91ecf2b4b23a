#include "package_builder/quantisation.h"

#include "package_builder/cells.h"

#include <array>
#include <cmath>
#include <limits>

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

class Quantiser {
  public:
    explicit Quantiser(const Characterisation &panel)
        : panel_(panel), triangles_(byte_triangles(panel)) {
        for (const Vector3 &light : panel.lights())
            palette_.push_back(weighted_lab(light));
    }

    std::uint8_t index(const Vector3 &srgb, const Vector3 &light) const {
        const Vector3 place = weighted_lab(light);
        const double thickness =
            panel_.holds(light) ? surface_thickness : std::numeric_limits<double>::infinity();
        Choice choice;
        if (const Mixture surface = nearest_on_surface(srgb, thickness); surface.count > 0)
            for (std::size_t i = 0; i < surface.count; ++i)
                consider(surface.points[i], place, choice);
        else
            for (std::size_t index = 0; index < palette_.size(); ++index)
                consider(index, place, choice);
        return choice.index;
    }

  private:
    struct Choice {
        std::uint8_t index = 0;
        double distance = std::numeric_limits<double>::infinity();
    };

    void consider(std::size_t index, const Vector3 &place, Choice &choice) const {
        if (const double d = squared_distance(palette_[index], place); d < choice.distance)
            choice = {static_cast<std::uint8_t>(index), d};
    }

    /// The mixture of palette indices nearest to a colour on the surface, of one, two or three
    /// colours; of none if it is not nearer than `limit`.
    Mixture nearest_on_surface(const Vector3 &srgb, double limit) const {
        Mixture nearest;
        double least = limit * limit;
        for (const ByteTriangle &triangle : triangles_) {
            const double height = dot(triangle.normal, srgb - triangle.corners[0]);
            if (height * height >= least) // its plane is further away already
                continue;
            Mixture mixture = nearest_mixture(triangle.corners, srgb);
            const double d = squared_distance(mixture.of(triangle.corners), srgb);
            if (d >= least)
                continue;
            least = d;
            for (std::size_t i = 0; i < mixture.count; ++i)
                mixture.points[i] = triangle.indices[mixture.points[i]];
            nearest = mixture;
        }
        return nearest;
    }

    const Characterisation &panel_;
    std::vector<ByteTriangle> triangles_;
    std::vector<Vector3> palette_;
};

} // namespace

std::vector<std::uint8_t> quantisation_table(const Characterisation &panel) {
    std::array<double, cell_steps> channel_light{};
    for (std::size_t step = 0; step < cell_steps; ++step)
        channel_light[step] = light_from_srgb({middle_byte(step), 0, 0})[0];
    const Quantiser quantiser(panel);
    std::vector<std::uint8_t> table;
    table.reserve(package_cells);
    for_each_cell([&](std::size_t red, std::size_t green, std::size_t blue) {
        table.push_back(
            quantiser.index({middle_byte(red), middle_byte(green), middle_byte(blue)},
                            {channel_light[red], channel_light[green], channel_light[blue]}));
    });
    return table;
}

} // namespace oxel::tools
