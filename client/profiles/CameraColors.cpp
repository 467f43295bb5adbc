// SPDX-License-Identifier: Apache-2.0
#include "client/profiles/CameraColors.h"

#include "client/Errors.h"

#include <algorithm>
#include <cmath>

namespace vek::client {

namespace {

constexpr Matrix3 kBradford = {{{0.8951, 0.2664, -0.1614}, {-0.7502, 1.7135, 0.0367}, {0.0389, -0.0685, 1.0296}}};

constexpr SChromaticity kWhiteD65 = {0.3127, 0.3290};
/// Red, green and blue of sRGB.
constexpr std::array<SChromaticity, 3> kSrgbPrimaries = {{{0.64, 0.33}, {0.30, 0.60}, {0.15, 0.06}}};

Matrix3 inverseOf(const Matrix3& matrix, const char* name) {
    const std::optional<Matrix3> result = inverse(matrix);
    if (!result) {
        throw CFailure(std::string(name) + " has no inverse");
    }
    return *result;
}

/// Linear sRGB to XYZ under D65.
Matrix3 srgbToXyz() {
    Matrix3 primaries{};
    for (std::size_t i = 0; i < 3; ++i) {
        const Vector3 xyz = xyzOf(kSrgbPrimaries[i]);
        for (std::size_t row = 0; row < 3; ++row) {
            primaries[row][i] = xyz[row];
        }
    }
    return primaries * diagonal(inverseOf(primaries, "sRGB") * xyzOf(kWhiteD65));
}

/// What the first of two lights weighs at a temperature; 1 where it is alone.
double firstWeight(const CameraColors& colors, double temperature) {
    const std::optional<double> first = lightSourceTemperature(colors[0].illuminant);
    const std::optional<double> second = lightSourceTemperature(colors[1].illuminant);
    if (!first || !second || *first == *second) {
        return 1;
    }
    return std::clamp((1 / temperature - 1 / *second) / (1 / *first - 1 / *second), 0.0, 1.0);
}

std::optional<Matrix3> matrixAt(const CameraColors& colors, double temperature,
                                std::optional<Matrix3> SCalibratedColors::*which) {
    const std::optional<Matrix3>& first = colors[0].*which;
    const std::optional<Matrix3>& second = colors[1].*which;
    if (first && second) {
        return mixed(*first, *second, firstWeight(colors, temperature));
    }
    return first ? first : second;
}

Vector3 reciprocal(const Vector3& vector) {
    return {1 / vector[0], 1 / vector[1], 1 / vector[2]};
}

/// Whether X, Y and Z are those of a light: y of its chromaticity is not 0.
bool isLight(const Vector3& xyz) {
    return std::all_of(xyz.begin(), xyz.end(), [](double value) { return std::isfinite(value); }) && xyz[1] > 0 &&
           xyz[0] + xyz[1] + xyz[2] > 0;
}

} // namespace

Vector3 balanceGains(const Neutral& neutral) {
    const double largest = *std::max_element(neutral.begin(), neutral.end());
    return {largest / neutral[0], largest / neutral[1], largest / neutral[2]};
}

Matrix3 colorMatrixAt(const CameraColors& colors, double temperature) {
    const std::optional<Matrix3> matrix = matrixAt(colors, temperature, &SCalibratedColors::color);
    if (!matrix) {
        throw CFailure("ColorMatrix1 is missing");
    }
    return *matrix;
}

std::optional<Matrix3> forwardMatrixAt(const CameraColors& colors, double temperature) {
    const std::optional<Matrix3> matrix = matrixAt(colors, temperature, &SCalibratedColors::forward);
    if (!matrix) {
        return std::nullopt;
    }
    const Vector3 white = *matrix * Vector3{1, 1, 1};
    if (!isLight(white) || white[0] <= 0 || white[2] <= 0) {
        throw CFailure("ForwardMatrix makes no light of white");
    }
    return diagonal({kWhiteD50[0] / white[0], kWhiteD50[1] / white[1], kWhiteD50[2] / white[2]}) * *matrix;
}

SChromaticity whiteOf(const CameraColors& colors, const Neutral& neutral) {
    // The matrix depends on the light and the light on the matrix: from D50 on, until both stay.
    constexpr int kMostPasses = 30;
    constexpr double kStays = 1e-7;
    SChromaticity white = chromaticityOf(kWhiteD50);
    for (int pass = 1; pass <= kMostPasses; ++pass) {
        const Vector3 xyz = inverseOf(colorMatrixAt(colors, temperatureOf(white)), "ColorMatrix") * neutral;
        if (!isLight(xyz)) {
            throw CFailure("no light makes the neutral");
        }
        const SChromaticity next = chromaticityOf(xyz);
        const bool stays = std::abs(next.x - white.x) + std::abs(next.y - white.y) < kStays;
        // Where it goes to and fro between two, the middle is the best there is.
        white = pass == kMostPasses ? SChromaticity{(white.x + next.x) / 2, (white.y + next.y) / 2} : next;
        if (stays) {
            break;
        }
    }
    return white;
}

Neutral neutralOf(const CameraColors& colors, const SChromaticity& white) {
    const Vector3 seen = colorMatrixAt(colors, temperatureOf(white)) * xyzOf(white);
    const double largest = *std::max_element(seen.begin(), seen.end());
    if (!(*std::min_element(seen.begin(), seen.end()) > 0) || !std::isfinite(largest)) {
        throw CFailure("the light makes no neutral");
    }
    return {seen[0] / largest, seen[1] / largest, seen[2] / largest};
}

Matrix3 whiteAdaptation(const Vector3& from, const Vector3& to) {
    const Vector3 source = kBradford * from;
    const Vector3 target = kBradford * to;
    const Vector3 ratios = {target[0] / source[0], target[1] / source[1], target[2] / source[2]};
    return inverseOf(kBradford, "the Bradford matrix") * diagonal(ratios) * kBradford;
}

Matrix3 xyzToSrgb() {
    return inverseOf(srgbToXyz(), "sRGB") * whiteAdaptation(kWhiteD50, xyzOf(kWhiteD65));
}

Matrix3 cameraToXyz(const CameraColors& colors, const Neutral& neutral) {
    const bool known = colors[0].color || colors[1].color;
    // Without colour matrices a neutral tells no light: the forward matrix, of which there is one only, is taken.
    const SChromaticity white = known ? whiteOf(colors, neutral) : chromaticityOf(kWhiteD50);
    const double temperature = temperatureOf(white);
    if (const std::optional<Matrix3> forward = forwardMatrixAt(colors, temperature)) {
        return *forward * diagonal(reciprocal(neutral));
    }
    const Matrix3 toXyz = inverseOf(colorMatrixAt(colors, temperature), "ColorMatrix");
    const Vector3 seen = toXyz * neutral;
    return whiteAdaptation(xyzOf(chromaticityOf(seen)), kWhiteD50) * toXyz *
           diagonal({1 / seen[1], 1 / seen[1], 1 / seen[1]});
}

Matrix3 cameraToSrgb(const CameraColors& colors, const Neutral& neutral) {
    return xyzToSrgb() * cameraToXyz(colors, neutral);
}

Matrix3 balancedToSrgb(const CameraColors& colors, const Neutral& neutral) {
    return cameraToSrgb(colors, neutral) * diagonal(neutral);
}

Matrix3 balancedToSrgb(const CameraColors& colors, const SChromaticity& white) {
    if (const std::optional<Matrix3> forward = forwardMatrixAt(colors, temperatureOf(white))) {
        return xyzToSrgb() * *forward;
    }
    return balancedToSrgb(colors, neutralOf(colors, white));
}

} // namespace vek::client
