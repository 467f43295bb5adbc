// SPDX-License-Identifier: Apache-2.0
// Noise reduction through the public header: refusals, argument widths, and random calls against the model.
#include "imageproc/NoiseReduction/NoiseReductionCheck.h"
#include "support/HandleTest.h"
#include "support/SampleVectors.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace vek::test {

namespace {

class CNoiseReductionExports : public CHandleTest {
protected:
    int Run(unsigned long mode, void* image, int bits, int colorArray = 1) {
        return VekCam_NoiseReduction(mHandle, mode, 3, 3, 0, colorArray, image, bits);
    }
};

const Bytes kSpot = {1, 1, 1, 1, 9, 1, 1, 1, 1};

} // namespace

TEST_F(CNoiseReductionExports, NullHandle) {
    Bytes image = kSpot;
    for (const unsigned long mode : {0UL, 1UL, 2UL, VEK_NOISE_STORE_DARK, 3UL}) {
        EXPECT_EQ(VekCam_NoiseReduction(nullptr, mode, 3, 3, 3, 1, image.data(), 8), -22);
        EXPECT_EQ(VekCam_NoiseReduction(nullptr, mode, 0, 0, 0, 0, nullptr, 0), -22);
    }
    // Memory that runs out is no success without a handle.
    EXPECT_EQ(VekCam_NoiseReduction(nullptr, VEK_NOISE_EASY, 4, 4, 1UL << 62, 1, image.data(), 8), -22);
    EXPECT_EQ(image, kSpot);
}

TEST_F(CNoiseReductionExports, ModeValues) {
    EXPECT_EQ(VEK_NOISE_OFF, 0);
    EXPECT_EQ(VEK_NOISE_EASY, 1);
    EXPECT_EQ(VEK_NOISE_COMPLEX, 2);
    EXPECT_EQ(VEK_NOISE_STORE_DARK, 0x80000000UL);
}

TEST_F(CNoiseReductionExports, OffTouchesNothing) {
    for (const int colorArray : {0, 1, 2, 77, -1}) {
        for (const int bits : {0, 8, 10, 65536, -1}) {
            EXPECT_EQ(VekCam_NoiseReduction(mHandle, VEK_NOISE_OFF, ~0UL, ~0UL, 1, colorArray, nullptr, bits), 0);
        }
    }
}

// The mode is a whole 64-bit number.
TEST_F(CNoiseReductionExports, UnknownModes) {
    Bytes image = kSpot;
    for (const unsigned long mode :
         {3UL, 255UL, 0x100000000UL, 0x100000001UL, 0x100000002UL, 0x180000000UL, 0xFFFFFFFF80000000UL, ~0UL}) {
        EXPECT_EQ(Run(mode, image.data(), 8), -22) << mode;
        EXPECT_EQ(Run(mode, nullptr, 10), -22) << mode;
        EXPECT_EQ(VekCam_NoiseReduction(mHandle, mode, 0, 0, 0, 1, nullptr, 8), -22) << mode;
    }
    EXPECT_EQ(image, kSpot);
    EXPECT_EQ(Run(VEK_NOISE_COMPLEX, image.data(), 8), -22); // none of them has stored a dark frame
}

TEST_F(CNoiseReductionExports, ComplexWithoutADarkFrame) {
    Bytes image = kSpot;
    EXPECT_EQ(Run(VEK_NOISE_COMPLEX, image.data(), 8), -22);
    EXPECT_EQ(Run(VEK_NOISE_COMPLEX, nullptr, 8), -22);
    EXPECT_EQ(VekCam_NoiseReduction(mHandle, VEK_NOISE_COMPLEX, 0, 0, 0, 0, nullptr, 8), -22);
    EXPECT_EQ(image, kSpot);
}

TEST_F(CNoiseReductionExports, NullImage) {
    for (const int bits : {8, 10}) {
        EXPECT_EQ(Run(VEK_NOISE_EASY, nullptr, bits), -22);
        EXPECT_EQ(Run(VEK_NOISE_STORE_DARK, nullptr, bits), -22);
        EXPECT_EQ(Run(VEK_NOISE_COMPLEX, nullptr, bits), -22);
    }
    Bytes image = kSpot;
    EXPECT_EQ(Run(VEK_NOISE_STORE_DARK, image.data(), 8), 0);
    EXPECT_EQ(Run(VEK_NOISE_COMPLEX, nullptr, 8), -22);
    EXPECT_EQ(Run(VEK_NOISE_COMPLEX, image.data(), 8), 0);
}

