#include "Oxel_Morvel6_render.h"
#include "support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <climits>
#include <cmath>
#include <iterator>
#include <limits>

#include "exact_double.h"

// The image adjustment worked out a second time, in another manner.

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double no_number = std::numeric_limits<double>::quiet_NaN();

struct Amounts {
    std::int32_t hue, saturation, brightness, contrast;
    double gamma;
};

/// The red, green and blue byte. Where a whole degree of hue puts each channel is a matter of
/// integers: the third part of a turn by which red and blue are offset falls short of 120 degrees,
/// so each of their ramps ends a degree beside green's.
std::array<std::uint8_t, 3> sextant_colour(const std::uint8_t *rgb, const Amounts &a) {
    const int red = rgb[0], green = rgb[1], blue = rgb[2];
    const int highest = std::max({red, green, blue}), lowest = std::min({red, green, blue});
    const int range = highest - lowest, sum = highest + lowest;
    std::int64_t turned = a.hue;
    double saturation = 0.0;
    if (range != 0) {
        if (red == highest) // the degree is whole before it is turned
            turned += (60 * (green - blue) + 360 * range) / range % 360;
        else if (green == highest)
            turned = (60 * (blue - red) + (120 + turned) * range) / range;
        else
            turned = (60 * (red - green) + (240 + turned) * range) / range;
        saturation =
            sum <= 255 ? static_cast<double>(range) / sum : range / 255.0 / (2.0 - sum / 255.0);
        if (!(saturation < 0.1))
            saturation = std::clamp(saturation + a.saturation / 100.0, 0.0, 1.0);
    }
    const int degree = static_cast<int>((turned % 360 + 360) % 360);
    double lightness = sum / 2.0 / 255.0;
    lightness = lightness * (a.contrast / 50.0 + 1.0) - a.contrast / 100.0 + a.brightness / 100.0;
    lightness = std::clamp(lightness, 0.0, 1.0);
    const double upper = lightness < 0.5 ? (saturation + 1.0) * lightness
                                         : saturation + lightness - lightness * saturation;
    const double lower = 2.0 * lightness - upper;
    const double slope = (upper - lower) * 6.0;

    constexpr struct {
        double offset;
        int rises, stays, falls, ends; // degrees; from there on the channel is low
    } channels[] = {
        {0.333333, 241, 301, 421, 481}, {0.0, 0, 60, 180, 240}, {-0.333333, 120, 180, 300, 360}};
    std::array<std::uint8_t, 3> result;
    for (std::size_t c = 0; c < 3; ++c) {
        const auto &channel = channels[c];
        const int place =
            degree < channel.rises && degree + 360 < channel.ends ? degree + 360 : degree;
        double t = degree / 360.0 + channel.offset;
        t = t < 0.0 ? t + 1.0 : t > 1.0 ? t - 1.0 : t;
        double level = lower;
        if (place >= channel.rises && place < channel.stays)
            level = std::clamp(slope * t + lower, 0.0, 1.0);
        else if (place >= channel.stays && place < channel.falls)
            level = upper;
        else if (place >= channel.falls && place < channel.ends)
            level = slope * (2.0 / 3.0 - t) + lower;
        result[c] = static_cast<std::uint8_t>(static_cast<int>(level * 255.0));
    }
    return result;
}

Bytes ordered(Bytes bytes, std::uint32_t order) {
    for (std::size_t i = 0; order == ORDER_BGR && i < bytes.size(); i += 3)
        std::swap(bytes[i], bytes[i + 2]);
    return bytes;
}

std::uint8_t gamma_byte(std::uint8_t byte, double gamma) {
    const double product = my_pow(byte / 255.0, gamma) * 255.0;
    if (!(std::trunc(product) >= INT_MIN && std::trunc(product) <= INT_MAX))
        return 0;
    return static_cast<std::uint8_t>(static_cast<std::int64_t>(product) & 255);
}

