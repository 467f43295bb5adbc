// SPDX-License-Identifier: Apache-2.0
// Chroma suppression through the public header: settings, and their effect on images that pass the colour matrix
// unchanged.
#include "VekTrgApi.h"
#include "imageproc/ChromaSuppress/ChromaSuppressModel.h"
#include "support/InPlaceCheck.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace vek::test {

namespace {

class CChromaSuppressExports : public ::testing::Test {
protected:
    CChromaSuppressExports() : mHandle(VekCam_Open(-1)) {}
    ~CChromaSuppressExports() override { VekCam_Close(mHandle); }

    VekCam_Handle mHandle;
};

} // namespace

TEST_F(CChromaSuppressExports, NullHandleTouchesNothing) {
    unsigned short level = 11;
    unsigned short slope = 12;
    EXPECT_EQ(VekCam_SetHighChromaSuppression(nullptr, 1, 2), -22);
    EXPECT_EQ(VekCam_SetLowChromaSuppression(nullptr, 1, 2), -22);
    EXPECT_EQ(VekCam_GetHighChromaSuppression(nullptr, &level, &slope), -22);
    EXPECT_EQ(VekCam_GetLowChromaSuppression(nullptr, &level, &slope), -22);
    EXPECT_EQ(VekCam_GetHighChromaSuppression(nullptr, nullptr, nullptr), -22);
    EXPECT_EQ(VekCam_GetLowChromaSuppression(nullptr, nullptr, nullptr), -22);
    EXPECT_EQ(level, 11);
    EXPECT_EQ(slope, 12);
}

TEST_F(CChromaSuppressExports, DefaultsOfANewHandle) {
    unsigned short level = 11;
    unsigned short slope = 12;
    EXPECT_EQ(VekCam_GetHighChromaSuppression(mHandle, &level, &slope), 0);
    EXPECT_EQ(level, 255);
    EXPECT_EQ(slope, 0);
    level = 11;
    slope = 12;
    EXPECT_EQ(VekCam_GetLowChromaSuppression(mHandle, &level, &slope), 0);
    EXPECT_EQ(level, 0);
    EXPECT_EQ(slope, 0);
}

// No value is checked, all 16 bits are kept, and the two parts do not mix.
TEST_F(CChromaSuppressExports, KeepWhatIsSet) {
    for (const unsigned value : {0U, 1U, 255U, 256U, 32768U, 65535U}) {
        const auto first = static_cast<unsigned short>(value);
        const auto second = static_cast<unsigned short>(65535 - value);
        EXPECT_EQ(VekCam_SetHighChromaSuppression(mHandle, first, second), 0);
        EXPECT_EQ(VekCam_SetLowChromaSuppression(mHandle, second, static_cast<unsigned short>(value ^ 0x5555)), 0);
        unsigned short read[4] = {1, 2, 3, 4};
        EXPECT_EQ(VekCam_GetHighChromaSuppression(mHandle, &read[0], &read[1]), 0);
        EXPECT_EQ(VekCam_GetLowChromaSuppression(mHandle, &read[2], &read[3]), 0);
        EXPECT_EQ(read[0], first);
        EXPECT_EQ(read[1], second);
        EXPECT_EQ(read[2], second);
        EXPECT_EQ(read[3], value ^ 0x5555);
    }
}

// Each output may be null on its own.
TEST_F(CChromaSuppressExports, NullOutputsAreSkipped) {
    ASSERT_EQ(VekCam_SetHighChromaSuppression(mHandle, 201, 1024), 0);
    ASSERT_EQ(VekCam_SetLowChromaSuppression(mHandle, 52, 100), 0);
    unsigned short value = 0;
    EXPECT_EQ(VekCam_GetHighChromaSuppression(mHandle, &value, nullptr), 0);
    EXPECT_EQ(value, 201);
    EXPECT_EQ(VekCam_GetHighChromaSuppression(mHandle, nullptr, &value), 0);
    EXPECT_EQ(value, 1024);
    EXPECT_EQ(VekCam_GetHighChromaSuppression(mHandle, nullptr, nullptr), 0);
    EXPECT_EQ(VekCam_GetLowChromaSuppression(mHandle, &value, nullptr), 0);
    EXPECT_EQ(value, 52);
    EXPECT_EQ(VekCam_GetLowChromaSuppression(mHandle, nullptr, &value), 0);
    EXPECT_EQ(value, 100);
    EXPECT_EQ(VekCam_GetLowChromaSuppression(mHandle, nullptr, nullptr), 0);
}

