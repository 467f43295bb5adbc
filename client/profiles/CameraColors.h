// SPDX-License-Identifier: Apache-2.0
// What a camera's colours are: from its samples to XYZ and linear sRGB, as chapter 6 (Mapping Camera Color Space to CIE
// XYZ Space) of Digital Negative (DNG) 1.6 (Adobe, 2021) has it. Matrices of samples expect ones that are
// linear, 0 at black and 1 at white.
#pragma once

#include "client/profiles/Matrix.h"
#include "client/profiles/Temperature.h"

#include <array>
#include <optional>

namespace vek::client {

/// What was measured under one light.
struct SCalibratedColors {
    std::optional<Matrix3> color;   ///< ColorMatrix: XYZ to camera
    std::optional<Matrix3> forward; ///< ForwardMatrix: balanced camera to XYZ under D50
    unsigned illuminant = 0;        ///< CalibrationIlluminant: light source of the Exif standard; 0: unknown
};

/// A camera's matrices, under one light or under two of different temperatures.
using CameraColors = std::array<SCalibratedColors, 2>;

/// Three colours of a white surface as a camera sees it (AsShotNeutral): 0 is none of them.
using Neutral = Vector3;

/// Factors that make a neutral's colours alike, the smallest being 1, so that nothing bright falls short of white.
Vector3 balanceGains(const Neutral& neutral);

// The rest throws CFailure where a matrix that is needed is not there, or has no inverse.

/// Matrices for the light of a temperature: those of the two lights weighed by its inverse, those of the nearer one
/// beyond them.
Matrix3 colorMatrixAt(const CameraColors& colors, double temperature);
/// Nothing where the camera has none. Scaled so that a balanced white is D50's.
std::optional<Matrix3> forwardMatrixAt(const CameraColors& colors, double temperature);

/// The light that makes a neutral.
SChromaticity whiteOf(const CameraColors& colors, const Neutral& neutral);
/// The neutral that a light makes, its largest colour being 1.
Neutral neutralOf(const CameraColors& colors, const SChromaticity& white);

/// Adapts XYZ from one white (Y 1) to another by the linear Bradford transform (Lam, 1985).
Matrix3 whiteAdaptation(const Vector3& from, const Vector3& to);
/// XYZ under D50 to linear sRGB (IEC 61966-2-1), whose white is D65.
Matrix3 xyzToSrgb();

/// Camera samples to XYZ under D50, white being Y = 1: by the forward matrices where there are, else by the inverse of
/// the colour matrices and adaptation.
Matrix3 cameraToXyz(const CameraColors& colors, const Neutral& neutral);
/// Camera samples to linear sRGB.
Matrix3 cameraToSrgb(const CameraColors& colors, const Neutral& neutral);
/// The same of samples behind white balance, whose white is 1, 1, 1: each row's sum is 1.
Matrix3 balancedToSrgb(const CameraColors& colors, const Neutral& neutral);
/// The same for a light, which need not have a neutral with forward matrices.
Matrix3 balancedToSrgb(const CameraColors& colors, const SChromaticity& white);

} // namespace vek::client
