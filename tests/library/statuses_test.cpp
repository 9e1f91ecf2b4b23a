#include "Oxel_Morvel6_render.h"
#include "counted_heap.h"
#include "diffusion.h"
#include "library_state.h"
#include "support.h"

#include <gtest/gtest.h>

#include <climits>
#include <initializer_list>
#include <limits>
#include <utility>

// All that can be wrong with a render, in all combinations, against the order in which it is told.

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

struct Rule {
    bool applies;
    std::int32_t status;
};

std::int32_t first_of(std::initializer_list<Rule> rules) {
    for (const Rule &rule : rules)
        if (rule.applies)
            return rule.status;
    return OXEL_SUCCESS;
}

/// Counts through all combinations: each `pick` takes its choice of a few.
class Combination {
  public:
    explicit Combination(unsigned number) : rest_(number) {}

    template <class T>
    T pick(std::initializer_list<T> choices) {
        const unsigned choice = rest_ % static_cast<unsigned>(choices.size());
        rest_ /= static_cast<unsigned>(choices.size());
        return choices.begin()[choice];
    }
    bool pick() { return pick({true, false}); }
    bool exhausted() const { return rest_ != 0; } // all of them have been seen

  private:
    unsigned rest_;
};

struct Adopted {
    const char *name;
    int colours;
    bool usable, nominal_usable;
};

/// What can be wrong before the first byte of output.
struct Situation {
    bool initialised, memory, no_input, empty, supported;
    std::uint32_t mode, rgb_order;
    std::pair<int, int> size;

    explicit Situation(Combination &combination)
        : initialised(combination.pick()), memory(combination.pick()), no_input(combination.pick()),
          mode(combination.pick(
              {0U, oxel::dithering_modes - 1, oxel::dithering_modes, 0xFFFFFFFFU})),
          rgb_order(combination.pick({0U, 1U, 2U})),
          size(combination.pick<std::pair<int, int>>({{2, 4},
                                                      {0, 4},
                                                      {4, 0},
                                                      {-5, -5},
                                                      {1 << 15, 1 << 15},
                                                      {715827883, 1},
                                                      {INT_MAX, INT_MAX}})) {
        empty = size.first < 1 || size.second < 1;
        supported = size.first < 1 << 15; // for the heights here
    }

    /// The status, unless something is wrong with an output that need not be written.
    std::int32_t status(bool lacks_output, bool tables_usable) const {
        return first_of({{!initialised, OXEL_NOT_INITIALISED},
                         {mode >= oxel::dithering_modes, OXEL_BAD_SELECTOR},
                         {empty, OXEL_SUCCESS},
                         {rgb_order > 1, OXEL_BAD_SELECTOR},
                         {!supported || no_input || lacks_output, OXEL_BAD_ARGUMENT},
                         {!tables_usable, OXEL_UNUSABLE_TABLES},
                         {!memory, OXEL_OUT_OF_MEMORY}});
    }

    template <class Call>
    std::int32_t of(const Call &call) const {
        oxel::isInital = initialised;
        succeeding_allocations = memory ? -1 : 0;
        live_allocations = 0;
        const std::int32_t status = call();
        succeeding_allocations = -1;
        oxel::isInital = 1;
        EXPECT_EQ(live_allocations, 0);
        return status;
    }
};

constexpr std::int32_t no_verdict = -7;
const Bytes picture(24, 0x77), untouched(24, 0xEE);

