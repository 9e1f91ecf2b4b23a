#include "package_builder/colour_space.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace oxel::tools {

namespace {

// Linear sRGB to XYZ and back, adapted from D65 to D50 by the Bradford transform.
constexpr Matrix3 xyz_from_rgb = {{{0.4360747, 0.3850649, 0.1430804},
                                   {0.2225045, 0.7168786, 0.0606169},
                                   {0.0139322, 0.0971045, 0.7141733}}};
constexpr Matrix3 rgb_from_xyz = {{{3.1338561, -1.6168667, -0.4906146},
                                   {-0.9787684, 1.9161415, 0.0334540},
                                   {0.0719453, -0.2289914, 1.4052427}}};
constexpr Vector3 d50 = {0.9642200, 1.0, 0.8252100};

// The linear piece of CIE L*a*b*.
constexpr double lab_kappa = 24389.0 / 27.0;
constexpr double lab_knee = 6.0 / 29.0; // a cube root

// OKLab: linear sRGB to cone responses, their cube roots to the opponent axes, and back.
constexpr Matrix3 cones_from_rgb = {{{0.4122214708, 0.5363325363, 0.0514459929},
                                     {0.2119034982, 0.6806995451, 0.1073969566},
                                     {0.0883024619, 0.2817188376, 0.6299787005}}};
constexpr Matrix3 opponents_from_cones = {{{0.2104542553, 0.7936177850, -0.0040720468},
                                           {1.9779984951, -2.4285922050, 0.4505937099},
                                           {0.0259040371, 0.7827717662, -0.8086757660}}};
constexpr Matrix3 cones_from_opponents = {{{1, 0.3963377774, 0.2158037573},
                                           {1, -0.1055613458, -0.0638541728},
                                           {1, -0.0894841775, -1.2914855480}}};
constexpr Matrix3 rgb_from_cones = {{{4.0767416621, -3.3077115913, 0.2309699292},
                                     {-1.2684380046, 2.6097574011, -0.3413193965},
                                     {-0.0041960863, -0.7034186147, 1.7076147010}}};

Vector3 map(const Vector3 &v, double (*f)(double)) {
    return {f(v[0]), f(v[1]), f(v[2])};
}

/// Of a mantissa from 1/2 to 1, in so many intervals.
constexpr std::size_t root_starts = 64;

/// Newton's method, from a place not below the root: falls to it until rounding stops it.
template <int degree>
double fall_to_root(double x, double y) {
    for (;;) {
        const double next = ((degree - 1) * y + x / power(y, degree - 1)) * (1.0 / degree);
        if (next >= y)
            return y;
        y = next;
    }
}

/// libm's pow and cbrt differ between machines.
template <int degree>
double root(double x) {
    static const auto starts =
        [] { // by the rest of the exponent and the mantissa, a little too large
            std::array<std::array<double, root_starts>, degree> roots{};
            for (int rest = 0; rest < degree; ++rest)
                for (std::size_t i = 0; i < root_starts; ++i)
                    roots[std::size_t(rest)][i] =
                        1.000001 *
                        fall_to_root<degree>(
                            std::ldexp(0.5 + double(i + 1) / (2 * root_starts), rest), 2);
            return roots;
        }();
    if (x <= 0)
        return 0;
    // A double's own bits: an exponent of 11 with 1022 added, of a mantissa of 1/2 and more, and
    // the mantissa's other 52.
    const auto bits = std::bit_cast<std::uint64_t>(std::max(x, std::numeric_limits<double>::min()));
    const int exponent = int(bits >> 52) - 1022;
    const int whole = (exponent - (exponent < 0 ? degree - 1 : 0)) / degree; // rounded down
    const double start =
        starts[std::size_t(exponent - degree * whole)][bits >> 46 & (root_starts - 1)];
    return fall_to_root<degree>(
        x, start * std::bit_cast<double>(std::uint64_t(1023 + whole) << 52)); // 2 to the whole
}

double light_from_byte(double byte) {
    const double v = byte / 255;
    if (v <= 0.04045)
        return v / 12.92;
    const double base = (v + 0.055) / 1.055;
    return base * base * root<5>(base * base); // base^2.4
}

double byte_from_light(double v) {
    if (v <= 0.0031308)
        return 255 * 12.92 * v;
    const double cube = root<3>(v);
    return 255 * (1.055 * cube * std::sqrt(std::sqrt(cube)) - 0.055); // v^(1/2.4)
}

double lab_curve(double v) {
    return v > power(lab_knee, 3) ? root<3>(v) : (lab_kappa * v + 16) / 116;
}

double inverse_lab_curve(double f) {
    return f > lab_knee ? power(f, 3) : (116 * f - 16) / lab_kappa;
}

double cube(double v) {
    return v * v * v;
}

} // namespace

double cube_root(double v) {
    return root<3>(v);
}

double fifth_root(double v) {
    return root<5>(v);
}

RgbBytes to_bytes(const Vector3 &srgb) {
    RgbBytes bytes{};
    for (std::size_t i = 0; i < 3; ++i)
        bytes[i] = static_cast<std::uint8_t>(std::floor(std::clamp(srgb[i], 0.0, 255.0) + 0.5));
    return bytes;
}

Vector3 light_from_srgb(const Vector3 &srgb) {
    return map(srgb, light_from_byte);
}

Vector3 srgb_from_light(const Vector3 &light) {
    return map(light, byte_from_light);
}

Vector3 lab_from_light(const Vector3 &light, const Vector3 &white) {
    const Vector3 xyz = xyz_from_rgb * light;
    const Vector3 xyz_of_white = xyz_from_rgb * white;
    Vector3 f{};
    for (std::size_t i = 0; i < 3; ++i)
        f[i] = lab_curve(xyz[i] / xyz_of_white[i]);
    return {116 * f[1] - 16, 500 * (f[0] - f[1]), 200 * (f[1] - f[2])};
}

Vector3 lab_from_srgb(const Vector3 &srgb) {
    return lab_from_light(light_from_srgb(srgb));
}

Vector3 srgb_from_lab(const Vector3 &lab) {
    const double fy = (lab[0] + 16) / 116;
    Vector3 xyz = map({fy + lab[1] / 500, fy, fy - lab[2] / 200}, inverse_lab_curve);
    for (std::size_t i = 0; i < 3; ++i)
        xyz[i] *= d50[i];
    return srgb_from_light(rgb_from_xyz * xyz);
}

OklabPlace::OklabPlace(const Vector3 &light)
    : roots_(map(cones_from_rgb * light, cube_root)), oklab_(opponents_from_cones * roots_) {}

Matrix3 OklabPlace::slopes() const {
    Matrix3 slopes = cones_from_rgb;
    for (std::size_t cone = 0; cone < 3; ++cone) {
        const double root = std::max(roots_[cone], 0.01);
        slopes[cone] = 1 / (3 * root * root) * slopes[cone];
    }
    return opponents_from_cones * slopes;
}

Vector3 oklab_from_light(const Vector3 &light) {
    return OklabPlace(light).oklab();
}

Vector3 light_from_oklab(const Vector3 &oklab) {
    return rgb_from_cones * map(cones_from_opponents * oklab, cube);
}

} // namespace oxel::tools
