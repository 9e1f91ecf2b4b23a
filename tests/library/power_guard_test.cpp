#include "power_guard.h"

#include "library_state.h"
#include "reference.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace {

double measure(const Bytes &index_plane, int width, int height) {
    const GuardedBytes plane(index_plane);
    return oxel::calculate_difference_of_central_tendency(plane.get(), width, height);
}

/// With a number of colours in force.
class PowerGuard : public testing::Test {
  protected:
    ~PowerGuard() override { oxel::COLOR_NUMBER = adopted_; }

    const std::uint16_t adopted_ = oxel::COLOR_NUMBER;
};

TEST_F(PowerGuard, WorkedMeasures) {
    oxel::COLOR_NUMBER = 6;
    for (const auto &row : worked("measures"))
        for_each_form([&] {
            const int width = std::stoi(row[1]);
            Bytes plane;
            for (const char index : row[0])
                plane.insert(plane.end(), static_cast<std::size_t>(width),
                             static_cast<std::uint8_t>(index - 'A'));
            EXPECT_EQ(measure(plane, width, static_cast<int>(row[0].size())), std::stod(row[2]))
                << row[0];
        });
    EXPECT_EQ(measure({}, 0, 3), 0.0);
    EXPECT_TRUE(std::isnan(measure({}, 0, 4)));
    EXPECT_EQ(measure({}, -2, 8), 0.0);
    EXPECT_EQ(measure({}, 2, -8), 0.0);
    Bytes wide(4 * 6992, 255);
    wide.back() = 1;
    EXPECT_EQ(measure(wide, 6992, 4), -3.8045410772577317e-10) << "a tiny share's square";
}

TEST_F(PowerGuard, MeasuresTheMixOfEachLinePair) {
    Random random(61);
    for (int i = 0; i < 200 && !testing::Test::HasFailure(); ++i) {
        const int width = 1 + i, height = 1 + random_below(random, 40);
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
}

// Wherever the counters of a loop overflow, a flat pair would do it.
TEST_F(PowerGuard, CountsFlatPairs) {
    oxel::COLOR_NUMBER = 2;
    for (const std::size_t width : {2100U, 4200U, 8300U, 33000U, 70000U}) {
        Bytes plane(2 * width);
        plane.resize(4 * width, 1);
        for_each_form([&] { EXPECT_EQ(measure(plane, static_cast<int>(width), 4), 2.0) << width; });
    }
}

} // namespace
