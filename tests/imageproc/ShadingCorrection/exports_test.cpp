// SPDX-License-Identifier: Apache-2.0
// Shading correction through the public header: refusals, argument widths, and random frames against the model.
#include "imageproc/ShadingCorrection/ShadingCheck.h"
#include "support/HandleTest.h"
#include "support/SampleVectors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace vek::test {

namespace {

class CShadingExports : public CHandleTest {
protected:
    void SetMode(unsigned long mode) { EXPECT_EQ(VekCam_SetShadingCorrectionMode(mHandle, mode), 0); }
    void SetTarget(int target) { EXPECT_EQ(VekCam_SetShadingCorrectionTarget(mHandle, target), 0); }
    unsigned long Mode() {
        unsigned long mode = 99;
        EXPECT_EQ(VekCam_GetShadingCorrectionMode(mHandle, &mode), 0);
        return mode;
    }
    int Target() {
        unsigned short target = 99;
        EXPECT_EQ(VekCam_GetShadingCorrectionTarget(mHandle, &target), 0);
        return target;
    }
    int Run(void* image, unsigned long width, int bits) {
        return VekCam_ShadingCorrection(mHandle, width, 1, 0, image, bits);
    }
    /// A map of gains of 2.
    void CalibrateToDouble(unsigned long width) {
        SetTarget(100);
        SetMode(VEK_SHADING_CALIBRATE_GAIN);
        Bytes image(width, 50);
        EXPECT_EQ(Run(image.data(), width, 8), 0);
        EXPECT_EQ(image, Bytes(width, 50));
        SetMode(VEK_SHADING_GAIN);
    }
};

} // namespace

TEST_F(CShadingExports, NullHandle) {
    unsigned long mode = 99;
    unsigned short target = 99;
    std::uint8_t image[4] = {1, 2, 3, 4};
    EXPECT_EQ(VekCam_SetShadingCorrectionMode(nullptr, 0), -22);
    EXPECT_EQ(VekCam_GetShadingCorrectionMode(nullptr, &mode), -22);
    EXPECT_EQ(VekCam_GetShadingCorrectionMode(nullptr, nullptr), -22);
    EXPECT_EQ(VekCam_SetShadingCorrectionTarget(nullptr, 5), -22);
    EXPECT_EQ(VekCam_GetShadingCorrectionTarget(nullptr, &target), -22);
    EXPECT_EQ(VekCam_GetShadingCorrectionTarget(nullptr, nullptr), -22);
    EXPECT_EQ(VekCam_ShadingCorrection(nullptr, 4, 1, 4, image, 8), -22);
    EXPECT_EQ(VekCam_ShadingCorrection(nullptr, 0, 0, 0, nullptr, 0), -22);
    EXPECT_EQ(mode, 99U);
    EXPECT_EQ(target, 99);
    EXPECT_EQ(image[0], 1);
}

TEST_F(CShadingExports, Defaults) {
    EXPECT_EQ(Mode(), 0U);
    EXPECT_EQ(Target(), 0);
}

TEST_F(CShadingExports, ModeValues) {
    EXPECT_EQ(VEK_SHADING_OFF, 0);
    EXPECT_EQ(VEK_SHADING_CALIBRATE_GAIN, 1);
    EXPECT_EQ(VEK_SHADING_GAIN, 2);
    EXPECT_EQ(VEK_SHADING_CALIBRATE_OFFSET, 3);
    EXPECT_EQ(VEK_SHADING_OFFSET, 4);
    EXPECT_EQ(VEK_SHADING_SHOW_MAP, 255);
}

// Modes are not judged; all 64 bits come back.
TEST_F(CShadingExports, ModesReadBack) {
    for (unsigned bit = 0; bit < 64; ++bit) {
        SetMode(1UL << bit);
        EXPECT_EQ(Mode(), 1UL << bit);
    }
    SetMode(~0UL);
    EXPECT_EQ(Mode(), ~0UL);
    EXPECT_EQ(VekCam_GetShadingCorrectionMode(mHandle, nullptr), 0);
}

// A target's low 16 bits count.
TEST_F(CShadingExports, TargetsAreCutToSixteen) {
    const int cases[][2] = {{0, 0},      {1, 1},      {65535, 65535}, {65536, 0},  {0x10005, 5},
                            {-1, 65535}, {-65536, 0}, {40000, 40000}, {-65531, 5}, {0x7FFF1234, 0x1234}};
    for (const auto& entry : cases) {
        SetTarget(entry[0]);
        EXPECT_EQ(Target(), entry[1]) << entry[0];
    }
    EXPECT_EQ(VekCam_GetShadingCorrectionTarget(mHandle, nullptr), -22);
    EXPECT_EQ(Target(), 0x1234);
}

