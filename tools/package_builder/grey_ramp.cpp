#include "package_builder/grey_ramp.h"

#include "package_builder/cells.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <span>
#include <unordered_map>

namespace oxel::tools {

namespace {

/// What is shown is judged here between two cells; of a ramp with a texture at more places, since
/// it bends more.
constexpr std::array<double, 2> plain_places = {0.125, 0.625};
constexpr std::array<double, 3> textured_places = {0.1, 0.4333, 0.7667};

/// Where faults are looked for that are left.
constexpr std::array<double, 6> mending_places = {0.02, 0.19, 0.36, 0.52, 0.69, 0.86};

constexpr double joint_step = 0.8;
constexpr Vector3 moves[] = {{1, 1, 1}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}}; // either way

/// Costs of a place: below the one a cell stays as it is, above the other it is moved further.
constexpr double good_enough = 0.4;
constexpr double bad = 1.5;

/// How a ramp is solved: rounds over all of it, descents from there, and descents of cells whose
/// faults cost more than so much. With a texture a round does more, and a simulation takes longer.
struct Effort {
    std::span<const double> places;
    int rounds;
    int descents;
    int mending_descents;
    double some_faults;
};
constexpr Effort plain_effort = {plain_places, 6, 4, 1, 6};
constexpr Effort textured_effort = {textured_places, 12, 1, 1, 6};
constexpr Effort effort_of_few = {textured_places, 12, 4, 4, 1}; // colours, whose rest is soon done

/// Of a step back against a miss, both in L*. Such steps are seen as edges.
constexpr double order_weight = 10;

/// Of what L* rises beyond the limit from a place to the one a cell further on, against a miss.
constexpr double leap_weight = 4;
constexpr double leap_limit = 3;

/// Of a cast beyond the limit, where no cast is wanted, against a miss.
constexpr double cast_weight = 4;
constexpr double cast_limit = 1.3;

/// Of a cell by itself, as pictures that are not prepared show it, against a place. A texture's
/// cells mean nothing by themselves.
constexpr double bare_weight = 0.5;

/// Near grey, a cast strikes more than a step of lightness.
constexpr Vector3 miss_weights = {1, 3, 2};

int sum_of(const RgbBytes &bytes) {
    return bytes[0] + bytes[1] + bytes[2];
}

class Ramp {
  public:
    Ramp(std::vector<GreyStep> &steps, const PatchSolver &solver, const Vector3 &white,
         std::span<const double> places)
        : steps_(steps), solver_(solver), white_(white), textured_(solver.loses_small_errors()),
          places_(places) {
        for (std::size_t at = 0; at < size(); ++at) {
            const double share = places_[at % places_.size()];
            const std::size_t low = at / places_.size();
            const auto between = [&](auto f) {
                return (1 - share) * f(steps[low].wanted) + share * f(steps[low + 1].wanted);
            };
            wanted_srgb_.push_back(between(srgb_from_light));
            wanted_lab_.push_back(
                between([&](const Vector3 &light) { return lab_from_light(light, white); }));
        }
    }

    void iterate(int rounds) {
        std::vector<Vector3> given;
        for (const GreyStep &step : steps_)
            given.push_back(step.given);
        if (textured_)
            round_off(given);
        std::vector<GreyStep> best = steps_;
        double least = std::numeric_limits<double>::infinity();
        for (int round = 0;; ++round) {
            const std::vector<Shown> shown = shown_at(0, size());
            if (const double now = cost(shown, 0, size()); now < least) {
                least = now;
                best = steps_;
            }
            if (round == rounds)
                break;
            std::vector<Vector3> misses(size());
            for (std::size_t at = 0; at < size(); ++at)
                misses[at] = wanted_srgb_[at] - srgb_from_light(mean(*shown[at]));
            for (std::size_t i = 0; i < steps_.size(); ++i) {
                Vector3 sum{};
                double weights = 0;
                for_each_place_about(i, [&](std::size_t at, double weight) {
                    sum = sum + weight * misses[at];
                    weights += weight;
                });
                if (!steps_[i].fixed)
                    given[i] = solver_.confine(given[i] + joint_step / weights * sum);
            }
            round_off(given);
        }
        steps_ = best;
    }

    /// Moves cells while that helps; those only about which faults cost more than so much.
    void descend(int descents, double some_faults) {
        std::vector<Shown> shown = shown_at(0, size());
        std::vector<DitheredBytes> cells;
        for (const GreyStep &step : steps_)
            cells.emplace_back(step.bytes);
        if (!textured_)
            bare_ = show(cells);
        std::vector<bool> moved(steps_.size(), true);
        for (int descent = 0; descent < descents; ++descent) {
            const std::vector<bool> before = moved; // a cell settles when its neighbourhood has
            for (std::size_t i = 1; i + 1 < steps_.size(); ++i)
                moved[i] = !steps_[i].fixed && (before[i - 1] || before[i] || before[i + 1]) &&
                           (some_faults == 0 || faults_about(i, shown) > some_faults) &&
                           move(i, shown);
        }
    }