// Bytes up to 8 bits, words from 9 on: nine words of which the middle one stands out.
TEST_F(CNoiseReductionExports, BitsChooseTheSampleWidth) {
    for (const int bits : {1, 2, 7, 8}) {
        Bytes image = kSpot;
        image.resize(18, 77);
        EXPECT_EQ(Run(VEK_NOISE_EASY, image.data(), bits), 0) << bits;
        Bytes expected(9, 1);
        expected.resize(18, 77);
        EXPECT_EQ(image, expected) << bits;
    }
    for (const int bits : {9, 10, 12, 14, 16}) {
        Words image = {1, 1, 1, 1, 300, 1, 1, 1, 1};
        EXPECT_EQ(Run(VEK_NOISE_EASY, image.data(), bits), 0) << bits;
        EXPECT_EQ(image, Words(9, 1)) << bits;
    }
}

// The easy filter and the store take no depth: with a pitch of its own, 0 bits are bytes like any other.
TEST_F(CNoiseReductionExports, ZeroBits) {
    Bytes image = kSpot;
    EXPECT_EQ(VekCam_NoiseReduction(mHandle, VEK_NOISE_EASY, 3, 3, 3, 1, image.data(), 0), 0);
    EXPECT_EQ(image, Bytes(9, 1));
    // Without one the rows have no length.
    image = kSpot;
    EXPECT_EQ(Run(VEK_NOISE_EASY, image.data(), 0), -22);
    EXPECT_EQ(image, kSpot);
}

// Derived rows of more than 16 bits have three bytes a pixel.
TEST_F(CNoiseReductionExports, DerivedPitchBeyondSixteenBits) {
    Words image = {1, 9, 77, 77, 77, 77, 1, 1};
    // Two pixels a row: 2 x 3 bytes, the second row begins at word 3.
    EXPECT_EQ(VekCam_NoiseReduction(mHandle, VEK_NOISE_EASY, 2, 2, 0, 1, image.data(), 17), 0);
    EXPECT_EQ(image, (Words{1, 9, 77, 77, 77, 77, 1, 1})); // 9 beside 1 and above 77: the median is 9
    image = {1, 900, 77, 1, 77, 77, 1, 1};
    EXPECT_EQ(VekCam_NoiseReduction(mHandle, VEK_NOISE_EASY, 2, 2, 0, 1, image.data(), 24), 0);
    EXPECT_EQ(image, (Words{1, 77, 77, 1, 77, 77, 1, 1}));
}

// The depth's low 16 bits count: 65544 is 8, 65546 is 10, -65528 is 8.
TEST_F(CNoiseReductionExports, BitsAreCutToSixteen) {
    for (const int bits : {0x10008, 0x7FFF0008, -65528}) {
        Bytes image = kSpot;
        EXPECT_EQ(Run(VEK_NOISE_EASY, image.data(), bits), 0) << bits;
        EXPECT_EQ(image, Bytes(9, 1)) << bits;
    }
    for (const int bits : {0x1000A, -65526}) {
        Words image = {1, 1, 1, 1, 300, 1, 1, 1, 1};
        EXPECT_EQ(Run(VEK_NOISE_EASY, image.data(), bits), 0) << bits;
        EXPECT_EQ(image, Words(9, 1)) << bits;
    }
}

// -1 is 65535 bits, words.
TEST_F(CNoiseReductionExports, NegativeBitsAreWords) {
    Words image = {1, 1, 1, 1, 300, 1, 1, 1, 1};
    EXPECT_EQ(VekCam_NoiseReduction(mHandle, VEK_NOISE_EASY, 3, 3, 6, 1, image.data(), -1), 0);
    EXPECT_EQ(image, Words(9, 1));
}

