#include "Oxel_Morvel6_render.h"
#include "support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <string>

namespace {

TEST(Numbers, WorkedValues) {
    for (const auto &row : worked("numbers")) {
        const std::string &function = row[0];
        const double x = std::stod(row[1]);
        const double y = row[2] == "-" ? 0.0 : std::stod(row[2]);
        const double expected = std::stod(row[3]);
        const double value = function == "exp"       ? my_exp(x)
                             : function == "ln"      ? my_ln(x)
                             : function == "int_pow" ? my_int_pow(x, static_cast<std::int32_t>(y))
                                                     : my_pow(x, y);
        EXPECT_TRUE(std::isnan(expected) ? std::isnan(value) : value == expected)
            << function << " " << row[1] << " " << row[2] << ": " << value;
    }
    EXPECT_FALSE(std::signbit(my_pow(-0.0, 3.0)));
}

struct Amounts {
    int hue = 0, saturation = 0, brightness = 0, contrast = 0;
    double gamma = 1.0;
};

Bytes adjust(const Bytes &input, const Amounts &a, std::uint32_t rgb_order = 0,
             std::uint32_t output_order = 0) {
    const GuardedBytes image(input);
    EXPECT_EQ(Oxel_image_adjustment(image.get(), rgb_order, image.get(), output_order, 1,
                                    static_cast<int>(input.size() / 3), a.hue, a.saturation,
                                    a.brightness, a.contrast, a.gamma),
              OXEL_SUCCESS);
    return image.bytes();
}

TEST(Adjustment, WorkedColours) {
    for (const auto &row : worked("adjustment")) {
        std::vector<int> n;
        for (const auto &word : row)
            n.push_back(std::isdigit(word.back()) ? std::stoi(word) : 0);
        const Bytes input(n.begin(), n.begin() + 3), expected(n.begin() + 8, n.end());
        for (std::uint32_t orders = 0; orders < 4; ++orders) {
            const std::uint32_t from = orders % 2, to = orders / 2;
            const auto ordered = [](const Bytes &pixel, std::uint32_t order) {
                return order == ORDER_RGB ? pixel : Bytes(pixel.rbegin(), pixel.rend());
            };
            EXPECT_EQ(
                adjust(ordered(input, from), {n[3], n[4], n[5], n[6], std::stod(row[7])}, from, to),
                ordered(expected, to))
                << testing::PrintToString(row);
        }
    }
    Bytes greys;
    for (int level = 0; level < 256; ++level)
        greys.insert(greys.end(), 3, static_cast<std::uint8_t>(level));
    EXPECT_EQ(adjust(greys, {}), greys);
    const Bytes any{200, 30, 90}; // the hue's remainder is exact at the ends of its range
    EXPECT_EQ(adjust(any, {.hue = INT_MAX}), adjust(any, {.hue = 127}));
    EXPECT_EQ(adjust(any, {.hue = INT_MIN}), adjust(any, {.hue = 232}));

    for (const double gamma : {0.45, 0.5, 1.5, 2.2, 3.0, 5.0}) {
        const Bytes curve = adjust(greys, {.gamma = gamma});
        for (std::size_t i = 0; i < 768; ++i)
            EXPECT_EQ(curve[i], static_cast<int>(std::pow(greys[i] / 255.0, gamma) * 255.0 + 1e-9));
    }
}

TEST(Adjustment, Statuses) {
    std::uint8_t in[] = {9, 9, 9}, out[] = {7, 7, 7};
    const struct {
        int expected;
        std::uint8_t *input, *output;
        std::uint32_t rgb_order, output_order;
        int width, height;
    } calls[] = {{0, nullptr, nullptr, 9, 9, 0, 5}, {0, nullptr, nullptr, 0, 0, 5, -1},
                 {13, in, out, 2, 0, 1, 1},         {15, nullptr, out, 0, 0, 1, 1},
                 {15, in, nullptr, 0, 0, 1, 1},     {15, in, out, 0, 0, 1 << 15, 1 << 15},
                 {0, in, out, 0, 2, 1, 1}};
    for (const auto &c : calls)
        EXPECT_EQ(Oxel_image_adjustment(c.input, c.rgb_order, c.output, c.output_order, c.width,
                                        c.height, 1, 2, 3, 4, 2.2),
                  c.expected);
    EXPECT_EQ(Bytes(out, out + 3), Bytes(3, 7));
}

TEST(TftTransfer, WorkedLayouts) {
    for (const auto &row : worked("layouts")) {
        const auto pixels = [](const std::string &letters) { // of three different bytes
            Bytes image;
            for (const char letter : letters)
                for (const int offset : {0, 50, 100})
                    image.push_back(static_cast<std::uint8_t>(letter + offset));
            return image;
        };
        const GuardedBytes data(pixels(row[0]));
        int width = std::stoi(row[1]), height = std::stoi(row[2]);
        EXPECT_EQ(Oxel_TFT_format_transfer(data.get(), &width, &height, std::stoi(row[3])), 0);
        EXPECT_EQ(data.bytes(), pixels(row[4])) << testing::PrintToString(row);
        EXPECT_EQ(std::pair(width, height), std::pair(std::stoi(row[5]), std::stoi(row[6])));
    }
    int width = 0, height = 3;
    EXPECT_EQ(Oxel_TFT_format_transfer(nullptr, &width, &height, TFT_HSD_ODD_EVEN), 0);
    EXPECT_EQ(std::pair(width, height), std::pair(0, 6));
}

TEST(TftTransfer, Statuses) {
    std::uint8_t data[] = {1, 2, 3};
    for (const auto &row : worked("layout_statuses")) {
        int width = std::stoi(row[1]), height = std::stoi(row[2]);
        EXPECT_EQ(Oxel_TFT_format_transfer(row[4] == "null" ? nullptr : data, &width, &height,
                                           std::stoi(row[3])),
                  std::stoi(row[0]))
            << testing::PrintToString(row);
        EXPECT_EQ(std::pair(width, height), std::pair(std::stoi(row[1]), std::stoi(row[2])));
    }
    int one = 1;
    EXPECT_EQ(Oxel_TFT_format_transfer(data, nullptr, &one, 1), OXEL_BAD_ARGUMENT);
    EXPECT_EQ(Oxel_TFT_format_transfer(data, &one, nullptr, 1), OXEL_BAD_ARGUMENT);
    EXPECT_EQ(Bytes(data, data + 3), Bytes({1, 2, 3}));
}

TEST(VersionLog, EndsWithTheCurrentVersion) {
    const std::string log = Oxel_get_updateLog();
    EXPECT_EQ(log.size(), 1011U);
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 32);
    EXPECT_TRUE(log.ends_with("\n\nCurrent Version: v2.2.1\n"));
    EXPECT_EQ(Oxel_get_updateLog(), Oxel_get_updateLog());
}

} // namespace
