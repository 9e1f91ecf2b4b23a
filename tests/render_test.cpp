#include "Oxel_Morvel6_render.h"

#include "library_state.h"
#include "power_guard.h"
#include "reference.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr std::uint8_t untouched = 0xEE;
constexpr std::int32_t no_verdict = -7;

Case random_case(Random &random) {
    Case c{};
    c.rgb_order = random() % 2 == 0 ? ORDER_RGB : ORDER_BGR;
    c.width = 1 + random_below(random, 20);
    c.height = 1 + random_below(random, 12);
    c.dithering_mode = static_cast<std::uint32_t>(random_below(random, 6));
    c.input = random_bytes(random, 3U * static_cast<unsigned>(c.width * c.height));
    return c;
}

TEST(Render, EveryEntryAgreesWithTheReference) {
    Random random(7);
    std::vector<int> order{0, 1, 2, 3};
    for (const int colours : {2, 6, 6, 6, 16, 17, 256}) {
        const Tables tables = random_tables(random, colours);
        std::shuffle(order.begin(), order.end(), random);
        adopt(tables.package(order, random() % 50));
        for (int i = 0; i < 300; ++i) {
            const Case c = random_case(random);
            const std::uint32_t other_order = random() % 2 == 0 ? ORDER_RGB : ORDER_BGR;
            const Bytes indices = reference_indices(tables, c);
            const GuardedBytes input(c.input);
            const GuardedBytes tcon(c.input.size(), untouched), eo(c.input.size(), untouched),
                nominal(c.input.size(), untouched);

            ASSERT_EQ(Oxel_Morvel6_render_All(input.get(), c.rgb_order, tcon.get(),
                                              colours == 6 ? nominal.get() : nullptr, eo.get(),
                                              nullptr, c.width, c.height, c.dithering_mode),
                      OXEL_SUCCESS);
            ASSERT_EQ(input.bytes(), c.input);
            ASSERT_EQ(tcon.bytes(), reference_output(tables, indices, 0, OUTPUT_TCON_CODE));
            ASSERT_EQ(eo.bytes(), reference_output(tables, indices, c.rgb_order, OUTPUT_EO_RGB));
            if (colours == 6) {
                ASSERT_EQ(nominal.bytes(),
                          reference_output(tables, indices, c.rgb_order, OUTPUT_NOMINAL_RGB));
            }

            for (const int type : {OUTPUT_TCON_CODE, OUTPUT_NOMINAL_RGB, OUTPUT_EO_RGB}) {
                const bool refused = type == OUTPUT_NOMINAL_RGB && colours != 6;
                const GuardedBytes in_place(c.input), guarded(c.input);
                std::int32_t verdict = no_verdict;
                ASSERT_EQ(Oxel_Morvel6_render(in_place.get(), c.rgb_order, in_place.get(),
                                              other_order, c.width, c.height, c.dithering_mode,
                                              type),
                          refused ? OXEL_NOT_SIX_COLOURS : OXEL_SUCCESS);
                ASSERT_EQ(Oxel_Morvel6_render_with_powerGuard(
                              guarded.get(), c.rgb_order, guarded.get(), other_order, c.width,
                              c.height, c.dithering_mode, type, infinity, &verdict),
                          refused ? OXEL_NOT_SIX_COLOURS : OXEL_SUCCESS);
                const Bytes expected =
                    refused ? c.input
                            : reference_output(tables, indices,
                                               type == OUTPUT_TCON_CODE ? 0U : other_order, type);
                ASSERT_EQ(in_place.bytes(), expected) << "type " << type;
                ASSERT_EQ(guarded.bytes(), expected) << "type " << type;
                ASSERT_EQ(verdict, GUARD_PASSED);
            }
        }
    }
}

TEST(Render, OutputsThatShareABufferHoldTheLastOne) {
    Random random(8);
    const Tables tables = random_tables(random, 6);
    adopt(tables.package());
    const Case c = random_case(random);
    const GuardedBytes image(c.input);
    ASSERT_EQ(Oxel_Morvel6_render_All(image.get(), c.rgb_order, image.get(), image.get(),
                                      image.get(), nullptr, c.width, c.height, c.dithering_mode),
              OXEL_SUCCESS);
    EXPECT_EQ(image.bytes(),
              reference_output(tables, reference_indices(tables, c), c.rgb_order, OUTPUT_EO_RGB));
}

