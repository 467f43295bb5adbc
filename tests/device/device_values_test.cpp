// SPDX-License-Identifier: Apache-2.0
// The single control reads: one request each, sign extension, failures that still give the value field.
#include "device/DeviceControl.h"
#include "support/FakeDriver.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace vek::test {

namespace {

struct SValue {
    const char* name;
    std::uint32_t id;
    long (CDeviceControl::*read)() const;
};

constexpr SValue kValues[] = {
    {"ImageWidth", 0x08000400, &CDeviceControl::ImageWidth},
    {"ImageHeight", 0x08000401, &CDeviceControl::ImageHeight},
    {"TotalHClock", 0x08000402, &CDeviceControl::TotalHClock},
    {"TotalVLine", 0x08000403, &CDeviceControl::TotalVLine},
    {"GetClock", 0x08000404, &CDeviceControl::GetClock},
    {"GetMaxShortExposureClock", 0x0800000D, &CDeviceControl::GetMaxShortExposureClock},
    {"GetVBlank", 0x0800000C, &CDeviceControl::GetVBlank},
    {"GetTransferBitsPerPixel", 0x08000001, &CDeviceControl::GetTransferBitsPerPixel},
    {"GetCurrentRawImageSize", 0x08000406, &CDeviceControl::GetCurrentRawImageSize},
};

class CDeviceValues : public ::testing::TestWithParam<SValue> {
protected:
    void SetUp() override {
        ASSERT_TRUE(mDevice.Open(5));
        mDriver.ClearLog();
    }
    long Read() { return (mDevice.*GetParam().read)(); }

    CFakeDriver mDriver;
    CDeviceControl mDevice;
};

} // namespace

TEST_P(CDeviceValues, IsOneControlRead) {
    mDriver.mControls[GetParam().id] = 1000;
    EXPECT_EQ(Read(), 1000);
    ASSERT_EQ(mDriver.Log().size(), 1U);
    const SRequest& request = mDriver.Log()[0];
    EXPECT_EQ(request.number, kGetControl);
    EXPECT_EQ(request.fd, 5);
    ASSERT_EQ(request.sent.size(), 8U);
    EXPECT_EQ(request.Id(), GetParam().id);
    EXPECT_EQ(request.Value(), 0U);
}

TEST_P(CDeviceValues, IsSignExtended) {
    for (const std::int32_t value : {-1, INT32_MIN, INT32_MAX, 0x10000, -65536}) {
        mDriver.mControls[GetParam().id] = value;
        EXPECT_EQ(Read(), long{value});
    }
}

TEST_P(CDeviceValues, IsAskedAnewEachTime) {
    for (std::int32_t value = 1; value <= 3; ++value) {
        mDriver.mControls[GetParam().id] = value;
        EXPECT_EQ(Read(), value);
    }
    EXPECT_EQ(mDriver.Log().size(), 3U);
}

TEST_P(CDeviceValues, FailureGivesTheValueField) {
    mDriver.mControls[GetParam().id] = -5;
    for (const int error : {EINTR, EAGAIN, EBUSY, EINVAL, EIO, ENODEV}) {
        mDriver.ClearLog();
        EXPECT_EQ(Read(), -5); // a good read before must not linger
        mDriver.FailNth(0, {-1, error, false});
        EXPECT_EQ(Read(), 0);
        mDriver.FailNth(0, {-1, error, true});
        EXPECT_EQ(Read(), -5);
        EXPECT_EQ(mDriver.Log().size(), 3U); // never repeated
    }
}

INSTANTIATE_TEST_SUITE_P(Controls, CDeviceValues, ::testing::ValuesIn(kValues),
                         [](const auto& value) { return std::string(value.param.name); });

TEST(CDeviceColorArray, IsSigned32Bits) {
    CFakeDriver driver;
    CDeviceControl device;
    ASSERT_TRUE(device.Open(5));
    driver.ClearLog();
    for (const std::int32_t value : {1, 5, -1, INT32_MIN, 0x10002}) {
        driver.mControls[0x08000000] = value;
        EXPECT_EQ(device.GetColorArray(), value);
    }
    ASSERT_EQ(driver.Log().size(), 5U);
    EXPECT_EQ(driver.Log()[4].number, kGetControl);
    EXPECT_EQ(driver.Log()[4].Id(), 0x08000000U);
    driver.FailAll({-1, EIO, false});
    EXPECT_EQ(device.GetColorArray(), 0);
}

TEST(CDeviceBinning, HorizontalThenVerticalCutTo8Bits) {
    CFakeDriver driver;
    CDeviceControl device;
    ASSERT_TRUE(device.Open(5));
    driver.ClearLog();
    driver.mControls[0x08000407] = 0x102;
    driver.mControls[0x08000408] = -1;
    unsigned char h = 9;
    unsigned char v = 9;
    EXPECT_TRUE(device.GetBinning(&h, &v));
    EXPECT_EQ(h, 2);
    EXPECT_EQ(v, 255);
    ASSERT_EQ(driver.Log().size(), 2U);
    EXPECT_EQ(driver.Log()[0].Id(), 0x08000407U);
    EXPECT_EQ(driver.Log()[1].Id(), 0x08000408U);
    EXPECT_EQ(driver.Log()[1].Value(), 0U);

    driver.FailNth(0, {-1, EIO, false});
    EXPECT_TRUE(device.GetBinning(&h, &v));
    EXPECT_EQ(h, 0);
    EXPECT_EQ(v, 255);
    driver.FailAll({-1, EIO, false});
    EXPECT_TRUE(device.GetBinning(&h, &v));
    EXPECT_EQ(v, 0);
    EXPECT_EQ(driver.Log().size(), 6U);
}

TEST(CDeviceUnopened, AsksOnNoDescriptor) {
    CFakeDriver driver;
    CDeviceControl device;
    EXPECT_EQ(device.ImageWidth(), 0);
    ASSERT_EQ(driver.Log().size(), 1U);
    EXPECT_EQ(driver.Log()[0].fd, -1);
}

} // namespace vek::test
