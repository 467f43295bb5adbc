// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/pictures/Image.h"

#include <array>

namespace vek::client {

/// sRGB transfer curve (IEC 61966-2-1), linear light 0..1 to a coded value 0..1.
double sRgbCurve(double linear);

/// Sensor levels that become black and white on a screen, in samples of the image (0 .. 2^depth - 1), black < white.
struct SDisplayLevels {
    double black = 0;
    double white = 0;
};

/// Factors of red, green and blue; the smallest is 1, so that what the sensor clipped stays white.
using Gains = std::array<double, 3>;

/// Grey-world balance of a linear colour image: gains that make the means of the three channels equal. Pixels near
/// black or near white say nothing about the light's colour and do not count. All 1 where none is left.
Gains grayWorldGains(const SImage& image, const SDisplayLevels& levels);

/// Level that all but the brightest half per cent of the pixels stay below after balance, for a picture
/// that uses the screen's whole range.
double brightLevel(const SImage& image, const SDisplayLevels& levels, const Gains& gains);

/// Renders linear sensor samples for the eye: levels, gains, then the sRGB curve. depth: 8 or 16 bits of the result.
/// Grey images ignore the gains.
SImage renderForDisplay(const SImage& image, const SDisplayLevels& levels, const Gains& gains, unsigned short depth);

/// How several pictures are shown: found on one of them, used for all, so that they can be compared.
struct SLook {
    Gains gains = {1, 1, 1};
    double white = 1; ///< part of the range from black to the largest sample that becomes white

    /// sensorBlack: black level of a sensor of sensorDepth bits, whose samples were shifted to depth bits.
    SDisplayLevels levels(unsigned depth, double sensorBlack, unsigned sensorDepth) const;
};

} // namespace vek::client
