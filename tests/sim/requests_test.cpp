// SPDX-License-Identifier: Apache-2.0
#include "sim/SimulatedDriver.h"

#include "VekTrgApi.h"
#include "device/DriverAbi.h"

#include <gtest/gtest.h>
#include <linux/videodev2.h>

#include <cerrno>
#include <cstring>
#include <memory>

namespace {

using namespace vek::sim;

struct SAnswer {
    int result;
    int value;
    bool operator==(const SAnswer&) const = default;
};

void PrintTo(const SAnswer& answer, std::ostream* out) {
    *out << answer.result << ' ' << answer.value;
}

class DriverRequests : public ::testing::Test {
protected:
    SAnswer Get(std::uint32_t id) {
        v4l2_control control{id, -12345};
        const int result = mDriver.Ioctl(VIDIOC_G_CTRL, &control);
        return {result, control.value};
    }
    int Set(std::uint32_t id, int value) {
        v4l2_control control{id, value};
        return mDriver.Ioctl(VIDIOC_S_CTRL, &control);
    }

    CSimulatedDriver mDriver{"global-5m"};
};

TEST_F(DriverRequests, DescriptionOfTheModel) {
    vek::SDEVICE_DESCRIPTION description{};
    ASSERT_EQ(mDriver.Ioctl(vek::VIDIOC_G_DEVICE_DESCRIPTION, &description), 0);
    EXPECT_EQ(description.productId, 0x116U);
    EXPECT_EQ(description.gainType, 5U);
    EXPECT_EQ(description.maxGain, 683);
    EXPECT_EQ(description.hasDigitalGainFunction, 1);
    EXPECT_EQ(description.hasDigitalGainType, 0);
    EXPECT_EQ(description.maxDigitalGain, 511);
    EXPECT_EQ(description.defectPixelCorrectionCount, 64);
    EXPECT_EQ(description.hasVBlankFunction, 1);
    EXPECT_EQ(description.maxRoiCount, 16);
    EXPECT_EQ(description.maxLongExposureClock, 2000000000U);
    EXPECT_EQ(description.exposureTimeBase, 72U);
    EXPECT_EQ(description.exposureTimeOffset, 1000U);
    mDriver.SetDescriptionField(offsetof(vek::SDEVICE_DESCRIPTION, hasVBlankFunction), 1, 2);
    mDriver.SetDescriptionField(offsetof(vek::SDEVICE_DESCRIPTION, gainType), 4, 0x80000001U);
    ASSERT_EQ(mDriver.Ioctl(vek::VIDIOC_G_DEVICE_DESCRIPTION, &description), 0);
    EXPECT_EQ(description.hasVBlankFunction, 2);
    EXPECT_EQ(description.gainType, 0x80000001U);
    EXPECT_THROW(mDriver.SetDescriptionField(30, 4, 0), std::invalid_argument);
}

TEST_F(DriverRequests, ControlsReportTheState) {
    mDriver.SetTransferFormat(VEK_TRANSFER_RAW12_PACKED);
    EXPECT_EQ(Get(VEK_CID_COLOR_ARRAY), (SAnswer{0, 2}));
    EXPECT_EQ(Get(VEK_CID_TRANSFER_FORMAT), (SAnswer{0, 4}));
    EXPECT_EQ(Get(VEK_CID_VBLANK), (SAnswer{0, 0}));
    EXPECT_EQ(Get(VEK_CID_IMAGE_WIDTH), (SAnswer{0, 2448}));
    EXPECT_EQ(Get(VEK_CID_IMAGE_HEIGHT), (SAnswer{0, 2048}));
    EXPECT_EQ(Get(VEK_CID_TOTAL_H_CLOCK), (SAnswer{0, 1000}));
    EXPECT_EQ(Get(VEK_CID_TOTAL_V_LINE), (SAnswer{0, 2100}));
    EXPECT_EQ(Get(VEK_CID_CLOCK), (SAnswer{0, 72000000}));
    EXPECT_EQ(Get(VEK_CID_RAW_IMAGE_SIZE), (SAnswer{0, 2448 * 2048 * 3 / 2}));
    EXPECT_EQ(Get(VEK_CID_BINNING_H), (SAnswer{0, 0}));
    EXPECT_EQ(Get(VEK_CID_BINNING_V), (SAnswer{0, 0}));
    EXPECT_EQ(Get(VEK_CID_MAX_SHORT_EXPOSURE_CLOCK), (SAnswer{0, 2099000}));
    EXPECT_EQ(Get(V4L2_CID_GAIN), (SAnswer{0, 0}));
    EXPECT_EQ(Get(V4L2_CID_EXPOSURE), (SAnswer{0, 720000}));
}

TEST_F(DriverRequests, UnknownControlsAndRequests) {
    EXPECT_EQ(Get(V4L2_CID_BRIGHTNESS), (SAnswer{-EINVAL, -12345}));
    EXPECT_EQ(Get(0x08000405), (SAnswer{-EINVAL, -12345}));
    EXPECT_EQ(Set(V4L2_CID_BRIGHTNESS, 1), -EINVAL);
    int argument = 0;
    EXPECT_EQ(mDriver.Ioctl(VIDIOC_STREAMON, &argument), -ENOTTY);
    EXPECT_EQ(mDriver.Ioctl(VIDIOC_G_CTRL, nullptr), -EFAULT);
}

TEST_F(DriverRequests, WritesAreCheckedAndTakeEffect) {
    EXPECT_EQ(Set(V4L2_CID_GAIN, 683), 0);
    EXPECT_EQ(mDriver.GainValue(), 683);
    EXPECT_NEAR(mDriver.Gain(), 15.8, 0.05); // 683 x 0.0351 dB
    EXPECT_EQ(Set(V4L2_CID_GAIN, 684), -ERANGE);
    EXPECT_EQ(Set(V4L2_CID_GAIN, -1), -ERANGE);
    EXPECT_EQ(Get(V4L2_CID_GAIN), (SAnswer{0, 683}));
    EXPECT_EQ(Set(V4L2_CID_EXPOSURE, 2000000000), 0);
    EXPECT_EQ(Set(V4L2_CID_EXPOSURE, 2000000001), -ERANGE);
    EXPECT_NEAR(mDriver.ExposureTime(), 27.78, 0.01);
    EXPECT_NEAR(mDriver.FramePeriod(), 27.78, 0.01);
    EXPECT_EQ(Set(V4L2_CID_EXPOSURE, 0), 0);
    EXPECT_EQ(Get(V4L2_CID_EXPOSURE), (SAnswer{0, 0}));
    EXPECT_NEAR(mDriver.ExposureTime(), 0.02915, 0.0001);
    EXPECT_EQ(Set(VEK_CID_VBLANK, 900), 0);
    EXPECT_NEAR(mDriver.FramePeriod(), 3000 * 1000 / 72e6, 1e-9);
    EXPECT_EQ(Set(VEK_CID_VBLANK, 65536), -ERANGE);
    EXPECT_EQ(Set(VEK_CID_TRANSFER_FORMAT, 21), 0);
    EXPECT_EQ(Set(VEK_CID_TRANSFER_FORMAT, 22), -ERANGE);
    EXPECT_EQ(Set(VEK_CID_BINNING_H, 1), 0);
    EXPECT_EQ(Set(VEK_CID_BINNING_V, 3), -ERANGE);
    EXPECT_EQ(Get(VEK_CID_IMAGE_WIDTH), (SAnswer{0, 1224}));
    EXPECT_EQ(Set(VEK_CID_CLOCK, 1), -EACCES);
    EXPECT_EQ(Set(VEK_CID_COLOR_ARRAY, 1), -EACCES);
}

TEST_F(DriverRequests, VBlankOnlyWhereTheModelHasIt) {
    CSimulatedDriver plain("line-2m-mono");
    v4l2_control control{VEK_CID_VBLANK, 3};
    EXPECT_EQ(plain.Ioctl(VIDIOC_G_CTRL, &control), -EINVAL);
    EXPECT_EQ(plain.Ioctl(VIDIOC_S_CTRL, &control), -EINVAL);
    EXPECT_THROW(plain.SetVBlank(1), std::invalid_argument);
}

TEST_F(DriverRequests, RoiInfo) {
    mDriver.SetRois({{true, {10, 20, 100, 50}}, {false, {0, 0, 8, 8}}, {true, {200, 20, 64, 50}}});
    vek::SROI_REQUEST request{};
    request.index = 2;
    ASSERT_EQ(mDriver.Ioctl(vek::VIDIOC_G_ROI_INFO, &request), 0);
    EXPECT_EQ(request.enabled, 1);
    EXPECT_EQ(request.offsetX, 200);
    EXPECT_EQ(request.offsetY, 20);
    EXPECT_EQ(request.width, 64);
    EXPECT_EQ(request.height, 50);
    request.index = 1;
    ASSERT_EQ(mDriver.Ioctl(vek::VIDIOC_G_ROI_INFO, &request), 0);
    EXPECT_EQ(request.enabled, 0);
    request.index = 16;
    request.width = 77;
    EXPECT_EQ(mDriver.Ioctl(vek::VIDIOC_G_ROI_INFO, &request), -EINVAL);
    EXPECT_EQ(request.width, 77);
}

TEST_F(DriverRequests, DefectSlots) {
    const auto program = [&](unsigned index, unsigned x, unsigned y) {
        vek::SDEFECT_PIXEL_POSITION position{};
        position.index = static_cast<std::uint8_t>(index);
        position.x = static_cast<std::uint16_t>(x);
        position.y = static_cast<std::uint16_t>(y);
        return mDriver.Ioctl(vek::VIDIOC_S_DEFECT_PIXEL_POSITION, &position);
    };
    EXPECT_EQ(program(3, 100, 200), 0);
    EXPECT_EQ(program(63, 65535, 65535), 0);
    EXPECT_EQ(program(64, 1, 1), -EINVAL);
    EXPECT_EQ(program(0, 2448, 0), -EINVAL);
    EXPECT_EQ(program(0, 0, 65535), -EINVAL);
    EXPECT_EQ(mDriver.DefectSlots()[3].x, 100U);
    EXPECT_EQ(mDriver.DefectSlots()[3].y, 200U);
    EXPECT_EQ(mDriver.DefectSlots()[0].x, 65535U);
    EXPECT_EQ(mDriver.Requests()[0].id, 3U);
    EXPECT_EQ(mDriver.Requests()[0].valueIn, 100 | 200 << 16);
}

TEST_F(DriverRequests, AreRecordedInOrder) {
    Set(V4L2_CID_GAIN, 17);
    Get(V4L2_CID_EXPOSURE);
    Set(V4L2_CID_GAIN, 70000);
    const std::vector<SRequestRecord> expected = {
        {VIDIOC_S_CTRL, V4L2_CID_GAIN, 17, 17, 0, 0},
        {VIDIOC_G_CTRL, V4L2_CID_EXPOSURE, -12345, 720000, 0, 0},
        {VIDIOC_S_CTRL, V4L2_CID_GAIN, 70000, 0, -1, ERANGE},
    };
    EXPECT_EQ(mDriver.Requests(), expected);
    mDriver.ClearRequests();
    EXPECT_TRUE(mDriver.Requests().empty());
    // A number that went through a signed int arrives with its sign; the kernel looks at 32 bits only.
    vek::SDEVICE_DESCRIPTION description{};
    EXPECT_EQ(mDriver.Ioctl(0xFFFFFFFF00000000UL | vek::VIDIOC_G_DEVICE_DESCRIPTION, &description), 0);
    EXPECT_EQ(mDriver.Requests()[0].request, vek::VIDIOC_G_DEVICE_DESCRIPTION);
}

TEST_F(DriverRequests, FailOnDemand) {
    mDriver.FailRequest(2, EIO);
    mDriver.FailRequest(3, EBUSY);
    EXPECT_EQ(Set(V4L2_CID_GAIN, 1), 0);
    EXPECT_EQ(Set(V4L2_CID_GAIN, 2), -EIO);
    EXPECT_EQ(Set(V4L2_CID_GAIN, 3), -EBUSY);
    EXPECT_EQ(mDriver.GainValue(), 1);
    EXPECT_EQ(Set(V4L2_CID_GAIN, 4), 0);
    EXPECT_EQ(mDriver.Requests()[1], (SRequestRecord{VIDIOC_S_CTRL, V4L2_CID_GAIN, 2, 0, -1, EIO}));
    mDriver.FailAll(EPERM);
    EXPECT_EQ(Get(V4L2_CID_GAIN), (SAnswer{-EPERM, -12345}));
    EXPECT_EQ(mDriver.ReadFault(), EPERM);
    mDriver.FailAll(0);
    EXPECT_EQ(Get(V4L2_CID_GAIN), (SAnswer{0, 4}));
    EXPECT_THROW(mDriver.FailRequest(0, EIO), std::invalid_argument);
}

TEST_F(DriverRequests, OverriddenControlsAnswerAnything) {
    mDriver.OverrideControl(VEK_CID_CLOCK, 0);
    mDriver.OverrideControl(VEK_CID_COLOR_ARRAY, -7);
    mDriver.OverrideControl(0x08000999, 5);
    EXPECT_EQ(Get(VEK_CID_CLOCK), (SAnswer{0, 0}));
    EXPECT_EQ(Get(VEK_CID_COLOR_ARRAY), (SAnswer{0, -7}));
    EXPECT_EQ(Get(0x08000999), (SAnswer{0, 5}));
    EXPECT_EQ(mDriver.ColorArray(), 2);
    mDriver.ClearOverrides();
    EXPECT_EQ(Get(VEK_CID_CLOCK), (SAnswer{0, 72000000}));
    EXPECT_EQ(Get(0x08000999), (SAnswer{-EINVAL, -12345}));
}

TEST_F(DriverRequests, UnpluggedCameraIsGone) {
    mDriver.Unplug();
    EXPECT_EQ(Get(V4L2_CID_GAIN), (SAnswer{-ENODEV, -12345}));
    EXPECT_EQ(mDriver.ReadFault(), ENODEV);
    EXPECT_EQ(mDriver.Requests().back().error, ENODEV);
    mDriver.Replug();
    EXPECT_EQ(Get(V4L2_CID_GAIN).result, 0);
}

} // namespace