// The colour array's low 16 bits count.
TEST_F(CNoiseReductionExports, ColorArrayIsCutToSixteen) {
    for (const int colorArray : {0x10001, -65535, 0x7FFF0001}) {
        Bytes image = kSpot;
        EXPECT_EQ(Run(VEK_NOISE_EASY, image.data(), 8, colorArray), 0) << colorArray;
        EXPECT_EQ(image, Bytes(9, 1)) << colorArray;
    }
    for (const int colorArray : {0, 6, 11, 0x101, -1, 0x10000, -65536}) {
        Bytes image = kSpot;
        EXPECT_EQ(Run(VEK_NOISE_EASY, image.data(), 8, colorArray), -22) << colorArray;
        EXPECT_EQ(image, kSpot) << colorArray;
    }
    // And a dark frame's is the cut one.
    Bytes image = kSpot;
    EXPECT_EQ(Run(VEK_NOISE_STORE_DARK, image.data(), 8, 0x50001), 0);
    EXPECT_EQ(Run(VEK_NOISE_COMPLEX, image.data(), 8, 1), 0);
    EXPECT_EQ(Run(VEK_NOISE_COMPLEX, image.data(), 8, 0x101), -22);
}

TEST_F(CNoiseReductionExports, SizesOfTheEasyFilter) {
    Bytes image(64, 3);
    image[9] = 200;
    const Bytes before = image;
    for (const int colorArray : {2, 3, 4, 5}) {
        for (const unsigned long side : {0UL, 1UL, 2UL, 3UL}) {
            EXPECT_EQ(VekCam_NoiseReduction(mHandle, VEK_NOISE_EASY, side, 8, 8, colorArray, image.data(), 8), -22);
            EXPECT_EQ(VekCam_NoiseReduction(mHandle, VEK_NOISE_EASY, 8, side, 8, colorArray, image.data(), 8), -22);
        }
    }
    EXPECT_EQ(VekCam_NoiseReduction(mHandle, VEK_NOISE_EASY, 1, 8, 8, 1, image.data(), 8), -22);
    EXPECT_EQ(VekCam_NoiseReduction(mHandle, VEK_NOISE_EASY, 8, 1, 8, 1, image.data(), 8), -22);
    EXPECT_EQ(image, before);
    // Odd ones are as good as even ones.
    for (const int colorArray : {2, 3, 4, 5}) {
        for (const auto& [width, height] : {std::pair{7UL, 8UL}, std::pair{8UL, 7UL}, std::pair{5UL, 5UL}}) {
            Bytes odd(64, 3);
            odd[2 * 8 + 2] = 200;
            EXPECT_EQ(VekCam_NoiseReduction(mHandle, VEK_NOISE_EASY, width, height, 8, colorArray, odd.data(), 8), 0);
            EXPECT_EQ(odd, Bytes(64, 3));
        }
    }
}

TEST_F(CNoiseReductionExports, ShortPitch) {
    Words image(32, 5);
    for (const unsigned long mode : {1UL, 2UL, VEK_NOISE_STORE_DARK}) {
        EXPECT_EQ(VekCam_NoiseReduction(mHandle, mode, 4, 4, 3, 1, image.data(), 8), -22);
        EXPECT_EQ(VekCam_NoiseReduction(mHandle, mode, 4, 4, 6, 1, image.data(), 10), -22);
    }
    EXPECT_EQ(image, Words(32, 5));
}

// Memory that runs out: no failure of the easy filter, -12 from the store, which has dropped the frame before.
TEST_F(CNoiseReductionExports, MemoryRunsOut) {
    Bytes image = kSpot;
    EXPECT_EQ(Run(VEK_NOISE_STORE_DARK, image.data(), 8), 0);
    EXPECT_EQ(VekCam_NoiseReduction(mHandle, VEK_NOISE_EASY, 4, 4, 1UL << 62, 1, image.data(), 8), 0);
    EXPECT_EQ(VekCam_NoiseReduction(mHandle, VEK_NOISE_EASY, 4, 4, 1UL << 61, 1, image.data(), 8), 0);
    EXPECT_EQ(Run(VEK_NOISE_COMPLEX, image.data(), 8), 0);
    EXPECT_EQ(VekCam_NoiseReduction(mHandle, VEK_NOISE_STORE_DARK, 4, 4, 1UL << 62, 1, image.data(), 8), -12);
    EXPECT_EQ(Run(VEK_NOISE_COMPLEX, image.data(), 8), -22);
    EXPECT_EQ(Run(VEK_NOISE_STORE_DARK, image.data(), 8), 0);
    EXPECT_EQ(VekCam_NoiseReduction(mHandle, VEK_NOISE_STORE_DARK, 4, 2, 1UL << 62, 1, image.data(), 10), -12);
    EXPECT_EQ(Run(VEK_NOISE_COMPLEX, image.data(), 8), -22);
}

