#include "Oxel_Morvel6_render.h"

#include "counted_heap.h"
#include "diffusion.h"
#include "reference.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <iterator>
#include <limits>

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double no_number = std::numeric_limits<double>::quiet_NaN();
constexpr std::int32_t no_verdict = -7;

/// A picture, and what it should become: as it is, moved down by a row, and blank.
struct Expectation {
    const Tables &tables;
    Case picture;
    Bytes renderings[3];
    double measures[2];

    Expectation(const Tables &t, Case c)
        : tables(t), picture(std::move(c)),
          renderings{reference_indices(tables, picture), reference_indices(tables, picture, 1),
                     Bytes(picture.input.size() / 3)} {
        for (int moved = 0; moved < 2; ++moved)
            measures[moved] =
                reference_measure(renderings[moved], picture.width, picture.height, colours());
    }
    int colours() const { return static_cast<int>(tables.codes.size()); }
    Bytes output(int verdict, std::uint32_t order, int type) const {
        return reference_output(tables, renderings[verdict], order, type);
    }
};

constexpr int output_types[] = {OUTPUT_TCON_CODE, OUTPUT_NOMINAL_RGB, OUTPUT_EO_RGB};

void expect_plain(const Expectation &e, std::uint32_t output_order, int type) {
    const Case &c = e.picture;
    const bool refused = type == OUTPUT_NOMINAL_RGB && e.colours() != 6;
    const GuardedBytes image(c.input);
    ASSERT_EQ(Oxel_Morvel6_render(image.get(), c.rgb_order, image.get(), output_order, c.width,
                                  c.height, c.mode, type),
              refused ? OXEL_NOT_SIX_COLOURS : OXEL_SUCCESS);
    ASSERT_EQ(image.bytes(),
              refused ? c.input : e.output(0, type == OUTPUT_TCON_CODE ? 0 : output_order, type));
}

void expect_guarded(const Expectation &e, std::uint32_t output_order, int type) {
    const Case &c = e.picture;
    const bool refused = type == OUTPUT_NOMINAL_RGB && e.colours() != 6;
    const std::uint32_t order = type == OUTPUT_TCON_CODE ? 0 : output_order;
    for (const double threshold :
         {infinity, no_number, e.measures[0], std::nextafter(e.measures[0], infinity),
          e.measures[1], std::nextafter(e.measures[1], infinity)}) {
        const int verdict = e.measures[0] < threshold   ? GUARD_PASSED
                            : e.measures[1] < threshold ? GUARD_PASSED_SHIFTED
                                                        : GUARD_BLANKED;
        const GuardedBytes image(c.input);
        std::int32_t told = no_verdict;
        ASSERT_EQ(Oxel_Morvel6_render_with_powerGuard(
                      image.get(), c.rgb_order, image.get(), output_order, c.width, c.height,
                      c.mode, type, threshold, threshold == infinity ? nullptr : &told),
                  refused ? OXEL_NOT_SIX_COLOURS : OXEL_SUCCESS);
        ASSERT_EQ(told, threshold == infinity ? no_verdict : verdict);
        ASSERT_EQ(image.bytes(), refused ? c.input : e.output(verdict, order, type));
    }
}

void expect_all(const Expectation &e) {
    const Case &c = e.picture;
    const GuardedBytes tcon(c.input), nominal(c.input), eo(c.input);
    const bool six = e.colours() == 6;
    ASSERT_EQ(Oxel_Morvel6_render_All(eo.get(), c.rgb_order, tcon.get(),
                                      six ? nominal.get() : nullptr, eo.get(), nullptr, c.width,
                                      c.height, c.mode),
              OXEL_SUCCESS);
    ASSERT_EQ(tcon.bytes(), e.output(0, 0, OUTPUT_TCON_CODE));
    ASSERT_EQ(eo.bytes(), e.output(0, c.rgb_order, OUTPUT_EO_RGB));
    ASSERT_EQ(nominal.bytes(), six ? e.output(0, c.rgb_order, OUTPUT_NOMINAL_RGB) : c.input);
    // Where images share bytes, wholly or in part, the output written last prevails.
    const std::size_t size = c.input.size();
    for (const std::size_t distance : {std::size_t{1}, std::size_t{3}, size - 1})
        for (std::size_t place = 0; place < 8; ++place) {
            Bytes shared(size + distance);
            std::uint8_t *input = &shared[place & 1 ? distance : 0],
                         *others = &shared[place & 2 ? distance : 0],
                         *last = &shared[place & 4 ? distance : 0];
            std::copy(c.input.begin(), c.input.end(), input);
            ASSERT_EQ(Oxel_Morvel6_render_All(input, c.rgb_order, others, others, last, nullptr,
                                              c.width, c.height, c.mode),
                      OXEL_SUCCESS);
            ASSERT_EQ(Bytes(last, last + size), eo.bytes()) << distance << " apart, " << place;
        }
}

