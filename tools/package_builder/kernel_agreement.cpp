#include "package_builder/kernel_agreement.h"

#include "Oxel_Morvel6_render.h"
#include "package_builder/colour_difference.h"
#include "package_builder/patch_solver.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <utility>

namespace oxel::tools {

namespace {

constexpr int trials = 100;
constexpr double first_step = 12; // of each coordinate, in the sites' space, at most
constexpr double step_growth = 1.3;
constexpr double step_decay = 0.985;
constexpr double sites_moved = 2;                // at a time, on average
constexpr std::size_t sample_size = 96;          // colours
constexpr int most_tries = 100000;               // for each lot of them
constexpr std::size_t most_palette_colours = 16; // what a search of a second can take

/// The deviation of blocks of 4 x 4 pixels is what blurring eyes see as grain.
constexpr PatchSimulation::Area judged_patch = {.size = 40, .border = 8, .blocks = 6};

class Random {
  public:
    double between(double least, double most) {
        return least + (most - least) * double(engine_()) / 4294967296.0;
    }

    Vector3 colour() { return {between(0, 255), between(0, 255), between(0, 255)}; }

  private:
    std::mt19937 engine_{12}; // good for the built-in panel
};

/// Judges quantisation tables by what they make of flat patches.
class Judge {
  public:
    Judge(const Characterisation &panel, const std::vector<std::uint8_t> &table, Random &random)
        : panel_(panel) {
        const PatchSimulation simulation(panel, table);
        const PatchSolver solver(panel, simulation, DiffusionWeights{1});
        while (requests_.size() < sample_size) {
            std::vector<PatchGoal> goals;
            for (int tries = 0; goals.size() < PatchSimulation::lanes; ++tries) {
                if (tries == most_tries) { // hardly a body
                    requests_.clear();
                    return;
                }
                const Vector3 srgb = random.colour();
                if (panel.holds(light_from_srgb(srgb)))
                    goals.push_back(solver.goal(srgb));
            }
            for (const Vector3 &given : solver.solve(goals))
                requests_.emplace_back(given);
        }
        first_grain_ = judge(table, std::numeric_limits<double>::infinity()).grain;
    }

    bool has_sample() const { return !requests_.empty(); }

    /// What is to become small: by how much the diffusions differ, times the growth of grain. Of
    /// what is not less than `limit`, any number that is not.
    double cost(const std::vector<std::uint8_t> &table, double limit) const {
        const Verdict verdict = judge(table, limit);
        return verdict.disagreement * power(std::max(1.0, verdict.grain / first_grain_), 6);
    }

  private:
    using Blocks = std::vector<Vector3>; // of a patch

    struct Verdict {
        double disagreement = 0;
        double grain = 0;
    };

    /// Disagreement is summed over all patches, in CIE94; from `limit` on it is not gone into any
    /// further. The wide kernels are much alike, so one speaks for both.
    Verdict judge(const std::vector<std::uint8_t> &table, double limit) const {
        const PatchSimulation simulation(panel_, table);
        Verdict verdict;
        std::vector<Blocks> shown;
        for_each_part([&](const std::vector<DitheredBytes> &part) {
            if (verdict.disagreement >= limit)
                return;
            const std::vector<Vector3> wide = simulation.mean_light(DITHER_JJN, part, judged_patch);
            for (std::size_t i = 0;
                 Blocks & blocks : simulation.block_lights(DITHER_FLOYD, part, judged_patch)) {
                verdict.disagreement +=
                    cie94(lab_from_light(mean(blocks)), lab_from_light(wide[i++]));
                shown.push_back(std::move(blocks));
            }
        });
        if (verdict.disagreement < limit)
            verdict.grain = grain(shown);
        return verdict;
    }

    /// Of Floyd and Steinberg's diffusion: by how much blocks differ from their patch, in CIE94,
    /// summed over all blocks.
    static double grain(const std::vector<Blocks> &shown) {
        double sum = 0;
        for (const Blocks &blocks : shown) {
            const Vector3 whole = lab_from_light(mean(blocks));
            for (const Vector3 &block : blocks)
                sum += cie94(lab_from_light(block), whole);
        }
        return sum;
    }

    /// Calls `f` with as many requests at a time as a simulation can take.
    template <class F>
    void for_each_part(F f) const {
        for (std::size_t begin = 0; begin < requests_.size(); begin += PatchSimulation::lanes) {
            const std::size_t end = std::min(begin + PatchSimulation::lanes, requests_.size());
            f(std::vector<DitheredBytes>(requests_.begin() + std::ptrdiff_t(begin),
                                         requests_.begin() + std::ptrdiff_t(end)));
        }
    }

    const Characterisation &panel_;
    std::vector<DitheredBytes> requests_;
    double first_grain_ = 0;
};

/// Where tables must stay as they are: each palette colour is rendered pure.
std::vector<std::size_t> fixed_cells(const Characterisation &panel) {
    std::vector<std::size_t> cells;
    for (const RgbBytes &colour : panel.palette())
        for (const auto &[red, green, blue] :
             {colour, to_bytes(add_rounding_loss(to_vector(colour)))})
            cells.push_back(std::size_t(red >> 2 << 12 | green >> 2 << 6 | blue >> 2));
    return cells;
}

} // namespace

std::vector<Vector3> agreeing_sites(const Characterisation &panel, const Quantiser &quantiser,
                                    const std::function<void(double)> &progress) {
    std::vector<Vector3> sites = quantiser.own_sites();
    if (panel.dimension() < 3 || sites.size() > most_palette_colours)
        return sites;
    Random random;
    const std::vector<std::uint8_t> first_table = quantiser.table(sites);
    const Judge judge(panel, first_table, random);
    const std::vector<std::size_t> fixed = fixed_cells(panel);
    const auto keeps_fixed_cells = [&](const std::vector<std::uint8_t> &table) {
        return std::all_of(fixed.begin(), fixed.end(),
                           [&](std::size_t cell) { return table[cell] == first_table[cell]; });
    };
    std::vector<std::uint8_t> table = first_table;
    double least = judge.cost(table, std::numeric_limits<double>::infinity());
    double step = first_step;
    for (int trial = 0; trial < trials && judge.has_sample(); ++trial) {
        progress(double(trial) / trials);
        std::vector<Vector3> moved = sites;
        for (Vector3 &site : moved)
            if (random.between(0, double(sites.size())) < sites_moved)
                for (double &coordinate : site)
                    coordinate += random.between(-step, step);
        std::vector<std::uint8_t> moved_table = quantiser.table(moved, sites, table);
        const double now = keeps_fixed_cells(moved_table) ? judge.cost(moved_table, least) : least;
        step *= now < least ? step_growth : step_decay;
        if (now < least) {
            least = now;
            sites = moved;
            table.swap(moved_table);
        }
    }
    return sites;
}

} // namespace oxel::tools
