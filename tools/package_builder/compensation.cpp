#include "package_builder/compensation.h"

#include "Oxel_Morvel6_render.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace oxel::tools {

namespace {

constexpr int rounds = 6;          // of the fixed-point iteration
constexpr int rounds_averaged = 3; // the last ones; they sway about the fixed point
constexpr PatchSimulation::Area patch = {48, 10};

/// What a Floyd-Steinberg diffusion loses of each channel, about, as it rounds every share of an
/// error down. A palette colour with so much added is still rendered pure, by every diffusion, and
/// swallows small errors that come in from the neighbourhood: with less, the errors of dark detail
/// would grow into dots all over the white paper.
constexpr double rounding_loss = 2;

/// A coarser lattice is taken where this many nodes would not do.
constexpr std::size_t most_nodes = 4000;

/// Corrections, in sRGB bytes, at the nodes of a lattice over the sRGB cube.
class Lattice {
  public:
    explicit Lattice(int intervals)
        : intervals_(intervals), corrections_(std::size_t(side() * side() * side())) {}

    std::size_t size() const { return corrections_.size(); }
    Vector3 &correction(std::size_t node) { return corrections_[node]; }

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

class Solver {
  public:
    Solver(const PatchSimulation &simulation, const DiffusionWeights &weights)
        : simulation_(simulation), weights_(weights) {}

    /// The sRGB bytes, not rounded, whose patches come out in the colours `wanted`.
    std::vector<Vector3> solve(const std::vector<Vector3> &wanted) const {
        std::vector<Vector3> given;
        std::transform(wanted.begin(), wanted.end(), std::back_inserter(given), add_loss);
        std::vector<Vector3> means(wanted.size());
        for (int round = 0; round < rounds; ++round) {
            const std::vector<Vector3> shown = show(given);
            const double step = round < rounds - rounds_averaged ? 1 : 0.6;
            for (std::size_t i = 0; i < wanted.size(); ++i) {
                given[i] = given[i] + step * (wanted[i] - srgb_from_light(shown[i]));
                for (double &channel : given[i])
                    channel = std::clamp(channel, 0.0, 255.0);
                if (round >= rounds - rounds_averaged)
                    means[i] = means[i] + (1.0 / rounds_averaged) * given[i];
            }
        }
        return means;
    }

  private:
    std::vector<Vector3> show(const std::vector<Vector3> &given) const {
        std::vector<RgbBytes> bytes;
        std::transform(given.begin(), given.end(), std::back_inserter(bytes), to_bytes);
        std::vector<Vector3> sum(given.size());
        const auto add = [&](int mode, double weight) {
            if (weight == 0)
                return;
            const std::vector<Vector3> lights = simulation_.mean_light(mode, bytes, patch);
            for (std::size_t i = 0; i < sum.size(); ++i)
                sum[i] = sum[i] + weight * lights[i];
        };
        add(DITHER_FLOYD, weights_.floyd);
        add(DITHER_JJN, weights_.jjn);
        add(DITHER_STUCKI, weights_.stucki);
        return sum;
    }

    const PatchSimulation &simulation_;
    DiffusionWeights weights_;
};

} // namespace

std::vector<std::uint8_t> compensate(const Characterisation &panel,
                                     const std::vector<Vector3> &targets,
                                     const PatchSimulation &simulation,
                                     const DiffusionWeights &weights,
                                     const std::function<void(double)> &progress) {
    std::vector<Vector3> colours;
    colours.reserve(targets.size());
    std::transform(targets.begin(), targets.end(), std::back_inserter(colours), srgb_from_light);

    Lattice lattice(30);
    std::vector<std::size_t> nodes = nodes_about(lattice, colours);
    if (nodes.size() > most_nodes) {
        lattice = Lattice(15);
        nodes = nodes_about(lattice, colours);
    }
    const Solver solver(simulation, weights);
    for (std::size_t done = 0; done < nodes.size();) {
        progress(double(done) / double(nodes.size()));
        const std::size_t count = std::min(PatchSimulation::lanes, nodes.size() - done);
        std::vector<Vector3> wanted;
        for (std::size_t i = 0; i < count; ++i) {
            const Vector3 light = light_from_srgb(lattice.srgb(nodes[done + i]));
            wanted.push_back(srgb_from_light(
                panel.holds(light) ? light : panel.nearest(light).of(panel.corner_lights())));
        }
        const std::vector<Vector3> given = solver.solve(wanted);
        for (std::size_t i = 0; i < count; ++i)
            lattice.correction(nodes[done + i]) = given[i] - wanted[i];
        done += count;
    }

    std::vector<std::uint8_t> table;
    table.reserve(3 * targets.size());
    for (std::size_t i = 0; i < targets.size(); ++i) {
        Vector3 given = colours[i];
        const bool pure = std::any_of(
            panel.corner_lights().begin(), panel.corner_lights().end(),
            [&](const Vector3 &corner) { return squared_distance(corner, targets[i]) < 1e-10; });
        if (pure)
            given = add_loss(given);
        else
            lattice.for_each_node_about(colours[i], [&](std::size_t node, double weight) {
                given = given + weight * lattice.correction(node);
            });
        const RgbBytes bytes = to_bytes(given);
        table.insert(table.end(), bytes.begin(), bytes.end());
    }
    progress(1);
    return table;
}

} // namespace oxel::tools
