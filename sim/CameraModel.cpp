// SPDX-License-Identifier: Apache-2.0
#include "sim/CameraModel.h"

#include "sim/PortableMath.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>
#include <string>

namespace vek::sim {

namespace {

constexpr double kMinMicrosecondExposure = 0.000022; // shortest shutter of the microsecond models, seconds
constexpr double kFixedExposureOffset = 0.00001373;  // LinesPlusOffset, seconds
constexpr unsigned kComputedRowFrameLines = 13;      // lines of a frame beyond the image, ComputedRows
constexpr unsigned kExtraFrameLines = 28;            // lines that two of the models do not report
constexpr std::array<unsigned, 6> kMicrosecondIds = {0x113, 0x213, 0x313, 0x413, 0x513, 0x613};
constexpr std::array<unsigned, 8> kOffsetLineIds = {0x116, 0x216, 0x316, 0x416, 0x516, 0x616, 0x716, 0x816};
constexpr std::array<unsigned, 6> kLinesPlusOffsetIds = {0x315, 0x415, 0x515, 0x615, 0x713, 0x813};

template <std::size_t N>
bool contains(const std::array<unsigned, N>& ids, std::uint32_t id) {
    return std::find(ids.begin(), ids.end(), id) != ids.end();
}

/// Row of a ComputedRows model: clocks of a row, and clocks by which an exposure is shorter than its rows.
struct SRowClocks {
    unsigned row;
    unsigned offset;
};

SRowClocks computedRow(const STiming& timing) {
    static constexpr unsigned base[3][3] = {{450, 430, 420}, {796, 776, 766}, {1488, 1468, 1458}}; // by v, h code
    const unsigned h = std::min(timing.binningCodeH, 2U);
    const unsigned v = std::min(timing.binningCodeV, 2U);
    const unsigned factorV = 1U << v;
    return {2 * std::max(base[v][h] + timing.imageWidth / 2, factorV * 346 + 140), factorV * 416 + 10};
}

/// Lines of a frame including the extra blanking.
unsigned frameLines(const SCameraModel& model, const STiming& timing) {
    if (exposureUnit(model) == EExposureUnit::ComputedRows) {
        return timing.imageHeight + kComputedRowFrameLines + timing.vBlank;
    }
    const unsigned overhead = model.totalVLine - model.height;
    const bool unreported = model.productId == 0x713 || model.productId == 0x813;
    return timing.readLines + overhead + timing.vBlank + (unreported ? kExtraFrameLines : 0);
}

// Line lengths and clocks of all models are round numbers that give each a plausible frame rate (about 15 to 60 Hz).
constexpr SCameraModel kRolling4M = {
    .name = "rolling-4m",
    .productId = 0x111,
    .gainType = 3,
    .maxGain = 255,
    .initialGain = 0,
    .hasDigitalGain = true,
    .digitalGainFromOne = true,
    .maxDigitalGain = 448,
    .defectPixelSlots = 16,
    .hasVBlank = true,
    .maxRoiCount = 1,
    .maxLongExposure = 65535,
    .exposureTimeBase = 1,
    .exposureOffset = 0,
    .clockHz = 100000000,
    .totalHClock = 3204,
    .totalVLine = 1741,
    .width = 2304,
    .height = 1728,
    .depth = 12,
    .colorArray = 3,
};
constexpr SCameraModel kLine2M = {
    .name = "line-2m",
    .productId = 0x112,
    .gainType = 2,
    .maxGain = 60,
    .initialGain = 0,
    .hasDigitalGain = false,
    .digitalGainFromOne = false,
    .maxDigitalGain = 0,
    .defectPixelSlots = 8,
    .hasVBlank = true,
    .maxRoiCount = 8,
    .maxLongExposure = 32767,
    .exposureTimeBase = 1,
    .exposureOffset = 0,
    .clockHz = 48000000,
    .totalHClock = 1900,
    .totalVLine = 1232,
    .width = 1600,
    .height = 1200,
    .depth = 10,
    .colorArray = 5,
};

/// A model with the same sensor but for its filters.
constexpr SCameraModel monoOf(SCameraModel model, std::string_view name, std::uint32_t productId) {
    model.name = name;
    model.productId = productId;
    model.colorArray = 1;
    return model;
}

/// It has no blanking setting either.
constexpr SCameraModel kLine2MMono = [] {
    SCameraModel model = monoOf(kLine2M, "line-2m-mono", 0x212);
    model.hasVBlank = false;
    return model;
}();

} // namespace

const std::vector<SCameraModel>& cameraModels() {
    static const std::vector<SCameraModel> models = {
        {.name = "global-1m",
         .productId = 0x113,
         .gainType = 4,
         .maxGain = 240,
         .initialGain = 0,
         .hasDigitalGain = true,
         .digitalGainFromOne = false,
         .maxDigitalGain = 255,
         .defectPixelSlots = 32,
         .hasVBlank = true,
         .maxRoiCount = 4,
         .maxLongExposure = 16000000,
         .exposureTimeBase = 1,
         .exposureOffset = 0,
         .clockHz = 74250000,
         .totalHClock = 1650,
         .totalVLine = 1000,
         .width = 1280,
         .height = 960,
         .depth = 12,
         .colorArray = 2},
        kRolling4M,
        monoOf(kRolling4M, "rolling-4m-mono", 0x211),
        kLine2M,
        kLine2MMono,
        {.name = "global-5m",
         .productId = 0x116,
         .gainType = 5,
         .maxGain = 683,
         .initialGain = 0,
         .hasDigitalGain = true,
         .digitalGainFromOne = false,
         .maxDigitalGain = 511,
         .defectPixelSlots = 64,
         .hasVBlank = true,
         .maxRoiCount = 16,
         .maxLongExposure = 2000000000,
         .exposureTimeBase = 72,
         .exposureOffset = 1000,
         .clockHz = 72000000,
         .totalHClock = 1000,
         .totalVLine = 2100,
         .width = 2448,
         .height = 2048,
         .depth = 12,
         .colorArray = 2},
        {.name = "global-3m",
         .productId = 0x315,
         .gainType = 4,
         .maxGain = 480,
         .initialGain = 0,
         .hasDigitalGain = false,
         .digitalGainFromOne = false,
         .maxDigitalGain = 0,
         .defectPixelSlots = 64,
         .hasVBlank = true,
         .maxRoiCount = 4,
         .maxLongExposure = 1000000,
         .exposureTimeBase = 1,
         .exposureOffset = 0,
         .clockHz = 72000000,
         .totalHClock = 750,
         .totalVLine = 1600,
         .width = 2048,
         .height = 1536,
         .depth = 12,
         .colorArray = 4},
        {.name = "global-2m",
         .productId = 0x713,
         .gainType = 1,
         .maxGain = 400,
         .initialGain = 0,
         .hasDigitalGain = true,
         .digitalGainFromOne = true,
         .maxDigitalGain = 192,
         .defectPixelSlots = 0,
         .hasVBlank = true,
         .maxRoiCount = 1,
         .maxLongExposure = 500000,
         .exposureTimeBase = 1,
         .exposureOffset = 0,
         .clockHz = 74250000,
         .totalHClock = 1100,
         .totalVLine = 1100,
         .width = 1920,
         .height = 1080,
         .depth = 14,
         .colorArray = 2},
        {.name = "clock-vga",
         .productId = 0x101,
         .gainType = 0,
         .maxGain = 255,
         .initialGain = 18,
         .hasDigitalGain = false,
         .digitalGainFromOne = false,
         .maxDigitalGain = 0,
         .defectPixelSlots = 4,
         .hasVBlank = true,
         .maxRoiCount = 1,
         .maxLongExposure = 250000000,
         .exposureTimeBase = 1,
         .exposureOffset = 0,
         .clockHz = 24545454,
         .totalHClock = 780,
         .totalVLine = 525,
         .width = 640,
         .height = 480,
         .depth = 10,
         .colorArray = 1},
    };
    return models;
}

const SCameraModel& findCameraModel(std::string_view name) {
    for (const SCameraModel& model : cameraModels()) {
        if (model.name == name) {
            return model;
        }
    }
    throw std::invalid_argument("no camera model is called " + std::string(name));
}

EExposureUnit exposureUnit(const SCameraModel& model) {
    const std::uint32_t id = model.productId;
    if (id == 0x111 || id == 0x211) {
        return EExposureUnit::ComputedRows;
    }
    if (id == 0x112 || id == 0x212) {
        return EExposureUnit::Lines;
    }
    if (contains(kMicrosecondIds, id)) {
        return EExposureUnit::Microseconds;
    }
    if (contains(kOffsetLineIds, id)) {
        return EExposureUnit::OffsetLines;
    }
    return contains(kLinesPlusOffsetIds, id) ? EExposureUnit::LinesPlusOffset : EExposureUnit::Clocks;
}

double gainDb(const SCameraModel& model, std::uint16_t value) {
    switch (model.gainType) {
    case 1:
        return (value + 128) * 0.07038 + 2.0;
    case 4:
        return value * 0.1;
    case 5:
        return value * 0.0351;
    case 2:
    case 3:
        return 20.0 * std::log10(linearGain(model, value)); // these curves are defined by their factor
    default:
        return value * 0.132 - 2.36;
    }
}

double linearGain(const SCameraModel& model, std::uint16_t value) {
    switch (model.gainType) {
    case 2:
        return value > 20 ? (value - 12) * 28 / 64.0 : (value + 8) * 8 / 64.0;
    case 3:
        return ((value & 63) / 64.0 + 1.0) * (1 << ((value >> 6) & 3)); // 6 bits of fraction, 2 of exponent
    default:
        return portableDbToLinear(gainDb(model, value));
    }
}

double digitalGain(const SCameraModel& model, std::uint16_t value) {
    if (!model.hasDigitalGain) {
        return 1.0;
    }
    return std::min(value, model.maxDigitalGain) / 64.0 + (model.digitalGainFromOne ? 1.0 : 0.0);
}

std::uint32_t reportedVLines(const SCameraModel& model, const STiming& timing) {
    const bool withBlanking = exposureUnit(model) == EExposureUnit::Lines;
    return timing.readLines + (model.totalVLine - model.height) + (withBlanking ? timing.vBlank : 0);
}

double lineSeconds(const SCameraModel& model, const STiming& timing) {
    const unsigned clocks =
        exposureUnit(model) == EExposureUnit::ComputedRows ? computedRow(timing).row : model.totalHClock;
    return static_cast<double>(clocks) / model.clockHz;
}

double framePeriodSeconds(const SCameraModel& model, const STiming& timing) {
    return frameLines(model, timing) * lineSeconds(model, timing);
}

std::uint32_t maxShortExposure(const SCameraModel& model, const STiming& timing) {
    // One line of the frame is needed for the reset.
    const unsigned lines = std::max(frameLines(model, timing), 2U) - 1U;
    const double seconds = lines * lineSeconds(model, timing);
    double value = lines;
    switch (exposureUnit(model)) {
    case EExposureUnit::ComputedRows:
    case EExposureUnit::Lines:
        break;
    case EExposureUnit::LinesPlusOffset: // the offset may be longer than the line that is left over
        value = std::min(
            value, std::floor((framePeriodSeconds(model, timing) - kFixedExposureOffset) / lineSeconds(model, timing)));
        break;
    case EExposureUnit::Microseconds:
        value = std::floor(seconds * 1e6);
        break;
    case EExposureUnit::OffsetLines:
        value = std::floor(seconds * (model.exposureTimeBase * 1e6));
        break;
    case EExposureUnit::Clocks:
        value = static_cast<double>(lines) * model.totalHClock;
        break;
    }
    return static_cast<std::uint32_t>(std::clamp(value, 1.0, static_cast<double>(model.maxLongExposure)));
}

double exposureSeconds(const SCameraModel& model, const STiming& timing, std::uint32_t value) {
    const std::uint32_t setting = value == 0 ? maxShortExposure(model, timing) : std::min(value, model.maxLongExposure);
    const double line = lineSeconds(model, timing);
    switch (exposureUnit(model)) {
    case EExposureUnit::ComputedRows: {
        const SRowClocks row = computedRow(timing);
        return (static_cast<double>(row.row) * setting - row.offset) / model.clockHz;
    }
    case EExposureUnit::Lines:
        return setting * line;
    case EExposureUnit::Microseconds:
        return std::max(setting * 1e-6, kMinMicrosecondExposure);
    case EExposureUnit::OffsetLines: {
        const double base = model.exposureTimeBase * 1e6;
        if (setting <= model.exposureOffset) {
            return std::max(setting / base, 1e-6);
        }
        // A started line counts: the shutter opens at line boundaries.
        return std::ceil((setting - model.exposureOffset) / base / line) * line + model.exposureOffset / base;
    }
    case EExposureUnit::LinesPlusOffset:
        return setting * line + kFixedExposureOffset;
    case EExposureUnit::Clocks:
        return static_cast<double>(setting) / model.clockHz;
    }
    return 0.0;
}

std::uint32_t exposureFromSeconds(const SCameraModel& model, const STiming& timing, double seconds) {
    // Exposure time never falls with the setting: halve the interval [low, high) that holds the answer.
    std::uint32_t low = 1;
    std::uint32_t high = model.maxLongExposure + 1;
    const double limit = seconds * (1.0 + 1e-12); // a time that was made from a setting gives that setting back
    while (high - low > 1) {
        const std::uint32_t middle = low + (high - low) / 2;
        (exposureSeconds(model, timing, middle) <= limit ? low : high) = middle;
    }
    return low;
}

} // namespace vek::sim
