#include "Oxel_Morvel6_render.h"
#include "forms/forms.h"
#include "support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <limits>

#include "exact_double.h"

// The numbers and the image adjustment worked out a second time, in another manner.

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double no_number = std::numeric_limits<double>::quiet_NaN();

std::uint64_t bits_of(double x) { // any NaN is like another
    return std::bit_cast<std::uint64_t>(std::isnan(x) ? no_number : x);
}

// All terms first, then their sum.
double long_exp(double x) {
    std::vector<double> terms{1.0};
    do {
        const double quotient = x / static_cast<double>(terms.size());
        terms.push_back(terms.back() * quotient);
    } while (!(std::fabs(terms.back()) < 1e-12) && terms.size() < 80);
    double sum = 0.0;
    for (const double term : terms)
        sum += term;
    return sum;
}

double newton(double x, double y, int steps_left) {
    const double e = long_exp(y);
    const double step = (e - x) / e;
    const bool last = steps_left == 1 || std::fabs(step) < 1e-12;
    return last ? y - step : newton(x, y - step, steps_left - 1);
}

double long_ln(double x) {
    return x <= 0.0 ? no_number : newton(x, x - 1.0, 50);
}

// All the squares first, then the product of those in the exponent.
double long_int_pow(double base, std::int64_t exponent) {
    std::vector<double> squares{base};
    while (squares.size() < 32)
        squares.push_back(squares.back() * squares.back());
    const std::int64_t magnitude = std::abs(exponent);
    double power = 1.0;
    for (std::size_t bit = 0; bit < 32; ++bit)
        if (magnitude & std::int64_t{1} << bit)
            power *= squares[bit];
    return exponent < 0 ? 1.0 / power : power;
}

double long_pow(double base, double exponent) {
    if (std::fpclassify(exponent) == FP_ZERO)
        return 1.0;
    if (std::fpclassify(base) == FP_ZERO)
        return 0.0;
    if (!std::signbit(base) || std::isnan(base))
        return long_exp(long_ln(base) * exponent);
    const double integer = std::trunc(exponent);
    if (!(integer >= INT_MIN && integer <= INT_MAX) || std::fabs(exponent - integer) > 1e-12)
        return no_number;
    const double power = long_int_pow(-base, static_cast<std::int64_t>(integer));
    return std::fmod(integer, 2.0) == 0.0 ? power : -power;
}

double any_number(Random &random) {
    constexpr double edges[] = {0.0,     -0.0,          1.0,      -1.0,          2.0,
                                0.5,     -2.0,          infinity, -infinity,     no_number,
                                5e-324,  -5e-324,       2.2e-308, 1.7e308,       1e-12,
                                INT_MAX, INT_MIN,       -1.7e308, INT_MAX - 0.5, 2147483648.0,
                                -3.0,    INT_MIN - 1.0, 3.0,      INT_MIN - 0.5, 1.0 / 255.0};
    const double uniform = random_below(random, 2000001) / 1e6 - 1.0;
    switch (random_below(random, 6)) {
    case 0:
        return edges[random() % std::size(edges)];
    case 1:
        return std::bit_cast<double>(std::uint64_t{random()} << 32 | random());
    case 2: // integers and their neighbours on either side of the tolerance
        return random_below(random, 41) - 20 + (random_below(random, 5) - 2) * 6e-13;
    case 3:
        return 1e3 * uniform;
    case 4:
        return 30.0 * uniform;
    default:
        return uniform;
    }
}

TEST(Numbers, AgreeWithASecondFormulation) {
    Random random(31);
    for (int i = 0; i < 6000; ++i) {
        const double x = any_number(random), y = any_number(random);
        const std::int32_t integer = random_below(random, 2)
                                         ? static_cast<std::int32_t>(random()) >> (random() % 32)
                                     : random_below(random, 2) ? INT_MIN + random_below(random, 3)
                                                               : INT_MAX - random_below(random, 3);
        ASSERT_EQ(bits_of(my_exp(x)), bits_of(long_exp(x))) << x;
        ASSERT_EQ(bits_of(my_ln(x)), bits_of(long_ln(x))) << x;
        ASSERT_EQ(bits_of(my_pow(x, y)), bits_of(long_pow(x, y))) << x << " to " << y;
        ASSERT_EQ(bits_of(my_int_pow(x, integer)), bits_of(long_int_pow(x, integer)))
            << x << " to " << integer;
    }
}

TEST(Numbers, AreAccurateWhereTheyAreSaidToBeUseful) {
    for (int i = 0; i <= 4000; ++i) {
        const double x = -10.0 + i / 100.0, y = 0.001 + i / 4000.0 * 49.0;
        EXPECT_NEAR(my_exp(x) / std::exp(x), 1.0, 3e-7) << x;
        EXPECT_NEAR(my_ln(y), std::log(y), 2e-9) << y;
    }
}

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

std::uint8_t gamma_byte(std::uint8_t byte, double gamma) {
    const double product = long_pow(byte / 255.0, gamma) * 255.0;
    if (!(std::trunc(product) >= INT_MIN && std::trunc(product) <= INT_MAX))
        return 0;
    return static_cast<std::uint8_t>(static_cast<std::int64_t>(product) & 255);
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
    const auto ordered = [](Bytes bytes, std::uint32_t order) {
        for (std::size_t i = 0; order == ORDER_BGR && i < bytes.size(); i += 3)
            std::swap(bytes[i], bytes[i + 2]);
        return bytes;
    };
    for_each_form([&] {
        for (std::uint32_t way = 0; way < 8; ++way) {
            const std::uint32_t from = way & 1, to = way >> 1 & 1;
            const GuardedBytes input(ordered(rgb, from)), other(Bytes(rgb.size(), 0xEE));
            const GuardedBytes &output = way & 4 ? other : input;
            ASSERT_EQ(Oxel_image_adjustment(input.get(), from, output.get(), to,
                                            static_cast<int>(rgb.size() / 3), 1, amounts.hue,
                                            amounts.saturation, amounts.brightness,
                                            amounts.contrast, amounts.gamma),
                      OXEL_SUCCESS);
            const Bytes result = ordered(output.bytes(), to);
            for (std::size_t i = 0; i < rgb.size(); ++i)
                ASSERT_EQ(result[i], expected[i])
                    << "channel " << i % 3 << " of "
                    << testing::PrintToString(Bytes(&rgb[i / 3 * 3], &rgb[i / 3 * 3] + 3))
                    << ", hue " << amounts.hue << ", saturation " << amounts.saturation
                    << ", brightness " << amounts.brightness << ", contrast " << amounts.contrast
                    << ", gamma " << amounts.gamma << ", way " << way;
        }
    });
}

TEST(Adjustment, AgreesWithASecondFormulation) {
    Random random(33);
    constexpr std::int32_t edges[] = {0,  1,       -1,      100, -100, -50,
                                      50, INT_MAX, INT_MIN, 359, -359, -360};
    constexpr double gammas[] = {1.0,  2.2,  0.0,  -1.0,     no_number, 5.2, 6.0,
                                 0.45, -0.3, 40.0, infinity, -infinity, 1e-3};
    for (int i = 0; i < 130; ++i) {
        Bytes rgb;
        for (int pixel = 0; pixel < 800; ++pixel) { // ties, near greys and full channels, too
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
}

} // namespace
