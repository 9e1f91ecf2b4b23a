#include "package_builder/colour_difference.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace oxel::tools {

namespace {

constexpr double degree = std::numbers::pi / 180;

double square(double v) {
    return v * v;
}

/// Grows from 0 to 1 as chroma passes 25.
double chroma_onset(double chroma) {
    const double seventh = std::pow(chroma, 7);
    return std::sqrt(seventh / (seventh + std::pow(25.0, 7)));
}

double hue(double a, double b) {
    const double angle = std::atan2(b, a) / degree;
    return angle < 0 ? angle + 360 : angle;
}

} // namespace

double ciede2000(const Vector3 &lab, const Vector3 &other) {
    const double mean_chroma = (std::hypot(lab[1], lab[2]) + std::hypot(other[1], other[2])) / 2;
    const double stretch = 1 + 0.5 * (1 - chroma_onset(mean_chroma));
    const double c1 = std::hypot(stretch * lab[1], lab[2]);
    const double c2 = std::hypot(stretch * other[1], other[2]);
    const double h1 = hue(stretch * lab[1], lab[2]);
    const double h2 = hue(stretch * other[1], other[2]);

    const bool grey = c1 * c2 == 0;
    double hue_step = grey ? 0 : h2 - h1;
    if (std::abs(hue_step) > 180)
        hue_step -= std::copysign(360, hue_step);
    double h = h1 + h2; // the mean, on the shorter arc; of a grey's hue, 0, and the other the sum
    if (!grey)
        h = std::abs(h1 - h2) <= 180 ? h / 2 : h < 360 ? (h + 360) / 2 : (h - 360) / 2;

    const double l = (lab[0] + other[0]) / 2;
    const double c = (c1 + c2) / 2;
    const double t = 1 - 0.17 * std::cos((h - 30) * degree) + 0.24 * std::cos(2 * h * degree) +
                     0.32 * std::cos((3 * h + 6) * degree) - 0.20 * std::cos((4 * h - 63) * degree);
    const double lightness =
        (other[0] - lab[0]) / (1 + 0.015 * square(l - 50) / std::sqrt(20 + square(l - 50)));
    const double chroma = (c2 - c1) / (1 + 0.045 * c);
    const double hue_term =
        2 * std::sqrt(c1 * c2) * std::sin(hue_step / 2 * degree) / (1 + 0.015 * c * t);
    const double rotation =
        -2 * chroma_onset(c) * std::sin(60 * std::exp(-square((h - 275) / 25)) * degree);
    return std::sqrt(square(lightness) + square(chroma) + square(hue_term) +
                     rotation * chroma * hue_term);
}

double cie94(const Vector3 &lab, const Vector3 &other) {
    const double c1 = std::sqrt(square(lab[1]) + square(lab[2]));
    const double c2 = std::sqrt(square(other[1]) + square(other[2]));
    const double c = std::sqrt(c1 * c2);
    const double squared_hue_term =
        square(lab[1] - other[1]) + square(lab[2] - other[2]) - square(c1 - c2);
    return std::sqrt(square(lab[0] - other[0]) + square((c1 - c2) / (1 + 0.045 * c)) +
                     std::max(0.0, squared_hue_term) / square(1 + 0.015 * c));
}

} // namespace oxel::tools
