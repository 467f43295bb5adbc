// SPDX-License-Identifier: Apache-2.0
// Description, gain and exposure, regions, defect pixels: each request byte by byte.
#include "device/DeviceControl.h"
#include "device/DriverAbi.h"
#include "support/FakeDriver.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace vek::test {

namespace {

constexpr int kFd = 17;
constexpr int kErrors[] = {EINVAL, EINTR, EAGAIN, EBUSY, ENODEV, EIO, ENOTTY, EBADF};

class CDeviceControlTest : public ::testing::Test {
protected:
    void Open() {
        ASSERT_TRUE(mDevice.Open(kFd));
        mDriver.ClearLog();
    }
    const SRequest& Only(unsigned long number) const {
        static const SRequest none;
        EXPECT_EQ(mDriver.Log().size(), 1U);
        if (mDriver.Log().empty()) {
            return none;
        }
        EXPECT_EQ(mDriver.Log()[0].number, number);
        EXPECT_EQ(mDriver.Log()[0].fd, kFd);
        return mDriver.Log()[0];
    }

    CFakeDriver mDriver;
    CDeviceControl mDevice;
};

void expectNoDescription(const CDeviceControl& device) {
    EXPECT_EQ(device.GetPID(), 0U);
    EXPECT_EQ(device.GetInitialGain(), 0U);
    EXPECT_EQ(device.GetGainType(), 0U);
    EXPECT_EQ(device.GetMaxGain(), 0U);
    EXPECT_FALSE(device.HasDigitalGainFunction());
    EXPECT_FALSE(device.HasDigitalGainType());
    EXPECT_EQ(device.GetMaxDigitalGain(), 0U);
    EXPECT_EQ(device.GetEnableDefectPixelCorrectionCount(), 0U);
    EXPECT_FALSE(device.HasVBlankFunction());
    EXPECT_EQ(device.GetMaxRoiCount(), 0U);
    EXPECT_EQ(device.GetMaxLongExposureClock(), 0U);
    EXPECT_EQ(device.GetExposureTimeBase(), 0U);
    EXPECT_EQ(device.GetExposureTimeOffset(), 0U);
}

} // namespace

TEST_F(CDeviceControlTest, NothingIsAskedBeforeOpen) {
    expectNoDescription(mDevice);
    EXPECT_TRUE(mDriver.Log().empty());
}

TEST_F(CDeviceControlTest, OpenAsksForTheDescriptionOnce) {
    ASSERT_TRUE(mDevice.Open(kFd));
    EXPECT_EQ(Only(kGetDescription).sent.size(), 32U);
}

TEST_F(CDeviceControlTest, DescriptionBytesGoToTheirFields) {
    // Each byte is its own number, so a wrong offset or width shows.
    for (std::size_t i = 0; i < 32; ++i) {
        mDriver.mDescription[i] = static_cast<std::uint8_t>(0xE0 + i);
    }
    Open();
    EXPECT_EQ(mDevice.GetPID(), 0xE3E2E1E0UL); // zero-extended, so not negative
    EXPECT_EQ(mDevice.GetInitialGain(), 0xE5E4U);
    EXPECT_EQ(mDevice.GetGainType(), 0xE9E8E7E6UL);
    EXPECT_EQ(mDevice.GetMaxGain(), 0xEBEAU);
    EXPECT_TRUE(mDevice.HasDigitalGainFunction());
    EXPECT_TRUE(mDevice.HasDigitalGainType());
    EXPECT_EQ(mDevice.GetMaxDigitalGain(), 0xEFEEU);
    EXPECT_EQ(mDevice.GetEnableDefectPixelCorrectionCount(), 0xF1F0U);
    EXPECT_TRUE(mDevice.HasVBlankFunction());
    EXPECT_EQ(mDevice.GetMaxRoiCount(), 0xF3U);
    EXPECT_EQ(mDevice.GetMaxLongExposureClock(), 0xF7F6F5F4UL);
    EXPECT_EQ(mDevice.GetExposureTimeBase(), 0xFBFAF9F8UL);
    EXPECT_EQ(mDevice.GetExposureTimeOffset(), 0xFFFEFDFCUL);
    EXPECT_TRUE(mDriver.Log().empty());
}