// The measure once more: each index on its own, squares by my_pow.
double reference_metric(const Bytes &indices, int width, int height, int colours) {
    double sum = 0.0;
    for (int pair = 1; pair < height / 2; ++pair)
        for (int index = 0; index < colours; ++index) {
            const auto share = [&](int p) {
                const auto start = indices.begin() + p * 2 * width;
                return static_cast<double>(std::count(start, start + 2 * width, index)) /
                       (2 * width);
            };
            sum += my_pow(share(pair) - share(pair - 1), 2.0);
        }
    return sum;
}

TEST(PowerGuard, ThresholdsAtTheMeasure) {
    Random random(9);
    int shifted_passes = 0;
    for (const int colours : {2, 6, 256}) {
        const Tables tables = random_tables(random, colours);
        adopt(tables.package());
        for (int i = 0; i < 150; ++i) {
            const Case c = random_case(random);
            const Bytes renderings[] = {reference_indices(tables, c),
                                        reference_indices(tables, c, 1), Bytes(c.input.size() / 3)};
            double measures[2];
            for (int shift = 0; shift < 2; ++shift) {
                measures[shift] = reference_metric(renderings[shift], c.width, c.height, colours);
                ASSERT_EQ(oxel::calculate_difference_of_central_tendency(renderings[shift].data(),
                                                                         c.width, c.height),
                          measures[shift]);
            }
            for (const double measure : measures)
                for (const double threshold : {std::nextafter(measure, -1.0), measure,
                                               std::nextafter(measure, infinity), std::nan("")}) {
                    const std::int32_t expected = measures[0] < threshold   ? GUARD_PASSED
                                                  : measures[1] < threshold ? GUARD_PASSED_SHIFTED
                                                                            : GUARD_BLANKED;
                    shifted_passes += expected == GUARD_PASSED_SHIFTED;
                    const GuardedBytes image(c.input);
                    std::int32_t verdict = no_verdict;
                    ASSERT_EQ(Oxel_Morvel6_render_with_powerGuard(
                                  image.get(), c.rgb_order, image.get(), 0, c.width, c.height,
                                  c.dithering_mode, OUTPUT_EO_RGB, threshold,
                                  i % 2 ? &verdict : nullptr),
                              OXEL_SUCCESS);
                    ASSERT_EQ(verdict, i % 2 ? expected : no_verdict);
                    ASSERT_EQ(image.bytes(),
                              reference_output(tables, renderings[expected], 0, OUTPUT_EO_RGB));
                }
        }
    }
    EXPECT_GT(shifted_passes, 50) << "the shifted rendering must have been exercised";
}

TEST(PowerGuard, WorkedMeasures) {
    Random random(10);
    adopt(random_tables(random, 6).package());
    const auto measure = [](const Bytes &rows, int width) { // each row all of one index
        Bytes plane;
        for (const std::uint8_t index : rows)
            plane.insert(plane.end(), static_cast<std::size_t>(width), index);
        const GuardedBytes guarded(plane);
        return oxel::calculate_difference_of_central_tendency(guarded.get(), width,
                                                              static_cast<int>(rows.size()));
    };
    EXPECT_EQ(measure({1, 1, 2}, 3), 0.0);
    EXPECT_EQ(measure({1, 1, 2, 2}, 3), 2.0);
    EXPECT_EQ(measure({1, 1, 2, 2, 5}, 3), 2.0) << "a last odd row does not count";
    EXPECT_EQ(measure({1, 2, 2, 1}, 3), 0.0);
    EXPECT_EQ(measure({1, 1, 2, 2, 1, 1}, 7), 4.0);
    EXPECT_EQ(measure({5, 1, 1, 2, 2, 1, 1, 2}, 4), 0.49999999999994493);
    EXPECT_EQ(measure({1, 1, 6, 255}, 3), 1.0) << "indices outside the palette do not count";
    const std::uint8_t plane[16] = {};
    const auto measure_of = [&](int width, int height) {
        return oxel::calculate_difference_of_central_tendency(plane, width, height);
    };
    EXPECT_EQ(measure_of(0, 3), 0.0);
    EXPECT_TRUE(std::isnan(measure_of(0, 4)));
    EXPECT_EQ(measure_of(-2, 8), 0.0);
    EXPECT_EQ(measure_of(2, -8), 0.0);

    Bytes wide(4 * 6992, 255);
    wide.back() = 1;
    EXPECT_EQ(oxel::calculate_difference_of_central_tendency(wide.data(), 6992, 4),
              -3.8045410772577317e-10)
        << "the square of a share this small comes out negative";
}

// A render of the adopted package, and what became of its buffers. The arguments not named here
// are valid.
struct Call {
    std::int32_t expected;
    std::uint32_t rgb_order = 0, output_order = 0, mode = 0;
    int type = OUTPUT_TCON_CODE, width = 2, height = 2;
    bool null_input = false, null_output = false;
};

