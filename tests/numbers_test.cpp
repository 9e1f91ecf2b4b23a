#include "Oxel_Morvel6_render.h"
#include "support.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan_value = std::numeric_limits<double>::quiet_NaN();

TEST(Numbers, WorkedValues) {
    const struct {
        double value, expected;
    } cases[] = {
        {my_exp(0.0), 1.0},
        {my_exp(1.0), 2.718281828458995},
        {my_exp(-1.0), 0.3678794411713973},
        {my_exp(-30.0), -0.1505656677450895},
        {my_ln(1.0), 0.0},
        {my_ln(2.0), 0.6931471805599472},
        {my_ln(0.5), -0.6931471805599514},
        {my_ln(100.0), 49.0},
        {my_ln(1000.0), 949.0},
        {my_int_pow(2.0, 3), 8.0},
        {my_int_pow(2.0, -3), 0.125},
        {my_int_pow(1.5, 10), 57.6650390625},
        {my_int_pow(nan_value, 0), 1.0},
        {my_int_pow(-1.0, INT_MIN), 1.0},
        {my_int_pow(2.0, INT_MIN), 0.0},
        {my_pow(0.0, 0.0), 1.0},
        {my_pow(nan_value, -0.0), 1.0},
        {my_pow(0.0, -1.0), 0.0},
        {my_pow(-0.0, nan_value), 0.0},
        {my_pow(-2.0, 3.0), -8.0},
        {my_pow(-2.0, 2.0), 4.0},
        {my_pow(-2.0, -3.0), -0.125},
        {my_pow(-3.0, -2.0), 0.1111111111111111},
        {my_pow(-2.0, 2.0000000000001), 4.0},
        {my_pow(-2.0, -2.0000000000001), 0.25},
        {my_pow(-1.0, -2147483648.0), 1.0},
        {my_pow(-0.5, 2.0), 0.25},
        {my_pow(0.5, 2.0), 0.2499999999999449},
        {my_pow(0.1, 2.0), 0.010000000000053714},
        {my_pow(1.0, 2.0), 1.0},
        {my_pow(2.0, 10.0), 1024.000000000019},
        {my_pow(2.0, 0.5), 1.4142135623730903},
    };
    for (const auto &c : cases)
        EXPECT_EQ(c.value, c.expected) << "case " << &c - cases;
    EXPECT_NEAR(my_exp(-40.0), -1.365e9, 1e6);
    EXPECT_NEAR(my_exp(100.0), 4.69e41, 0.01e41);
    for (const double x :
         {my_exp(nan_value), my_ln(1e6), my_ln(0.0), my_ln(-1.0), my_ln(nan_value),
          my_pow(-2.0, 0.5), my_pow(-2.0, 1.9999999999999), my_pow(nan_value, 2.0),
          my_pow(-2.0, nan_value), my_pow(-2.0, 2147483648.0), my_pow(-2.0, -infinity)})
        EXPECT_TRUE(std::isnan(x));
    EXPECT_FALSE(std::signbit(my_pow(-0.0, 3.0)));
}

struct Amounts {
    int hue = 0, saturation = 0, brightness = 0, contrast = 0;
    double gamma = 1.0;
};

Bytes adjust(const Bytes &input, const Amounts &a, std::uint32_t rgb_order = 0,
             std::uint32_t output_order = 0) {
    const GuardedBytes image(input);
    EXPECT_EQ(Oxel_image_adjustment(image.get(), rgb_order, image.get(), output_order,
                                    static_cast<int>(input.size() / 3), 1, a.hue, a.saturation,
                                    a.brightness, a.contrast, a.gamma),
              OXEL_SUCCESS);
    return image.bytes();
}

