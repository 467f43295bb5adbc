// SPDX-License-Identifier: Apache-2.0
// Tone curves through the exported functions: refusals in their order, what passes untouched, and random settings and
// images against the model.
#include "imageproc/Gamma/GammaCheck.h"
#include "support/HandleTest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <type_traits>
#include <vector>

namespace vek::test {

namespace {

// Widths of the arguments.
static_assert(
    std::is_same_v<decltype(VekCam_SetGammaMode), int(VekCam_Handle, unsigned char, unsigned char, unsigned short,
                                                      short, unsigned short, const void*, unsigned short)>);
static_assert(
    std::is_same_v<decltype(VekCam_GetGammaMode), int(VekCam_Handle, unsigned char, unsigned char*, unsigned short*,
                                                      short*, void*, void*, unsigned short*)>);
static_assert(std::is_same_v<decltype(VekCam_RawColorGamma),
                             int(VekCam_Handle, unsigned long, unsigned long, unsigned short, void*, unsigned short)>);
static_assert(std::is_same_v<decltype(VekCam_BGRGamma),
                             int(VekCam_Handle, unsigned long, unsigned long, unsigned long, void*, unsigned short)>);

constexpr unsigned short kByteDepths[] = {0, 1, 7, 8};
constexpr unsigned short kWordDepths[] = {9, 10, 12, 13, 16, 0x108, 65535};

class CGammaExports : public CHandleTest {
protected:
    ::testing::AssertionResult Set(const SGammaSetting& setting) {
        return mCheck.Set(setting, [this](const SGammaSetting& s, const void* table) {
            return VekCam_SetGammaMode(mHandle, s.channel, s.mode, s.gamma, s.brightness, s.contrast, table, s.bits);
        });
    }
    ::testing::AssertionResult Read(unsigned channel, unsigned requested) {
        return mCheck.Read(static_cast<std::uint8_t>(channel), static_cast<std::uint16_t>(requested),
                           [this](auto... arguments) { return VekCam_GetGammaMode(mHandle, arguments...); });
    }
    void SetAll(std::uint8_t mode, std::uint16_t bits) {
        for (std::uint8_t channel = 0; channel < kGammaChannels; ++channel) {
            ASSERT_TRUE(Set({channel, mode, 150, 0, 0, bits}));
        }
    }
    /// Rows of raw images have no padding; those of the others are the derived ones.
    template <class T>
    ::testing::AssertionResult Raw(SGammaCall call, Flush flush, unsigned depth, unsigned short bits) {
        call.pitch = call.width * sizeof(T);
        call.raw = true;
        return Pixels<T>(call, flush, depth, bits);
    }
    template <class T>
    ::testing::AssertionResult Pixels(const SGammaCall& call, Flush flush, unsigned depth, unsigned short bits) {
        return mCheck.Run<T>(call, flush, depth, [this, bits](const SGammaCall& c, T* image) {
            return c.raw ? VekCam_RawColorGamma(mHandle, c.width, c.height, static_cast<unsigned short>(c.selector),
                                                image, bits)
                         : VekCam_BGRGamma(mHandle, c.width, c.height, c.selector, image, bits);
        });
    }
    CRandom& Random() { return mCheck.Random(); }

