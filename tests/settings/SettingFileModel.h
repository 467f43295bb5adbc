// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VekTrgApi.h"
#include "support/Random.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vek::test {

/// A tone curve as the file holds it.
struct SGammaLines {
    std::uint8_t mode = 0;
    std::uint16_t gamma = 100;
    std::int16_t brightness = 0;
    std::uint16_t contrast = 0;
    bool operator==(const SGammaLines&) const = default;
};

/// What the file holds of a handle. Defaults are those of a handle without a camera.
struct SSettings {
    std::uint8_t alcMode = 0;
    std::uint16_t alcLevel = 128;
    std::uint16_t agcMaxGain = 0;
    std::uint16_t agcMinGain = 0;
    std::uint64_t aeMaxExposure = 0;
    std::uint64_t aeMinExposure = 1;
    std::uint64_t shadingMode = 0;
    std::uint16_t shadingTarget = 0;
    std::uint8_t wbMode = 0;
    std::array<std::uint16_t, 4> wbGain{256, 128, 128, 217};
    std::array<SGammaLines, 5> gamma{};
    std::uint8_t hueMode = 0;
    std::int16_t hue = 0;
    std::uint16_t saturation = 100;
    std::uint16_t highStart = 255;
    std::uint16_t highSlope = 0;
    std::uint16_t lowStart = 0;
    std::uint16_t lowSlope = 0;
    std::uint8_t sharpnessMode = 0;
    std::uint16_t sharpnessGain = 0;
    std::uint8_t sharpnessCoring = 0;
    bool operator==(const SSettings&) const = default;
};

using SettingLine = std::pair<std::string, long>; ///< a key and its number

/// All lines of a file, in the order in which they are written.
std::vector<SettingLine> modelLines(const SSettings& settings);
std::string modelText(const std::vector<SettingLine>& lines);

/// Numbers of a file into settings, cut to their widths, then one stage after another until one refuses. Keys that are
/// not known do nothing. 0 or -22.
int modelApply(SSettings* settings, const std::vector<SettingLine>& lines);

void PrintTo(const SSettings& settings, std::ostream* stream);

/// What a handle's own functions tell.
SSettings settingsOf(VekCam_Handle handle);
/// Through the handle's own functions; curves of mode 255 take a table of their own. bits: the curves' depths.
void setSettings(VekCam_Handle handle, const SSettings& settings, const std::array<std::uint16_t, 5>& bits);
/// Settings that no stage refuses, with numbers of their whole range.
SSettings randomSettings(CRandom& random);

} // namespace vek::test
