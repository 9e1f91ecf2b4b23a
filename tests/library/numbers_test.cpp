#include "Oxel_Morvel6_render.h"
#include "support.h"

#include <gtest/gtest.h>

#include <bit>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <limits>

#include "exact_double.h"

// The numbers worked out a second time, in another manner.

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

} // namespace