void expect_status(const Call &call, bool writes_verdict) {
    const Bytes filled(12, untouched);
    const GuardedBytes input(12, 0x80);
    const GuardedBytes output(filled);
    const auto *in = call.null_input ? nullptr : input.get();
    auto *out = call.null_output ? nullptr : output.get();
    EXPECT_EQ(Oxel_Morvel6_render(in, call.rgb_order, out, call.output_order, call.width,
                                  call.height, call.mode, call.type),
              call.expected);
    EXPECT_TRUE(call.expected == OXEL_SUCCESS || output.bytes() == filled);
    std::int32_t verdict = no_verdict;
    EXPECT_EQ(Oxel_Morvel6_render_with_powerGuard(in, call.rgb_order, out, call.output_order,
                                                  call.width, call.height, call.mode, call.type,
                                                  infinity, &verdict),
              call.expected);
    EXPECT_EQ(verdict != no_verdict, writes_verdict);
    EXPECT_TRUE(call.expected == OXEL_SUCCESS || output.bytes() == filled);
}

TEST(Render, Statuses) {
    Random random(11);
    constexpr int big = 1 << 15; // 3 * big * big is 2^31 and more
    const struct {
        Call call;
        bool writes_verdict;
    } six_colour_cases[] = {
        {{.expected = 0}, true},
        {{.expected = 0, .output_order = 9}, true},
        {{.expected = 13, .mode = 6, .null_input = true}, false},
        {{.expected = 13, .rgb_order = 2, .null_input = true}, false},
        {{.expected = 13, .output_order = 2, .type = OUTPUT_EO_RGB}, true},
        {{.expected = 13, .output_order = 2, .type = OUTPUT_NOMINAL_RGB, .null_output = true},
         true},
        {{.expected = 13, .type = 0}, true},
        {{.expected = 13, .type = 4, .null_output = true}, true},
        {{.expected = 13, .type = 4, .width = 0, .height = 2}, true},
        {{.expected = 15, .null_input = true}, false},
        {{.expected = 15, .null_output = true}, false},
        {{.expected = 15, .width = big, .height = big}, false},
        {{.expected = 15, .width = 715827883, .height = 1}, false},
        {{.expected = 15, .width = INT32_MAX, .height = INT32_MAX}, false},
        {{.expected = 0, .width = 0, .null_input = true, .null_output = true}, true},
        {{.expected = 0, .width = -5, .height = -5, .null_input = true, .null_output = true}, true},
    };
    adopt(random_tables(random, 6).package());
    for (const auto &[call, writes_verdict] : six_colour_cases) {
        SCOPED_TRACE(&call - &six_colour_cases[0].call);
        expect_status(call, writes_verdict);
    }

    adopt(random_tables(random, 8).package());
    expect_status({.expected = 14, .type = OUTPUT_NOMINAL_RGB}, true);
    expect_status({.expected = 14, .type = OUTPUT_NOMINAL_RGB, .width = 0}, true);
    std::uint8_t pixel[3] = {1, 2, 3};
    EXPECT_EQ(Oxel_Morvel6_render_All(pixel, 0, pixel, nullptr, nullptr, nullptr, 1, 1, 0), 15);
    EXPECT_EQ(Oxel_Morvel6_render_All(pixel, 0, pixel, pixel, pixel, nullptr, 1, 1, 6), 13);
    EXPECT_EQ(Oxel_Morvel6_render_All(pixel, 2, pixel, pixel, pixel, nullptr, 1, 1, 0), 13);
    EXPECT_EQ(Oxel_Morvel6_render_All(nullptr, 0, nullptr, nullptr, nullptr, nullptr, 0, 1, 0), 0);
    EXPECT_EQ(pixel[0] * 100 + pixel[1] * 10 + pixel[2], 123);

    // An empty image of no width has no measure; a threshold that is no number rejects all.
    std::int32_t verdict = no_verdict;
    EXPECT_EQ(
        Oxel_Morvel6_render_with_powerGuard(nullptr, 0, nullptr, 0, 0, 4, 0, 1, infinity, &verdict),
        0);
    EXPECT_EQ(verdict, GUARD_BLANKED);
}

// Inits from a buffer that ends at an unreadable page, and leaves nothing adopted behind.
std::int32_t init(const Bytes &package) {
    const GuardedBytes guarded(package);
    return Oxel_Morvel6_render_init(guarded.get(), static_cast<std::uint32_t>(guarded.size()));
}

