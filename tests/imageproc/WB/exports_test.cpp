// SPDX-License-Identifier: Apache-2.0
// White balance through the exported functions: refusals in their order, what passes untouched, and random images
// against the model.
#include "imageproc/WB/WhiteBalanceCheck.h"
#include "support/HandleTest.h"

#include <gtest/gtest.h>

#include <array>
#include <type_traits>
#include <vector>

namespace vek::test {

namespace {

// Widths of the arguments.
static_assert(std::is_same_v<decltype(VekCam_SetWhiteBalanceMode), int(VekCam_Handle, unsigned char)>);
static_assert(std::is_same_v<decltype(VekCam_GetWhiteBalanceMode), int(VekCam_Handle, unsigned char*)>);
static_assert(std::is_same_v<decltype(VekCam_SetWhiteBalanceGain),
                             int(VekCam_Handle, unsigned short, unsigned short, unsigned short, unsigned short)>);
static_assert(std::is_same_v<decltype(VekCam_GetWhiteBalanceGain),
                             int(VekCam_Handle, unsigned short*, unsigned short*, unsigned short*, unsigned short*)>);
static_assert(std::is_same_v<decltype(VekCam_GetWhiteBalanceMaxGain), decltype(VekCam_GetWhiteBalanceGain)>);
static_assert(std::is_same_v<decltype(VekCam_WhiteBalance), int(VekCam_Handle, unsigned long, unsigned long,
                                                                unsigned long, unsigned short, void*, unsigned short)>);

using Getter = decltype(&VekCam_GetWhiteBalanceGain);

class CWhiteBalanceExports : public CHandleTest {
protected:
    Gains Read(Getter getter = VekCam_GetWhiteBalanceGain) {
        Gains g{1, 2, 3, 4};
        EXPECT_EQ(getter(mHandle, &g[0], &g[1], &g[2], &g[3]), 0);
        return g;
    }
    int Mode() {
        unsigned char mode = 99;
        EXPECT_EQ(VekCam_GetWhiteBalanceMode(mHandle, &mode), 0);
        return mode;
    }
    void Set(unsigned char mode, const Gains& g) {
        EXPECT_EQ(VekCam_SetWhiteBalanceMode(mHandle, mode), 0);
        EXPECT_EQ(VekCam_SetWhiteBalanceGain(mHandle, g[0], g[1], g[2], g[3]), 0);
    }
    /// Neither size, colour array nor image is looked at.
    void ExpectNothingTouched() {
        for (const unsigned colorArray : {0U, 2U, 77U}) {
            for (const unsigned bits : {8U, 10U, 12U}) {
                EXPECT_EQ(VekCam_WhiteBalance(mHandle, ~0UL, ~0UL, 0, static_cast<unsigned short>(colorArray), nullptr,
                                              static_cast<unsigned short>(bits)),
                          0);
            }
        }
    }
    /// 4 x 2 pixels without padding.
    int Run(unsigned short colorArray, void* image, unsigned short bits) {
        return VekCam_WhiteBalance(mHandle, 4, 2, bits > 8 ? 8 : 4, colorArray, image, bits);
    }
};

} // namespace

TEST_F(CWhiteBalanceExports, NullHandle) {
    unsigned char mode = 99;
    Gains g{1, 2, 3, 4};
    unsigned char image[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(VekCam_SetWhiteBalanceMode(nullptr, 1), -22);
    EXPECT_EQ(VekCam_GetWhiteBalanceMode(nullptr, &mode), -22);
    EXPECT_EQ(VekCam_GetWhiteBalanceMode(nullptr, nullptr), -22);
    EXPECT_EQ(VekCam_SetWhiteBalanceGain(nullptr, 1, 2, 3, 4), -22);
    for (const Getter getter : {VekCam_GetWhiteBalanceGain, VekCam_GetWhiteBalanceMaxGain}) {
        EXPECT_EQ(getter(nullptr, &g[0], &g[1], &g[2], &g[3]), -22);
        EXPECT_EQ(getter(nullptr, nullptr, nullptr, nullptr, nullptr), -22);
    }
    EXPECT_EQ(VekCam_WhiteBalance(nullptr, 4, 2, 4, 2, image, 8), -22);
    EXPECT_EQ(VekCam_WhiteBalance(nullptr, 4, 2, 4, 1, image, 8), -22);
    EXPECT_EQ(VekCam_WhiteBalance(nullptr, 0, 0, 0, 1, nullptr, 8), -22);
    EXPECT_EQ(mode, 99);
    EXPECT_EQ(g, (Gains{1, 2, 3, 4}));
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(image[i], i + 1);
    }
}

TEST_F(CWhiteBalanceExports, Defaults) {
    EXPECT_EQ(Mode(), 0);
    EXPECT_EQ(Read(), (Gains{256, 128, 128, 217}));
}

TEST_F(CWhiteBalanceExports, SettingsReadBack) {
    for (unsigned mode = 0; mode <= 255; ++mode) {
        Set(static_cast<unsigned char>(mode), {0, 65535, static_cast<unsigned short>(mode), 1});
        EXPECT_EQ(Mode(), static_cast<int>(mode));
        EXPECT_EQ(Read(), (Gains{0, 65535, static_cast<unsigned short>(mode), 1}));
    }
}

// 5.0 for every colour, in every state; setting gains beyond is no error.
TEST_F(CWhiteBalanceExports, MaxGains) {
    EXPECT_EQ(Read(VekCam_GetWhiteBalanceMaxGain), (Gains{640, 640, 640, 640}));
    Set(2, {1000, 2000, 3000, 4000});
    EXPECT_EQ(Read(VekCam_GetWhiteBalanceMaxGain), (Gains{640, 640, 640, 640}));
    EXPECT_EQ(Read(), (Gains{1000, 2000, 3000, 4000}));
}

// Each of the outputs is needed; without one of them nothing is written.
TEST_F(CWhiteBalanceExports, NullOutputs) {
    EXPECT_EQ(VekCam_GetWhiteBalanceMode(mHandle, nullptr), -22);
    for (const Getter getter : {VekCam_GetWhiteBalanceGain, VekCam_GetWhiteBalanceMaxGain}) {
        for (unsigned missing = 1; missing < 16; ++missing) {
            Gains g{1, 2, 3, 4};
            const auto at = [&](unsigned i) { return (missing >> i & 1) != 0 ? nullptr : &g[i]; };
            EXPECT_EQ(getter(mHandle, at(0), at(1), at(2), at(3)), -22) << missing;
            EXPECT_EQ(g, (Gains{1, 2, 3, 4})) << missing;
        }
    }
}

// All depths but 8, 10 and 12 are refused: before mono passes, before mode 0 passes, before the image is looked at.
TEST_F(CWhiteBalanceExports, DepthsAreJudgedFirst) {
    for (const unsigned char mode : {std::uint8_t{0}, std::uint8_t{1}, std::uint8_t{2}, std::uint8_t{3}}) {
        Set(mode, {300, 200, 100, 50});
        for (unsigned bits = 0; bits <= 65535; bits += bits < 40 ? 1 : 8) {
            if (bits == 8 || bits == 10 || bits == 12) {
                continue;
            }
            for (const unsigned short colorArray : {std::uint16_t{0}, std::uint16_t{1}, std::uint16_t{2}}) {
                ASSERT_EQ(VekCam_WhiteBalance(mHandle, 4, 2, 0, colorArray, nullptr, static_cast<unsigned short>(bits)),
                          -22)
                    << bits;
                ASSERT_EQ(VekCam_WhiteBalance(mHandle, 0, 0, 0, colorArray, nullptr, static_cast<unsigned short>(bits)),
                          -22)
                    << bits;
            }
        }
        unsigned short image[8] = {1, 2, 3, 4, 5, 6, 7, 8};
        for (const unsigned short bits : {std::uint16_t{9}, std::uint16_t{11}, std::uint16_t{16}}) {
            EXPECT_EQ(Run(2, image, bits), -22);
            EXPECT_EQ(Run(1, image, bits), -22);
        }
        for (int i = 0; i < 8; ++i) {
            EXPECT_EQ(image[i], i + 1);
        }
        EXPECT_EQ(Mode(), mode);
        EXPECT_EQ(Read(), (Gains{300, 200, 100, 50}));
    }
}

// Mono passes in every mode; a one-shot balance is not used up by it.
TEST_F(CWhiteBalanceExports, MonoPasses) {
    for (const unsigned char mode :
         {std::uint8_t{0}, std::uint8_t{1}, std::uint8_t{2}, std::uint8_t{3}, std::uint8_t{200}}) {
        Set(mode, {300, 200, 100, 50});
        unsigned short image[8] = {1, 200, 3, 4000, 5, 600, 7, 8};
        const std::vector<unsigned short> before(image, image + 8);
        for (const unsigned short bits : {std::uint16_t{8}, std::uint16_t{10}, std::uint16_t{12}}) {
            EXPECT_EQ(Run(1, image, bits), 0);
            EXPECT_EQ(Run(1, nullptr, bits), 0);
            EXPECT_EQ(VekCam_WhiteBalance(mHandle, ~0UL, ~0UL, 0, 1, nullptr, bits), 0);
        }
        EXPECT_EQ(std::vector<unsigned short>(image, image + 8), before);
        EXPECT_EQ(Mode(), mode);
        EXPECT_EQ(Read(), (Gains{300, 200, 100, 50}));
    }
}

// The mono code is a whole 16-bit number.
TEST_F(CWhiteBalanceExports, ColorArrayIsNotCutToAByte) {
    Set(1, {300, 200, 100, 50});
    unsigned char image[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(Run(0x101, image, 8), -22);
    EXPECT_EQ(Run(0x102, image, 8), -22);
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(image[i], i + 1);
    }
}

TEST_F(CWhiteBalanceExports, OffTouchesNothing) {
    Set(0, {300, 200, 100, 50});
    ExpectNothingTouched();
}

TEST_F(CWhiteBalanceExports, AllOneTouchesNothing) {
    Set(1, {128, 128, 128, 128});
    ExpectNothingTouched();
}

TEST_F(CWhiteBalanceExports, NullImage) {
    for (const unsigned char mode : {std::uint8_t{1}, std::uint8_t{2}, std::uint8_t{3}, std::uint8_t{4}}) {
        Set(mode, {300, 200, 100, 50});
        for (const unsigned short bits : {std::uint16_t{8}, std::uint16_t{10}, std::uint16_t{12}}) {
            EXPECT_EQ(Run(2, nullptr, bits), -22);
        }
        EXPECT_EQ(Mode(), mode);
        EXPECT_EQ(Read(), (Gains{300, 200, 100, 50}));
    }
}

// A refused automatic balance leaves mode and gains.
TEST_F(CWhiteBalanceExports, OneShotStaysPendingWhenRefused) {
    Set(3, {300, 200, 100, 50});
    unsigned char image[8] = {50, 100, 50, 100, 100, 25, 100, 25};
    EXPECT_EQ(Run(6, image, 8), -22);
    EXPECT_EQ(Mode(), 3);
    EXPECT_EQ(Read(), (Gains{300, 200, 100, 50}));
    EXPECT_EQ(image[0], 50);
    EXPECT_EQ(Run(2, image, 8), 0);
    EXPECT_EQ(Mode(), 1);
    EXPECT_EQ(Read(), (Gains{256, 200, 100, 512}));
}

// Bytes at 8 bits, words at 10 and 12.
TEST_F(CWhiteBalanceExports, BitsChooseTheSampleWidth) {
    Set(1, {256, 256, 256, 256});
    unsigned char bytes[8] = {1, 2, 3, 4, 5, 6, 7, 100};
    EXPECT_EQ(Run(2, bytes, 8), 0);
    EXPECT_EQ(bytes[0], 2);
    EXPECT_EQ(bytes[7], 200);
    // The byte tables now hold doubles; word 1 of R has the bytes 4 and 6.
    unsigned short words[8] = {1, 1, 1, 1, 1, 1, 1, 1};
    EXPECT_EQ(Run(2, words, 10), 0);
    for (const unsigned short word : words) {
        EXPECT_EQ(word, 0x0604);
    }
}

// Settings belong to a handle.
TEST_F(CWhiteBalanceExports, HandlesShareNothing) {
    const VekCam_Handle other = VekCam_Open(-1);
    EXPECT_EQ(VekCam_SetWhiteBalanceMode(other, 2), 0);
    EXPECT_EQ(VekCam_SetWhiteBalanceGain(other, 1, 2, 3, 4), 0);
    EXPECT_EQ(Mode(), 0);
    EXPECT_EQ(Read(), (Gains{256, 128, 128, 217}));
    VekCam_Close(other);
}

// Long mixed histories of settings and images at all three depths.
TEST_F(CWhiteBalanceExports, RandomImages) {
    CWhiteBalanceCheck check(1UL << 14);
    CRandom& random = check.Random();
    const auto call = [this](const SWhiteBalanceCall& c, auto* image) {
        return VekCam_WhiteBalance(mHandle, c.width, c.height, c.pitch, c.colorArray, image, c.bits);
    };
    for (int round = 0; round < 2000; ++round) {
        if (random.Below(4) == 0) {
            constexpr unsigned char modes[] = {0, 1, 1, 2, 3, 9};
            const unsigned char mode = modes[random.Below(6)];
            std::uint16_t gains[4];
            for (std::uint16_t& gain : gains) {
                gain = static_cast<std::uint16_t>(random.Below(3) == 0 ? 128 : random.Below(900));
            }
            Set(mode, {gains[0], gains[1], gains[2], gains[3]});
            check.Model().mode = mode;
            modelSetGains(&check.Model(), gains);
        }
        constexpr unsigned short colorArrays[] = {0, 2, 3, 4, 5, 6};
        SWhiteBalanceCall c{random.Below(40), random.Below(7), 0, colorArrays[random.Below(6)], 8};
        const Flush flush = random.Below(2) == 0 ? Flush::Left : Flush::Right;
        const bool asWords = random.Below(2) == 0;
        if (random.Below(3) != 0) {
            c.pitch = (c.width + random.Below(5)) * (asWords ? 2 : 1);
        }
        if (asWords) {
            c.bits = random.Below(4) == 0 ? 12 : 10;
            ASSERT_TRUE(check.Run<std::uint16_t>(c, flush, random.Below(2) == 0 ? c.bits : 16, call)) << round;
        } else {
            ASSERT_TRUE(check.Run<std::uint8_t>(c, flush, 8, call)) << round;
        }
        const std::uint16_t* const g = check.Model().gains;
        ASSERT_EQ(Read(), (Gains{g[0], g[1], g[2], g[3]})) << round;
        ASSERT_EQ(Mode(), check.Model().mode) << round;
    }
}

} // namespace vek::test
