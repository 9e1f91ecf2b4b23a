#include "package_builder/patch_solver.h"

#include "Oxel_Morvel6_render.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>

namespace oxel::tools {

namespace {

constexpr int rounds = 6;          // of the fixed-point iteration
constexpr int rounds_averaged = 3; // the last ones; they sway about the fixed point
constexpr PatchSimulation::Area patch = {.size = 48, .border = 10};
constexpr PatchSimulation::Area fine_patch = {.size = 96, .border = 16};

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
    : panel_(panel), simulation_(simulation), modes_{{{DITHER_FLOYD, weights.floyd},
                                                      {DITHER_JJN, weights.jjn},
                                                      {DITHER_STUCKI, weights.stucki}}} {
    for (std::size_t corner = 0; corner < panel.corner_lights().size(); ++corner)
        corner_bytes_.push_back(to_vector(panel.palette()[panel.corner_index(corner)]));
}

PatchGoal PatchSolver::goal(const Vector3 &srgb) const {
    const Vector3 light = light_from_srgb(srgb);
    if (panel_.holds(light))
        return {srgb, add_rounding_loss(srgb)};
    const Mixture nearest = panel_.nearest(light);
    return {srgb_from_light(nearest.of(panel_.corner_lights())),
            add_rounding_loss(nearest.of(corner_bytes_))};
}

template <class F>
void PatchSolver::for_each_mode(const std::vector<RgbBytes> &bytes, PatchSimulation::Area area,
                                F f) const {
    for (const auto &[mode, weight] : modes_) {
        if (weight == 0)
            continue;
        const std::vector<Vector3> lights = simulation_.mean_light(mode, bytes, area);
        for (std::size_t i = 0; i < lights.size(); ++i)
            f(i, lights[i], weight);
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

RgbBytes PatchSolver::refine(const RgbBytes &start, const Vector3 &wanted,
                             const Vector3 &white) const {
    const RgbBytes next = refine_by_one(start, wanted, white);
    return next == start ? start : refine_by_one(next, wanted, white);
}

RgbBytes PatchSolver::refine_by_one(const RgbBytes &start, const Vector3 &wanted,
                                    const Vector3 &white) const {
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
        for_each_mode(some, fine_patch, [&](std::size_t i, const Vector3 &light, double weight) {
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

} // namespace oxel::tools
