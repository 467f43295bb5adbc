// SPDX-License-Identifier: Apache-2.0
// Three colours and what maps them, in double precision.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <optional>

namespace vek::client {

using Vector3 = std::array<double, 3>;
/// By rows.
using Matrix3 = std::array<Vector3, 3>;

constexpr Matrix3 diagonal(const Vector3& values) {
    return {{{values[0], 0, 0}, {0, values[1], 0}, {0, 0, values[2]}}};
}

constexpr Vector3 operator*(const Matrix3& matrix, const Vector3& vector) {
    Vector3 result{};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t i = 0; i < 3; ++i) {
            result[row] += matrix[row][i] * vector[i];
        }
    }
    return result;
}

constexpr Matrix3 operator*(const Matrix3& a, const Matrix3& b) {
    Matrix3 result{};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            for (std::size_t i = 0; i < 3; ++i) {
                result[row][column] += a[row][i] * b[i][column];
            }
        }
    }
    return result;
}

/// weight of a, the rest of b.
constexpr Matrix3 mixed(const Matrix3& a, const Matrix3& b, double weight) {
    Matrix3 result{};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t i = 0; i < 3; ++i) {
            result[row][i] = weight * a[row][i] + (1 - weight) * b[row][i];
        }
    }
    return result;
}

/// Nothing where there is none, or where its numbers would mean nothing: the rows are all but dependent.
inline std::optional<Matrix3> inverse(const Matrix3& m) {
    Matrix3 cofactors{};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            const std::size_t r1 = (row + 1) % 3;
            const std::size_t r2 = (row + 2) % 3;
            const std::size_t c1 = (column + 1) % 3;
            const std::size_t c2 = (column + 2) % 3;
            cofactors[row][column] = m[r1][c1] * m[r2][c2] - m[r1][c2] * m[r2][c1];
        }
    }
    double determinant = 0;
    double lengths = 1; // of the rows: what the determinant would be if they were at right angles
    for (std::size_t row = 0; row < 3; ++row) {
        determinant += m[0][row] * cofactors[0][row];
        lengths *= std::hypot(m[row][0], m[row][1], m[row][2]);
    }
    constexpr double kFlat = 1e-9;
    if (!std::isfinite(determinant) || !std::isfinite(lengths) || std::abs(determinant) <= kFlat * lengths) {
        return std::nullopt;
    }
    Matrix3 result{};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            result[row][column] = cofactors[column][row] / determinant;
        }
    }
    return result;
}

} // namespace vek::client