// Bytes up to 8 bits, words from 9 on.
TEST_F(CShadingExports, BitsChooseTheSampleWidth) {
    CalibrateToDouble(4);
    Bytes bytes = {1, 2, 3, 100, 77, 77, 77, 77};
    EXPECT_EQ(Run(bytes.data(), 4, 8), 0);
    EXPECT_EQ(bytes, (Bytes{2, 4, 6, 200, 77, 77, 77, 77}));
    EXPECT_EQ(Run(bytes.data(), 4, 3), 0);
    EXPECT_EQ(bytes, (Bytes{4, 7, 7, 7, 77, 77, 77, 77}));
    for (const int bits : {9, 10, 12, 14, 16}) {
        Words words = {1, 2, 3, 200};
        EXPECT_EQ(Run(words.data(), 4, bits), 0);
        EXPECT_EQ(words, (Words{2, 4, 6, 400})) << bits;
    }
}

// The depth's low 16 bits count: 65544 is 8, -65524 is 12.
TEST_F(CShadingExports, BitsAreCutToSixteen) {
    CalibrateToDouble(4);
    for (const int bits : {0x10008, -65528}) {
        Bytes bytes = {1, 2, 3, 200, 77, 77, 77, 77};
        EXPECT_EQ(Run(bytes.data(), 4, bits), 0);
        EXPECT_EQ(bytes, (Bytes{2, 4, 6, 255, 77, 77, 77, 77})) << bits;
    }
    for (const int bits : {0x1000C, -65524}) {
        Words words = {1, 2, 3, 3000};
        EXPECT_EQ(Run(words.data(), 4, bits), 0);
        EXPECT_EQ(words, (Words{2, 4, 6, 4095})) << bits;
    }
}

// -1 is 65535 bits: words, and no harm.
TEST_F(CShadingExports, NegativeBitsStaySafe) {
    CalibrateToDouble(4);
    CGuardedBuffer<std::uint16_t> words(4, Flush::Right);
    std::fill_n(words.data(), 4, std::uint16_t{3});
    EXPECT_EQ(Run(words.data(), 4, -1), 0);
    SetMode(VEK_SHADING_CALIBRATE_OFFSET);
    EXPECT_EQ(Run(words.data(), 4, -1), 0);
    for (const unsigned long mode : {VEK_SHADING_GAIN, VEK_SHADING_OFFSET, VEK_SHADING_SHOW_MAP}) {
        SetMode(mode);
        EXPECT_EQ(Run(words.data(), 4, -1), 0);
    }
    EXPECT_TRUE(words.CanaryIntact());
}

// Nothing is touched in modes that do nothing, or before there is a map of the frame's size.
TEST_F(CShadingExports, NothingToDo) {
    for (const unsigned long mode : {0UL, 2UL, 4UL, 255UL, 5UL, 256UL, 0x100000001UL, ~0UL}) {
        SetMode(mode);
        EXPECT_EQ(VekCam_ShadingCorrection(mHandle, 4, 4, 0, nullptr, 8), 0);
        EXPECT_EQ(VekCam_ShadingCorrection(mHandle, ~0UL, ~0UL, 1, nullptr, 12), 0);
        EXPECT_EQ(VekCam_ShadingCorrection(mHandle, 0, 0, 0, nullptr, -1), 0);
    }
    CalibrateToDouble(4);
    Bytes bytes(4, 50);
    EXPECT_EQ(Run(bytes.data(), 4, 8), 0);
    EXPECT_EQ(VekCam_ShadingCorrection(mHandle, 5, 1, 0, nullptr, 8), 0);
    EXPECT_EQ(VekCam_ShadingCorrection(mHandle, 4, 2, 0, nullptr, 12), 0);
}

TEST_F(CShadingExports, NullImage) {
    for (const unsigned long mode : {VEK_SHADING_CALIBRATE_GAIN, VEK_SHADING_CALIBRATE_OFFSET}) {
        SetMode(mode);
        EXPECT_EQ(Run(nullptr, 4, 8), -22);
        EXPECT_EQ(Run(nullptr, 4, 12), -22);
    }
    CalibrateToDouble(4);
    EXPECT_EQ(Run(nullptr, 4, 8), -22);
    Bytes bytes(4, 50);
    EXPECT_EQ(Run(bytes.data(), 4, 8), 0);
    EXPECT_EQ(bytes, Bytes(4, 100));
    for (const unsigned long mode : {VEK_SHADING_GAIN, VEK_SHADING_OFFSET, VEK_SHADING_SHOW_MAP}) {
        SetMode(mode);
        EXPECT_EQ(Run(nullptr, 4, 8), -22);
        EXPECT_EQ(Run(nullptr, 4, 16), -22);
    }
}

// A calibration without memory is 1, and looks at no image.
TEST_F(CShadingExports, MemoryRunsOut) {
    for (const unsigned long mode : {VEK_SHADING_CALIBRATE_GAIN, VEK_SHADING_CALIBRATE_OFFSET}) {
        SetMode(mode);
        std::uint16_t word = 9;
        EXPECT_EQ(VekCam_ShadingCorrection(mHandle, 1UL << 31, 1UL << 31, 0, &word, 8), 1);
        EXPECT_EQ(VekCam_ShadingCorrection(mHandle, 1UL << 32, 1UL << 32, 0, &word, 12), 1);
        EXPECT_EQ(word, 9);
        SetMode(VEK_SHADING_GAIN);
        EXPECT_EQ(Run(&word, 1, 12), 0);
        EXPECT_EQ(word, 9);
    }
}

