// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VekTrgApi.h"
#include "sim/SimulatedDriver.h"

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace vek::test {

/// One frame in a closed loop.
struct SLoopStep {
    unsigned level = 0;         ///< mean of the frame, as the control got it
    std::uint32_t exposure = 0; ///< what the frame was taken with, the camera's units, 0 its code
    unsigned gain = 0;
    unsigned long changes = 0; ///< bits of enum VekALCChange
    unsigned char mode = 0;    ///< after the step

    /// Off the target.
    unsigned Off(unsigned target) const { return level > target ? level - target : target - level; }
};

/// A small simulated camera before an even grey wall, with the library's luminance control in the loop. The camera's
/// clocks are those of its model; only the image is smaller, so that the longest exposure is some milliseconds.
class CClosedLoop {
public:
    /// Opens the library's handle with exposure and gain as the driver has them then.
    CClosedLoop(std::string_view model, std::uint32_t exposure, unsigned gain);
    ~CClosedLoop();
    CClosedLoop(const CClosedLoop&) = delete;
    CClosedLoop& operator=(const CClosedLoop&) = delete;

    VekCam_Handle Handle() const { return mHandle; }
    sim::CSimulatedDriver& Driver() { return *mDriver; }

    /// Light with which the longest short exposure at the smallest gain gives about this level (0 .. 250).
    float LightForLevel(double level);

    SLoopStep Step();
    std::vector<SLoopStep> Run(unsigned frames);

    /// Level of a frame at these settings; the camera keeps its own. Takes a frame.
    unsigned LevelAt(std::uint32_t exposure, unsigned gain);
    unsigned MaxShortExposure();

private:
    unsigned Measure();

    std::shared_ptr<sim::CSimulatedDriver> mDriver;
    int mFd;
    VekCam_Handle mHandle;
    std::vector<std::uint8_t> mFrame;
};

/// Frames up to and including the first that needed no change; 0 when there is none.
unsigned framesToRest(const std::vector<SLoopStep>& steps);

} // namespace vek::test