// A clipped pixel: 255 - 5 = 250, around it 255.
TEST_F(CNoiseReductionExports, DarkFrameAndRepair) {
    Bytes dark(16, 0);
    dark[5] = 5;
    dark[6] = 7;
    EXPECT_EQ(VekCam_NoiseReduction(mHandle, VEK_NOISE_STORE_DARK, 4, 4, 4, 1, dark.data(), 8), 0);
    EXPECT_EQ(dark[5], 5);
    Bytes live(16, 255);
    live[6] = 100;
    Bytes expected(16, 255);
    expected[6] = 93;
    EXPECT_EQ(VekCam_NoiseReduction(mHandle, VEK_NOISE_COMPLEX, 4, 4, 0, 1, live.data(), 8), 0);
    EXPECT_EQ(live, expected);
}

TEST_F(CNoiseReductionExports, RefusedRepairHasSubtracted) {
    Bytes dark = {0, 3, 3};
    EXPECT_EQ(VekCam_NoiseReduction(mHandle, VEK_NOISE_STORE_DARK, 3, 1, 0, 6, dark.data(), 8), 0);
    Bytes live = {9, 9, 2};
    EXPECT_EQ(VekCam_NoiseReduction(mHandle, VEK_NOISE_COMPLEX, 3, 1, 0, 6, live.data(), 8), -22);
    EXPECT_EQ(live, (Bytes{9, 6, 0}));
}

TEST_F(CNoiseReductionExports, HandlesShareNothing) {
    const VekCam_Handle other = VekCam_Open(-1);
    Bytes image = kSpot;
    EXPECT_EQ(VekCam_NoiseReduction(other, VEK_NOISE_STORE_DARK, 3, 3, 3, 1, image.data(), 8), 0);
    EXPECT_EQ(Run(VEK_NOISE_COMPLEX, image.data(), 8), -22);
    VekCam_Close(other);
    EXPECT_EQ(Run(VEK_NOISE_COMPLEX, image.data(), 8), -22);
    EXPECT_EQ(image, kSpot);
}

TEST_F(CNoiseReductionExports, RandomCalls) {
    CNoiseReductionCheck check(1UL << 14);
    CRandom& random = check.Random();
    const auto call = [this](const SNoiseCall& c, auto* image) {
        return VekCam_NoiseReduction(mHandle, c.mode, c.width, c.height, c.pitch, c.colorArray, image, c.bits);
    };
    constexpr unsigned long sizes[][2] = {{4, 4}, {8, 6}, {6, 8}, {5, 7}, {34, 4}};
    for (int round = 0; round < 10000; ++round) {
        constexpr unsigned long modes[] = {0, 1, 1, 2, 2, 2, kNoiseStore, 5};
        const auto& size = sizes[random.Below(random.Below(3) == 0 ? 5 : 2)];
        SNoiseCall c{size[0], size[1], 0, static_cast<unsigned short>(1 + random.Below(6)), 8, modes[random.Below(8)]};
        if (random.Below(3) != 0) {
            c.colorArray = static_cast<unsigned short>(1 + random.Below(2));
        }
        const Flush flush = random.Below(2) == 0 ? Flush::Left : Flush::Right;
        if (random.Below(2) == 0) {
            c.pitch = random.Below(2) == 0 ? 0 : c.width + random.Below(3);
            c.bits = static_cast<unsigned short>(1 + random.Below(8));
            ASSERT_TRUE(check.Run<std::uint8_t>(c, flush, c.mode == kNoiseStore ? 4 : c.bits, call)) << round;
        } else {
            c.pitch = random.Below(2) == 0 ? 0 : 2 * (c.width + random.Below(3));
            c.bits = static_cast<unsigned short>(9 + random.Below(8));
            ASSERT_TRUE(check.Run<std::uint16_t>(c, flush, c.mode == kNoiseStore ? 6 : c.bits, call)) << round;
        }
    }
}

} // namespace vek::test