TEST(Render, EveryEntryAgreesWithTheReference) {
    // Thin pictures leave most shares in the margins; wide and high ones are done in several
    // segments and blocks, with some left over.
    constexpr int sizes[][2] = {{5, 5}, {20, 12}, {40, 24}, {5, 70}, {700, 3}, {520, 40}, {1, 40}};
    Random random(7);
    std::vector<int> order{0, 1, 2, 3};
    for (int package = 0; package < 28; ++package) {
        constexpr int palettes[] = {6, 2, 6, 16, 3, 17, 256};
        const int colours = package < 14 ? palettes[package % 7] : 2 + random_below(random, 255);
        const Tables tables = package % 2 ? nearest_tables(random, std::min(colours, 17))
                                          : random_tables(random, colours);
        std::shuffle(order.begin(), order.end(), random);
        adopt(tables.package(order, random() % 50));
        for (std::uint32_t i = 0; i < std::size(sizes) * oxel::dithering_modes; ++i) {
            if (testing::Test::HasFailure())
                break;
            const auto &[widest, highest] = sizes[i / oxel::dithering_modes];
            const std::uint32_t mode = i % oxel::dithering_modes;
            const int width = 1 + random_below(random, widest);
            const int height = 1 + random_below(random, highest);
            const Bytes input = random_bytes(random, 3U * static_cast<unsigned>(width * height));
            const std::uint32_t output_order = random() % 2 ? 1 : 0;
            const Expectation e(tables, {input, random() % 2 ? 1U : 0U, width, height, mode});
            SCOPED_TRACE(testing::Message() << colours << " colours, " << width << " x " << height
                                            << ", mode " << mode);
            for_each_form([&] {
                expect_plain(e, output_order, OUTPUT_EO_RGB);
                if (width * height > 1500 || testing::Test::HasFailure())
                    return;
                expect_all(e);
                for (const int type : output_types) {
                    expect_plain(e, output_order, type);
                    expect_guarded(e, output_order, type);
                }
            });
        }
    }
}

// The pixels of a segment are counted in 16 bits.
TEST(Render, VeryWideRowsAgreeWithTheReference) {
    Random random(8);
    const Tables tables = random_tables(random, 6);
    adopt(tables.package());
    for (const int width : {262140, 524280}) { // a little more than 8 and 16 segments can be long
        const Bytes input = random_bytes(random, 6U * static_cast<unsigned>(width));
        const Expectation e(tables, {input, 0, width, 2, DITHER_FLOYD_SERPENTINE});
        for_each_form([&] { expect_plain(e, 0, OUTPUT_EO_RGB); });
    }
}

TEST(Render, WorkedImages) {
    Tables tables{{0, 0, 0, 255, 255, 255}, {0, 1}};
    std::fill(tables.quantisation.begin() + cell_count / 2, tables.quantisation.end(),
              std::uint8_t{1});
    for (const auto &row : worked("dithering")) {
        std::fill(tables.gamut.begin(), tables.gamut.end(),
                  static_cast<std::uint8_t>(std::stoi(row[2])));
        adopt(tables.package());
        Bytes expected;
        for (auto line = row.begin() + 4; line != row.end(); ++line)
            for (const char index : *line)
                expected.insert(expected.end(), 3, static_cast<std::uint8_t>(index - '0'));
        for_each_form([&] {
            const GuardedBytes image(Bytes(expected.size()));
            EXPECT_EQ(Oxel_Morvel6_render(
                          image.get(), 0, image.get(), 0, std::stoi(row[0]), std::stoi(row[1]),
                          static_cast<std::uint32_t>(std::stoi(row[3])), OUTPUT_TCON_CODE),
                      OXEL_SUCCESS);
            EXPECT_EQ(image.bytes(), expected) << testing::PrintToString(row);
        });
    }
}

TEST(Render, EveryAllocationMayFail) {
    constexpr int width = 5, height = 4;
    const Bytes picture(3 * width * height, 0x77), filled(picture.size(), 0xEE);
    Bytes input, output, preview;
    int w, h, verdict;
    const struct {
        int allocations;
        std::function<int()> call;
    } entries[] = {
        {1, [&] { return Oxel_Morvel6_render(input.data(), 0, output.data(), 0, w, h, 5, 3); }},
        {2, [&] { return Oxel_Morvel6_render(input.data(), 0, &input[3], 0, w, h - 1, 5, 3); }},
        {1,
         [&] {
             return Oxel_Morvel6_render_All(input.data(), 0, output.data(), preview.data(),
                                            preview.data(), nullptr, w, h, 2);
         }},
        {3, // the index plane, and each rendering's
         [&] {
             return Oxel_Morvel6_render_with_powerGuard(input.data(), 1, output.data(), 0, w, h, 0,
                                                        1, no_number, &verdict);
         }},
        {1, [&] { return Oxel_TFT_format_transfer(input.data(), &w, &h, 1); }},
        {1, [&] { return Oxel_TFT_format_transfer(input.data(), &w, &h, 5); }},
        {0, [&] { return Oxel_TFT_format_transfer(input.data(), &w, &h, 3); }},
    };
    Random random(14);
    adopt(random_tables(random, 6).package());
    for (const auto &[allocations, call] : entries)
        for (int succeeding = 0; succeeding <= allocations; ++succeeding) {
            SCOPED_TRACE(testing::Message() << &call - &entries[0].call << ", " << succeeding);
            input = picture;
            output = preview = filled;
            w = width, h = height, verdict = no_verdict, live_allocations = 0;
            succeeding_allocations = succeeding;
            const int status = call();
            succeeding_allocations = -1;
            EXPECT_EQ(live_allocations, 0) << "leaked";
            EXPECT_EQ(status, succeeding == allocations ? OXEL_SUCCESS : OXEL_OUT_OF_MEMORY);
            EXPECT_TRUE(status == OXEL_SUCCESS ||
                        (input == picture && output == filled && preview == filled && w == width &&
                         h == height && verdict == no_verdict));
        }
}

} // namespace
