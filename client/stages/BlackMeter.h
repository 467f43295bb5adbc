// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/profiles/Profile.h"

#include "formats/TransferFormats.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vek::client {

/// The black level of one place of the 2 x 2 cell, in samples (DN).
struct SBlackPlace {
    std::string_view name; ///< R, Gr, Gb, B; empty in mono frames, which have one place
    double level = 0;
    double error = 0;                 ///< standard error of the level: by the frames' means, of one frame by its pixels
    std::optional<double> noise = {}; ///< temporal, of a pixel, quantisation included; nothing of one frame
    double pattern = 0;               ///< standard deviation of the pixels' means
};

/// A row or a column that differs from the others.
struct SOddLine {
    std::size_t index = 0;
    double deviation = 0; ///< DN
};

struct SBlackMeasurement {
    unsigned frames = 0;
    std::vector<SBlackPlace> places; ///< by place in the cell
    double rowDeviation = 0;    ///< standard deviations of the rows' means, as the noise of their pixels has it, and
    double columnDeviation = 0; ///< those of the columns, robust
    double rowNoise = 0;        ///< what noise alone makes of these
    double columnNoise = 0;
    std::vector<SOddLine> rows; ///< largest deviation first
    std::vector<SOddLine> columns;
    std::vector<std::string> doubts; ///< why these may be no black frames, or not all of the level; none: good

    /// As a profile has them: repeated every 2 x 2 pixels, or one for all.
    SBlackLevels Levels() const;
};

/// Measures frames that were taken with the lens capped. Hot pixels count in the levels as they do in the frames.
class CBlackMeter {
public:
    /// format: one that can be calibrated; outlives the object.
    CBlackMeter(const STransferFormat& format, std::uint32_t width, std::uint32_t height, unsigned short colorArray);

    /// bytes: frameBytes of them. Throws CFailure behind CFrameMean::kMostFrames.
    void Add(std::span<const std::uint8_t> bytes);
    /// Of one frame and more.
    SBlackMeasurement Result() const;

private:
    std::size_t PlaceOf(std::size_t x, std::size_t y) const { return mPlaces == 1 ? 0 : y % 2 * 2 + x % 2; }
    /// The mean frame less the levels of its places, without what sticks out as hot pixels do.
    std::vector<float> Residuals(const SBlackMeasurement& measurement, double& deviation) const;
    void FindLines(SBlackMeasurement& measurement, std::span<const float> residuals, double deviation) const;
    void FindDoubts(SBlackMeasurement& measurement, std::span<const float> residuals, double deviation) const;

    const STransferFormat& mFormat;
    std::size_t mWidth;
    std::size_t mHeight;
    unsigned short mColorArray;
    std::size_t mPlaces; // 1 or 4
    unsigned mFrames = 0;
    std::vector<std::uint32_t> mSums;
    std::vector<std::uint16_t> mLast;
    std::vector<std::array<double, 4>> mMeans;   // of each frame
    std::array<double, 4> mSquaredDifferences{}; // of frames that follow each other, means taken off
    std::size_t mZeros = 0;
};

} // namespace vek::client
