// SPDX-License-Identifier: Apache-2.0
// Chroma suppression through the public header: settings, and their effect on images that pass the colour matrix
// unchanged.
#include "imageproc/ChromaSuppress/ChromaSuppressModel.h"
#include "support/HandleTest.h"
#include "support/InPlaceCheck.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>

namespace vek::test {

namespace {

/// Start level and slope of the high part, then of the low one.
using Settings = std::array<unsigned short, 4>;

class CChromaSuppressExports : public CHandleTest {
protected:
    static Settings Read(VekCam_Handle handle) {
        Settings s{1, 2, 3, 4};
        EXPECT_EQ(VekCam_GetHighChromaSuppression(handle, &s[0], &s[1]), 0);
        EXPECT_EQ(VekCam_GetLowChromaSuppression(handle, &s[2], &s[3]), 0);
        return s;
    }
    /// Settings with levels and slopes below these, on images whose depth and bits follow the turn. With the colour
    /// matrix off the image is what chroma suppression makes of it; bits only choose the samples.
    template <class T>
    void CheckModel(unsigned levels, unsigned slopes, unsigned (*depth)(unsigned), unsigned (*bits)(unsigned)) {
        CInPlaceCheck<T> check(1UL << 14);
        for (unsigned turn = 0; turn < 300; ++turn) {
            const auto below = [&](unsigned bound) { return static_cast<unsigned short>(check.Random().Below(bound)); };
            const SChromaSuppressModel settings{below(levels), below(levels), below(slopes), below(slopes)};
            ASSERT_EQ(VekCam_SetLowChromaSuppression(mHandle, settings.lowStart, settings.lowSlope), 0);
            ASSERT_EQ(VekCam_SetHighChromaSuppression(mHandle, settings.highStart, settings.highSlope), 0);
            const SInPlaceImage image{below(40), below(6), turn % 2 + 3, 0};
            const unsigned long format = (sizeof(T) == 1 ? 4UL : 256UL) * (image.samples - 2);
            ASSERT_TRUE(check.Run(
                image, depth(turn), turn % 3 == 0 ? Flush::Left : Flush::Right,
                [&](T* samples) {
                    return VekCam_HueSaturationColorMatrix(mHandle, image.width, image.height, format, samples,
                                                           static_cast<unsigned short>(bits(turn)));
                },
                [&](T* samples) { return modelChromaSuppress(settings, image, format, samples); }));
        }
    }
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
    EXPECT_EQ(Read(mHandle), (Settings{255, 0, 0, 0}));
}

// No value is checked, all 16 bits are kept, and the two parts do not mix.
TEST_F(CChromaSuppressExports, KeepWhatIsSet) {
    for (const unsigned value : {0U, 1U, 255U, 256U, 32768U, 65535U}) {
        const auto first = static_cast<unsigned short>(value);
        const auto second = static_cast<unsigned short>(65535 - value);
        EXPECT_EQ(VekCam_SetHighChromaSuppression(mHandle, first, second), 0);
        EXPECT_EQ(VekCam_SetLowChromaSuppression(mHandle, second, static_cast<unsigned short>(value ^ 0x5555)), 0);
        EXPECT_EQ(Read(mHandle), (Settings{first, second, second, static_cast<unsigned short>(value ^ 0x5555)}));
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
    EXPECT_EQ(Read(other), (Settings{255, 0, 0, 0}));
    VekCam_Close(other);
}

TEST_F(CChromaSuppressExports, BytesAsModelled) {
    CheckModel<std::uint8_t>(
        258, 900, [](unsigned) { return 8U; }, [](unsigned turn) { return turn % 9; });
}

TEST_F(CChromaSuppressExports, WordsAsModelled) {
    CheckModel<std::uint16_t>(
        4200, 99, [](unsigned turn) { return turn % 5 == 0 ? 16U : 12U; }, [](unsigned turn) { return 9 + turn % 8; });
}

} // namespace vek::test
