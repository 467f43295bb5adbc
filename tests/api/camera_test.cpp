// SPDX-License-Identifier: Apache-2.0
// The camera object: its two interfaces, a camera without a description, the requests of each operation.
#include "api/VekTrgCamera.h"
#include "support/FakeDriver.h"
#include "support/VirtualSlot.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace vek::test {

namespace {

constexpr int kFd = 23;

class CCameraTest : public ::testing::Test {
protected:
    void Open() {
        ASSERT_TRUE(mCamera.CameraOpen(kFd));
        mDriver.ClearLog();
    }
    void TearDown() override { mCamera.CameraClose(); }

    IUpdateGainExposureClockSetting& Setting() { return mCamera; }
    IRegionInfo& Regions() { return mCamera; }

    CFakeDriver mDriver;
    CVekTrgCamera mCamera;
};

} // namespace

#if defined(__x86_64__)
TEST(CCameraSlots, FollowTheInterfaceOrder) {
    using Setting = IUpdateGainExposureClockSetting;
    EXPECT_EQ(slotOf(&Setting::SetGainAndExposure), 1U);
    EXPECT_EQ(slotOf(&Setting::GetGainAndExposure), 2U);
    EXPECT_EQ(slotOf(&Setting::GetMaxGain), 3U);
    EXPECT_EQ(slotOf(&Setting::GetInitialGain), 4U);
    EXPECT_EQ(slotOf(&Setting::GainValue2DB), 5U);
    EXPECT_EQ(slotOf(&Setting::GainDB2Value), 6U);
    EXPECT_EQ(slotOf(&Setting::GetMaxLongExposureClock), 7U);
    EXPECT_EQ(slotOf(&Setting::GetMaxShortExposureClock), 8U);
    EXPECT_EQ(slotOf(&IRegionInfo::GetMaxROICount), 1U);
    EXPECT_EQ(slotOf(&IRegionInfo::GetMultiROIType), 2U);
    EXPECT_EQ(slotOf(&IRegionInfo::GetROIInfo), 3U);
    EXPECT_EQ(slotOf(&IRegionInfo::GetMaxROICountH), 4U);
    EXPECT_EQ(slotOf(&CVekTrgCamera::GetMaxShortExposureClock), 8U);
    EXPECT_EQ(slotOf(&CVekTrgCamera::GetMaxROICount), 9U);
    EXPECT_EQ(slotOf(&CVekTrgCamera::GetMultiROIType), 10U);
    EXPECT_EQ(slotOf(&CVekTrgCamera::GetROIInfo), 11U);
    EXPECT_EQ(slotOf(&CVekTrgCamera::GetMaxROICountH), 12U);
}
#endif

TEST_F(CCameraTest, SettingIsTheFirstBase) {
    const auto* const setting = static_cast<IUpdateGainExposureClockSetting*>(&mCamera);
    const auto* const regions = static_cast<IRegionInfo*>(&mCamera);
    EXPECT_EQ(static_cast<const void*>(setting), static_cast<const void*>(&mCamera));
    EXPECT_EQ(reinterpret_cast<const char*>(regions) - reinterpret_cast<const char*>(setting),
              static_cast<std::ptrdiff_t>(sizeof(void*)));
}

TEST_F(CCameraTest, ConstructionAsksNothing) {
    EXPECT_TRUE(mDriver.Log().empty());
    EXPECT_EQ(mCamera.GetMaxGain(), 0U);
}

TEST_F(CCameraTest, OpenSucceedsWithoutADescription) {
    mDriver.mDescription.fill(0xFF);
    mDriver.FailNth(0, {-1, ENOTTY, true});
    ASSERT_TRUE(mCamera.CameraOpen(kFd));
    EXPECT_EQ(mCamera.GetMaxGain(), 0U);
    EXPECT_EQ(mCamera.GetMaxLongExposureClock(), 0U);
    EXPECT_EQ(mCamera.GetMaxROICount(), 0U);
    ASSERT_EQ(mDriver.Log().size(), 3U);
    EXPECT_EQ(mDriver.Log()[1].fd, -1);
    EXPECT_EQ(mDriver.Log()[2].fd, -1);
}

TEST_F(CCameraTest, CloseAsksNothingAndMayBeRepeated) {
    Open();
    mCamera.CameraClose();
    mCamera.CameraClose();
    EXPECT_TRUE(mDriver.Log().empty());
}

