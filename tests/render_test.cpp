#include "Oxel_Morvel6_render.h"

#include "counted_heap.h"
#include "power_guard.h"
#include "reference.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double no_number = std::numeric_limits<double>::quiet_NaN();
constexpr std::int32_t no_verdict = -7;

double measure(const Bytes &index_plane, int width, int height) {
    const GuardedBytes plane(index_plane);
    return oxel::calculate_difference_of_central_tendency(plane.get(), width, height);
}

// One picture through every entry and output type, all in place, against the reference.
void expect_reference(const Tables &tables, const Case &c, std::uint32_t output_order) {
    const int colours = static_cast<int>(tables.codes.size());
    const GuardedBytes tcon(c.input), nominal(c.input), eo(c.input);
    const Bytes renderings[] = {reference_indices(tables, c), reference_indices(tables, c, 1),
                                Bytes(c.input.size() / 3)};
    const auto expected = [&](int verdict, std::uint32_t order, int type) {
        return reference_output(tables, renderings[verdict], order, type);
    };
    ASSERT_EQ(Oxel_Morvel6_render_All(eo.get(), c.rgb_order, tcon.get(),
                                      colours == 6 ? nominal.get() : nullptr, eo.get(), nullptr,
                                      c.width, c.height, c.mode),
              OXEL_SUCCESS);
    ASSERT_EQ(tcon.bytes(), expected(0, 0, OUTPUT_TCON_CODE));
    ASSERT_EQ(eo.bytes(), expected(0, c.rgb_order, OUTPUT_EO_RGB));
    ASSERT_EQ(nominal.bytes(),
              colours == 6 ? expected(0, c.rgb_order, OUTPUT_NOMINAL_RGB) : c.input);

    for (const int way : {0, 1, 2}) { // the output written last prevails, where they share bytes
        Bytes shared = c.input;
        shared.resize(shared.size() + 3);
        std::uint8_t *others = &shared[way == 0 ? 0 : 3];
        ASSERT_EQ(Oxel_Morvel6_render_All(way == 2 ? c.input.data() : shared.data(), c.rgb_order,
                                          others, others, shared.data(), nullptr, c.width, c.height,
                                          c.mode),
                  OXEL_SUCCESS);
        shared.resize(c.input.size());
        ASSERT_EQ(shared, eo.bytes());
    }

    double measures[2];
    for (int shift = 0; shift < 2; ++shift) {
        measures[shift] = measure(renderings[shift], c.width, c.height);
        ASSERT_EQ(measures[shift],
                  reference_measure(renderings[shift], c.width, c.height, colours));
    }
    for (const int type : {OUTPUT_TCON_CODE, OUTPUT_NOMINAL_RGB, OUTPUT_EO_RGB}) {
        const bool refused = type == OUTPUT_NOMINAL_RGB && colours != 6;
        const std::int32_t status = refused ? OXEL_NOT_SIX_COLOURS : OXEL_SUCCESS;
        const std::uint32_t order = type == OUTPUT_TCON_CODE ? 0 : output_order;
        const GuardedBytes image(c.input);
        ASSERT_EQ(Oxel_Morvel6_render(image.get(), c.rgb_order, image.get(), output_order, c.width,
                                      c.height, c.mode, type),
                  status);
        ASSERT_EQ(image.bytes(), refused ? c.input : expected(0, order, type));

        for (const double threshold :
             {infinity, no_number, measures[0], std::nextafter(measures[0], infinity), measures[1],
              std::nextafter(measures[1], infinity)}) {
            const GuardedBytes guarded(c.input);
            std::int32_t verdict = no_verdict;
            ASSERT_EQ(Oxel_Morvel6_render_with_powerGuard(guarded.get(), c.rgb_order, guarded.get(),
                                                          output_order, c.width, c.height, c.mode,
                                                          type, threshold, &verdict),
                      status);
            ASSERT_EQ(verdict, measures[0] < threshold   ? GUARD_PASSED
                               : measures[1] < threshold ? GUARD_PASSED_SHIFTED
                                                         : GUARD_BLANKED);
            ASSERT_EQ(guarded.bytes(), refused ? c.input : expected(verdict, order, type));
        }
    }
}

TEST(Render, EveryEntryAgreesWithTheReference) {
    Random random(7);
    std::vector<int> order{0, 1, 2, 3};
    for (const int colours : {2, 6, 6, 6, 16, 17, 256}) {
        const Tables tables = random_tables(random, colours);
        std::shuffle(order.begin(), order.end(), random);
        adopt(tables.package(order, random() % 50));
        for (int i = 0; i < 60 && !testing::Test::HasFatalFailure(); ++i) {
            Case c{{},
                   random() % 2 ? 1U : 0U,
                   1 + random_below(random, i % 20 ? 20 : 600),
                   1 + random_below(random, 12),
                   static_cast<std::uint32_t>(i % 6)};
            c.input = random_bytes(random, 3U * static_cast<unsigned>(c.width * c.height));
            SCOPED_TRACE(testing::Message() << colours << " colours, case " << i);
            const std::uint32_t output_order = random() % 2 ? 1 : 0;
            for_each_form([&] { expect_reference(tables, c, output_order); });
        }
    }
}