TEST(Adjustment, WorkedColours) {
    const struct {
        Bytes input;
        Amounts amounts;
        Bytes expected;
    } cases[] = {
        {{255, 0, 0}, {}, {255, 0, 0}},
        {{0, 255, 0}, {}, {0, 255, 0}},
        {{0, 0, 255}, {}, {0, 0, 255}},
        {{255, 255, 0}, {}, {255, 255, 0}},
        {{0, 255, 255}, {}, {0, 254, 255}},
        {{255, 0, 255}, {}, {254, 0, 254}},
        {{10, 200, 100}, {}, {10, 199, 98}},
        {{0, 128, 255}, {}, {0, 131, 255}},
        {{255, 0, 0}, {.hue = 120}, {0, 255, 0}},
        {{255, 0, 0}, {.hue = -120}, {0, 0, 255}},
        {{255, 0, 0}, {.hue = 240}, {0, 0, 255}},
        {{255, 0, 0}, {.hue = 60}, {255, 255, 0}},
        {{255, 0, 0}, {.hue = -300}, {255, 255, 0}},
        {{200, 100, 100}, {.hue = 110}, {116, 200, 100}},
        {{200, 100, 100}, {.hue = -250}, {116, 200, 100}},
        {{200, 100, 150}, {.saturation = -100}, {150, 150, 150}},
        {{120, 115, 110}, {.saturation = 100}, {120, 115, 110}},
        {{130, 100, 110}, {.saturation = 100}, {230, 0, 76}},
        {{98, 240, 243}, {.brightness = -100}, {0, 0, 0}},
        {{40, 40, 40}, {.brightness = 100}, {255, 255, 255}},
        {{98, 240, 243}, {.brightness = 100}, {255, 254, 254}},
        {{203, 77, 118}, {.brightness = 100}, {254, 255, 255}},
        {{77, 77, 77}, {.contrast = -50}, {127, 127, 127}},
        {{200, 100, 150}, {.contrast = -50}, {188, 66, 127}},
        {{60, 60, 60}, {.contrast = 50}, {0, 0, 0}},
        {{200, 200, 200}, {.contrast = 50}, {255, 255, 255}},
        {{255, 254, 253}, {.saturation = INT_MIN, .gamma = 0.0}, {255, 255, 255}},
    };
    for (const auto &c : cases)
        for (const std::uint32_t order : {ORDER_RGB, ORDER_BGR})
            for (const std::uint32_t output_order : {ORDER_RGB, ORDER_BGR}) {
                const auto in = [](Bytes pixel, std::uint32_t byte_order) {
                    return byte_order == ORDER_RGB ? pixel : Bytes(pixel.rbegin(), pixel.rend());
                };
                EXPECT_EQ(adjust(in(c.input, order), c.amounts, order, output_order),
                          in(c.expected, output_order))
                    << "case " << &c - cases;
            }
    const Bytes any{200, 30, 90}; // the hue's remainder is exact at the ends of its range
    EXPECT_EQ(adjust(any, {.hue = INT_MAX}), adjust(any, {.hue = 127}));
    EXPECT_EQ(adjust(any, {.hue = INT_MIN}), adjust(any, {.hue = 232}));
    Bytes greys;
    for (int level = 0; level < 256; ++level)
        greys.insert(greys.end(), 3, static_cast<std::uint8_t>(level));
    EXPECT_EQ(adjust(greys, {}), greys);
}

TEST(Adjustment, GammaCurves) {
    const auto level = [](int byte, double gamma) {
        return int{adjust(Bytes(3, static_cast<std::uint8_t>(byte)), {.gamma = gamma})[1]};
    };
    for (const double gamma : {0.45, 0.5, 1.5, 2.2, 3.0, 5.0})
        for (int byte = 0; byte < 256; ++byte)
            EXPECT_EQ(level(byte, gamma),
                      static_cast<int>(std::pow(byte / 255.0, gamma) * 255.0 + 1e-9))
                << byte << " to the " << gamma;
    const struct {
        double gamma;
        int byte, expected;
    } cases[] = {
        {2.2, 254, 252},   {2.2, 252, 248}, {2.2, 5, 0},       {0.5, 1, 15},
        {0.5, 5, 35},      {5.2, 1, 255},   {6.0, 1, 78},      {6.0, 2, 253},
        {nan_value, 9, 0}, {40.0, 1, 0},    {-infinity, 9, 0}, // beyond the 32-bit integers
    };
    for (const auto &c : cases)
        EXPECT_EQ(level(c.byte, c.gamma), c.expected) << c.byte << " to the " << c.gamma;
}

TEST(Adjustment, Statuses) {
    Bytes in(3, 9), out(3, 7);
    const auto adjust_any = [](const std::uint8_t *input, std::uint32_t rgb_order,
                               std::uint8_t *output, std::uint32_t output_order, int width,
                               int height) {
        return Oxel_image_adjustment(input, rgb_order, output, output_order, width, height, 1, 2, 3,
                                     4, 2.2);
    };
    EXPECT_EQ(adjust_any(nullptr, 9, nullptr, 9, 0, 5), 0);
    EXPECT_EQ(adjust_any(nullptr, 0, nullptr, 0, 5, -1), 0);
    EXPECT_EQ(adjust_any(in.data(), 2, out.data(), 0, 1, 1), 13);
    EXPECT_EQ(adjust_any(nullptr, 0, out.data(), 0, 1, 1), 15);
    EXPECT_EQ(adjust_any(in.data(), 0, nullptr, 0, 1, 1), 15);
    EXPECT_EQ(adjust_any(in.data(), 0, out.data(), 0, 1 << 15, 1 << 15), 15);
    EXPECT_EQ(adjust_any(in.data(), 0, out.data(), 2, 1, 1), 0);
    EXPECT_EQ(out, Bytes(3, 7));
}

