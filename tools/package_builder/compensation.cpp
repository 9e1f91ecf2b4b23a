#include "package_builder/compensation.h"

#include "Oxel_Morvel6_render.h"
#include "package_builder/cells.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace oxel::tools {

namespace {

constexpr int rounds = 6;          // of the fixed-point iteration
constexpr int rounds_averaged = 3; // the last ones; they sway about the fixed point
constexpr PatchSimulation::Area patch = {.size = 48, .border = 10};
constexpr PatchSimulation::Area fine_patch = {.size = 96, .border = 16};

/// What a Floyd-Steinberg diffusion loses of each channel, about, as it rounds every share of an
/// error down. A palette colour with so much added is still rendered pure, by every diffusion, and
/// swallows small errors that come in from the neighbourhood: with less, the errors of dark detail
/// would grow into dots all over the white paper.
constexpr double rounding_loss = 2;

/// How far, in bytes, the colours given to a diffusion may lie outside the hull of the palette's
/// bytes. Errors of what lies outside grow until they are clipped, and smear.
constexpr double overshoot = 2;

/// A coarser lattice is taken where this many nodes would not do.
constexpr std::size_t most_nodes = 10000;

/// Corrections, in sRGB bytes, at the nodes of a lattice over the sRGB cube.
class Lattice {
  public:
    explicit Lattice(int intervals)
        : intervals_(intervals), corrections_(std::size_t(side() * side() * side())) {}

    std::size_t size() const { return corrections_.size(); }
    Vector3 &correction(std::size_t node) { return corrections_[node]; }
    const Vector3 &correction(std::size_t node) const { return corrections_[node]; }

    Vector3 srgb(std::size_t node) const {
        const auto number = int(node);
        return 255.0 / intervals_ *
               Vector3{double(number / (side() * side())), double(number / side() % side()),
                       double(number % side())};
    }

    /// Calls `f` with the nodes about a colour and their weights in a trilinear interpolation.
    template <class F>
    void for_each_node_about(const Vector3 &colour, F f) const {
        std::array<int, 3> first{};
        std::array<double, 3> rest{};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const double place = std::clamp(colour[axis], 0.0, 255.0) * intervals_ / 255;
            first[axis] = std::min(int(place), intervals_ - 1);
            rest[axis] = place - first[axis];
        }
        for (int corner = 0; corner < 8; ++corner) {
            int node = 0;
            double weight = 1;
            for (std::size_t axis = 0; axis < 3; ++axis) {
                const int upper = corner >> axis & 1;
                node = node * side() + first[axis] + upper;
                weight *= upper ? rest[axis] : 1 - rest[axis];
            }
            if (weight > 0)
                f(std::size_t(node), weight);
        }
    }

  private:
    int side() const { return intervals_ + 1; }

    int intervals_;
    std::vector<Vector3> corrections_;
};

std::vector<std::size_t> nodes_about(const Lattice &lattice, const std::vector<Vector3> &colours) {
    std::vector<bool> needed(lattice.size());
    for (const Vector3 &colour : colours)
        lattice.for_each_node_about(colour, [&](std::size_t node, double) { needed[node] = true; });
    std::vector<std::size_t> nodes;
    for (std::size_t node = 0; node < needed.size(); ++node)
        if (needed[node])
            nodes.push_back(node);
    return nodes;
}

Vector3 add_loss(const Vector3 &srgb) {
    return srgb + Vector3{rounding_loss, rounding_loss, rounding_loss};
}

/// A colour to be shown, and a guess at what has to be given for it, both in sRGB bytes.
struct Goal {
    Vector3 wanted;
    Vector3 guess;
};

/// What the diffusions make of flat patches, and what has to be given to get a colour from them.
class Solver {
  public:
    Solver(const Characterisation &panel, const PatchSimulation &simulation,
           const DiffusionWeights &weights)
        : panel_(panel), simulation_(simulation), modes_{{DITHER_FLOYD, weights.floyd},
                                                         {DITHER_JJN, weights.jjn},
                                                         {DITHER_STUCKI, weights.stucki}} {
        for (std::size_t corner = 0; corner < panel.corner_lights().size(); ++corner)
            corner_bytes_.push_back(to_vector(panel.palette()[panel.corner_index(corner)]));
    }

    /// The reachable colour nearest to `srgb`. A colour on the surface has one mixture only, so
    /// the mean of its bytes is known.
    Goal goal(const Vector3 &srgb) const {
        const Vector3 light = light_from_srgb(srgb);
        if (panel_.holds(light))
            return {srgb, add_loss(srgb)};
        const Mixture nearest = panel_.nearest(light);
        return {srgb_from_light(nearest.of(panel_.corner_lights())),
                add_loss(nearest.of(corner_bytes_))};
    }

    /// The sRGB bytes, not rounded, whose patches come out in the colours wanted.
    std::vector<Vector3> solve(const std::vector<Goal> &goals) const {
        std::vector<Vector3> given;
        for (const Goal &goal : goals)
            given.push_back(goal.guess);
        std::vector<Vector3> means(goals.size());
        for (int round = 0; round < rounds; ++round) {
            std::vector<RgbBytes> bytes;
            std::transform(given.begin(), given.end(), std::back_inserter(bytes), to_bytes);
            std::vector<Vector3> shown(goals.size());
            for_each_mode(bytes, patch, [&](std::size_t i, const Vector3 &light, double weight) {
                shown[i] = shown[i] + weight * light;
            });
            const double step = round < rounds - rounds_averaged ? 1 : 0.6;
            for (std::size_t i = 0; i < goals.size(); ++i) {
                given[i] = confine(given[i] + step * (goals[i].wanted - srgb_from_light(shown[i])));
                if (round >= rounds - rounds_averaged)
                    means[i] = means[i] + (1.0 / rounds_averaged) * given[i];
            }
        }
        return means;
    }

