// SPDX-License-Identifier: Apache-2.0
// A camera's colours out of surfaces whose colours are known: white balance and matrix, and how the light falls off.
#pragma once

#include "client/calibration/ColorDifference.h"
#include "client/profiles/CameraColors.h"
#include "client/profiles/Profile.h"

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace vek::client {

/// What a camera sees of a surface.
struct SColorSample {
    Vector3 camera{}; ///< red, green, blue, 0 at black; linear
    Lab target{};     ///< its colour under D50
    double x = 0;     ///< where it lies, -1 to 1 from side to side
    double y = 0;     ///< from top to bottom
};

/// Light that changes evenly from place to place: 1 + x * place's x + y * place's y.
struct SLightPlane {
    double x = 0;
    double y = 0;

    double At(const SColorSample& sample) const { return 1 + x * sample.x + y * sample.y; }
};

/// What makes XYZ of camera samples: exposure * forward * diagonal(1 / neutral) * camera / light.
struct SColorFit {
    Neutral neutral{1, 1, 1}; ///< the largest is 1
    Matrix3 forward{};        ///< balanced camera to XYZ under D50; 1, 1, 1 becomes D50
    double exposure = 1;      ///< of the shot: it makes a surface's lightness of the samples' level
    SLightPlane light;        ///< of the shot, too

    Lab Measured(const SColorSample& sample) const;
};

/// Least surfaces that a fit takes, and the least grey ones lighter than black among them: chroma below 5, L* above 25.
inline constexpr std::size_t kLeastSamples = 12;
inline constexpr std::size_t kLeastGrays = 2;

/// The white balance of the grey surfaces, and with it matrix, exposure and, where it is asked for, light of the least
/// sum of squared CIEDE2000: by the method of Levenberg and Marquardt, from linear least squares in XYZ on. The same
/// samples give the same numbers. Throws CFailure for fewer samples than the least, or ones that tell no matrix.
SColorFit fitColors(std::span<const SColorSample> samples, bool withLight);

/// CIEDE2000 of each sample after a fit.
std::vector<double> differencesOf(const SColorFit& fit, std::span<const SColorSample> samples);

/// CIEDE2000 of each sample after a fit to all others: what surfaces that were not there have to expect. Throws as
/// fitColors does with one sample less.
std::vector<double> differencesLeftOut(std::span<const SColorSample> samples, bool withLight);

/// The matrices of a fit under a light: with its neutral they reproduce it, whichever white that light has.
SCalibratedColors calibratedColors(const SColorFit& fit, unsigned illuminant, const SChromaticity& white);

/// Puts a fit into a profile: the matrices in the place of those of the same light, or as the second light's where the
/// first one is another; the neutral as that of the shot, and as a white balance where name is not empty. illuminant:
/// light source of the Exif standard; 0: that of the profile's matrices where these are of one light, else D50, under
/// which the chart's colours hold as they are. Returns it. Throws CBadArguments where the profile has two other lights,
/// and for a source without a white.
unsigned putFit(SProfile& profile, const SColorFit& fit, unsigned illuminant, const std::string& name);

} // namespace vek::client
