#include "package_builder/quiet_mixture.h"

#include <algorithm>
#include <cmath>

namespace oxel::tools {

namespace {

constexpr std::size_t most_corners = 16;
constexpr double share_tolerance = 1e-9;

double luminance(const Vector3 &light) {
    return dot({0.2126, 0.7152, 0.0722}, light);
}

} // namespace

QuietMixtures::QuietMixtures(const Characterisation &panel) {
    const std::vector<Vector3> &lights = panel.corner_lights();
    const std::size_t count = lights.size();
    if (panel.dimension() < 3 || count > most_corners)
        return;
    const auto lift = [&](std::size_t i) { return luminance(lights[i]) * luminance(lights[i]); };
    std::array<std::size_t, 4> corners{};
    const auto add_if_lowest = [&] {
        const auto &[a, b, c, d] = corners;
        const Vector3 ab = lights[b] - lights[a], ac = lights[c] - lights[a],
                      ad = lights[d] - lights[a];
        const double volume = dot(cross(ab, ac), ad);
        if (std::abs(volume) < share_tolerance)
            return;
        Tetrahedron tetrahedron{corners, lights[a], {}};
        tetrahedron.weights = {1 / volume * cross(ac, ad), 1 / volume * cross(ad, ab),
                               1 / volume * cross(ab, ac)};
        for (std::size_t i = 0; i < count; ++i) {
            const Vector3 w = tetrahedron.weights * (lights[i] - lights[a]);
            const double plane = (1 - w[0] - w[1] - w[2]) * lift(a) + w[0] * lift(b) +
                                 w[1] * lift(c) + w[2] * lift(d);
            if (lift(i) < plane - share_tolerance)
                return;
        }
        tetrahedra_.push_back(tetrahedron);
    };
    auto &[a, b, c, d] = corners;
    for (a = 0; a < count; ++a)
        for (b = a + 1; b < count; ++b)
            for (c = b + 1; c < count; ++c)
                for (d = c + 1; d < count; ++d)
                    add_if_lowest();
}

std::optional<Mixture> QuietMixtures::at(const Vector3 &light) const {
    for (const Tetrahedron &tetrahedron : tetrahedra_) {
        const Vector3 w = tetrahedron.weights * (light - tetrahedron.origin);
        const double first = 1 - w[0] - w[1] - w[2];
        if (std::min({first, w[0], w[1], w[2]}) >= -share_tolerance)
            return Mixture{tetrahedron.corners, {first, w[0], w[1], w[2]}, 4};
    }
    return std::nullopt;
}

} // namespace oxel::tools