TEST_F(CDeviceControlTest, EachFlagByteAloneIsItsFlag) {
    for (const std::size_t offset : {12U, 13U, 18U}) {
        for (const unsigned value : {1U, 2U, 0x80U, 0xFFU}) {
            mDriver.mDescription.fill(0);
            mDriver.Describe(offset, 1, value);
            CDeviceControl device;
            ASSERT_TRUE(device.Open(kFd));
            EXPECT_EQ(device.HasDigitalGainFunction(), offset == 12);
            EXPECT_EQ(device.HasDigitalGainType(), offset == 13);
            EXPECT_EQ(device.HasVBlankFunction(), offset == 18);
        }
    }
}

TEST_F(CDeviceControlTest, RegionCountByteIsUnsigned) {
    mDriver.Describe(19, 1, 255);
    Open();
    EXPECT_EQ(mDevice.GetMaxRoiCount(), 255U);
}

TEST_F(CDeviceControlTest, DescriptionIsNotReadAgain) {
    mDriver.Describe(10, 2, 100);
    Open();
    mDriver.Describe(10, 2, 200);
    EXPECT_EQ(mDevice.GetMaxGain(), 100U);
    EXPECT_TRUE(mDriver.Log().empty());
}

TEST_F(CDeviceControlTest, FailedOpenKeepsNothing) {
    mDriver.mDescription.fill(0xFF);
    mDriver.mControls[0x08000400] = 640;
    for (const int error : kErrors) {
        for (const SFailure failure : {SFailure{-1, error, false}, SFailure{-1, error, true}, SFailure{1, 0, true}}) {
            CDeviceControl device;
            mDriver.ClearLog();
            mDriver.FailNth(0, failure);
            EXPECT_FALSE(device.Open(kFd));
            EXPECT_EQ(mDriver.Log().size(), 1U); // not asked again, whatever errno says
            expectNoDescription(device);
            device.ImageWidth();
            ASSERT_EQ(mDriver.Log().size(), 2U);
            EXPECT_EQ(mDriver.Log()[1].fd, -1);
        }
    }
}

TEST_F(CDeviceControlTest, ReadsGainThenExposure) {
    Open();
    mDriver.mControls[kCidGain] = 0x12345;
    mDriver.mControls[kCidExposure] = -2;
    unsigned short gain = 9;
    unsigned long exposure = 9;
    EXPECT_TRUE(mDevice.GetGainAndExposure(&gain, &exposure));
    EXPECT_EQ(gain, 0x2345U);
    EXPECT_EQ(exposure, 0xFFFFFFFFFFFFFFFEUL);
    ASSERT_EQ(mDriver.Log().size(), 2U);
    EXPECT_EQ(mDriver.Log()[0].number, kGetControl);
    EXPECT_EQ(mDriver.Log()[0].Id(), kCidGain);
    EXPECT_EQ(mDriver.Log()[1].number, kGetControl);
    EXPECT_EQ(mDriver.Log()[1].Id(), kCidExposure);
    EXPECT_EQ(mDriver.Log()[1].Value(), 0U); // not the gain's left-over
}

TEST_F(CDeviceControlTest, FailedGainReadIsStillTrueAndReadsTheExposure) {
    Open();
    mDriver.mControls[kCidGain] = 77;
    mDriver.mControls[kCidExposure] = 1234;
    unsigned short gain = 9;
    unsigned long exposure = 9;
    mDriver.FailNth(0, {-1, EIO, false});
    EXPECT_TRUE(mDevice.GetGainAndExposure(&gain, &exposure));
    EXPECT_EQ(gain, 0U);
    EXPECT_EQ(exposure, 1234U);
    mDriver.ClearLog();
    mDriver.FailNth(0, {-1, EIO, true});
    mDriver.FailNth(1, {-1, EINTR, false});
    EXPECT_TRUE(mDevice.GetGainAndExposure(&gain, &exposure));
    EXPECT_EQ(gain, 77U); // the driver changed the value although it failed
    EXPECT_EQ(exposure, 0U);
    EXPECT_EQ(mDriver.Log().size(), 2U);
}

TEST_F(CDeviceControlTest, WritesGainThenExposure) {
    Open();
    mDriver.mControls[kCidGain] = 0;
    mDriver.mControls[kCidExposure] = 0;
    EXPECT_TRUE(mDevice.SetGainAndExposure(0xFFFF, 0x100000005UL));
    ASSERT_EQ(mDriver.Log().size(), 2U);
    EXPECT_EQ(mDriver.Log()[0].number, kSetControl);
    EXPECT_EQ(mDriver.Log()[0].fd, kFd);
    EXPECT_EQ(mDriver.Log()[0].Id(), kCidGain);
    EXPECT_EQ(mDriver.Log()[0].Value(), 0xFFFFU); // zero-extended
    EXPECT_EQ(mDriver.Log()[1].number, kSetControl);
    EXPECT_EQ(mDriver.Log()[1].Id(), kCidExposure);
    EXPECT_EQ(mDriver.Log()[1].Value(), 5U);
    mDriver.ClearLog();
    EXPECT_TRUE(mDevice.SetGainAndExposure(0, 0xFFFFFFFFFFFFFFFFUL));
    EXPECT_EQ(mDriver.Log().at(1).Value(), 0xFFFFFFFFU);
}

