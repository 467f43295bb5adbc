// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace vek::sim {

/// What one step of the exposure control stands for.
enum class EExposureUnit {
    ComputedRows,    ///< rows whose length follows from image width and binning, less a fixed offset
    Lines,           ///< sensor lines
    Microseconds,    ///< microseconds, 22 at least
    OffsetLines,     ///< ticks of the time base; beyond an offset in whole sensor lines
    LinesPlusOffset, ///< sensor lines and 13.73 us
    Clocks,          ///< sensor clocks
};

/// A camera type: what its description request says, its clocks and its sensor. Names are the simulation's own.
struct SCameraModel {
    std::string_view name;
    std::uint32_t productId;
    std::uint32_t gainType;    ///< gain curve, see gainDb
    std::uint16_t maxGain;     ///< largest gain setting value
    std::uint16_t initialGain; ///< gain setting value after power-on
    bool hasDigitalGain;
    bool digitalGainFromOne; ///< digital gain 1 + value / 64 instead of value / 64
    std::uint16_t maxDigitalGain;
    std::uint16_t defectPixelSlots;
    bool hasVBlank;
    std::uint8_t maxRoiCount;
    std::uint32_t maxLongExposure;  ///< exposure units
    std::uint32_t exposureTimeBase; ///< ticks a microsecond; OffsetLines only
    std::uint32_t exposureOffset;   ///< ticks; OffsetLines only
    std::uint32_t clockHz;
    std::uint32_t totalHClock; ///< clocks of a sensor line
    std::uint32_t totalVLine;  ///< lines of a full frame, without extra blanking
    unsigned width;            ///< pixels
    unsigned height;           ///< pixels
    unsigned depth;            ///< significant bits
    int colorArray;            ///< 1 .. 5
};

/// All models, one or more for each way of counting exposure and for each gain curve.
const std::vector<SCameraModel>& cameraModels();
/// Throws std::invalid_argument for a name that no model has.
const SCameraModel& findCameraModel(std::string_view name);

EExposureUnit exposureUnit(const SCameraModel& model);

/// Gain of a setting value in decibels, on the model's curve.
double gainDb(const SCameraModel& model, std::uint16_t value);
/// The same as a linear factor.
double linearGain(const SCameraModel& model, std::uint16_t value);
/// Factor of a digital gain setting value; 1 for a model without.
double digitalGain(const SCameraModel& model, std::uint16_t value);

/// State that decides how long lines, frames and exposures take.
struct STiming {
    std::uint32_t vBlank = 0;  ///< extra lines
    unsigned imageWidth = 0;   ///< transferred image, pixels
    unsigned imageHeight = 0;  ///< transferred image, rows
    unsigned readLines = 0;    ///< sensor lines read out
    unsigned binningCodeH = 0; ///< 0, 1, 2: factor 1, 2, 4
    unsigned binningCodeV = 0;
};

/// Lines of a frame as the driver reports them: shorter than totalVLine when fewer lines are read. The extra
/// blanking is part of the number only on models that count exposure in Lines.
std::uint32_t reportedVLines(const SCameraModel& model, const STiming& timing);
/// Duration of one sensor line.
double lineSeconds(const SCameraModel& model, const STiming& timing);
/// Shortest time from frame to frame.
double framePeriodSeconds(const SCameraModel& model, const STiming& timing);
/// Largest exposure setting that does not lengthen the frame; at least 1.
std::uint32_t maxShortExposure(const SCameraModel& model, const STiming& timing);
/// Exposure time of a setting. 0 stands for maxShortExposure, values beyond maxLongExposure for that limit.
double exposureSeconds(const SCameraModel& model, const STiming& timing, std::uint32_t value);
/// Largest setting whose exposure time does not exceed seconds; at least 1.
std::uint32_t exposureFromSeconds(const SCameraModel& model, const STiming& timing, double seconds);

} // namespace vek::sim
