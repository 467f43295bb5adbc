// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/camera/FrameGrabber.h"
#include "client/files/OutputFile.h"
#include "client/pictures/Image.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace vek::client {

/// The mean of some frames, from which a correction is made, and how they were taken.
struct SCalibration {
    std::string kind; ///< "dark" or "flat"
    std::string camera;
    const STransferFormat* format = nullptr; ///< raw or mono
    unsigned short colorArray = 0;           ///< enum VekColorArray, mono or Bayer
    unsigned frames = 0;
    std::int32_t exposureClocks = 0;
    std::int32_t gain = 0; ///< setting value
    SImage mean;           ///< grey, 16 bits: the samples' mean times 2^(16 - depth of the format)
};

/// Frames that are taken of a camera at most.
inline constexpr unsigned kMostCalibrationFrames = 1000;

/// Whether frames of a format can be calibrated: raw or mono ones that are not packed.
bool canBeCalibrated(const STransferFormat& format);

/// The mean of frames that come one by one.
class CFrameMean {
public:
    /// format: one that can be calibrated; outlives the object.
    CFrameMean(const STransferFormat& format, std::uint32_t width, std::uint32_t height);

    /// Sums of so many samples of 16 bits stay within 32 bits.
    static constexpr unsigned kMostFrames = 65536;

    /// bytes: frameBytes of them. Throws CFailure behind kMostFrames.
    void Add(std::span<const std::uint8_t> bytes);
    unsigned Frames() const { return mFrames; }
    /// Of one frame and more: grey, 16 bits, the samples' mean times 2^(16 - depth of the format).
    SImage Image() const;

private:
    const STransferFormat& mFormat;
    std::uint32_t mWidth;
    std::uint32_t mHeight;
    unsigned mFrames = 0;
    std::vector<std::uint32_t> mSums;
};

/// Takes the mean of 1 to kMostCalibrationFrames frames. grabber: of the camera, with a format that can be calibrated;
/// taken: called after each frame. Throws CFailure when the camera does not deliver.
SCalibration takenCalibration(const ICamera& camera, CFrameGrabber& grabber, const std::string& kind, unsigned frames,
                              const std::function<void()>& taken);

/// The mean's levels in samples of the frames' format.
struct SCalibrationLevels {
    double mean = 0;
    double low = 0;
    double high = 0;
    std::size_t saturated = 0; ///< pixels at the end of the range
};
SCalibrationLevels levelsOf(const SCalibration& calibration);

/// Where the description of a calibration lies: FILE.json beside FILE.png. Throws CBadArguments for another ending.
std::string descriptionPath(const std::string& path);

/// Writes the mean as a PNG file and its description, which lies at descriptionPath, as JSON. Throws CFailure.
void writeCalibration(COutputFile& mean, COutputFile& description, const SCalibration& calibration);

/// Reads both back. Throws CFailure where a file is missing or no calibration of the kind.
SCalibration readCalibration(const std::string& path, const std::string& kind);

/// Throws CFailure unless the calibration was made of frames of this size, depth and colour array.
void requireMatch(const SCalibration& calibration, const std::string& path, const STransferFormat& format,
                  std::uint32_t width, std::uint32_t height, unsigned short colorArray);

/// The mean's samples, rounded to a depth. T: std::uint8_t, or std::uint16_t above 8 bits.
template <class T>
std::vector<T> samplesAtDepth(const SCalibration& calibration, unsigned depth) {
    const unsigned shift = 16 - depth;
    const unsigned half = shift > 0 ? 1U << (shift - 1) : 0;
    std::vector<T> samples;
    samples.reserve(calibration.mean.samples.size());
    for (const std::uint16_t value : calibration.mean.samples) {
        const unsigned rounded = (value + half) >> shift;
        samples.push_back(static_cast<T>(rounded < maxSample(depth) ? rounded : maxSample(depth)));
    }
    return samples;
}

} // namespace vek::client
