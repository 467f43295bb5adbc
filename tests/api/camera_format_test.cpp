// SPDX-License-Identifier: Apache-2.0
// Transfer formats: pixel sizes, current colour array, pixel format values.
#include "api/VekTrgCamera.h"
#include "support/FakeDriver.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace vek::test {

namespace {

/// Bits of a pixel and the pixel format value for colour arrays 1..5, by transfer format code. GenICam Pixel
/// Format Naming Convention.
struct SFormat {
    unsigned bits;
    int pfnc[5];
};
constexpr SFormat kFormats[] = {
    {8, {0x01080001, 0x01080009, 0x01080008, 0x0108000A, 0x0108000B}},
    {16, {0x01100003, 0x0110000D, 0x0110000C, 0x0110000E, 0x0110000F}},
    {0, {0, 0, 0, 0, 0}},
    {16, {0x01100005, 0x01100011, 0x01100010, 0x01100012, 0x01100013}},
    {0, {0, 0, 0, 0, 0}},
    {8, {0x01080001, 0x01080001, 0x01080001, 0x01080001, 0x01080001}},
    {16, {0x01100003, 0x01100003, 0x01100003, 0x01100003, 0x01100003}},
    {0, {0, 0, 0, 0, 0}},
    {16, {0x01100005, 0x01100005, 0x01100005, 0x01100005, 0x01100005}},
    {0, {0, 0, 0, 0, 0}},
    {24, {0x02180015, 0x02180015, 0x02180015, 0x02180015, 0x02180015}},
    {32, {0x02300019, 0x02300019, 0x02300019, 0x02300019, 0x02300019}},
    {12, {0x020C005A, 0x020C005A, 0x020C005A, 0x020C005A, 0x020C005A}},
    {16, {0x0210003B, 0x0210003B, 0x0210003B, 0x0210003B, 0x0210003B}},
    {24, {0x0218005B, 0x0218005B, 0x0218005B, 0x0218005B, 0x0218005B}},
    {12, {0, 0, 0, 0, 0}},
    {16, {0, 0, 0, 0, 0}},
    {24, {0, 0, 0, 0, 0}},
    {16, {0x01100025, 0, 0, 0, 0}},
    {16, {0x01100007, 0x0110002F, 0x0110002E, 0x01100030, 0x01100031}},
    {16, {0x01100025, 0x01100025, 0x01100025, 0x01100025, 0x01100025}},
    {16, {0x01100007, 0x01100007, 0x01100007, 0x01100007, 0x01100007}},
};

bool dependsOnColorArray(int format) {
    return format == 0 || format == 1 || format == 3 || format == 18 || format == 19;
}

int expectedPixelFormat(int format, int colorArray) {
    if (format < 0 || format > 21) {
        return 0;
    }
    if (!dependsOnColorArray(format)) {
        return kFormats[format].pfnc[0];
    }
    return colorArray >= 1 && colorArray <= 5 ? kFormats[format].pfnc[colorArray - 1] : 0;
}

int expectedColorArray(int format, int colorArray) {
    constexpr int ycrcb[] = {8, 6, 7, 11, 9, 10};
    return format >= 12 && format <= 17 ? ycrcb[format - 12] : colorArray;
}

class CCameraFormat : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(mCamera.CameraOpen(4));
        mDriver.ClearLog();
    }
    void TearDown() override { mCamera.CameraClose(); }
    void Set(std::int32_t format, std::int32_t colorArray) {
        mDriver.mControls[kCidTransferFormat] = format;
        mDriver.mControls[kCidColorArray] = colorArray;
        mDriver.ClearLog();
    }

    CFakeDriver mDriver;
    CVekTrgCamera mCamera;
};

} // namespace