  private:
    /// A colour in a diffusion. What is not known yet weighs nothing, so that costs of it are the
    /// least that they can be.
    struct Look {
        Vector3 light{};
        Vector3 lab{};
        double weight = 0;
    };
    using Looks = std::array<Look, kernels>;
    using Shown = const Looks *; // among those that are known

    std::size_t size() const { return places_.size() * (steps_.size() - 1); }

    DitheredBytes at(std::size_t place) const {
        std::array<RgbBytes, cell_steps> table;
        for (std::size_t i = 0; i < cell_steps; ++i)
            table[i] = steps_[i].bytes;
        return {table, double(place / places_.size()) + places_[place % places_.size()]};
    }

    std::vector<Shown> shown_at(std::size_t begin, std::size_t end) const {
        std::vector<DitheredBytes> colours;
        for (std::size_t place = begin; place < end; ++place)
            colours.push_back(at(place));
        return show(colours);
    }

    std::vector<Shown> show(std::span<const DitheredBytes> colours,
                            std::span<const DitheredBytes> next = {}) const {
        for (std::size_t kernel = 0; kernel < kernels; ++kernel)
            make_known(kernel, colours, next);
        return looks_of(colours);
    }

    std::vector<Shown> looks_of(std::span<const DitheredBytes> colours) const {
        std::vector<Shown> shown;
        for (const DitheredBytes &colour : colours)
            shown.push_back(&known_[colour]);
        return shown;
    }

    /// What was shown before is not simulated again: moves of neighbours ask for much that is.
    /// Lanes that a simulation leaves idle go to what may be asked for next.
    void make_known(std::size_t kernel, std::span<const DitheredBytes> colours,
                    std::span<const DitheredBytes> next = {}) const {
        const double weight = solver_.weights()[kernel];
        if (weight == 0)
            return;
        std::vector<DitheredBytes> unknown;
        std::vector<Look *> looks;
        const auto add_unknown = [&](const DitheredBytes &colour) {
            if (Look &look = known_[colour][kernel]; look.weight == 0) {
                look.weight = weight;
                looks.push_back(&look);
                unknown.push_back(colour);
            }
        };
        std::for_each(colours.begin(), colours.end(), add_unknown);
        for (const DitheredBytes &colour : next)
            if (unknown.size() % PatchSimulation::lanes != 0)
                add_unknown(colour);
        for (std::size_t i = 0; const Vector3 &light : solver_.show(kernel, unknown))
            *looks[i++] = {light, lab_from_light(light, white_), weight};
    }

    static Vector3 mean(const Looks &looks) {
        Vector3 sum{};
        for (const Look &look : looks)
            sum = sum + look.weight * look.light;
        return sum;
    }

    /// Calls `f` with the places that a cell has a share in, and the share.
    template <class F>
    void for_each_place_about(std::size_t step, F f) const {
        for (std::size_t i = 0; i < places_.size(); ++i) {
            if (step > 0)
                f((step - 1) * places_.size() + i, places_[i]);
            if (step + 1 < steps_.size())
                f(step * places_.size() + i, 1 - places_[i]);
        }
    }

    /// What rounding takes from a cell goes to the next, so that places between come out right.
    void round_off(const std::vector<Vector3> &given) {
        Vector3 rest{};
        for (std::size_t i = 0; i < steps_.size(); ++i) {
            if (steps_[i].fixed) {
                rest = {};
                continue;
            }
            const double rise = solver_.texture(given[i]) * texture_of_step(i);
            const Vector3 exact = given[i] + rest + Vector3{rise, rise, rise};
            RgbBytes &bytes = steps_[i].bytes;
            bytes = to_bytes(exact);
            if (falls(i, bytes))
                for (std::size_t channel = 0; channel < 3; ++channel)
                    bytes[channel] = std::max(bytes[channel], steps_[i - 3].bytes[channel]);
            rest = exact - to_vector(bytes);
            for (double &channel : rest)
                channel = std::clamp(channel, -1.0, 1.0);
        }
    }

    /// Whether these bytes would let a cell with a texture be darker than its like three cells
    /// before. What a picture mixes of the ramp rises only if each of the three kinds of cells
    /// does.
    bool falls(std::size_t step, const RgbBytes &bytes) const {
        return textured_ && step >= 3 && sum_of(bytes) < sum_of(steps_[step - 3].bytes);
    }

