#include "power_guard.h"

#include "Oxel_Morvel6_render.h"
#include "library_state.h"
#include "reference.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

double measure(const Bytes &index_plane, int width, int height) {
    const GuardedBytes plane(index_plane);
    return oxel::calculate_difference_of_central_tendency(plane.get(), width, height);
}

TEST(PowerGuard, MeasuresTheMixOfEachLinePair) {
    Random random(61);
    const auto adopted = oxel::COLOR_NUMBER;
    for (int i = 0; i < 90 && !testing::Test::HasFailure(); ++i) {
        const int width = 1 + random_below(random, 300), height = 1 + random_below(random, 40);
        const int colours = i % 3 ? 1 + random_below(random, 20) : 1 + random_below(random, 300);
        const int largest = i % 2 ? std::min(colours, 256) - 1 : 255; // above the colours, too
        const auto pair = static_cast<std::size_t>(2 * width);
        Bytes plane;
        for (int row = 0; row < height; ++row) { // each from a range of its own
            const Bytes indices = random_bytes(random, pair / 2, random_below(random, largest + 1));
            plane.insert(plane.end(), indices.begin(), indices.end());
        }
        Bytes mixed = plane;
        for (std::size_t start = 0; start + pair <= mixed.size(); start += pair)
            std::shuffle(&mixed[start], &mixed[start] + pair, random);
        if (height % 2) // the last row belongs to no pair
            std::fill(mixed.end() - width, mixed.end(), std::uint8_t{0});
        oxel::COLOR_NUMBER = static_cast<std::uint16_t>(colours);
        const double expected = reference_measure(plane, width, height, colours);
        for_each_form([&] {
            EXPECT_EQ(measure(plane, width, height), expected)
                << width << " x " << height << ", " << colours << " colours";
            EXPECT_EQ(measure(mixed, width, height), expected) << "mixed within its pairs";
        });
    }
    oxel::COLOR_NUMBER = adopted;
}

// Through the public functions alone: what the plain render makes of a picture, and of the one
// that is moved down here, tells what the guarded one may deliver.
TEST(PowerGuard, DeliversThePlainRenderOfThePictureOrOfTheMovedOne) {
    Random random(62);
    Tables tables = nearest_tables(random, 6);
    std::iota(tables.codes.begin(), tables.codes.end(), std::uint8_t{0}); // codes are indices
    adopt(tables.package());
    int verdicts[3] = {};
    for (std::uint32_t i = 0; i < 48 && !testing::Test::HasFailure(); ++i) {
        const int width = 1 + random_below(random, 90), height = 1 + random_below(random, 70);
        const auto stride = 3 * static_cast<std::size_t>(width);
        Bytes image;
        for (int row = 0; row < height; ++row) { // stripes of two rows, which moving breaks up
            const Bytes noise = random_bytes(random, stride, 90);
            for (const std::uint8_t byte : noise)
                image.push_back(static_cast<std::uint8_t>(row & 2 ? 255 - byte : byte));
        }
        Bytes moved(stride);
        moved.insert(moved.end(), image.begin(), image.end() - static_cast<std::ptrdiff_t>(stride));
        const std::uint32_t mode = i % 6, order = i / 6 % 2;
        const auto plain = [&](const Bytes &picture) {
            Bytes output(picture.size());
            EXPECT_EQ(Oxel_Morvel6_render(picture.data(), order, output.data(), 0, width, height,
                                          mode, OUTPUT_TCON_CODE),
                      OXEL_SUCCESS);
            return output;
        };
        const auto measure_of = [&](const Bytes &codes) {
            Bytes plane;
            for (std::size_t pixel = 0; pixel < codes.size(); pixel += 3)
                plane.push_back(codes[pixel]);
            return measure(plane, width, height);
        };
        for_each_form([&] {
            const Bytes renderings[] = {plain(image), plain(moved), Bytes(image.size(), 0)};
            const double first = measure_of(renderings[0]), second = measure_of(renderings[1]);
            for (const double threshold : {first, std::nextafter(first, infinity), second,
                                           std::nextafter(second, infinity), 0.0, -infinity}) {
                const int expected = first < threshold    ? GUARD_PASSED
                                     : second < threshold ? GUARD_PASSED_SHIFTED
                                                          : GUARD_BLANKED;
                const GuardedBytes output(image);
                std::int32_t verdict = -7;
                ASSERT_EQ(Oxel_Morvel6_render_with_powerGuard(output.get(), order, output.get(), 9,
                                                              width, height, mode, OUTPUT_TCON_CODE,
                                                              threshold, &verdict),
                          OXEL_SUCCESS);
                ASSERT_EQ(verdict, expected);
                ASSERT_EQ(output.bytes(), renderings[verdict])
                    << width << " x " << height << ", mode " << mode << ", verdict " << verdict;
                ++verdicts[verdict];
            }
        });
    }
    EXPECT_GT(*std::min_element(verdicts, verdicts + 3), 5);
}

} // namespace
