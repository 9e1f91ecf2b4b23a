#include "package_builder/characterisation.h"

#include "package_builder/convex_hull.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace oxel::tools {

namespace {

constexpr double flat = 1e-4; // extents of light below this count as none

/// How many dimensions the points span: each further direction is the one in which a point lies
/// furthest from the span of those before.
int affine_dimension(const std::vector<Vector3> &points) {
    std::vector<Vector3> rests;
    for (const Vector3 &point : points)
        rests.push_back(point - points.front());
    for (int dimension = 0; dimension < 3; ++dimension) {
        const Vector3 furthest =
            *std::max_element(rests.begin(), rests.end(), [](const Vector3 &a, const Vector3 &b) {
                return dot(a, a) < dot(b, b);
            });
        const double length = dot(furthest, furthest);
        if (length < flat * flat)
            return dimension;
        for (Vector3 &rest : rests)
            rest = rest - (dot(rest, furthest) / length) * furthest;
    }
    return 3;
}

/// The volume under a triangle seen from the origin, signed.
double signed_volume(const Vector3 &a, const Vector3 &b, const Vector3 &c) {
    return dot(a, cross(b, c)) / 6;
}

} // namespace

Characterisation::Characterisation(std::vector<RgbBytes> palette)
    : palette_(std::move(palette)), dimension_(0) {
    for (const RgbBytes &rgb : palette_)
        lights_.push_back(light_from_srgb(to_vector(rgb)));
    std::vector<double> lightness;
    for (const Vector3 &light : lights_)
        lightness.push_back(lab_from_light(light)[0]);
    const auto first = lightness.begin();
    white_ = std::size_t(std::max_element(first, lightness.end()) - first);
    black_ = std::size_t(std::min_element(first, lightness.end()) - first);
    dimension_ = affine_dimension(lights_);
    if (dimension_ == 3)
        find_facets();
    find_corners();
}

void Characterisation::find_facets() {
    Vector3 centre{};
    for (const Vector3 &light : lights_)
        centre = centre + (1.0 / double(lights_.size())) * light;
    for (const HullTriangle &triangle : hull_triangles(lights_)) {
        const auto &[a, b, c] = triangle;
        const Vector3 normal = cross(lights_[b] - lights_[a], lights_[c] - lights_[a]);
        const double length = std::sqrt(dot(normal, normal));
        if (length == 0)
            continue;
        HullFacet facet{triangle, 1 / length * normal, 0};
        if (dot(facet.normal, centre - lights_[a]) > 0) {
            facet.normal = -1 * facet.normal;
            std::swap(facet.corners[1], facet.corners[2]);
        }
        facet.offset = dot(facet.normal, lights_[a]);
        facets_.push_back(facet);
    }
}

/// Of a flat palette every colour counts, each once.
void Characterisation::find_corners() {
    for (std::size_t i = 0; i < lights_.size(); ++i) {
        const bool on_hull =
            dimension_ < 3 ||
            std::any_of(
                facets_.begin(), facets_.end(),
                [&](const HullFacet &f) {
                    return std::find(f.corners.begin(), f.corners.end(), i) != f.corners.end();
                });
        if (!on_hull || std::find(palette_.begin(), palette_.begin() + std::ptrdiff_t(i),
                                  palette_[i]) != palette_.begin() + std::ptrdiff_t(i))
            continue;
        corner_lights_.push_back(lights_[i]);
        corner_indices_.push_back(i);
    }
}

bool Characterisation::holds(const Vector3 &light, double depth) const {
    return !facets_.empty() &&
           std::all_of(facets_.begin(), facets_.end(), [&](const HullFacet &facet) {
               return dot(facet.normal, light) <= facet.offset - depth;
           });
}

/// CIE L*a*b* bends the hull's triangles, so they are cut into small ones.
double Characterisation::lab_volume() const {
    constexpr int cuts = 16;
    double volume = 0;
    for (const HullFacet &facet : facets_) {
        const auto lab_at = [&](int i, int j) { // i + j <= cuts
            const auto &[a, b, c] = facet.corners;
            return lab_from_light(1.0 / cuts *
                                  (double(cuts - i - j) * lights_[a] + double(i) * lights_[b] +
                                   double(j) * lights_[c]));
        };
        for (int i = 0; i < cuts; ++i)
            for (int j = 0; i + j < cuts; ++j) {
                volume += signed_volume(lab_at(i, j), lab_at(i + 1, j), lab_at(i, j + 1));
                if (i + j + 2 <= cuts)
                    volume +=
                        signed_volume(lab_at(i + 1, j), lab_at(i + 1, j + 1), lab_at(i, j + 1));
            }
    }
    return std::abs(volume);
}

std::vector<std::string> Characterisation::remarks() const {
    std::vector<std::string> remarks;
    for (auto colour = palette_.begin(); colour != palette_.end(); ++colour)
        if (const auto first = std::find(palette_.begin(), colour, *colour); first != colour)
            remarks.push_back("colours[" + std::to_string(colour - palette_.begin()) +
                              "] is the same as colours[" +
                              std::to_string(first - palette_.begin()) + "] and is not used");
    switch (dimension_) {
    case 0:
        remarks.push_back("all colours are alike: every picture becomes a plain area");
        break;
    case 1:
        remarks.push_back("the colours lie on one line: pictures lose every other colour");
        break;
    case 2:
        remarks.push_back("the colours lie in one plane: pictures lose every other colour");
        break;
    default:
        break;
    }
    return remarks;
}

} // namespace oxel::tools
