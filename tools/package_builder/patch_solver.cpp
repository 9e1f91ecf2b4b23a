#include "package_builder/patch_solver.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>

namespace oxel::tools {

namespace {

constexpr int rounds = 6;          // of the fixed-point iteration
constexpr int rounds_averaged = 3; // the last ones; they sway about the fixed point
constexpr PatchSimulation::Area patch = {.size = 48, .border = 10};
constexpr PatchSimulation::Area fine_patch = {.size = 68, .border = 6, .lead = 38};
constexpr PatchSimulation::Area late_patch = {.size = 56, .border = 6, .lead = 96}; // errors gather

constexpr double rounding_loss = 2;

/// How far, in bytes, the colours given to a diffusion may lie outside the hull of the palette's
/// bytes. Errors of what lies outside grow until they are clipped, and smear.
constexpr double overshoot = 2;

/// The texture beside inks in bytes, the more of it the further other inks are from the black, from
/// the least to the most; and by how many bytes a channel a colour differs from the ink where the
/// texture begins, is whole, begins to fade, and ends. An ink itself stays pure.
constexpr double least_texture = 8;
constexpr double most_texture = 10;
constexpr double texture_share = 0.14; // of the distance a channel
constexpr double texture_course[] = {1.5, 3.5, 10, 24};

} // namespace

Vector3 add_rounding_loss(const Vector3 &srgb) {
    return srgb + Vector3{rounding_loss, rounding_loss, rounding_loss};
}

PatchSolver::PatchSolver(const Characterisation &panel, const PatchSimulation &simulation,
                         const DiffusionWeights &weights)
    : panel_(panel), quiet_(panel), simulation_(simulation), weights_(weights) {
    for (std::size_t corner = 0; corner < panel.corner_lights().size(); ++corner)
        corner_bytes_.push_back(to_vector(panel.palette()[panel.corner_index(corner)]));
    const Vector3 black = to_vector(panel.palette()[panel.black()]);
    double least = std::numeric_limits<double>::infinity();
    for (const Vector3 &corner : corner_bytes_)
        if (corner != black)
            least = std::min(least, squared_distance(corner, black));
    whole_texture_ = std::clamp(texture_share * std::sqrt(least / 3), least_texture, most_texture);
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

Vector3 PatchSolver::confine(const Vector3 &given) const {
    const Vector3 held =
        nearest_mixture(corner_bytes_, given - add_rounding_loss({})).of(corner_bytes_);
    const Vector3 excess = given - add_rounding_loss(held);
    const double length = std::sqrt(dot(excess, excess));
    return length > overshoot ? given - (1 - overshoot / length) * excess : given;
}

double PatchSolver::texture(const Vector3 &given) const {
    if (!loses_small_errors())
        return 0;
    double least = std::numeric_limits<double>::infinity();
    for (const Vector3 &corner : corner_bytes_)
        least = std::min(least, squared_distance(corner, given));
    const double distance = std::sqrt(least / 3);
    const auto &[begin, whole, fading, end] = texture_course;
    return whole_texture_ * std::clamp(std::min((distance - begin) / (whole - begin),
                                                (end - distance) / (end - fading)),
                                       0.0, 1.0);
}

std::vector<Vector3> PatchSolver::solve(const std::vector<PatchGoal> &goals) const {
    std::vector<Vector3> given;
    for (const PatchGoal &goal : goals)
        given.push_back(goal.guess);
    std::vector<Vector3> means(goals.size());
    for (int round = 0; round < rounds; ++round) {
        std::vector<DitheredBytes> bytes;
        for (const Vector3 &rgb : given)
            bytes.emplace_back(rgb, texture(rgb));
        std::vector<Vector3> shown(goals.size());
        for (std::size_t kernel = 0; kernel < kernels; ++kernel) {
            if (weights_[kernel] == 0)
                continue;
            const std::vector<Vector3> lights =
                simulation_.mean_light(int(2 * kernel), bytes, patch);
            for (std::size_t i = 0; i < lights.size(); ++i)
                shown[i] = shown[i] + weights_[kernel] * lights[i];
        }
        const double step = round < rounds - rounds_averaged ? 1 : 0.6;
        for (std::size_t i = 0; i < goals.size(); ++i) {
            given[i] = confine(given[i] + step * (goals[i].wanted - srgb_from_light(shown[i])));
            if (round >= rounds - rounds_averaged)
                means[i] = means[i] + (1.0 / rounds_averaged) * given[i];
        }
    }
    return means;
}

std::vector<Vector3> PatchSolver::show(std::size_t kernel,
                                       std::span<const DitheredBytes> colours) const {
    const auto &area = loses_small_errors() ? late_patch : fine_patch;
    std::vector<Vector3> shown;
    for (std::size_t done = 0; done < colours.size(); done += PatchSimulation::lanes) {
        const auto some =
            colours.subspan(done, std::min(PatchSimulation::lanes, colours.size() - done));
        const std::vector<Vector3> lights = simulation_.mean_light(int(2 * kernel), some, area);
        shown.insert(shown.end(), lights.begin(), lights.end());
    }
    return shown;
}

} // namespace oxel::tools
