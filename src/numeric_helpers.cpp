#include "numeric_helpers.h"

#include "Oxel_Morvel6_render.h"

#include <limits>

#include "exact_double.h"

// Accuracy is not the aim here: image adjustment and the line-pair metric depend on these very
// series, caps and orders of operations.
namespace [[gnu::visibility("hidden")]] oxel {

namespace {

constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

double magnitude(double x) {
    return x < 0.0 ? -x : x;
}

double negative_base_pow(double base, double exponent) {
    if (!truncates_to_int32(exponent))
        return not_a_number;
    const auto integer = static_cast<std::int32_t>(exponent);
    if (magnitude(exponent - integer) > tolerance)
        return not_a_number;
    const double power = my_int_pow(-base, integer);
    return integer % 2 != 0 ? -power : power;
}

} // namespace

double my_exp(double x) {
    double sum = 1.0;
    double term = 1.0;
    for (int n = 1; n < series_cap; ++n) {
        term = term * (x / n);
        sum = sum + term;
        if (magnitude(term) < tolerance)
            break;
    }
    return sum;
}

double my_ln(double x) {
    if (x <= 0.0)
        return not_a_number;
    double y = x - 1.0;
    for (int step = 0; step < newton_cap; ++step) {
        const double e = my_exp(y);
        const double d = (e - x) / e;
        y = y - d;
        if (magnitude(d) < tolerance)
            break;
    }
    return y;
}

double my_int_pow(double base, std::int32_t exponent) {
    const auto bits = static_cast<std::uint32_t>(exponent);
    double power = 1.0;
    for (std::uint32_t m = exponent < 0 ? 0U - bits : bits; m != 0; m >>= 1) {
        if (m & 1U)
            power = power * base;
        base = base * base;
    }
    return exponent < 0 ? 1.0 / power : power;
}

double my_pow(double base, double exponent) {
    if (exponent == 0.0)
        return 1.0;
    if (base == 0.0)
        return 0.0;
    if (base < 0.0)
        return negative_base_pow(base, exponent);
    return my_exp(my_ln(base) * exponent);
}

} // namespace oxel

double my_exp(double x) noexcept {
    return oxel::my_exp(x);
}
double my_ln(double x) noexcept {
    return oxel::my_ln(x);
}
double my_int_pow(double base, int32_t exponent) noexcept {
    return oxel::my_int_pow(base, exponent);
}
double my_pow(double base, double exponent) noexcept {
    return oxel::my_pow(base, exponent);
}

#include "exact_double_end.h"