TEST(Package, ChecksLengthThenTrailerThenLengthField) {
    Bytes digits{'1', '2', '3', '4', '5', '6', '7', '8', '9', 0, 0, 0, 0};
    put_crc(digits);
    EXPECT_EQ(Bytes(digits.end() - 4, digits.end()), Bytes({0x26, 0x39, 0xF4, 0xCB}));

    Random random(12);
    const Tables tables = random_tables(random, 6);
    const Bytes good = tables.package();
    const auto changed = [&](std::size_t offset, bool right_crc) {
        Bytes package = good;
        package[offset] ^= 1;
        if (right_crc)
            put_crc(package);
        return package;
    };
    adopt(good);
    const auto *palette = EO_RGB_color;
    EXPECT_EQ(Oxel_Morvel6_render_init(nullptr, 100), 3);
    EXPECT_EQ(Oxel_Morvel6_render_init(palette, 0x80000000), 3);
    EXPECT_EQ(init(Bytes(27)), 3);
    EXPECT_EQ(init(Bytes(28)), 4);
    EXPECT_EQ(init(Bytes(good.begin(), good.end() - 1)), 4);
    EXPECT_EQ(init(changed(6, false)), 4) << "the trailer comes before the length field";
    EXPECT_EQ(init(changed(6, true)), 3);
    EXPECT_EQ(init(changed(good.size() - 1, false)), 4);
    EXPECT_EQ(EO_RGB_color, palette) << "a failed init changes nothing";
    expect_status({.expected = 0, .type = OUTPUT_NOMINAL_RGB}, true);

    for (std::size_t producer = 0; producer < 6; ++producer)
        EXPECT_EQ(init(changed(producer, true)), 0);
    adopt(random_tables(random, 8).package());
    expect_status({.expected = 14, .type = OUTPUT_NOMINAL_RGB}, true);
}

TEST(Package, NothingRendersBeforeTheFirst) {
    const auto initialised = std::exchange(oxel::isInital, std::uint8_t{0});
    expect_status({.expected = 6, .rgb_order = 9, .mode = 9, .type = 9}, false);
    EXPECT_EQ(Oxel_Morvel6_render_All(nullptr, 9, nullptr, nullptr, nullptr, nullptr, 1, 1, 9), 6);
    oxel::isInital = initialised;
}

TEST(Package, TablesOutsideItCannotBeUsed) {
    Random random(13);
    Tables tables = random_tables(random, 6);
    tables.quantisation[100] = 5;
    const auto expect_tables = [](Bytes package, bool usable) {
        put_u32(package, 6, static_cast<std::uint32_t>(package.size()));
        put_crc(package);
        adopt(package);
        expect_status({.expected = usable ? 0 : 5}, usable);
        expect_status({.expected = 0, .width = 0}, true);
    };
    for (int last = 0; last < 4; ++last) {
        const Bytes good = tables.package({(last + 1) % 4, (last + 2) % 4, (last + 3) % 4, last});
        expect_tables(good, true);
        const std::size_t field = 12 + 4 * static_cast<std::size_t>(last);
        for (const std::uint32_t offset :
             {27U,
              std::uint32_t(good[field] + 1U) | std::uint32_t(good[field + 1]) << 8 |
                  std::uint32_t(good[field + 2]) << 16,
              std::uint32_t(good.size()), 0x7FFFFFFFU, 0xFFFFFFFFU}) {
            Bytes package = good;
            put_u32(package, field, offset);
            expect_tables(package, false);
        }
    }

    // One entry more than the tables hold, at the end of the package.
    tables.quantisation[cell_count - 1] = 6;
    expect_tables(tables.package({1, 2, 3, 0}), false);
    expect_tables(tables.package({0, 2, 3, 1}), false);
    // The count does not matter, but a seventh colour has no nominal one.
    tables.palette.resize(21);
    tables.codes.resize(7);
    expect_tables(tables.package(), true);
    expect_status({.expected = 5, .type = OUTPUT_NOMINAL_RGB}, false);
    expect_status({.expected = 13, .output_order = 2, .type = OUTPUT_NOMINAL_RGB}, true);
    std::uint8_t pixel[3];
    EXPECT_EQ(Oxel_Morvel6_render_All(pixel, 0, pixel, pixel, pixel, nullptr, 1, 1, 0), 5);

    Bytes header(28);
    header[6] = 28;
    put_crc(header);
    adopt(header);
    expect_status({.expected = 5}, false);
    expect_status({.expected = 0, .height = 0}, true);
}

} // namespace
