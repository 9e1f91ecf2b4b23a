#ifndef OXEL_TOOLS_VECTOR3_H
#define OXEL_TOOLS_VECTOR3_H

#include <array>
#include <cstddef>

namespace oxel::tools {

using Vector3 = std::array<double, 3>;

inline Vector3 operator+(const Vector3 &a, const Vector3 &b) {
    return {a[0] + b[0], a[1] + b[1], a[2] + b[2]};
}

inline Vector3 operator-(const Vector3 &a, const Vector3 &b) {
    return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}

inline Vector3 operator*(double factor, const Vector3 &v) {
    return {factor * v[0], factor * v[1], factor * v[2]};
}

inline double dot(const Vector3 &a, const Vector3 &b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

inline Vector3 cross(const Vector3 &a, const Vector3 &b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

inline double squared_distance(const Vector3 &a, const Vector3 &b) {
    return dot(a - b, a - b);
}

/// Rows.
using Matrix3 = std::array<Vector3, 3>;

inline Vector3 operator*(const Matrix3 &matrix, const Vector3 &v) {
    return {dot(matrix[0], v), dot(matrix[1], v), dot(matrix[2], v)};
}

inline Matrix3 operator*(const Matrix3 &a, const Matrix3 &b) {
    Matrix3 product{};
    for (std::size_t row = 0; row < 3; ++row)
        product[row] = a[row][0] * b[0] + a[row][1] * b[1] + a[row][2] * b[2];
    return product;
}

} // namespace oxel::tools

#endif