// 255 - 55: the target is 200, the frame 55 and 255.
TEST_F(CShadingExports, Offset) {
    SetTarget(200);
    SetMode(VEK_SHADING_CALIBRATE_OFFSET);
    Bytes image = {55, 255};
    EXPECT_EQ(Run(image.data(), 2, 8), 0);
    SetMode(VEK_SHADING_OFFSET);
    EXPECT_EQ(Run(image.data(), 2, 8), 0);
    EXPECT_EQ(image, (Bytes{200, 200}));
    image = {111, 54};
    EXPECT_EQ(Run(image.data(), 2, 8), 0);
    EXPECT_EQ(image, (Bytes{255, 0}));
}

// 100 x 128 / 50 = 256.
TEST_F(CShadingExports, ShownMap) {
    CalibrateToDouble(2);
    Words words = {7, 8};
    EXPECT_EQ(Run(words.data(), 2, 12), 0);
    EXPECT_EQ(words, (Words{14, 16}));
    SetMode(VEK_SHADING_SHOW_MAP);
    EXPECT_EQ(Run(words.data(), 2, 12), 0);
    EXPECT_EQ(words, (Words{256, 256}));
}

// Without a driver that answers the places of the 2 x 2 cell have targets of their own, as with a colour sensor.
TEST_F(CShadingExports, NoDriverCountsAsColor) {
    Bytes image = {100, 200, 100, 200};
    const Bytes before = image;
    SetMode(VEK_SHADING_CALIBRATE_GAIN);
    EXPECT_EQ(VekCam_ShadingCorrection(mHandle, 2, 2, 0, image.data(), 8), 0);
    SetMode(VEK_SHADING_GAIN);
    EXPECT_EQ(VekCam_ShadingCorrection(mHandle, 2, 2, 0, image.data(), 8), 0);
    EXPECT_EQ(image, before);
}

TEST_F(CShadingExports, HandlesShareNothing) {
    const VekCam_Handle other = VekCam_Open(-1);
    EXPECT_EQ(VekCam_SetShadingCorrectionMode(other, 2), 0);
    EXPECT_EQ(VekCam_SetShadingCorrectionTarget(other, 77), 0);
    EXPECT_EQ(Mode(), 0U);
    EXPECT_EQ(Target(), 0);
    CalibrateToDouble(2);
    Bytes image = {7, 8};
    EXPECT_EQ(VekCam_ShadingCorrection(other, 2, 1, 0, image.data(), 8), 0);
    EXPECT_EQ(image, (Bytes{7, 8}));
    VekCam_Close(other);
}

// Long mixed histories, all four targets set so that the camera's colours do not matter.
TEST_F(CShadingExports, RandomFrames) {
    CShadingCheck check(1UL << 14);
    CRandom& random = check.Random();
    const auto call = [this](const SShadingCall& c, auto* image) {
        return VekCam_ShadingCorrection(mHandle, c.width, c.height, c.pitch, image, c.bits);
    };
    const auto setTarget = [&](int target) {
        SetTarget(target);
        std::fill_n(check.Model().targets, 4, static_cast<std::uint16_t>(target));
    };
    setTarget(100);
    constexpr unsigned long sizes[][2] = {{4, 4}, {5, 3}, {33, 4}};
    for (int round = 0; round < 10000; ++round) {
        if (random.Below(4) == 0) {
            constexpr unsigned long modes[] = {0, 1, 1, 2, 2, 3, 3, 4, 4, 255, 6};
            const unsigned long mode = modes[random.Below(11)];
            SetMode(mode);
            modelSetShadingMode(&check.Model(), mode);
        }
        if (random.Below(8) == 0) {
            setTarget(static_cast<int>(1 + random.Below(random.Below(2) == 0 ? 255 : 65535)));
        }
        const auto& size = sizes[random.Below(random.Below(4) == 0 ? 3 : 1)];
        const Flush flush = random.Below(2) == 0 ? Flush::Left : Flush::Right;
        SShadingCall c{size[0], size[1], random.Below(3) == 0 ? 0 : 4 * size[0], 8};
        if (random.Below(2) == 0) {
            c.bits = static_cast<unsigned short>(1 + random.Below(8));
            ASSERT_TRUE(check.Run<std::uint8_t>(c, flush, 8, call)) << round;
        } else {
            c.bits = static_cast<unsigned short>(9 + random.Below(8));
            ASSERT_TRUE(check.Run<std::uint16_t>(c, flush, random.Below(2) == 0 ? c.bits : 8, call)) << round;
        }
        ASSERT_EQ(Mode(), check.Model().mode) << round;
        ASSERT_EQ(Target(), check.Model().targets[0]) << round;
    }
}

} // namespace vek::test