    /// Whether a move makes a cell fall, or the one that is three cells on.
    bool disorders(std::size_t step, const RgbBytes &moved) const {
        const RgbBytes &bytes = steps_[step].bytes;
        if (sum_of(moved) < sum_of(bytes))
            return falls(step, moved);
        return textured_ && step + 3 < steps_.size() && sum_of(moved) > sum_of(bytes) &&
               sum_of(moved) > sum_of(steps_[step + 3].bytes);
    }

    static double miss(Shown shown, const Vector3 &wanted) {
        double sum = 0;
        for (const Look &look : *shown) {
            if (look.weight == 0)
                continue;
            const Vector3 miss = look.lab - wanted;
            double squares = 0;
            for (std::size_t axis = 0; axis < 3; ++axis)
                squares += miss_weights[axis] * miss[axis] * miss[axis];
            // Not squared, so that a mode that no byte serves does not spoil the others.
            sum += look.weight * std::sqrt(squares);
        }
        return sum;
    }

    /// Sums how much more than `limit` L* rises from one to another.
    static double rise(Shown from, Shown to, double limit) {
        double sum = 0;
        for (std::size_t kernel = 0; kernel < kernels; ++kernel) {
            const Look &low = (*from)[kernel], &high = (*to)[kernel];
            sum +=
                std::min(low.weight, high.weight) * std::max(0.0, high.lab[0] - low.lab[0] - limit);
        }
        return sum;
    }

    /// By how much the lower of two is lighter.
    static double step_back(Shown low, Shown high) { return rise(high, low, 0); }

    /// The steps back between one place and those up to two cells on.
    double disorder(const std::vector<Shown> &shown, std::size_t begin, std::size_t end) const {
        double sum = 0;
        for (std::size_t low = begin; low < end; ++low)
            for (std::size_t high = low + 1; high < std::min(end, low + 1 + 2 * places_.size());
                 ++high)
                sum += step_back(shown[low], shown[high]);
        return sum;
    }

    /// How much more L* rises from one place to the one a cell further on than it should at most.
    double leaps(const std::vector<Shown> &shown, std::size_t begin, std::size_t end) const {
        double sum = 0;
        for (std::size_t low = begin; low + places_.size() < end; ++low)
            sum += rise(shown[low], shown[low + places_.size()], leap_limit);
        return sum;
    }

    double casts(const std::vector<Shown> &shown, std::size_t begin, std::size_t end) const {
        double sum = 0;
        for (std::size_t place = begin; place < end; ++place)
            if (chroma(wanted_lab_[place]) < cast_limit / 2)
                for (const Look &look : *shown[place])
                    sum += look.weight * std::max(0.0, chroma(look.lab) - cast_limit);
        return sum;
    }

    /// The cost of what strikes the eye, between places from one to another.
    double faults(const std::vector<Shown> &shown, std::size_t begin, std::size_t end) const {
        const std::size_t reach = 2 * places_.size();
        const std::size_t first = begin < reach ? 0 : begin - reach;
        const std::size_t last = std::min(size(), end + reach);
        return order_weight * disorder(shown, first, last) +
               leap_weight * leaps(shown, first, last) + cast_weight * casts(shown, begin, end);
    }

    double faults_about(std::size_t step, const std::vector<Shown> &shown) const {
        return faults(shown, begin_about(step), end_about(step));
    }

    /// The places that a cell has a share in.
    std::size_t begin_about(std::size_t step) const {
        return (step < 2 ? 0 : step - 2) * places_.size();
    }
    std::size_t end_about(std::size_t step) const {
        return std::min((step + 2) * places_.size(), size());
    }

    Shown bare_of(std::size_t step) const { return textured_ ? nullptr : bare_[step]; }

    double bare_cost(std::size_t step, Shown shown) const {
        if (textured_)
            return 0;
        double back = 0;
        for (std::size_t low = step < 2 ? 0 : step - 2; low < step; ++low)
            back += step_back(bare_[low], shown);
        for (std::size_t high = step + 1; high < std::min(steps_.size(), step + 3); ++high)
            back += step_back(shown, bare_[high]);
        return bare_weight *
               (miss(shown, lab_from_light(steps_[step].wanted, white_)) + order_weight * back);
    }

    double cost(const std::vector<Shown> &shown, std::size_t begin, std::size_t end) const {
        double sum = 0;
        for (std::size_t place = begin; place < end; ++place)
            sum += miss(shown[place], wanted_lab_[place]);
        return sum + faults(shown, begin, end);
    }

    /// What a cell could become, and what is known of it: the places about it, and the cell itself
    /// if that counts.
    struct Trial {
        RgbBytes bytes{};
        std::vector<DitheredBytes> colours{};
        std::vector<Shown> shown{};
        double cost = 0; // at least
    };