TEST_F(CChromaSuppressExports, HandlesShareNothing) {
    const VekCam_Handle other = VekCam_Open(-1);
    ASSERT_EQ(VekCam_SetHighChromaSuppression(mHandle, 1, 2), 0);
    unsigned short level = 0;
    unsigned short slope = 9;
    EXPECT_EQ(VekCam_GetHighChromaSuppression(other, &level, &slope), 0);
    EXPECT_EQ(level, 255);
    EXPECT_EQ(slope, 0);
    VekCam_Close(other);
}

// With the colour matrix off the image is what chroma suppression makes of it; the depth only chooses the samples.
TEST_F(CChromaSuppressExports, BytesAsModelled) {
    CInPlaceCheck<std::uint8_t> check(1UL << 14);
    for (unsigned turn = 0; turn < 300; ++turn) {
        CRandom& random = check.Random();
        const SChromaSuppressModel settings{
            static_cast<unsigned short>(random.Below(258)), static_cast<unsigned short>(random.Below(258)),
            static_cast<unsigned short>(random.Below(900)), static_cast<unsigned short>(random.Below(900))};
        ASSERT_EQ(VekCam_SetLowChromaSuppression(mHandle, settings.lowStart, settings.lowSlope), 0);
        ASSERT_EQ(VekCam_SetHighChromaSuppression(mHandle, settings.highStart, settings.highSlope), 0);
        const SInPlaceImage image{random.Below(40), random.Below(6), turn % 2 + 3, 0};
        const unsigned long format = image.samples == 3 ? VEK_DESTINATION_BGR24 : VEK_DESTINATION_BGRX32;
        const auto bits = static_cast<unsigned short>(turn % 9);
        ASSERT_TRUE(check.Run(
            image, 8, turn % 3 == 0 ? Flush::Left : Flush::Right,
            [&](std::uint8_t* samples) {
                return static_cast<unsigned long>(
                    VekCam_HueSaturationColorMatrix(mHandle, image.width, image.height, format, samples, bits));
            },
            [&](std::uint8_t* samples) {
                return modelChromaSuppress(settings, image.width, image.height, 0, format, samples);
            }));
    }
}

TEST_F(CChromaSuppressExports, WordsAsModelled) {
    CInPlaceCheck<std::uint16_t> check(1UL << 14);
    for (unsigned turn = 0; turn < 300; ++turn) {
        CRandom& random = check.Random();
        const SChromaSuppressModel settings{
            static_cast<unsigned short>(random.Below(4200)), static_cast<unsigned short>(random.Below(4200)),
            static_cast<unsigned short>(random.Below(99)), static_cast<unsigned short>(random.Below(99))};
        ASSERT_EQ(VekCam_SetLowChromaSuppression(mHandle, settings.lowStart, settings.lowSlope), 0);
        ASSERT_EQ(VekCam_SetHighChromaSuppression(mHandle, settings.highStart, settings.highSlope), 0);
        const SInPlaceImage image{random.Below(40), random.Below(6), turn % 2 + 3, 0};
        const unsigned long format = image.samples == 3 ? VEK_DESTINATION_BGR48 : VEK_DESTINATION_BGRX64;
        const auto bits = static_cast<unsigned short>(9 + turn % 8);
        ASSERT_TRUE(check.Run(
            image, turn % 5 == 0 ? 16 : 12, turn % 3 == 0 ? Flush::Left : Flush::Right,
            [&](std::uint16_t* samples) {
                return static_cast<unsigned long>(
                    VekCam_HueSaturationColorMatrix(mHandle, image.width, image.height, format, samples, bits));
            },
            [&](std::uint16_t* samples) {
                return modelChromaSuppress(settings, image.width, image.height, 0, format, samples);
            }));
    }
}

} // namespace vek::test
