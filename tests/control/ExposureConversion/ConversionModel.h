// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/CameraValues.h"

namespace vek::test {

// Plain evaluations of the unit conversions, one formula after the other.

/// Letter of a product's exposure formulas, A .. E; O: any other product.
char modelGroup(std::uint32_t productId);

struct SModelRow {
    unsigned long rowClocks;
    unsigned long rowOffset;
};
SModelRow modelRow(const SCameraValues& values);

unsigned long modelExposureClocks(const SCameraValues& values, float seconds);
float modelExposureSeconds(const SCameraValues& values, unsigned long clocks);

struct SModelVBlank {
    long result;
    bool stores;
    unsigned long lines;
};
SModelVBlank modelVBlank(const SCameraValues& values, float fps);

float modelDigitalTimes(const SCameraValues& values, unsigned short value);
unsigned short modelDigitalValue(const SCameraValues& values, float times);

/// Both are not a number, or equal.
bool sameFloat(float a, float b);

} // namespace vek::test