TEST_F(CCameraFormat, BitsOfEveryCode) {
    for (unsigned long code = 0; code <= 300; ++code) {
        EXPECT_EQ(mCamera.GetBitsPerPixel(code), code <= 21 ? kFormats[code].bits : 0U) << code;
        EXPECT_EQ(VekTransferFormatBits(code), code <= 21 ? kFormats[code].bits : 0U) << code;
    }
    for (const unsigned long code : {0x100000000UL, 0x10000000AUL, 0x8000000000000000UL, ~0UL}) {
        EXPECT_EQ(mCamera.GetBitsPerPixel(code), 0U) << code;
        EXPECT_EQ(VekTransferFormatBits(code), 0U) << code;
    }
    EXPECT_TRUE(mDriver.Log().empty());
}

TEST_F(CCameraFormat, EveryFormatAndColorArray) {
    for (int format = 0; format <= 25; ++format) {
        for (int colorArray = 0; colorArray <= 13; ++colorArray) {
            Set(format, colorArray);
            EXPECT_EQ(mCamera.GetCurrentColorArray(), expectedColorArray(format, colorArray));
            EXPECT_EQ(mCamera.GetRawGenICamPixelFormat(), expectedPixelFormat(format, colorArray))
                << format << " " << colorArray;
            const auto code = static_cast<unsigned long>(format);
            const auto sensor = static_cast<unsigned short>(colorArray);
            EXPECT_EQ(VekTransferColorArray(code, sensor), expectedColorArray(format, colorArray));
            EXPECT_EQ(VekTransferPixelFormat(code, sensor), expectedPixelFormat(format, colorArray));
        }
    }
}

TEST_F(CCameraFormat, ColorArrayKeepsItsLow16Bits) {
    Set(0, 0x10002);
    EXPECT_EQ(mCamera.GetCurrentColorArray(), 2U);
    EXPECT_EQ(mCamera.GetRawGenICamPixelFormat(), 0x01080009);
    Set(0, -1);
    EXPECT_EQ(mCamera.GetCurrentColorArray(), 0xFFFFU);
    EXPECT_EQ(mCamera.GetRawGenICamPixelFormat(), 0);
}

TEST_F(CCameraFormat, NegativeFormatIsUnknown) {
    for (const std::int32_t format : {-1, INT32_MIN, -4, INT32_MAX, 256, 0x1000D}) {
        Set(format, 3);
        EXPECT_EQ(mCamera.GetCurrentColorArray(), 3U) << format;
        EXPECT_EQ(mCamera.GetRawGenICamPixelFormat(), 0) << format;
    }
}

TEST_F(CCameraFormat, ColorArrayAsksForTwoValues) {
    Set(13, 2);
    EXPECT_EQ(mCamera.GetCurrentColorArray(), 6U);
    ASSERT_EQ(mDriver.Log().size(), 2U);
    EXPECT_EQ(mDriver.Log()[0].Id(), kCidColorArray);
    EXPECT_EQ(mDriver.Log()[1].Id(), kCidTransferFormat);
}

// Both values are asked for anew: the colour array first, then the format, once or for each of its two uses.
TEST_F(CCameraFormat, PixelFormatAsksForBothValuesEachTime) {
    Set(0, 2);
    EXPECT_EQ(mCamera.GetRawGenICamPixelFormat(), 0x01080009);
    const std::size_t requests = mDriver.Log().size();
    ASSERT_GE(requests, 2U);
    ASSERT_LE(requests, 3U);
    EXPECT_EQ(mDriver.Log()[0].Id(), kCidColorArray);
    EXPECT_EQ(mDriver.Log()[1].Id(), kCidTransferFormat);
    EXPECT_EQ(mDriver.Log().back().Id(), kCidTransferFormat);
    RecordProperty("requests", static_cast<int>(requests));
    mDriver.mControls[kCidColorArray] = 5;
    EXPECT_EQ(mCamera.GetRawGenICamPixelFormat(), 0x0108000B);
    EXPECT_EQ(mDriver.Log().size(), 2 * requests);
}

TEST_F(CCameraFormat, FailedReadsCountAsZero) {
    Set(13, 2);
    mDriver.FailAll({-1, EIO, false});
    EXPECT_EQ(mCamera.GetCurrentColorArray(), 0U);
    EXPECT_EQ(mCamera.GetRawGenICamPixelFormat(), 0); // raw 8 bit, but no colour array
}

} // namespace vek::test
