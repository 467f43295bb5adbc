// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "sim/SimulatedSensor.h"

namespace vek::test {

/// A monochrome sensor without noise, spread, shading and black level: its levels can be told in advance.
inline sim::SSensorConfig noiselessSensor(unsigned width, unsigned height, unsigned depth) {
    sim::SSensorConfig config;
    config.width = width;
    config.height = height;
    config.depth = depth;
    config.colorArray = 1;
    config.blackLevel = 0;
    config.readNoiseElectrons = 0.0F;
    config.darkElectronsPerSecond = 0.0F;
    config.photonNoise = false;
    config.photoResponseSpread = 0.0F;
    config.darkCurrentSpread = 0.0F;
    config.lensShading = 0.0F;
    return config;
}

} // namespace vek::test
