// SPDX-License-Identifier: Apache-2.0
// Shading correction takes over the camera's colour array when its mode is set.
#include "VekTrgApi.h"
#include "support/CameraValues.h"
#include "support/SampleVectors.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <vector>

namespace vek::test {

namespace {

class CShadingDevice : public ::testing::Test {
protected:
    void SetUp() override {
        report(SCameraValues{}, &mDriver);
        mHandle = VekCam_Open(5);
        SetCamera(1, 0);
    }
    void TearDown() override { VekCam_Close(mHandle); }

    void SetCamera(std::int32_t colorArray, std::int32_t format) {
        mDriver.mControls[kCidColorArray] = colorArray;
        mDriver.mControls[kCidTransferFormat] = format;
        mDriver.ClearLog();
    }
    int SetMode(unsigned long mode) { return VekCam_SetShadingCorrectionMode(mHandle, mode); }
    int Frame(Bytes* image) { return VekCam_ShadingCorrection(mHandle, 2, 2, 0, image->data(), 8); }
    /// Calibrates with 10, 20, 30 and 40, then corrects 100 four times by offsets.
    Bytes Offsets() {
        Bytes image = {10, 20, 30, 40};
        EXPECT_EQ(SetMode(VEK_SHADING_CALIBRATE_OFFSET), 0);
        EXPECT_EQ(Frame(&image), 0);
        EXPECT_EQ(SetMode(VEK_SHADING_OFFSET), 0);
        image.assign(4, 100);
        EXPECT_EQ(Frame(&image), 0);
        return image;
    }

    CFakeDriver mDriver;
    VekCam_Handle mHandle = nullptr;
};

/// A mono camera's target is the mean of the middle, 25.
const Bytes kAsMono = {115, 105, 95, 85};
/// Every place of the 2 x 2 cell has a target of its own, its level.
const Bytes kAsColor = {100, 100, 100, 100};

} // namespace

TEST_F(CShadingDevice, MonoCamera) {
    EXPECT_EQ(Offsets(), kAsMono);
}

TEST_F(CShadingDevice, BayerCamera) {
    for (const std::int32_t colorArray : {2, 3, 4, 5}) {
        SetCamera(colorArray, 0);
        EXPECT_EQ(Offsets(), kAsColor) << colorArray;
    }
}

// The colour array is the one of the transferred pixels: YCrCb formats are colour on any sensor.
TEST_F(CShadingDevice, YCrCbFormatsAreColor) {
    for (std::int32_t format = 0; format <= 21; ++format) {
        SetCamera(1, format);
        EXPECT_EQ(Offsets(), format >= 12 && format <= 17 ? kAsColor : kAsMono) << format;
    }
}

// Its low 16 bits count.
TEST_F(CShadingDevice, ColorArrayIsCutToSixteen) {
    SetCamera(0x10001, 0);
    EXPECT_EQ(Offsets(), kAsMono);
    SetCamera(0x101, 0);
    EXPECT_EQ(Offsets(), kAsColor);
    SetCamera(0, 0);
    EXPECT_EQ(Offsets(), kAsColor);
    SetCamera(-65535, 0);
    EXPECT_EQ(Offsets(), kAsMono);
}

// Setting a mode, whichever, asks the driver for both and writes nothing.
TEST_F(CShadingDevice, SettingAModeAsksTheDriver) {
    for (const unsigned long mode : {0UL, 1UL, 2UL, 3UL, 4UL, 255UL, 77UL}) {
        mDriver.ClearLog();
        EXPECT_EQ(SetMode(mode), 0);
        ASSERT_FALSE(mDriver.Log().empty());
        bool hasColorArray = false;
        for (const SRequest& request : mDriver.Log()) {
            EXPECT_EQ(request.number, kGetControl);
            EXPECT_EQ(request.fd, 5);
            EXPECT_TRUE(request.Id() == kCidColorArray || request.Id() == kCidTransferFormat);
            hasColorArray = hasColorArray || request.Id() == kCidColorArray;
        }
        EXPECT_TRUE(hasColorArray);
    }
}

// Nothing else asks it.
TEST_F(CShadingDevice, NothingElseAsksTheDriver) {
    EXPECT_EQ(SetMode(VEK_SHADING_CALIBRATE_GAIN), 0);
    mDriver.ClearLog();
    unsigned long mode = 0;
    unsigned short target = 0;
    Bytes image = {10, 20, 30, 40};
    EXPECT_EQ(Frame(&image), 0);
    EXPECT_EQ(VekCam_GetShadingCorrectionMode(mHandle, &mode), 0);
    EXPECT_EQ(VekCam_SetShadingCorrectionTarget(mHandle, 5), 0);
    EXPECT_EQ(VekCam_GetShadingCorrectionTarget(mHandle, &target), 0);
    EXPECT_EQ(VekCam_SetShadingCorrectionMode(nullptr, 1), -22);
    EXPECT_TRUE(mDriver.Log().empty());
}

// A camera that changes its format in between is noticed with the next mode only.
TEST_F(CShadingDevice, ColorArrayOfTheLastMode) {
    Bytes image = {10, 20, 30, 40};
    EXPECT_EQ(SetMode(VEK_SHADING_CALIBRATE_OFFSET), 0);
    EXPECT_EQ(Frame(&image), 0);
    EXPECT_EQ(SetMode(VEK_SHADING_OFFSET), 0);
    SetCamera(2, 0);
    image.assign(4, 100);
    EXPECT_EQ(Frame(&image), 0);
    EXPECT_EQ(image, kAsMono);
    EXPECT_EQ(SetMode(VEK_SHADING_CALIBRATE_OFFSET), 0);
    image = {10, 20, 30, 40};
    EXPECT_EQ(Frame(&image), 0);
    SetCamera(1, 0);
    EXPECT_EQ(SetMode(VEK_SHADING_OFFSET), 0); // mono by the time of the rebuild
    image.assign(4, 100);
    EXPECT_EQ(Frame(&image), 0);
    EXPECT_EQ(image, kAsMono);
}

// A driver that does not answer does not keep the mode from being set.
TEST_F(CShadingDevice, SilentDriver) {
    mDriver.FailAll({-1, EIO, false});
    EXPECT_EQ(SetMode(VEK_SHADING_GAIN), 0);
    unsigned long mode = 0;
    EXPECT_EQ(VekCam_GetShadingCorrectionMode(mHandle, &mode), 0);
    EXPECT_EQ(mode, 2U);
}

} // namespace vek::test
