#include "Oxel_Morvel6_render.h"
#include "support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>

namespace {

/// Column and row to which a layout takes a pixel of a width x height image, and the dimensions
/// of the result; pixels outside them are dropped.
struct Place {
    int column, row;
};

Place place_of(int column, int row, int mode) {
    switch (mode) {
    case TFT_PAIR_MERGE_UPPER_FIRST:
        return {2 * column + row % 2, row / 2};
    case TFT_PAIR_MERGE_LOWER_FIRST:
        return {2 * column + 1 - row % 2, row / 2};
    case TFT_HSD_ODD_EVEN:
        return {column / 2, 2 * row + column % 2};
    default:
        return {column / 2, 2 * row + 1 - column % 2};
    }
}

std::pair<int, int> size_of(int width, int height, int mode) {
    return mode == TFT_PAIR_SWAP                ? std::pair{width, height}
           : mode <= TFT_PAIR_MERGE_LOWER_FIRST ? std::pair{2 * width, height / 2}
                                                : std::pair{width / 2, 2 * height};
}

void expect_layout(Random &random, int width, int height, int mode) {
    const auto at = [](int row, int columns, int column) {
        return static_cast<std::size_t>(row * columns + column) * 3;
    };
    const std::size_t rest = random() % 100; // bytes behind the image, which are not its own
    const Bytes image = random_bytes(random, at(height, width, 0) + rest);
    Bytes expected = image;
    const std::pair size = size_of(width, height, mode);
    for (int row = 0; row < height; ++row)
        for (int column = 0; column < width; ++column) {
            Place place{column, row};
            if (mode != TFT_PAIR_SWAP)
                place = place_of(column, row, mode);
            else if ((row ^ 1) < height)
                place.row = row ^ 1;
            const bool dropped = mode <= TFT_PAIR_MERGE_LOWER_FIRST
                                     ? row == height / 2 * 2
                                     : mode >= TFT_HSD_ODD_EVEN && column == width / 2 * 2;
            if (!dropped)
                std::copy_n(&image[at(row, width, column)], 3,
                            &expected[at(place.row, size.first, place.column)]);
        }
    for_each_form([&] {
        const GuardedBytes data(image);
        int w = width, h = height;
        ASSERT_EQ(Oxel_TFT_format_transfer(data.get(), &w, &h, mode), OXEL_SUCCESS);
        ASSERT_EQ(std::pair(w, h), size);
        ASSERT_EQ(data.bytes(), expected)
            << width << " x " << height << ", mode " << mode << ", " << rest << " bytes behind";
    });
}

TEST(TftTransfer, TakesEachPixelToItsPlace) {
    Random random(41);
    for (int mode = TFT_PAIR_MERGE_UPPER_FIRST; mode <= TFT_HSD_EVEN_ODD; ++mode) {
        for (int width = 0; width <= 70 && !testing::Test::HasFailure(); ++width)
            for (const int height : {1, 2, random_below(random, 8), random_below(random, 71)})
                expect_layout(random, width, height, mode);
        for (const int width : {127, 1365, 1366, 4097}) // rows of more than one block
            expect_layout(random, width, 5, mode);
    }
}

TEST(TftTransfer, Statuses) {
    std::uint8_t data[] = {1, 2, 3};
    for (const auto &row : worked("layout_statuses")) {
        int width = std::stoi(row[1]), height = std::stoi(row[2]);
        EXPECT_EQ(Oxel_TFT_format_transfer(row[4] == "null" ? nullptr : data, &width, &height,
                                           std::stoi(row[3])),
                  std::stoi(row[0]))
            << testing::PrintToString(row);
        EXPECT_TRUE(row[0] == "0" ||
                    std::pair(width, height) == std::pair(std::stoi(row[1]), std::stoi(row[2])));
    }
    int one = 1;
    EXPECT_EQ(Oxel_TFT_format_transfer(data, nullptr, &one, 1), OXEL_BAD_ARGUMENT);
    EXPECT_EQ(Oxel_TFT_format_transfer(data, &one, nullptr, 1), OXEL_BAD_ARGUMENT);
    EXPECT_EQ(Bytes(data, data + 3), Bytes({1, 2, 3}));
}

} // namespace
