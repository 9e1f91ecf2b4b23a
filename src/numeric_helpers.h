#ifndef OXEL_NUMERIC_HELPERS_H
#define OXEL_NUMERIC_HELPERS_H

#include <cstdint>

// What the exported functions of the same names do. The library calls these: the dynamic linker may
// let a host's own my_pow stand in for an exported one.
namespace [[gnu::visibility("hidden")]] oxel {

constexpr double tolerance = 1e-12;
constexpr int series_cap = 80;
constexpr int newton_cap = 50;

double my_exp(double x);
double my_ln(double x);
double my_int_pow(double base, std::int32_t exponent);
double my_pow(double base, double exponent);

/// False for NaN.
inline bool truncates_to_int32(double x) {
    return x > -2147483649.0 && x < 2147483648.0;
}

} // namespace oxel

#endif
