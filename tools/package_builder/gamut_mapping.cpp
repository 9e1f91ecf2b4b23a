#include "package_builder/gamut_mapping.h"

#include "package_builder/cells.h"

#include <algorithm>
#include <cmath>

namespace oxel::tools {

namespace {

constexpr IntentRule rules[] = {
    {true, 0.7, 1, 2.5},
    {true, 0.35, 1, 2.5},
    {false, 1, 1, 1},
};

/// Below this OKLab lightness, colours go over to the lightness of the black ink, so that black is
/// as black as it can be: gently, so that shadows keep their steps.
constexpr double shadow_end = 0.3;

/// Below this one, those that cannot be mixed take part of the ink's cast, too: else they are mixed
/// of black and the ink that takes the cast away, often a light one, whose dots strike in dark
/// hair. Colours of more chroma than hair keep theirs.
constexpr double ink_cast = 0.45;
constexpr double coloured_ink_cast = 0.1;
constexpr double coloured = 0.1;

/// As far from neutral, in OKLab, as a grey may be; less than one CIEDE2000.
constexpr double neutral_tolerance = 0.003;

Vector3 divide(const Vector3 &a, const Vector3 &b) {
    return {a[0] / b[0], a[1] / b[1], a[2] / b[2]};
}

Vector3 multiply(const Vector3 &a, const Vector3 &b) {
    return {a[0] * b[0], a[1] * b[1], a[2] * b[2]};
}

} // namespace

const std::vector<std::string> &intent_names() {
    static const std::vector<std::string> names = {"perceptual", "vivid", "absolute"};
    return names;
}

GamutMapping::GamutMapping(const Characterisation &panel, Intent intent)
    : panel_(panel), rule_(rules[static_cast<std::size_t>(intent)]), grid_(grid_of(intent)),
      white_{1, 1, 1} {
    // A white as dark as this is none to be relative to.
    const Vector3 paper = panel.lights()[panel.white()];
    if (rule_.relative_to_paper && *std::min_element(paper.begin(), paper.end()) > 0.01)
        white_ = paper;
    for (const Vector3 &light : panel.corner_lights()) {
        corners_.push_back(divide(light, white_));
        largest_chroma_ = std::max(largest_chroma_, chroma(oklab_from_light(corners_.back())));
    }
    ink_lightness_ = oklab_from_light(divide(panel.lights()[panel.black()], white_))[0];
    black_lightness_ = std::min(darkest_neutral(), 0.99);
}

/// The lightness of the darkest mixture that has no cast, or of the black ink if that cannot be
/// balanced or the balance would lift it much.
double GamutMapping::darkest_neutral() const {
    const double ink = ink_lightness_;
    const auto neutral_at = [&](double lightness) {
        const Vector3 grey = {lightness, 0, 0};
        const Vector3 nearest = oklab_from_light(clip(grey, light_from_oklab(grey)));
        return squared_distance(nearest, grey) < neutral_tolerance * neutral_tolerance;
    };
    constexpr double lift = 0.08;
    if (panel_.dimension() < 3 || !neutral_at(ink + lift))
        return ink;
    double low = ink;
    double high = ink + lift;
    for (int i = 0; i < 20; ++i) {
        const double middle = (low + high) / 2;
        (neutral_at(middle) ? high : low) = middle;
    }
    return high;
}

Vector3 GamutMapping::from_paper(const Vector3 &relative) const {
    return multiply(relative, white_);
}

Vector3 GamutMapping::compress(const Vector3 &oklab) const {
    constexpr int toe = 5;
    constexpr double knee_end = 1.6; // in largest chromas; the knee starts at the largest
    const double black = power(black_lightness_, toe);
    const double lightness = fifth_root(black + (1 - black) * power(oklab[0], toe));
    double scale = 1;
    if (const double c = chroma(oklab); c > largest_chroma_) {
        const double room = (knee_end - 1) * largest_chroma_;
        const double excess = (c - largest_chroma_) / (room + 1e-9);
        scale = (largest_chroma_ + room * excess / (1 + excess)) / c;
    }
    const double shadow = 1 - std::min(1.0, oklab[0] / shadow_end);
    return {lightness - shadow * (black_lightness_ - ink_lightness_), scale * oklab[1],
            scale * oklab[2]};
}

/// Gauss and Newton's method: the nearest mixture in a space that OKLab is flattened to at the
/// place found last.
Vector3 GamutMapping::clip(const Vector3 &target, Vector3 near) const {
    const double c = chroma(target);
    const double along = c > 0 ? target[1] / c : 1;
    const double across = c > 0 ? target[2] / c : 0;
    const Matrix3 weigh = {{{rule_.lightness_weight, 0, 0},
                            {0, rule_.chroma_weight * along, rule_.chroma_weight * across},
                            {0, -rule_.hue_weight * across, rule_.hue_weight * along}}};
    const auto miss_at = [&](const OklabPlace &place) { return weigh * (place.oklab() - target); };
    std::vector<Vector3> flattened(corners_.size());
    for (double &channel : near)
        channel = std::max(channel, 0.0);
    OklabPlace place(near);
    Vector3 miss = miss_at(place);
    Mixture mixture;
    for (int round = 0; round < 12; ++round) {
        const Matrix3 slopes = weigh * place.slopes();
        const Vector3 origin = miss - slopes * near;
        for (std::size_t i = 0; i < corners_.size(); ++i)
            flattened[i] = origin + slopes * corners_[i];
        mixture = nearest_mixture(flattened, {0, 0, 0}, round > 0 ? &mixture : nullptr);
        Vector3 next = mixture.of(corners_);
        OklabPlace next_place(next);
        Vector3 next_miss = miss_at(next_place);
        const auto worse = [&] {
            return round > 0 && dot(next_miss, next_miss) > dot(miss, miss); // the start is any
        };
        for (int halvings = 0; worse() && halvings < 5; ++halvings) {
            next = 0.5 * (next + near);
            next_place = OklabPlace(next);
            next_miss = miss_at(next_place);
        }
        if (worse()) // only rounding is left
            break;
        const double moved = squared_distance(next, near);
        near = next;
        place = next_place;
        miss = next_miss;
        if (moved < 1e-8)
            break;
    }
    return near;
}

Vector3 GamutMapping::map(const Vector3 &source, Vector3 &near) const {
    const Vector3 oklab = oklab_from_light(source);
    const Vector3 target = rule_.relative_to_paper ? compress(oklab) : oklab;
    const Vector3 light = from_paper(rule_.relative_to_paper ? light_from_oklab(target) : source);
    if (panel_.holds(light)) {
        near = divide(light, white_);
        return light;
    }
    near = clip(target, near);
    const Vector3 ink = panel_.lights()[panel_.black()];
    const double grey = std::max(0.0, 1 - chroma(oklab) / coloured);
    const double cast_end = coloured_ink_cast + grey * (ink_cast - coloured_ink_cast);
    const double rest = rule_.relative_to_paper ? std::min(1.0, oklab[0] / cast_end) : 1;
    return ink + rest * (from_paper(near) - ink);
}

std::vector<Vector3> GamutMapping::map_every(std::size_t step) const {
    std::vector<double> channel_light;
    for (std::size_t cell = 0; cell < cell_steps; cell += step) {
        const double byte = grid_ == Grid::ends ? 255.0 * double(cell) / 63 : middle_byte(cell);
        channel_light.push_back(light_from_srgb({byte, byte, byte})[0]);
    }
    std::vector<Vector3> lights;
    lights.reserve(channel_light.size() * channel_light.size() * channel_light.size());
    Vector3 near = start();
    for (const double red : channel_light)
        for (const double green : channel_light)
            for (const double blue : channel_light)
                lights.push_back(map({red, green, blue}, near));
    return lights;
}

std::vector<Vector3> GamutMapping::map_cells() const {
    std::vector<Vector3> lights = map_every(1);
    // Artwork in the inks' own colours is to come out in pure ink.
    for (std::size_t corner = panel_.corner_lights().size();
         corner-- > 0 && !rule_.relative_to_paper;) {
        const auto &[red, green, blue] = panel_.palette()[panel_.corner_index(corner)];
        lights[std::size_t(red >> 2 << 12 | green >> 2 << 6 | blue >> 2)] =
            panel_.corner_lights()[corner];
    }
    return lights;
}

} // namespace oxel::tools