    /// Bytes within one of `start` whose patches come nearest to a light, relative to `white`.
    RgbBytes refine(const RgbBytes &start, const Vector3 &wanted, const Vector3 &white) const {
        std::vector<RgbBytes> candidates = {start}; // wins if others are as good
        for (int offset = 0; offset < 27; ++offset) {
            const Vector3 step = {double(offset / 9 - 1), double(offset / 3 % 3 - 1),
                                  double(offset % 3 - 1)};
            candidates.push_back(to_bytes(to_vector(start) + step));
        }
        const Vector3 goal = lab_from_light(wanted, white);
        RgbBytes best = start;
        double least = 1e30;
        while (!candidates.empty()) {
            const std::size_t count = std::min(PatchSimulation::lanes, candidates.size());
            const std::vector<RgbBytes> some(candidates.begin(),
                                             candidates.begin() + std::ptrdiff_t(count));
            std::vector<double> misses(count);
            for_each_mode(
                some, fine_patch, [&](std::size_t i, const Vector3 &light, double weight) {
                    const Vector3 miss = lab_from_light(light, white) - goal;
                    // Near grey, a cast strikes more than a step of lightness. Not squared, so that
                    // a mode that no byte serves does not spoil the others.
                    misses[i] += weight * std::sqrt(miss[0] * miss[0] + 3 * miss[1] * miss[1] +
                                                    2 * miss[2] * miss[2]);
                });
            for (std::size_t i = 0; i < count; ++i)
                if (misses[i] < least) {
                    least = misses[i];
                    best = some[i];
                }
            candidates.erase(candidates.begin(), candidates.begin() + std::ptrdiff_t(count));
        }
        return best;
    }

  private:
    /// Calls `f` with the place of each patch, its light in a mode, and the weight of the mode.
    template <class F>
    void for_each_mode(const std::vector<RgbBytes> &bytes, PatchSimulation::Area area, F f) const {
        for (const auto &[mode, weight] : modes_) {
            if (weight == 0)
                continue;
            const std::vector<Vector3> lights = simulation_.mean_light(mode, bytes, area);
            for (std::size_t i = 0; i < lights.size(); ++i)
                f(i, lights[i], weight);
        }
    }

    Vector3 confine(const Vector3 &given) const {
        const Vector3 held = nearest_mixture(corner_bytes_, given - add_loss({})).of(corner_bytes_);
        const Vector3 excess = given - add_loss(held);
        const double length = std::sqrt(dot(excess, excess));
        return length > overshoot ? given - (1 - overshoot / length) * excess : given;
    }

    struct WeightedMode {
        int mode;
        double weight;
    };

    const Characterisation &panel_;
    const PatchSimulation &simulation_;
    std::vector<WeightedMode> modes_;
    std::vector<Vector3> corner_bytes_;
};

/// The corrections that colours need, at the nodes about them.
Lattice solved_lattice(const Solver &solver, const std::vector<Vector3> &colours,
                       const std::function<void(double)> &progress) {
    Lattice lattice(45);
    std::vector<std::size_t> nodes = nodes_about(lattice, colours);
    if (nodes.size() > most_nodes) {
        lattice = Lattice(15);
        nodes = nodes_about(lattice, colours);
    }
    for (std::size_t done = 0; done < nodes.size();) {
        progress(double(done) / double(nodes.size()));
        const std::size_t count = std::min(PatchSimulation::lanes, nodes.size() - done);
        std::vector<Goal> goals;
        for (std::size_t i = 0; i < count; ++i)
            goals.push_back(solver.goal(lattice.srgb(nodes[done + i])));
        const std::vector<Vector3> given = solver.solve(goals);
        for (std::size_t i = 0; i < count; ++i)
            lattice.correction(nodes[done + i]) = given[i] - goals[i].wanted;
        done += count;
    }
    return lattice;
}

bool is_palette_colour(const Characterisation &panel, const Vector3 &light) {
    return std::any_of(
        panel.corner_lights().begin(), panel.corner_lights().end(),
        [&](const Vector3 &corner) { return squared_distance(corner, light) < 1e-10; });
}

} // namespace

std::vector<std::uint8_t> compensate(const Characterisation &panel,
                                     const std::vector<Vector3> &targets,
                                     const PatchSimulation &simulation,
                                     const DiffusionWeights &weights,
                                     const std::function<void(double)> &progress) {
    std::vector<Vector3> colours;
    colours.reserve(targets.size());
    std::transform(targets.begin(), targets.end(), std::back_inserter(colours), srgb_from_light);

    const Solver solver(panel, simulation, weights);
    const Lattice lattice = solved_lattice(solver, colours, progress);
    std::vector<std::uint8_t> table;
    table.reserve(3 * targets.size());
    for_each_cell([&](std::size_t red, std::size_t green, std::size_t blue) {
        const std::size_t cell = table.size() / 3;
        Vector3 given = colours[cell];
        RgbBytes bytes{};
        if (is_palette_colour(panel, targets[cell])) {
            bytes = to_bytes(add_loss(given));
        } else {
            lattice.for_each_node_about(colours[cell], [&](std::size_t node, double weight) {
                given = given + weight * lattice.correction(node);
            });
            bytes = to_bytes(given);
            if (red == green && green == blue) // the eye sees a cast of greys first
                bytes = solver.refine(bytes, targets[cell], panel.lights()[panel.white()]);
        }
        table.insert(table.end(), bytes.begin(), bytes.end());
    });
    progress(1);
    return table;
}

} // namespace oxel::tools
