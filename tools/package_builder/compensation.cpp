#include "package_builder/compensation.h"

#include "package_builder/cells.h"
#include "package_builder/grey_ramp.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>

namespace oxel::tools {

namespace {

/// Intervals of a channel: the most that leave no more nodes than a build of seconds can solve.
constexpr int most_intervals = 45;
constexpr int least_intervals = 15;
constexpr int rough_intervals = 9;
constexpr std::size_t most_nodes = 7000;

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

/// The corrections that colours need, at the nodes about them.
Lattice solved_lattice(const PatchSolver &solver, const std::vector<Vector3> &colours,
                       int intervals, const std::function<void(double)> &progress) {
    Lattice lattice(intervals);
    std::vector<std::size_t> nodes = nodes_about(lattice, colours);
    for (; nodes.size() > most_nodes && intervals > least_intervals;) {
        lattice = Lattice(intervals -= 3);
        nodes = nodes_about(lattice, colours);
    }
    for (std::size_t done = 0; done < nodes.size();) {
        progress(double(done) / double(nodes.size()));
        const std::size_t count = std::min(PatchSimulation::lanes, nodes.size() - done);
        std::vector<PatchGoal> goals;
        for (std::size_t i = 0; i < count; ++i)
            goals.push_back(solver.goal(lattice.srgb(nodes[done + i])));
        const std::vector<Vector3> given = solver.solve(goals);
        for (std::size_t i = 0; i < count; ++i)
            lattice.correction(nodes[done + i]) = given[i] - goals[i].wanted;
        done += count;
    }
    return lattice;
}

Vector3 corrected(const Lattice &lattice, const Vector3 &colour) {
    Vector3 given = colour;
    lattice.for_each_node_about(colour, [&](std::size_t node, double weight) {
        given = given + weight * lattice.correction(node);
    });
    return given;
}

std::vector<Vector3> srgb_of(const std::vector<Vector3> &lights) {
    std::vector<Vector3> colours;
    colours.reserve(lights.size());
    std::transform(lights.begin(), lights.end(), std::back_inserter(colours), srgb_from_light);
    return colours;
}

bool is_palette_colour(const Characterisation &panel, const Vector3 &light) {
    return std::any_of(
        panel.corner_lights().begin(), panel.corner_lights().end(),
        [&](const Vector3 &corner) { return squared_distance(corner, light) < 1e-10; });
}

std::vector<GreyStep> solved_greys(const Characterisation &panel,
                                   const std::vector<Vector3> &targets, const PatchSolver &solver) {
    std::vector<GreyStep> greys;
    std::vector<PatchGoal> goals;
    for (std::size_t step = 0; step < cell_steps; ++step) {
        const Vector3 &light = targets[(step * cell_steps + step) * cell_steps + step];
        goals.push_back(solver.goal(srgb_from_light(light)));
        greys.push_back({light, {}, {}, is_palette_colour(panel, light)});
    }
    for (std::size_t done = 0; done < cell_steps; done += PatchSimulation::lanes) {
        const auto first = goals.begin() + std::ptrdiff_t(done);
        const std::vector<Vector3> given =
            solver.solve({first, first + std::ptrdiff_t(PatchSimulation::lanes)});
        for (std::size_t i = 0; i < given.size(); ++i) {
            GreyStep &grey = greys[done + i];
            grey.given = grey.fixed ? add_rounding_loss(srgb_from_light(grey.wanted)) : given[i];
            grey.bytes = to_bytes(grey.given);
        }
    }
    solve_grey_ramp(greys, solver, panel.lights()[panel.white()]);
    return greys;
}

} // namespace

std::vector<std::uint8_t>
compensate(const Characterisation &panel, const std::vector<Vector3> &targets,
           const PatchSimulation &simulation, const DiffusionWeights &weights,
           const DiffusionWeights &grey_weights, const std::function<void(double)> &progress) {
    const std::vector<Vector3> colours = srgb_of(targets);
    const PatchSolver solver(panel, simulation, weights);
    const Lattice lattice = solved_lattice(solver, colours, most_intervals, progress);
    const std::vector<GreyStep> greys =
        solved_greys(panel, targets, PatchSolver(panel, simulation, grey_weights));
    std::vector<std::uint8_t> table;
    table.reserve(3 * targets.size());
    for_each_cell([&](std::size_t red, std::size_t green, std::size_t blue) {
        const std::size_t cell = table.size() / 3;
        RgbBytes bytes{};
        if (is_palette_colour(panel, targets[cell])) {
            bytes = to_bytes(add_rounding_loss(colours[cell]));
        } else if (red == green && green == blue) { // the eye sees a cast of greys first
            bytes = greys[red].bytes;
        } else {
            const Vector3 given = corrected(lattice, colours[cell]);
            const double rise = solver.texture(given) * texture_of_step(green);
            bytes = to_bytes(given + Vector3{rise, rise, rise});
        }
        table.insert(table.end(), bytes.begin(), bytes.end());
    });
    progress(1);
    return table;
}

std::vector<Vector3> roughly_compensate(const Characterisation &panel,
                                        const std::vector<Vector3> &targets,
                                        const PatchSimulation &simulation,
                                        const DiffusionWeights &weights,
                                        const std::function<void(double)> &progress) {
    std::vector<Vector3> colours = srgb_of(targets);
    const Lattice lattice =
        solved_lattice(PatchSolver(panel, simulation, weights), colours, rough_intervals, progress);
    for (std::size_t i = 0; i < colours.size(); ++i)
        colours[i] = is_palette_colour(panel, targets[i]) ? add_rounding_loss(colours[i])
                                                          : corrected(lattice, colours[i]);
    return colours;
}

} // namespace oxel::tools