TEST_F(CCameraTest, SettingSlots) {
    mDriver.Describe(4, 2, 0xFFF0);        // initial gain
    mDriver.Describe(6, 4, 4);             // gain type 4: a tenth of a decibel a step
    mDriver.Describe(10, 2, 0xFFFE);       // maximum gain
    mDriver.Describe(20, 4, 0xFFFFFFF0UL); // maximum long exposure
    mDriver.mControls[kCidGain] = 3;
    mDriver.mControls[kCidExposure] = 4;
    mDriver.mControls[0x0800000D] = -7;
    Open();

    EXPECT_EQ(Setting().GetMaxGain(), 0xFFFEU);
    EXPECT_EQ(Setting().GetInitialGain(), 0xFFF0U);
    EXPECT_EQ(Setting().GetMaxLongExposureClock(), 0xFFFFFFF0UL);
    EXPECT_EQ(Setting().GainValue2DB(10), 1.0F);
    EXPECT_EQ(Setting().GainDB2Value(-2.36F), 0U);
    EXPECT_EQ(Setting().GainDB2Value(1e30F), 0xFFFEU); // no more than the maximum gain
    EXPECT_TRUE(mDriver.Log().empty());

    EXPECT_EQ(Setting().GetMaxShortExposureClock(), -7);
    ASSERT_EQ(mDriver.Log().size(), 1U);
    EXPECT_EQ(mDriver.Log()[0].Id(), 0x0800000DU);
    mDriver.mControls[0x0800000D] = 8;
    EXPECT_EQ(Setting().GetMaxShortExposureClock(), 8);

    mDriver.ClearLog();
    EXPECT_TRUE(Setting().SetGainAndExposure(11, 0x200000003UL));
    EXPECT_EQ(mDriver.Log().size(), 2U);
    EXPECT_EQ(mDriver.mControls[kCidGain], 11);
    EXPECT_EQ(mDriver.mControls[kCidExposure], 3);
    unsigned short gain = 0;
    unsigned long exposure = 0;
    EXPECT_TRUE(Setting().GetGainAndExposure(&gain, &exposure));
    EXPECT_EQ(gain, 11U);
    EXPECT_EQ(exposure, 3U);

    mDriver.FailAll({-1, EBUSY, false});
    EXPECT_FALSE(Setting().SetGainAndExposure(1, 1));
    EXPECT_TRUE(Setting().GetGainAndExposure(&gain, &exposure));
    EXPECT_EQ(gain, 0U);
    EXPECT_EQ(exposure, 0U);
}

TEST_F(CCameraTest, RegionSlots) {
    mDriver.Describe(19, 1, 255);
    mDriver.mRegions[44] = {1, 0, 2, 0, 3, 0, 4, 0, 44, 1};
    Open();
    EXPECT_EQ(Regions().GetMaxROICount(), 255U);
    EXPECT_TRUE(mDriver.Log().empty());
    unsigned int out[5] = {};
    Regions().GetROIInfo(300, &out[0], &out[1], &out[2], &out[3], &out[4]);
    ASSERT_EQ(mDriver.Log().size(), 1U);
    EXPECT_EQ(mDriver.Log()[0].sent.at(8), 44U);
    for (unsigned i = 1; i < 5; ++i) {
        EXPECT_EQ(out[i], i);
    }
    EXPECT_EQ(out[0], 1U);
}

TEST_F(CCameraTest, RegionTypesOfEveryCount) {
    for (unsigned count = 0; count <= 255; ++count) {
        mDriver.Describe(19, 1, count);
        CVekTrgCamera camera;
        ASSERT_TRUE(camera.CameraOpen(kFd));
        IRegionInfo& regions = camera;
        EXPECT_EQ(regions.GetMaxROICount(), count);
        EXPECT_EQ(regions.GetMultiROIType(), count == 8 ? 0 : 2) << count;
        EXPECT_EQ(regions.GetMaxROICountH(), count == 16 ? 4 : count == 4 ? 2 : 1) << count;
        camera.CameraClose();
    }
}

TEST_F(CCameraTest, DefectPixelsGoToTheDriver) {
    mDriver.Describe(16, 2, 0xFFFF);
    Open();
    EXPECT_EQ(mCamera.GetEnableDefectPixelCorrectionCount(), 0xFFFFU);
    EXPECT_TRUE(mDriver.Log().empty());
    EXPECT_TRUE(mCamera.SetEnableDefectPixelCorrectionPosition(1, 2, 3));
    ASSERT_EQ(mDriver.Log().size(), 1U);
    EXPECT_EQ(mDriver.Log()[0].number, kSetDefectPixel);
    EXPECT_EQ(mDriver.Log()[0].sent, (std::vector<std::uint8_t>{3, 1, 0, 2, 0}));
    mDriver.FailNth(0, {-1, EINVAL, false});
    EXPECT_FALSE(mCamera.SetEnableDefectPixelCorrectionPosition(1, 2, 3));
}

TEST_F(CCameraTest, WhiteBalanceGainLimitsAre640) {
    unsigned short r = 0;
    unsigned short gr = 0;
    unsigned short gb = 0;
    unsigned short b = 0;
    mCamera.GetWhiteBalanceMaxGain(&r, &gr, &gb, &b);
    EXPECT_EQ(r, 640);
    EXPECT_EQ(gr, 640);
    EXPECT_EQ(gb, 640);
    EXPECT_EQ(b, 640);
}

TEST(CModuleFactory, KnowsItsTypes) {
    for (const unsigned long type : {0UL, 1UL, 15UL, 50UL, 63UL, 65UL, 0x100000040UL, ~0UL}) {
        EXPECT_EQ(CreateVekImageProc(type), nullptr) << type;
        DestroyVekImageProc(type, nullptr);
    }
    void* const first = CreateVekImageProc(0x40);
    void* const second = CreateVekImageProc(0x40);
    EXPECT_NE(first, nullptr);
    EXPECT_NE(first, second);
    DestroyVekImageProc(0x40, first);
    DestroyVekImageProc(0x40, second);
    DestroyVekImageProc(0x40, nullptr);
}

} // namespace vek::test