TEST_F(CDeviceControlTest, RefusedGainStopsBeforeTheExposure) {
    Open();
    mDriver.mControls[kCidGain] = 0;
    mDriver.mControls[kCidExposure] = 0;
    for (const int error : kErrors) {
        for (const int result : {-1, 1}) {
            mDriver.ClearLog();
            mDriver.FailNth(0, {result, error, true});
            EXPECT_FALSE(mDevice.SetGainAndExposure(1, 2));
            EXPECT_EQ(mDriver.Log().size(), 1U);
            mDriver.ClearLog();
            mDriver.FailNth(1, {result, error, true});
            EXPECT_FALSE(mDevice.SetGainAndExposure(1, 2));
            EXPECT_EQ(mDriver.Log().size(), 2U);
        }
    }
}

TEST_F(CDeviceControlTest, RegionFieldsComeOutInOrder) {
    Open();
    mDriver.mRegions[44] = {0x01, 0xF1, 0x02, 0xF2, 0x03, 0xF3, 0x04, 0xF4, 44, 0x80};
    unsigned int out[5] = {};
    mDevice.GetROIInfo(300, &out[0], &out[1], &out[2], &out[3], &out[4]);
    const SRequest& request = Only(kGetRoi);
    ASSERT_EQ(request.sent.size(), 10U);
    EXPECT_EQ(request.sent[8], 44U); // low 8 bits of 300
    EXPECT_EQ(out[0], 0x80U);
    EXPECT_EQ(out[1], 0xF101U);
    EXPECT_EQ(out[2], 0xF202U);
    EXPECT_EQ(out[3], 0xF303U);
    EXPECT_EQ(out[4], 0xF404U);
}

TEST_F(CDeviceControlTest, RefusedRegionLeavesTheOutputs) {
    Open();
    mDriver.mRegions[3] = {1, 1, 1, 1, 1, 1, 1, 1, 3, 1};
    for (const int error : kErrors) {
        for (const SFailure failure : {SFailure{-1, error, true}, SFailure{-1, error, false}, SFailure{1, 0, true}}) {
            mDriver.ClearLog();
            mDriver.FailNth(0, failure);
            unsigned int out[5] = {10, 11, 12, 13, 0xFFFFFFFFU};
            mDevice.GetROIInfo(3, &out[0], &out[1], &out[2], &out[3], &out[4]);
            EXPECT_EQ(mDriver.Log().size(), 1U);
            EXPECT_EQ(out[0], 10U);
            EXPECT_EQ(out[1], 11U);
            EXPECT_EQ(out[2], 12U);
            EXPECT_EQ(out[3], 13U);
            EXPECT_EQ(out[4], 0xFFFFFFFFU);
        }
    }
}

TEST_F(CDeviceControlTest, DefectPixelRecordHasFiveBytes) {
    Open();
    EXPECT_TRUE(mDevice.SetEnableDefectPixelCorrectionPosition(0x1234, 0xABCD, 300));
    EXPECT_EQ(Only(kSetDefectPixel).sent, (std::vector<std::uint8_t>{44, 0x34, 0x12, 0xCD, 0xAB}));
    mDriver.ClearLog();
    EXPECT_TRUE(mDevice.SetEnableDefectPixelCorrectionPosition(65535, 65535, 0));
    EXPECT_EQ(Only(kSetDefectPixel).sent, (std::vector<std::uint8_t>{0, 0xFF, 0xFF, 0xFF, 0xFF}));
}

TEST_F(CDeviceControlTest, RefusedDefectPixelIsFalse) {
    Open();
    for (const int error : kErrors) {
        for (const int result : {-1, 1}) {
            mDriver.ClearLog();
            mDriver.FailNth(0, {result, error, true});
            EXPECT_FALSE(mDevice.SetEnableDefectPixelCorrectionPosition(1, 2, 3));
            EXPECT_EQ(mDriver.Log().size(), 1U);
        }
    }
}

} // namespace vek::test
