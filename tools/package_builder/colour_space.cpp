#include "package_builder/colour_space.h"

#include <algorithm>
#include <cmath>

namespace oxel::tools {

namespace {

using Matrix = std::array<Vector3, 3>;

// Linear sRGB to XYZ and back, adapted from D65 to D50 by the Bradford transform.
constexpr Matrix xyz_from_rgb = {{{0.4360747, 0.3850649, 0.1430804},
                                  {0.2225045, 0.7168786, 0.0606169},
                                  {0.0139322, 0.0971045, 0.7141733}}};
constexpr Matrix rgb_from_xyz = {{{3.1338561, -1.6168667, -0.4906146},
                                  {-0.9787684, 1.9161415, 0.0334540},
                                  {0.0719453, -0.2289914, 1.4052427}}};
constexpr Vector3 white = {0.9642200, 1.0, 0.8252100};

// The linear piece of CIE L*a*b*.
constexpr double lab_kappa = 24389.0 / 27.0;
constexpr double lab_knee = 6.0 / 29.0; // a cube root

Vector3 multiply(const Matrix &matrix, const Vector3 &v) {
    Vector3 product{};
    for (std::size_t i = 0; i < 3; ++i)
        product[i] = matrix[i][0] * v[0] + matrix[i][1] * v[1] + matrix[i][2] * v[2];
    return product;
}

Vector3 map(const Vector3 &v, double (*f)(double)) {
    return {f(v[0]), f(v[1]), f(v[2])};
}

double power(double base, int exponent) {
    double product = 1;
    for (int i = 0; i < exponent; ++i)
        product *= base;
    return product;
}

/// The root of a number in 0 to 8, by Newton's method; libm's pow and cbrt differ between machines.
double root(int degree, double x) {
    if (x <= 0)
        return 0;
    double y = std::max(1.0, x);
    for (;;) { // falls to the root until rounding stops it
        const double next = ((degree - 1) * y + x / power(y, degree - 1)) / degree;
        if (next >= y)
            return y;
        y = next;
    }
}

double linear_from_byte(double byte) {
    const double v = byte / 255;
    if (v <= 0.04045)
        return v / 12.92;
    const double base = (v + 0.055) / 1.055;
    return base * base * root(5, base * base); // base^2.4
}

double byte_from_linear(double v) {
    if (v <= 0.0031308)
        return 255 * 12.92 * v;
    return 255 * (1.055 * root(12, power(v, 5)) - 0.055);
}

double lab_curve(double v) {
    return v > power(lab_knee, 3) ? root(3, v) : (lab_kappa * v + 16) / 116;
}

double inverse_lab_curve(double f) {
    return f > lab_knee ? power(f, 3) : (116 * f - 16) / lab_kappa;
}

} // namespace

RgbBytes to_bytes(const Vector3 &srgb) {
    RgbBytes bytes{};
    for (std::size_t i = 0; i < 3; ++i)
        bytes[i] = static_cast<std::uint8_t>(std::floor(std::clamp(srgb[i], 0.0, 255.0) + 0.5));
    return bytes;
}

Vector3 lab_from_srgb(const Vector3 &srgb) {
    Vector3 xyz = multiply(xyz_from_rgb, map(srgb, linear_from_byte));
    for (std::size_t i = 0; i < 3; ++i)
        xyz[i] /= white[i];
    const auto [fx, fy, fz] = map(xyz, lab_curve);
    return {116 * fy - 16, 500 * (fx - fy), 200 * (fy - fz)};
}

Vector3 srgb_from_lab(const Vector3 &lab) {
    const double fy = (lab[0] + 16) / 116;
    Vector3 xyz = map({fy + lab[1] / 500, fy, fy - lab[2] / 200}, inverse_lab_curve);
    for (std::size_t i = 0; i < 3; ++i)
        xyz[i] *= white[i];
    return map(multiply(rgb_from_xyz, xyz), byte_from_linear);
}

} // namespace oxel::tools
