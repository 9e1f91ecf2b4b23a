#include "package_builder/patch_solver.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>

namespace oxel::tools {

namespace {

constexpr int rounds = 6;          // of the fixed-point iteration
constexpr int rounds_averaged = 3; // the last ones; they sway about the fixed point
constexpr PatchSimulation::Area patch = {.size = 48, .border = 10};
constexpr PatchSimulation::Area fine_patch = {.size = 68, .border = 6, .lead = 38};

constexpr double rounding_loss = 2;

/// How far, in bytes, the colours given to a diffusion may lie outside the hull of the palette's
/// bytes. Errors of what lies outside grow until they are clipped, and smear.
constexpr double overshoot = 2;

} // namespace

Vector3 add_rounding_loss(const Vector3 &srgb) {
    return srgb + Vector3{rounding_loss, rounding_loss, rounding_loss};
}

PatchSolver::PatchSolver(const Characterisation &panel, const PatchSimulation &simulation,
                         const DiffusionWeights &weights)
    : panel_(panel), quiet_(panel), simulation_(simulation), weights_(weights) {
    for (std::size_t corner = 0; corner < panel.corner_lights().size(); ++corner)
        corner_bytes_.push_back(to_vector(panel.palette()[panel.corner_index(corner)]));
}

PatchGoal PatchSolver::goal(const Vector3 &srgb) const {
    const Vector3 light = light_from_srgb(srgb);
    if (panel_.holds(light)) {
        const auto mixture = quiet_.at(light);
        return {srgb, add_rounding_loss(mixture ? mixture->of(corner_bytes_) : srgb)};
    }
    const Mixture nearest = panel_.nearest(light);
    return {srgb_from_light(nearest.of(panel_.corner_lights())),
            add_rounding_loss(nearest.of(corner_bytes_))};
}

template <class F>
void PatchSolver::for_each_mode(std::span<const DitheredBytes> bytes, PatchSimulation::Area area,
                                F f) const {
    for (std::size_t kernel = 0; kernel < kernels; ++kernel) {
        if (weights_[kernel] == 0)
            continue;
        const std::vector<Vector3> lights = simulation_.mean_light(int(2 * kernel), bytes, area);
        for (std::size_t i = 0; i < lights.size(); ++i)
            f(i, lights[i], weights_[kernel]);
    }
}

Vector3 PatchSolver::confine(const Vector3 &given) const {
    const Vector3 held =
        nearest_mixture(corner_bytes_, given - add_rounding_loss({})).of(corner_bytes_);
    const Vector3 excess = given - add_rounding_loss(held);
    const double length = std::sqrt(dot(excess, excess));
    return length > overshoot ? given - (1 - overshoot / length) * excess : given;
}

std::vector<Vector3> PatchSolver::solve(const std::vector<PatchGoal> &goals) const {
    std::vector<Vector3> given;
    for (const PatchGoal &goal : goals)
        given.push_back(goal.guess);
    std::vector<Vector3> means(goals.size());
    for (int round = 0; round < rounds; ++round) {
        const std::vector<DitheredBytes> bytes(given.begin(), given.end());
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

std::vector<PatchSolver::Shown> PatchSolver::show(std::span<const DitheredBytes> colours) const {
    std::vector<Shown> shown(colours.size());
    for (std::size_t done = 0; done < colours.size(); done += PatchSimulation::lanes) {
        const auto some =
            colours.subspan(done, std::min(PatchSimulation::lanes, colours.size() - done));
        for_each_mode(some, fine_patch, [&](std::size_t i, const Vector3 &light, double weight) {
            shown[done + i].push_back({light, weight});
        });
    }
    return shown;
}

Vector3 PatchSolver::mean(const Shown &shown) {
    Vector3 sum{};
    for (const auto &[light, weight] : shown)
        sum = sum + weight * light;
    return sum;
}

} // namespace oxel::tools