    CGammaCheck mCheck{1UL << 14};
};

} // namespace

TEST_F(CGammaExports, NullHandle) {
    unsigned char mode = 99;
    unsigned short gamma = 99;
    short brightness = 99;
    unsigned char contrast = 99;
    unsigned char table[256] = {99};
    unsigned short bits = 8;
    unsigned char image[12] = {1, 2, 3, 4};
    EXPECT_EQ(VekCam_SetGammaMode(nullptr, 0, 0, 100, 0, 0, nullptr, 8), -22);
    EXPECT_EQ(VekCam_GetGammaMode(nullptr, 0, &mode, &gamma, &brightness, &contrast, table, &bits), -22);
    EXPECT_EQ(VekCam_GetGammaMode(nullptr, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), -22);
    EXPECT_EQ(VekCam_RawColorGamma(nullptr, 2, 2, 1, image, 8), -22);
    EXPECT_EQ(VekCam_RawColorGamma(nullptr, 0, 0, 2, nullptr, 12), -22);
    EXPECT_EQ(VekCam_BGRGamma(nullptr, 2, 2, 1, image, 8), -22);
    EXPECT_EQ(VekCam_BGRGamma(nullptr, 0, 0, 0, nullptr, 12), -22);
    EXPECT_EQ(mode, 99);
    EXPECT_EQ(gamma, 99);
    EXPECT_EQ(brightness, 99);
    EXPECT_EQ(contrast, 99);
    EXPECT_EQ(table[0], 99);
    EXPECT_EQ(bits, 8);
    EXPECT_EQ(image[0], 1);
}

TEST_F(CGammaExports, Defaults) {
    for (unsigned channel = 0; channel < kGammaChannels; ++channel) {
        for (const unsigned requested : {0U, 8U, 9U, 12U, 65535U}) {
            EXPECT_TRUE(Read(channel, requested));
        }
    }
}

TEST_F(CGammaExports, SettingsReadBack) {
    for (int i = 0; i < 400; ++i) {
        const SGammaSetting setting = randomGammaSetting(Random());
        ASSERT_TRUE(Set(setting));
        for (unsigned channel = 0; channel < kGammaChannels; ++channel) {
            ASSERT_TRUE(Read(channel, i % 3 == 0 ? 8 : 12));
        }
    }
}

// Each refusal, with all else right, and nothing of the channel changes.
TEST_F(CGammaExports, RefusedSettings) {
    SetAll(2, 9);
    const std::vector<unsigned short> table(4096);
    const auto expectRefused = [&](unsigned channel, unsigned mode, unsigned gamma, const void* entries,
                                   unsigned bits) {
        EXPECT_EQ(VekCam_SetGammaMode(mHandle, static_cast<unsigned char>(channel), static_cast<unsigned char>(mode),
                                      static_cast<unsigned short>(gamma), 1, 1, entries,
                                      static_cast<unsigned short>(bits)),
                  -22)
            << channel << ' ' << mode << ' ' << gamma << ' ' << bits;
    };
    for (const unsigned channel : {5U, 6U, 128U, 255U}) {
        expectRefused(channel, 0, 100, table.data(), 8);
        expectRefused(channel, 255, 100, nullptr, 8);
    }
    for (unsigned channel = 0; channel < kGammaChannels; ++channel) {
        for (const unsigned bits : {13U, 16U, 0x108U, 65535U}) {
            for (const unsigned mode : {0U, 1U, 2U, 255U}) {
                expectRefused(channel, mode, 100, table.data(), bits);
            }
        }
        for (const unsigned mode : {3U, 4U, 128U, 254U}) {
            expectRefused(channel, mode, 100, table.data(), 8);
        }
        expectRefused(channel, 1, 0, table.data(), 8);
        expectRefused(channel, 2, 0, table.data(), 8);
        expectRefused(channel, 255, 100, nullptr, 0);
        expectRefused(channel, 255, 100, nullptr, 12);
        EXPECT_TRUE(Read(channel, 12));
    }
}

TEST_F(CGammaExports, OtherChannelsCannotBeRead) {
    for (unsigned channel = 5; channel <= 255; ++channel) {
        unsigned char mode = 99;
        unsigned short bits = 12;
        EXPECT_EQ(VekCam_GetGammaMode(mHandle, static_cast<unsigned char>(channel), &mode, nullptr, nullptr, nullptr,
                                      nullptr, &bits),
                  -22);
        EXPECT_EQ(mode, 99);
        EXPECT_EQ(bits, 12);
    }
}

TEST_F(CGammaExports, OutputsMayBeNull) {
    EXPECT_EQ(VekCam_GetGammaMode(mHandle, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    std::vector<unsigned char> table(300, 0xA5);
    EXPECT_EQ(VekCam_GetGammaMode(mHandle, 0, nullptr, nullptr, nullptr, nullptr, table.data(), nullptr), 0);
    EXPECT_EQ(table[254], 254);
    EXPECT_EQ(table[255], 255);
    EXPECT_EQ(table[256], 0xA5);
}

// Raw images pass as mono, and with all four colours off, whatever the luma curve: not even a null image is looked at.
TEST_F(CGammaExports, RawImagesPass) {
    ASSERT_TRUE(Set({0, 2, 100, 0, 0, 8}));
    for (const unsigned short bits : {std::uint16_t{0}, std::uint16_t{8}, std::uint16_t{12}, std::uint16_t{65535}}) {
        for (const unsigned short colorArray :
             {std::uint16_t{0}, std::uint16_t{1}, std::uint16_t{2}, std::uint16_t{6}}) {
            EXPECT_EQ(VekCam_RawColorGamma(mHandle, ~0UL, ~0UL, colorArray, nullptr, bits), 0);
        }
    }
    SetAll(2, 12);
    unsigned short image[4] = {1, 2000, 3, 65535};
    for (const unsigned short bits : {std::uint16_t{8}, std::uint16_t{12}}) {
        EXPECT_EQ(VekCam_RawColorGamma(mHandle, 2, 2, 1, image, bits), 0);
        EXPECT_EQ(VekCam_RawColorGamma(mHandle, 2, 2, 1, nullptr, bits), 0);
        EXPECT_EQ(VekCam_RawColorGamma(mHandle, 2, 2, 2, nullptr, bits), -22);
        EXPECT_EQ(VekCam_RawColorGamma(mHandle, 0, 2, 2, nullptr, bits), 0);
        EXPECT_EQ(VekCam_RawColorGamma(mHandle, 2, 0, 2, nullptr, bits), 0);
    }
    EXPECT_EQ(image[0], 1);
    EXPECT_EQ(image[1], 2000);
    EXPECT_EQ(image[2], 3);
    EXPECT_EQ(image[3], 65535);
}

// The luma curve off: every format and even a null image passes. On: the format is judged, then the image.
TEST_F(CGammaExports, PixelsPass) {
    for (unsigned long format = 0; format <= 520; ++format) {
        EXPECT_EQ(VekCam_BGRGamma(mHandle, ~0UL, ~0UL, format, nullptr, 8), 0);
        EXPECT_EQ(VekCam_BGRGamma(mHandle, ~0UL, ~0UL, format, nullptr, 12), 0);
    }
    ASSERT_TRUE(Set({0, 2, 100, 0, 0, 8}));
    for (unsigned long format = 0; format <= 520; ++format) {
        const bool bytes = format == 1 || format == 4 || format == 8;
        const bool words = format == 16 || format == 32 || format == 256 || format == 512;
        EXPECT_EQ(VekCam_BGRGamma(mHandle, 0, 3, format, nullptr, 8), bytes ? 0 : -22) << format;
        EXPECT_EQ(VekCam_BGRGamma(mHandle, 3, 0, format, nullptr, 12), words ? 0 : -22) << format;
        EXPECT_EQ(VekCam_BGRGamma(mHandle, 1, 1, format, nullptr, 8), -22);
        EXPECT_EQ(VekCam_BGRGamma(mHandle, 1, 1, format, nullptr, 12), -22);
    }
}

// bits does nothing but choose bytes, up to 8, or words.
TEST_F(CGammaExports, BitsChooseTheSampleWidth) {
    SetAll(255, 12);
    for (const unsigned short bits : kByteDepths) {
        EXPECT_TRUE(Raw<std::uint8_t>({5, 3, 0, 3}, Flush::Right, 8, bits));
        EXPECT_TRUE(Pixels<std::uint8_t>({5, 3, 0, 1}, Flush::Right, 8, bits));
        EXPECT_TRUE(Pixels<std::uint8_t>({5, 3, 0, 4}, Flush::Right, 8, bits));
        EXPECT_TRUE(Pixels<std::uint8_t>({5, 3, 0, 256}, Flush::Right, 8, bits));
    }
    for (const unsigned short bits : kWordDepths) {
        EXPECT_TRUE(Raw<std::uint16_t>({5, 3, 0, 3}, Flush::Right, 16, bits));
        EXPECT_TRUE(Pixels<std::uint16_t>({5, 3, 0, 32}, Flush::Right, 16, bits));
        EXPECT_TRUE(Pixels<std::uint16_t>({5, 3, 0, 256}, Flush::Right, 16, bits));
        EXPECT_TRUE(Pixels<std::uint16_t>({5, 3, 0, 4}, Flush::Right, 16, bits));
    }
}

TEST_F(CGammaExports, EverySmallSize) {
    unsigned turn = 0;
    for (unsigned long height = 0; height <= 6; ++height) {
        for (unsigned long width = 0; width <= 12; ++width) {
            SetAll(255, 12);
            for (const unsigned short colorArray :
                 {std::uint16_t{2}, std::uint16_t{3}, std::uint16_t{4}, std::uint16_t{5}}) {
                const Flush flush = kFlushes[++turn % 2];
                ASSERT_TRUE(Raw<std::uint8_t>({width, height, 0, colorArray}, flush, 8, 8));
                ASSERT_TRUE(Raw<std::uint16_t>({width, height, 0, colorArray}, flush, 12, 12));
            }
            for (const unsigned long format : {1UL, 4UL, 8UL}) {
                ASSERT_TRUE(Pixels<std::uint8_t>({width, height, 0, format}, kFlushes[++turn % 2], 8, 8));
            }
            for (const unsigned long format : {16UL, 32UL, 256UL, 512UL}) {
                ASSERT_TRUE(Pixels<std::uint16_t>({width, height, 0, format}, kFlushes[++turn % 2], 12, 12));
            }
        }
    }
}

// Settings and images in any order.
TEST_F(CGammaExports, RandomImages) {
    for (int round = 0; round < 600; ++round) {
        if (round % 4 == 0) {
            ASSERT_TRUE(Set(randomGammaSetting(Random())));
        }
        const unsigned long width = Random().Below(60);
        const unsigned long height = Random().Below(6);
        const unsigned long colorArray = Random().Below(8);
        constexpr unsigned long formats[] = {1, 4, 8, 16, 32, 256, 512, 2, 64};
        const unsigned long format = formats[Random().Below(9)];
        const Flush flush = kFlushes[Random().Below(2)];
        ASSERT_TRUE(Raw<std::uint8_t>({width, height, 0, colorArray}, flush, 8, 8)) << round;
        ASSERT_TRUE(Raw<std::uint16_t>({width, height, 0, colorArray}, flush, round % 2 == 0 ? 12 : 16, 10)) << round;
        ASSERT_TRUE(Pixels<std::uint8_t>({width, height, 0, format}, flush, 8, 8)) << round;
        ASSERT_TRUE(Pixels<std::uint16_t>({width, height, 0, format}, flush, round % 2 == 0 ? 12 : 16, 12)) << round;
    }
}

// Curves belong to a handle.
TEST_F(CGammaExports, HandlesShareNothing) {
    const VekCam_Handle other = VekCam_Open(-1);
    for (unsigned char channel = 0; channel < kGammaChannels; ++channel) {
        EXPECT_EQ(VekCam_SetGammaMode(other, channel, 2, 50, 3, 4, nullptr, 12), 0);
        EXPECT_TRUE(Read(channel, 12));
    }
    VekCam_Close(other);
}

// The curve's luma is the one that the exported luma tables give.
TEST_F(CGammaExports, LumaIsThatOfTheTables) {
    ASSERT_TRUE(Set({0, 2, 100, 0, 0, 8}));
    for (int i = 0; i < 2000; ++i) {
        unsigned char pixel[3];
        std::generate(pixel, pixel + 3, [this] { return static_cast<unsigned char>(Random().Next()); });
        const int luma = gpwB2Y[pixel[0]] + gpwG2Y[pixel[1]] + gpwR2Y[pixel[2]];
        int expected[3];
        std::transform(pixel, pixel + 3, expected,
                       [luma](unsigned char value) { return std::clamp(value + 255 - 2 * luma, 0, 255); });
        ASSERT_EQ(VekCam_BGRGamma(mHandle, 1, 1, 4, pixel, 8), 0);
        EXPECT_TRUE(std::equal(pixel, pixel + 3, expected));
    }
}

} // namespace vek::test