// Pixels named by letters; the three bytes of each differ.
std::string transfer(const std::string &pixels, int &width, int &height, int mode) {
    Bytes bytes;
    for (const char pixel : pixels)
        for (int byte = 0; byte < 3; ++byte)
            bytes.push_back(static_cast<std::uint8_t>(pixel + 50 * byte));
    const GuardedBytes data(bytes);
    EXPECT_EQ(Oxel_TFT_format_transfer(data.get(), &width, &height, mode), OXEL_SUCCESS);
    std::string result;
    for (std::size_t i = 0; i < data.size(); i += 3) {
        result += static_cast<char>(data.get()[i]);
        EXPECT_EQ(data.get()[i + 1], data.get()[i] + 50);
        EXPECT_EQ(data.get()[i + 2], data.get()[i] + 100);
    }
    return result;
}

TEST(TftTransfer, WorkedLayouts) {
    const struct {
        const char *pixels;
        int width, height, mode;
        const char *expected;
        int new_width, new_height;
    } cases[] = {
        {"PQST", 2, 2, 1, "PSQT", 4, 1},
        {"PQST", 2, 2, 2, "SPTQ", 4, 1},
        {"ABCDEFGHI", 3, 3, 1, "ADBECFGHI", 6, 1},
        {"ABCDE", 1, 5, 3, "BADCE", 1, 5},
        {"AaBbCc", 2, 3, 3, "BbAaCc", 2, 3},
        {"ABCD", 4, 1, 4, "ACBD", 2, 2},
        {"ABCD", 4, 1, 5, "BDAC", 2, 2},
        {"ABCDE", 5, 1, 4, "ACBDE", 2, 2},
        {"ABCDE", 5, 1, 5, "BDACE", 2, 2},
        {"ABCdef", 3, 2, 4, "ABdeef", 1, 4},
        {"ABC", 3, 1, 1, "ABC", 6, 0},
        {"", 0, 3, 4, "", 0, 6},
        {"", 5, 0, 2, "", 10, 0},
        {"AB", 1, 2, 5, "AB", 0, 4},
    };
    for (const auto &c : cases) {
        int width = c.width, height = c.height;
        EXPECT_EQ(transfer(c.pixels, width, height, c.mode), c.expected) << "mode " << c.mode;
        EXPECT_EQ(std::pair(width, height), std::pair(c.new_width, c.new_height));
    }
}

TEST(TftTransfer, MergesAndSplitsUndoEachOther) {
    Random random(1);
    for (const auto &[first, second] : {std::pair{1, 4}, {2, 5}, {4, 1}, {5, 2}, {3, 3}})
        for (int width = 2; width < 40; width += 6)
            for (int height = 2; height < 12; height += 4) {
                const Bytes image =
                    random_bytes(random, 3U * static_cast<unsigned>(width * height));
                const GuardedBytes data(image);
                int w = width, h = height;
                ASSERT_EQ(Oxel_TFT_format_transfer(data.get(), &w, &h, first), OXEL_SUCCESS);
                ASSERT_EQ(Oxel_TFT_format_transfer(data.get(), &w, &h, second), OXEL_SUCCESS);
                ASSERT_EQ(data.bytes(), image) << "modes " << first << ", " << second;
                ASSERT_EQ(std::pair(w, h), std::pair(width, height));
            }
}

TEST(TftTransfer, Statuses) {
    Bytes data{1, 2, 3};
    const struct {
        bool null_data;
        int width, height, mode, expected;
    } cases[] = {
        {true, -1, 1, 0, 13},      {false, 1, 1, 6, 13},
        {false, 1, 1, -1, 13},     {true, 1, 1, 3, 15},
        {false, -1, 1, 1, 15},     {false, 0, -1, 3, 15},
        {true, 0, 7, 3, 0},        {false, 1 << 15, 1 << 15, 3, 15},
        {true, 1 << 30, 0, 1, 15}, {true, 0, 1 << 30, 4, 15},
        {true, 1 << 30, 0, 3, 0},
    };
    for (const auto &c : cases) {
        int width = c.width, height = c.height;
        EXPECT_EQ(
            Oxel_TFT_format_transfer(c.null_data ? nullptr : data.data(), &width, &height, c.mode),
            c.expected)
            << "case " << &c - cases;
        EXPECT_EQ(std::pair(width, height), std::pair(c.width, c.height));
    }
    int one = 1;
    EXPECT_EQ(Oxel_TFT_format_transfer(data.data(), nullptr, &one, 1), 15);
    EXPECT_EQ(Oxel_TFT_format_transfer(data.data(), &one, nullptr, 1), 15);
    EXPECT_EQ(data, Bytes({1, 2, 3}));
}

TEST(VersionLog, EndsWithTheCurrentVersion) {
    const std::string log = Oxel_get_updateLog();
    EXPECT_EQ(log.size(), 1011U);
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 32);
    EXPECT_TRUE(log.ends_with("\n\nCurrent Version: v2.2.1\n"));
    EXPECT_EQ(Oxel_get_updateLog(), Oxel_get_updateLog());
}

} // namespace