/// In every form, byte order and placement, in place or not.
void expect_result(const Bytes &rgb, const Amounts &a, const Bytes &expected) {
    for_each_form([&] {
        for (std::uint32_t way = 0; way < 8; ++way) {
            const std::uint32_t from = way & 1, to = way >> 1 & 1;
            const GuardedBytes input(ordered(rgb, from)), other(Bytes(rgb.size(), 0xEE));
            const GuardedBytes &output = way & 4 ? other : input;
            ASSERT_EQ(Oxel_image_adjustment(input.get(), from, output.get(), to,
                                            static_cast<int>(rgb.size() / 3), 1, a.hue,
                                            a.saturation, a.brightness, a.contrast, a.gamma),
                      OXEL_SUCCESS);
            const Bytes result = ordered(output.bytes(), to);
            const auto differing = std::mismatch(result.begin(), result.end(), expected.begin());
            const std::ptrdiff_t place = differing.first - result.begin();
            ASSERT_EQ(result, expected)
                << "byte " << place << ", hue " << a.hue << ", saturation " << a.saturation
                << ", brightness " << a.brightness << ", contrast " << a.contrast << ", gamma "
                << a.gamma << ", way " << way;
        }
    });
}

void expect_adjusted(const Bytes &rgb, const Amounts &amounts) {
    Bytes curve;
    while (curve.size() < 256) {
        const auto byte = static_cast<std::uint8_t>(curve.size());
        curve.push_back(amounts.gamma == 1.0 ? byte : gamma_byte(byte, amounts.gamma));
    }
    Bytes expected;
    for (std::size_t i = 0; i < rgb.size(); i += 3)
        for (const std::uint8_t byte : sextant_colour(&rgb[i], amounts))
            expected.push_back(curve[byte]);
    expect_result(rgb, amounts, expected);
}

TEST(Adjustment, AgreesWithASecondFormulation) {
    Random random(33);
    constexpr std::int32_t edges[] = {0,  1,       -1,      100, -100, -50,
                                      50, INT_MAX, INT_MIN, 359, -359, -360};
    constexpr double gammas[] = {1.0,      2.2,       0.0,  -1.0,        no_number,
                                 5.2,      6.0,       0.45, -0.3,        40.0,
                                 infinity, -infinity, 1e-3, 1.0 - 1e-16, 1.0 + 1e-10};
    for (int i = 0; i < 130; ++i) {
        Bytes rgb;
        const int pixels = i % 9 ? 40 + i : 9000;      // of more than one run, at times
        for (int pixel = 0; pixel < pixels; ++pixel) { // ties, near greys and full channels, too
            std::uint8_t base = static_cast<std::uint8_t>(random());
            for (int c = 0; c < 3; ++c) {
                const int kind = random_below(random, 8);
                rgb.push_back(kind == 0   ? base
                              : kind == 1 ? std::uint8_t{255}
                              : kind == 2 ? std::uint8_t{0}
                              : kind == 3 ? static_cast<std::uint8_t>(base ^ 1)
                                          : static_cast<std::uint8_t>(random()));
            }
        }
        const auto amount = [&](int widest) {
            return random_below(random, 3) ? random_below(random, 2 * widest + 1) - widest
                                           : edges[random() % std::size(edges)];
        };
        expect_adjusted(rgb,
                        {amount(800), amount(120), i % 2 ? 0 : amount(120), i % 3 ? 0 : amount(120),
                         i % 4 ? 1.0 : gammas[random() % std::size(gammas)]});
    }
    Bytes degrees; // every red, green and blue hue, each by the end of a ramp
    for (int level = 0; level < 256; ++level)
        for (int turn = 0; turn < 6; ++turn) {
            std::uint8_t pixel[3] = {255, static_cast<std::uint8_t>(level), 0};
            if (turn % 2)
                std::swap(pixel[0], pixel[1]);
            std::rotate(pixel, pixel + turn / 2, pixel + 3);
            degrees.insert(degrees.end(), pixel, pixel + 3);
        }
    for (int hue = -400; hue < 400; hue += 7)
        expect_adjusted(degrees, {hue, 0, 0, 0, 1.0});
    Bytes greys;
    for (int level = 0; level < 256; ++level)
        greys.insert(greys.end(), 3, static_cast<std::uint8_t>(level));
    for (const double gamma : gammas)
        expect_adjusted(greys, {0, 0, 0, 0, gamma});
    for (std::size_t pixels = 1; pixels < 90; ++pixels) // whatever a register leaves over
        expect_adjusted(random_bytes(random, 3 * pixels), {50, -20, 10, 10, 2.2});
}

TEST(Adjustment, WorkedColours) {
    for (const auto &row : worked("adjustment")) {
        std::vector<int> n;
        for (const auto &word : row)
            n.push_back(std::isdigit(word.back()) ? std::stoi(word) : 0);
        expect_result(Bytes(n.begin(), n.begin() + 3), {n[3], n[4], n[5], n[6], std::stod(row[7])},
                      Bytes(n.begin() + 8, n.end()));
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

} // namespace