void expect_single(const Adopted &adopted, Combination combination, bool &all_seen) {
    const Situation s(combination);
    const bool no_output = combination.pick();
    const std::int32_t type = combination.pick({0, 1, 2, 3, 4, -1});
    const std::uint32_t output_order = combination.pick({0U, 1U, 2U});
    all_seen = combination.exhausted();

    const std::int32_t refusal =
        first_of({{type < 1 || type > 3, OXEL_BAD_SELECTOR},
                  {type == OUTPUT_NOMINAL_RGB && adopted.colours != 6, OXEL_NOT_SIX_COLOURS},
                  {type != OUTPUT_TCON_CODE && output_order > 1 && !s.empty, OXEL_BAD_SELECTOR}});
    const bool writes = refusal == OXEL_SUCCESS;
    const std::int32_t early =
        s.status(no_output && writes,
                 type == OUTPUT_NOMINAL_RGB && writes ? adopted.nominal_usable : adopted.usable);
    const std::int32_t expected = early ? early : refusal;
    Bytes output = untouched, guarded = untouched;
    const auto *input = s.no_input ? nullptr : picture.data();
    std::int32_t verdict = no_verdict;
    // A render that is going to be refused does not look at its input.
    const auto *unread = reinterpret_cast<const std::uint8_t *>(1);
    ASSERT_EQ(s.of([&] {
        return Oxel_Morvel6_render(writes || !input ? input : unread, s.rgb_order,
                                   no_output ? nullptr : output.data(), output_order, s.size.first,
                                   s.size.second, s.mode, type);
    }),
              expected);
    ASSERT_EQ(s.of([&] {
        return Oxel_Morvel6_render_with_powerGuard(
            input, s.rgb_order, no_output ? nullptr : guarded.data(), output_order, s.size.first,
            s.size.second, s.mode, type, infinity, &verdict);
    }),
              expected);
    const bool written = expected == OXEL_SUCCESS && !s.empty;
    ASSERT_EQ(output != untouched, written);
    ASSERT_EQ(guarded, output);
    const bool measureless = s.size == std::pair(0, 4);
    ASSERT_EQ(verdict, early ? no_verdict : measureless ? GUARD_BLANKED : GUARD_PASSED);
}

void expect_all(const Adopted &adopted, Combination combination, bool &all_seen) {
    const Situation s(combination);
    const bool no_tcon = combination.pick(), no_nominal = combination.pick(),
               no_eo = combination.pick();
    all_seen = combination.exhausted();

    const bool six = adopted.colours == 6;
    const std::int32_t expected = s.status(no_tcon || no_eo || (no_nominal && six),
                                           six ? adopted.nominal_usable : adopted.usable);
    Bytes tcon = untouched, nominal = untouched, eo = untouched;
    ASSERT_EQ(s.of([&] {
        return Oxel_Morvel6_render_All(
            s.no_input ? nullptr : picture.data(), s.rgb_order, no_tcon ? nullptr : tcon.data(),
            no_nominal ? nullptr : nominal.data(), no_eo ? nullptr : eo.data(), nullptr,
            s.size.first, s.size.second, s.mode);
    }),
              expected);
    const bool written = expected == OXEL_SUCCESS && !s.empty;
    ASSERT_EQ(tcon != untouched, written);
    ASSERT_EQ(nominal != untouched, written && six);
    ASSERT_EQ(eo != untouched, written);
}

TEST(Statuses, ComeInTheirOrderInAllCombinations) {
    constexpr Adopted packages[] = {{"six colours", 6, true, true},
                                    {"eight colours", 8, true, true},
                                    {"six colours, index 6", 6, true, false},
                                    {"six colours, a table cut off", 6, false, false},
                                    {"eight colours, a table cut off", 8, false, false}};
    for (const Adopted &adopted : packages) {
        SCOPED_TRACE(adopted.name);
        Random random(51);
        const bool beyond_nominal = adopted.colours == 8 || !adopted.nominal_usable;
        Bytes package = random_tables(random, beyond_nominal ? 7 : 6).package();
        package[10] = static_cast<std::uint8_t>(adopted.colours);
        if (!adopted.usable)
            package[27] = 1; // the quantisation table's offset
        put_crc(package);
        adopt(package);
        bool all_seen = false;
        unsigned number = 0;
        for (; !all_seen && !testing::Test::HasFatalFailure(); ++number) {
            SCOPED_TRACE(number);
            expect_single(adopted, Combination(number), all_seen);
        }
        EXPECT_EQ(number, 2U * 2 * 2 * 4 * 3 * 7 * 2 * 6 * 3 + 1);
        all_seen = false;
        for (number = 0; !all_seen && !testing::Test::HasFatalFailure(); ++number) {
            SCOPED_TRACE(number);
            expect_all(adopted, Combination(number), all_seen);
        }
    }
}

} // namespace