TEST(PowerGuard, WorkedMeasures) {
    Random random(9);
    adopt(random_tables(random, 6).package());
    for (const auto &row : worked("measures")) {
        const int width = std::stoi(row[1]);
        Bytes plane;
        for (const char index : row[0])
            plane.insert(plane.end(), static_cast<std::size_t>(width),
                         static_cast<std::uint8_t>(index - 'A'));
        EXPECT_EQ(measure(plane, width, static_cast<int>(row[0].size())), std::stod(row[2]))
            << row[0];
    }
    EXPECT_EQ(measure({}, 0, 3), 0.0);
    EXPECT_TRUE(std::isnan(measure({}, 0, 4)));
    EXPECT_EQ(measure({}, -2, 8), 0.0);
    EXPECT_EQ(measure({}, 2, -8), 0.0);
    Bytes wide(4 * 6992, 255);
    wide.back() = 1;
    EXPECT_EQ(measure(wide, 6992, 4), -3.8045410772577317e-10) << "a tiny share's square";
}

struct Call {
    std::int32_t status;
    bool writes_verdict;
    int type = OUTPUT_TCON_CODE, width = 2;
};

// The plain and the guarded render return the status and write only on success.
void expect_status(const Call &c) {
    const Bytes before(12, 0xEE);
    const GuardedBytes image(before);
    std::int32_t verdict = no_verdict;
    const auto guarded = [&](std::int32_t *result) {
        return Oxel_Morvel6_render_with_powerGuard(image.get(), 0, image.get(), 0, c.width, 2, 0,
                                                   c.type, infinity, result);
    };
    EXPECT_EQ(Oxel_Morvel6_render(image.get(), 0, image.get(), 0, c.width, 2, 0, c.type), c.status);
    EXPECT_EQ(guarded(&verdict), c.status);
    EXPECT_EQ(guarded(nullptr), c.status);
    EXPECT_EQ(verdict, c.writes_verdict ? std::int32_t{GUARD_PASSED} : no_verdict);
    EXPECT_TRUE(c.status == OXEL_SUCCESS || image.bytes() == before);
}

TEST(Package, ChecksLengthThenTrailerThenLengthField) {
    Bytes digits{'1', '2', '3', '4', '5', '6', '7', '8', '9', 0, 0, 0, 0};
    put_crc(digits);
    EXPECT_EQ(Bytes(digits.end() - 4, digits.end()), Bytes({0x26, 0x39, 0xF4, 0xCB}));

    Random random(12);
    const Bytes good = random_tables(random, 6).package();
    const auto init = [](const Bytes &package) {
        const GuardedBytes guarded(package);
        return Oxel_Morvel6_render_init(guarded.get(), guarded.size());
    };
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
    EXPECT_EQ(EO_RGB_color, palette) << "a failed init changes nothing";
    expect_status({.status = 0, .writes_verdict = true, .type = OUTPUT_NOMINAL_RGB});
    for (std::size_t producer = 0; producer < 6; ++producer)
        adopt(changed(producer, true));
}

TEST(Package, TablesOutsideItCannotBeUsed) {
    Random random(13);
    Tables tables = random_tables(random, 6);
    tables.quantisation[100] = 5;
    const auto expect_usable = [](const Bytes &package, bool usable) {
        adopt(package);
        expect_status({.status = usable ? 0 : 5, .writes_verdict = usable});
        expect_status({.status = 0, .writes_verdict = true, .width = 0});
    };
    for (int last = 0; last < 4; ++last) {
        Bytes package = tables.package({(last + 1) % 4, (last + 2) % 4, (last + 3) % 4, last});
        expect_usable(package, true);
        const std::size_t field = 12 + 4 * static_cast<std::size_t>(last);
        const auto offset = static_cast<std::uint32_t>(package[field] | package[field + 1] << 8 |
                                                       package[field + 2] << 16);
        const auto size = static_cast<std::uint32_t>(package.size());
        for (const std::uint32_t wrong : {offset + 1, size, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
            put_u32(package, field, wrong);
            put_crc(package);
            expect_usable(package, false);
        }
    }
    tables.quantisation.back() = 6; // one entry more than the tables hold
    expect_usable(tables.package({1, 2, 3, 0}), false);
    expect_usable(tables.package({0, 2, 3, 1}), false);
    Bytes package = tables.package(); // here more tables follow; but there is no nominal colour
    expect_usable(package, true);
    expect_status({.status = 5, .writes_verdict = false, .type = OUTPUT_NOMINAL_RGB});
    std::uint8_t pixel[3];
    EXPECT_EQ(Oxel_Morvel6_render_All(pixel, 0, pixel, pixel, pixel, nullptr, 1, 1, 0), 5);

    package.assign(28, 0);
    package[6] = 28;
    put_crc(package);
    expect_usable(package, false);
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
