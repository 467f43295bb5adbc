// SPDX-License-Identifier: Apache-2.0
// Hot pixels that the library finds in one frame are corrected by the camera in the next.
#include "VekTrgApi.h"
#include "sim/SimulatedDevice.h"
#include "sim/SimulatedDriver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace vek::test {

namespace {

constexpr unsigned kWidth = 64;
constexpr unsigned kHeight = 48;
constexpr unsigned kThreshold = 32;
constexpr unsigned kUnused = 65535;

/// A capped camera with hot pixels, 5 columns and 3 rows apart, the later the brighter.
class DefectClosedLoop : public ::testing::TestWithParam<const char*> {
protected:
    void Open(unsigned hotCount) {
        const sim::SCameraModel& model = sim::findCameraModel(GetParam());
        sim::SSensorConfig sensor = sim::CSimulatedDriver::DefaultSensor(model);
        sensor.width = kWidth;
        sensor.height = kHeight;
        for (unsigned i = 0; i < hotCount; ++i) {
            const float charge = sensor.fullWellElectrons * (0.3F + 0.6F * static_cast<float>(i) / 100.0F);
            sensor.hotPixels.push_back({2 + 5 * (i % 12), 2 + 3 * (i / 12), 0.0F, charge});
        }
        mDriver = std::make_shared<sim::CSimulatedDriver>(model, sensor);
        mDriver->SetTransferFormat(VEK_TRANSFER_RAW8);
        mDriver->SetLensCap(true);
        mFd = sim::openSimulatedCamera(mDriver);
        mHandle = VekCam_Open(mFd);
        ASSERT_NE(mHandle, nullptr);
    }
    void TearDown() override {
        VekCam_Close(mHandle);
        sim::closeSimulatedCamera(mFd);
    }

    std::size_t HotPixels() const {
        const std::vector<std::uint8_t> frame = mDriver->CaptureFrame();
        return static_cast<std::size_t>(
            std::count_if(frame.begin(), frame.end(), [](std::uint8_t sample) { return sample >= kThreshold; }));
    }
    void Detect() const {
        EXPECT_EQ(VekCam_DetectDefectPixel(mHandle, kWidth, kHeight, mDriver->CaptureFrame().data(), kThreshold), 0);
    }
    std::size_t UsedSlots() const {
        const std::vector<sim::SPixelPosition> slots = mDriver->DefectSlots();
        return static_cast<std::size_t>(
            std::count_if(slots.begin(), slots.end(), [](const auto& slot) { return slot.x != kUnused; }));
    }

    std::shared_ptr<sim::CSimulatedDriver> mDriver;
    int mFd = -1;
    VekCam_Handle mHandle = nullptr;
};

TEST_P(DefectClosedLoop, FoundPixelsAreGoneInTheNextFrame) {
    const unsigned slots = sim::findCameraModel(GetParam()).defectPixelSlots;
    for (const unsigned hot : {0U, 1U, slots, slots + 1, slots + 30}) {
        SCOPED_TRACE(hot);
        Open(hot);
        ASSERT_EQ(HotPixels(), hot);
        Detect();
        EXPECT_EQ(UsedSlots(), std::min(hot, slots));
        EXPECT_EQ(HotPixels(), hot - std::min(hot, slots));
        // Looked for again, the corrected ones are not found: their slots go to what is left, or become free.
        Detect();
        EXPECT_EQ(UsedSlots(), std::min(hot - std::min(hot, slots), slots));
        TearDown();
    }
    Open(0);
}

TEST_P(DefectClosedLoop, BrightestOnesGetTheSlots) {
    const unsigned slots = sim::findCameraModel(GetParam()).defectPixelSlots;
    Open(slots + 10);
    Detect();
    const std::vector<sim::SHotPixel> hot = mDriver->Sensor().hotPixels;
    unsigned brightest = 0;
    for (const sim::SPixelPosition& slot : mDriver->DefectSlots()) {
        brightest += static_cast<unsigned>(std::count_if(hot.begin() + 8, hot.end(), [&](const sim::SHotPixel& pixel) {
            return pixel.x == slot.x && pixel.y == slot.y;
        }));
    }
    // Two whose charges differ by less than the noise may change places.
    EXPECT_EQ(brightest, slots);
}

INSTANTIATE_TEST_SUITE_P(Models, DefectClosedLoop,
                         ::testing::Values("global-1m", "rolling-4m", "line-2m", "global-5m", "clock-vga"),
                         [](const auto& name) {
                             std::string text = name.param;
                             std::replace(text.begin(), text.end(), '-', '_');
                             return text;
                         });

// A model without slots: nothing is written, everything stays.
TEST(DefectClosedLoopWithoutSlots, ChangesNothing) {
    const auto driver = std::make_shared<sim::CSimulatedDriver>("global-2m");
    driver->SetTransferFormat(VEK_TRANSFER_RAW8);
    const int fd = sim::openSimulatedCamera(driver);
    VekCam_Handle handle = VekCam_Open(fd);
    driver->ClearRequests();
    const std::vector<unsigned char> image(kWidth * kHeight, 255);
    EXPECT_EQ(VekCam_DetectDefectPixel(handle, kWidth, kHeight, image.data(), 1), 0);
    EXPECT_TRUE(driver->Requests().empty());
    VekCam_Close(handle);
    sim::closeSimulatedCamera(fd);
}

} // namespace

} // namespace vek::test