    /// Moves a cell to the best of its neighbours, if that is another. `shown` is kept up to date.
    bool move(std::size_t step, std::vector<Shown> &shown) {
        const std::size_t begin = begin_about(step);
        const std::size_t end = end_about(step);
        const RgbBytes start = steps_[step].bytes;
        RgbBytes best = start;
        double least = cost(shown, begin, end) + bare_cost(step, bare_of(step));
        std::vector<RgbBytes> candidates;
        const double local = least / double(end - begin);
        if (local < good_enough)
            return false;
        for (const double reach : {1.0, 4.0}) {
            if (reach > 1 && local < bad)
                break;
            for (const Vector3 &move : moves)
                for (const double signed_reach : {reach, -reach})
                    candidates.push_back(to_bytes(to_vector(start) + signed_reach * move));
        }
        for (const RgbBytes &neighbour : {steps_[step - 1].bytes, steps_[step + 1].bytes})
            candidates.push_back(neighbour);
        candidates.push_back(to_bytes(
            0.5 * (to_vector(steps_[step - 1].bytes) + to_vector(steps_[step + 1].bytes))));
        std::erase_if(candidates,
                      [&](const RgbBytes &candidate) { return disorders(step, candidate); });
        const std::size_t count = end - begin;
        std::vector<Shown> best_shown(shown.begin() + std::ptrdiff_t(begin),
                                      shown.begin() + std::ptrdiff_t(end));
        Shown best_bare = bare_of(step);
        std::vector<Trial> trials;
        for (const RgbBytes &candidate : candidates) {
            Trial &trial = trials.emplace_back();
            trial.bytes = steps_[step].bytes = candidate;
            for (std::size_t place = begin; place < end; ++place)
                trial.colours.push_back(at(place));
            if (!textured_)
                trial.colours.emplace_back(candidate);
            trial.shown = looks_of(trial.colours);
        }
        const auto cost_of = [&](const Trial &trial) {
            std::copy_n(trial.shown.begin(), count, shown.begin() + std::ptrdiff_t(begin));
            return cost(shown, begin, end) +
                   bare_cost(step, textured_ ? nullptr : trial.shown.back());
        };
        // First where the cell's share is large, and no further if that costs too much already, or
        // more than the likeliest in the end.
        double limit = least;
        for (std::size_t kernel = 0; kernel < kernels; ++kernel)
            for (const bool near : {true, false}) {
                if (solver_.weights()[kernel] == 0)
                    continue;
                std::vector<DitheredBytes> colours, others;
                for (const Trial &trial : trials)
                    for (std::size_t i = 0; i < trial.colours.size(); ++i) {
                        const bool is_near =
                            i == count || (i >= count / 4 && i < count - count / 4);
                        (near == is_near ? colours : others).push_back(trial.colours[i]);
                    }
                make_known(kernel, colours, others);
                for (Trial &trial : trials)
                    trial.cost = cost_of(trial);
                if (limit == least && !trials.empty()) {
                    Trial &likeliest = *std::min_element(
                        trials.begin(), trials.end(),
                        [](const Trial &a, const Trial &b) { return a.cost < b.cost; });
                    show(likeliest.colours, colours);
                    likeliest.cost = cost_of(likeliest);
                    limit = std::min(limit, likeliest.cost);
                }
                std::erase_if(trials, [&](const Trial &trial) {
                    return trial.cost >= least || trial.cost > limit;
                });
            }
        for (const Trial &trial : trials)
            if (trial.cost < least) {
                least = trial.cost;
                best = trial.bytes;
                best_shown.assign(trial.shown.begin(), trial.shown.begin() + std::ptrdiff_t(count));
                best_bare = textured_ ? nullptr : trial.shown.back();
            }
        steps_[step].bytes = best;
        if (!textured_)
            bare_[step] = best_bare;
        std::copy(best_shown.begin(), best_shown.end(), shown.begin() + std::ptrdiff_t(begin));
        return best != start;
    }

    std::vector<GreyStep> &steps_;
    const PatchSolver &solver_;
    Vector3 white_;
    bool textured_;
    std::span<const double> places_;
    std::vector<Vector3> wanted_srgb_; // by place
    std::vector<Vector3> wanted_lab_;
    std::vector<Shown> bare_; // by cell
    mutable std::unordered_map<DitheredBytes, Looks, DitheredBytes::Hash> known_;
};

} // namespace

void solve_grey_ramp(std::vector<GreyStep> &ramp, const PatchSolver &solver, const Vector3 &white) {
    ramp.front().fixed = ramp.back().fixed = true;
    constexpr std::size_t few = 4;
    const Effort &effort = !solver.loses_small_errors() ? plain_effort
                           : solver.colours() > few     ? textured_effort
                                                        : effort_of_few;
    Ramp joint(ramp, solver, white, effort.places);
    joint.iterate(effort.rounds);
    joint.descend(effort.descents, 0);
    Ramp(ramp, solver, white, mending_places).descend(effort.mending_descents, effort.some_faults);
}

} // namespace oxel::tools
