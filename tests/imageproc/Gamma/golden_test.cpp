// SPDX-License-Identifier: Apache-2.0
// Tone curves by hand. Channels are Y, R, Gr, Gb, B.
#include "common/Status.h"
#include "imageproc/Gamma/GammaCalls.h"
#include "support/SampleVectors.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace vek::test {

namespace {

enum Channel : std::uint8_t { kY, kR, kGr, kGb, kB };
constexpr std::uint8_t kOff = 0;
constexpr std::uint8_t kCurve = 1;
constexpr std::uint8_t kNegative = 2;
constexpr std::uint8_t kTable = 255;

struct SReading {
    int mode;
    int gamma;
    int brightness;
    int contrast;
    int bits;
    bool operator==(const SReading&) const = default;
};

class CGoldenGamma : public ::testing::Test {
protected:
    CGoldenGamma() : mModule(makeGamma()) {}

    void Set(Channel channel, std::uint8_t mode, int gamma, int brightness, int contrast, unsigned bits,
             const void* table = nullptr, unsigned long status = kOk) {
        EXPECT_EQ(mModule->SetMode(channel, mode, static_cast<std::uint16_t>(gamma),
                                   static_cast<std::int16_t>(brightness), static_cast<std::uint16_t>(contrast), table,
                                   static_cast<std::uint16_t>(bits)),
                  status);
    }
    /// A curve in channel Y, and its whole table.
    Words Curve(std::uint8_t mode, int gamma, int brightness, int contrast, unsigned bits) {
        Set(kY, mode, gamma, brightness, contrast, bits);
        return Table(kY);
    }
    Words Table(Channel channel) {
        Words table(4096, 0xDEAD);
        std::uint16_t bits = 12;
        EXPECT_EQ(mModule->GetMode(channel, nullptr, nullptr, nullptr, nullptr, table.data(), &bits), kOk);
        return table;
    }
    SReading Read(Channel channel) {
        std::uint8_t mode = 99;
        std::uint16_t gamma = 0;
        std::int16_t brightness = 0;
        std::uint16_t contrast = 0;
        std::uint16_t bits = 12;
        EXPECT_EQ(mModule->GetMode(channel, &mode, &gamma, &brightness, &contrast, nullptr, &bits), kOk);
        return {mode, gamma, brightness, contrast, bits};
    }
    /// A table of 12 bits whose entries are all the same.
    void SetFlat(Channel channel, std::uint16_t value) {
        const Words table(4096, value);
        Set(channel, kTable, 100, 0, 0, 12, table.data());
    }

    template <class T>
    std::vector<T> Raw(unsigned long width, unsigned long height, unsigned short colorArray, std::vector<T> image) {
        EXPECT_EQ(callGamma(*mModule, {width, height, width * sizeof(T), colorArray, true}, image.data()), kOk);
        return image;
    }
    /// One row of pixels, with the pitch derived.
    template <class T>
    std::vector<T> Row(unsigned long width, unsigned long format, std::vector<T> image) {
        return Rows(width, 1, format, std::move(image));
    }
    template <class T>
    std::vector<T> Rows(unsigned long width, unsigned long height, unsigned long format, std::vector<T> image,
                        unsigned long status = kOk) {
        EXPECT_EQ(callGamma(*mModule, {width, height, 0, format}, image.data()), status);
        return image;
    }

    GammaPtr mModule;
};

} // namespace

TEST_F(CGoldenGamma, Defaults) {
    for (const Channel channel : {kY, kR, kGr, kGb, kB}) {
        EXPECT_EQ(Read(channel), (SReading{0, 100, 0, 0, 8}));
        const Words table = Table(channel);
        for (unsigned i = 0; i < 4096; ++i) {
            ASSERT_EQ(table[i], i < 255 ? i : 255);
        }
    }
}

// Off is the identity up to the depth's largest value, which everything above becomes.
TEST_F(CGoldenGamma, OffIsTheIdentity) {
    for (unsigned bits = 0; bits <= 12; ++bits) {
        Set(kGr, kOff, 7, 7, 7, bits);
        const unsigned max = (1U << bits) - 1;
        const Words table = Table(kGr);
        for (unsigned i = 0; i < 4096; ++i) {
            ASSERT_EQ(table[i], i < max ? i : max) << bits;
        }
    }
}

// trunc(255 x (i / 255) + 0.5) = i.
TEST_F(CGoldenGamma, GammaOfOneIsTheIdentity) {
    const Words table = Curve(kCurve, 100, 0, 0, 8);
    for (unsigned i = 0; i < 256; ++i) {
        ASSERT_EQ(table[i], i);
    }
}

// 255 x (64 / 255)^0.5 + 0.5 = 128.2; 255 x (1 / 255)^0.5 + 0.5 = 16.5; 255 x (254 / 255)^0.5 + 0.5 = 254.9995.
TEST_F(CGoldenGamma, GammaOfTwo) {
    const Words table = Curve(kCurve, 200, 0, 0, 8);
    EXPECT_EQ(table[64], 128);
    EXPECT_EQ(table[1], 16);
    EXPECT_EQ(table[254], 254);
    EXPECT_EQ(table[255], 255);
    EXPECT_EQ(table[0], 0);
}

// Gamma 50 is the exponent 2: 255 x (128 / 255)^2 + 0.5 = 64.8; 255 x (11 / 255)^2 + 0.5 = 0.97, 12 gives 1.06.
TEST_F(CGoldenGamma, GammaOfOneHalf) {
    const Words table = Curve(kCurve, 50, 0, 0, 8);
    EXPECT_EQ(table[128], 64);
    EXPECT_EQ(table[11], 0);
    EXPECT_EQ(table[12], 1);
    EXPECT_EQ(table[254], 253); // 253.004 + 0.5
}

// What brightness lifts above the largest level becomes 255; level 0 becomes trunc(255 x (10 / 255) + 0.5) = 10.
TEST_F(CGoldenGamma, Brightness) {
    const Words table = Curve(kCurve, 100, 10, 0, 8);
    EXPECT_EQ(table[0], 10);
    EXPECT_EQ(table[244], 254);
    for (unsigned i = 245; i < 256; ++i) {
        EXPECT_EQ(table[i], 255);
    }
}

// Below level 0 there is black: 0 .. 9 fall below, 10 falls on 0; 255 becomes 245.
TEST_F(CGoldenGamma, NegativeBrightness) {
    const Words table = Curve(kCurve, 100, -10, 0, 8);
    for (unsigned i = 0; i <= 10; ++i) {
        EXPECT_EQ(table[i], 0);
    }
    EXPECT_EQ(table[11], 1);
    EXPECT_EQ(table[255], 245);
}

TEST_F(CGoldenGamma, ExtremesOfBrightness) {
    const Words dark = Curve(kCurve, 100, -32768, 0, 12);
    const Words bright = Curve(kCurve, 100, 32767, 0, 12);
    for (unsigned i = 0; i < 4096; ++i) {
        ASSERT_EQ(dark[i], 0);
        ASSERT_EQ(bright[i], 255);
    }
}

// At 12 bits, too, levels lifted out of range become 255, not 4095.
TEST_F(CGoldenGamma, BrightnessAtTwelveBitsFallsTo255) {
    const Words table = Curve(kCurve, 100, 100, 0, 12);
    EXPECT_EQ(table[3994], 4094);
    EXPECT_EQ(table[3995], 4095);
    for (unsigned i = 3996; i < 4096; ++i) {
        ASSERT_EQ(table[i], 255);
    }
}

// At 4 bits they become 255 as well, above the largest level of 15.
TEST_F(CGoldenGamma, BrightnessAtFourBitsRisesTo255) {
    const Words table = Curve(kCurve, 100, 2, 0, 4);
    EXPECT_EQ(Words(table.begin(), table.begin() + 16),
              (Words{2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 255, 255}));
}

// A depth of 0 has one level.
TEST_F(CGoldenGamma, DepthOfZero) {
    EXPECT_EQ(Curve(kCurve, 100, 0, 0, 0)[0], 0);
    EXPECT_EQ(Curve(kCurve, 100, 1, 0, 0)[0], 255);
    EXPECT_EQ(Curve(kCurve, 100, -1, 0, 0)[0], 0);
    const std::uint8_t entry = 77;
    Set(kY, kTable, 100, 0, 0, 0, &entry);
    const Words table = Table(kY);
    EXPECT_EQ(table[0], 77);
    EXPECT_EQ(table[1], 1);
}

// 20 levels at each end; between them the steepness is 255 / 215: 1.19 for 21, 126.9 for 127.
TEST_F(CGoldenGamma, Contrast) {
    const Words table = Curve(kCurve, 100, 0, 20, 8);
    for (unsigned i = 0; i <= 20; ++i) {
        EXPECT_EQ(table[i], 0);
        EXPECT_EQ(table[255 - i], 255);
    }
    EXPECT_EQ(table[21], 1);
    EXPECT_EQ(table[127], 127);
    EXPECT_EQ(table[234], 254); // 214 x 255 / 215 = 253.8
}

// The contrast works with at most half the levels, 127, but reads back as it was set.
TEST_F(CGoldenGamma, ContrastIsLimitedForTheCurveOnly) {
    const Words table = Curve(kCurve, 100, 0, 300, 8);
    for (unsigned i = 0; i < 256; ++i) {
        EXPECT_EQ(table[i], i < 128 ? 0 : 255);
    }
    EXPECT_EQ(Read(kY), (SReading{1, 100, 0, 300, 8}));
}

// The steepness is 255 / (255 - 40) at 12 bits as well: 980 x 255 / 215 = 1162.3, not 980 x 4095 / 4055 = 989.7.
TEST_F(CGoldenGamma, SteepnessOfEightBitsAtTwelve) {
    const Words table = Curve(kCurve, 100, 0, 20, 12);
    EXPECT_EQ(table[20], 0);
    EXPECT_EQ(table[1000], 1162);
    EXPECT_EQ(table[3472], 4094); // 3452 x 255 / 215 = 4094.2
    EXPECT_EQ(table[3473], 4095); // 4095.3 is past the end
    EXPECT_EQ(table[4095], 4095);
}

// A contrast of 127 is 255 times as steep.
TEST_F(CGoldenGamma, SteepestContrast) {
    const Words table = Curve(kCurve, 100, 0, 127, 12);
    EXPECT_EQ(table[127], 0);
    EXPECT_EQ(table[128], 255);
    EXPECT_EQ(table[129], 510);
    EXPECT_EQ(table[143], 4080);
    EXPECT_EQ(table[144], 4095);
}

// From 128 on the steepness is negative, 255 / -1. With exponent 1 level 129 becomes -255 + 0.5, cut off to -254 and
// kept as 65536 - 254; level 385 becomes -257 x 255 = -65535 + 0.5, cut off to -65534.
TEST_F(CGoldenGamma, NegativeSteepness) {
    const Words table = Curve(kCurve, 100, 0, 128, 12);
    EXPECT_EQ(table[128], 0);
    EXPECT_EQ(table[129], 65282);
    EXPECT_EQ(table[385], 2);
    EXPECT_EQ(table[3966], 4351); // -3838 x 255 + 0.5 cut off to -978689, plus 15 x 65536
    EXPECT_EQ(table[3967], 4095);
    EXPECT_EQ(table[4095], 4095);
}

// The square of a negative number is positive: 4095 x (255 / 4095)^2 + 0.5 = 16.4; what exceeds the top is held there.
TEST_F(CGoldenGamma, NegativeSteepnessSquared) {
    const Words table = Curve(kCurve, 50, 0, 128, 12);
    EXPECT_EQ(table[129], 16);
    EXPECT_EQ(table[144], 4065); // (16 x 255)^2 / 4095 + 0.5 = 4065.5
    EXPECT_EQ(table[145], 4095);
}

// The root of a negative number is none: 0.
TEST_F(CGoldenGamma, NegativeSteepnessWithoutPower) {
    const Words table = Curve(kCurve, 200, 0, 128, 12);
    for (unsigned i = 0; i < 3967; ++i) {
        ASSERT_EQ(table[i], 0);
    }
    EXPECT_EQ(table[3967], 4095);
}

TEST_F(CGoldenGamma, Negative) {
    const Words table = Curve(kNegative, 100, 0, 0, 8);
    for (unsigned i = 0; i < 256; ++i) {
        ASSERT_EQ(table[i], 255 - i);
    }
    EXPECT_EQ(table[256], 255);
}

// The curve is turned around after brightness and contrast have shaped it.
TEST_F(CGoldenGamma, NegativeOfACurve) {
    const Words table = Curve(kNegative, 100, 2, 0, 4);
    EXPECT_EQ(Words(table.begin(), table.begin() + 17),
              (Words{255, 255, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 16}));
    EXPECT_EQ(Read(kY), (SReading{2, 100, 2, 0, 4}));
}

// Curves and tables write the levels of their depth and leave what an earlier one gave above.
TEST_F(CGoldenGamma, LevelsAboveTheDepthStay) {
    Curve(kNegative, 100, 0, 0, 12);
    Words table = Curve(kCurve, 100, 0, 0, 8);
    EXPECT_EQ(table[255], 255);
    EXPECT_EQ(table[256], 3839);
    EXPECT_EQ(table[4095], 0);
    const Bytes two{9, 8};
    Set(kY, kTable, 100, 0, 0, 1, two.data());
    table = Table(kY);
    EXPECT_EQ(Words(table.begin(), table.begin() + 3), (Words{9, 8, 2}));
    EXPECT_EQ(table[256], 3839);
    Curve(kOff, 100, 0, 0, 1);
    table = Table(kY);
    EXPECT_EQ(Words(table.begin(), table.begin() + 3), (Words{0, 1, 1}));
    EXPECT_EQ(table[4095], 1);
}

// Bytes up to 8 bits, words above, of any value.
TEST_F(CGoldenGamma, CallersTable) {
    Bytes bytes(256);
    for (unsigned i = 0; i < 256; ++i) {
        bytes[i] = static_cast<std::uint8_t>(7 * i);
    }
    Set(kB, kTable, 55, 5, 5, 8, bytes.data());
    Words table = Table(kB);
    for (unsigned i = 0; i < 256; ++i) {
        ASSERT_EQ(table[i], 7 * i % 256);
    }
    Words words(512);
    for (unsigned i = 0; i < 512; ++i) {
        words[i] = static_cast<std::uint16_t>(65535 - i);
    }
    Set(kB, kTable, 55, 5, 5, 9, words.data());
    table = Table(kB);
    for (unsigned i = 0; i < 512; ++i) {
        ASSERT_EQ(table[i], 65535 - i);
    }
    EXPECT_EQ(table[512], 255);
}

// Off and the caller's table keep 100, 0 and 0, whatever came along.
TEST_F(CGoldenGamma, OnlyCurvesKeepTheirNumbers) {
    Set(kR, kCurve, 222, -33, 444, 10);
    EXPECT_EQ(Read(kR), (SReading{1, 222, -33, 444, 10}));
    Set(kR, kOff, 222, -33, 444, 11);
    EXPECT_EQ(Read(kR), (SReading{0, 100, 0, 0, 11}));
    Set(kR, kNegative, 65535, 32767, 65535, 9);
    EXPECT_EQ(Read(kR), (SReading{2, 65535, 32767, 65535, 9}));
    const Words table(4096);
    Set(kR, kTable, 222, -33, 444, 12, table.data());
    EXPECT_EQ(Read(kR), (SReading{255, 100, 0, 0, 12}));
}

// A gamma of 0 is refused by the curves alone, and nothing of the setting is kept.
TEST_F(CGoldenGamma, GammaOfZero) {
    Set(kGb, kNegative, 100, 1, 2, 8);
    const Words before = Table(kGb);
    Set(kGb, kCurve, 0, 9, 9, 12, nullptr, kInvalid);
    Set(kGb, kNegative, 0, 9, 9, 12, nullptr, kInvalid);
    EXPECT_EQ(Read(kGb), (SReading{2, 100, 1, 2, 8}));
    EXPECT_EQ(Table(kGb), before);
    Set(kGb, kOff, 0, 9, 9, 12);
    EXPECT_EQ(Read(kGb), (SReading{0, 100, 0, 0, 12}));
}

// One byte of contrast at 8 bits, a word above: 300 is 1 x 256 + 44.
TEST_F(CGoldenGamma, WidthOfTheContrast) {
    Set(kY, kCurve, 100, 0, 300, 12);
    Bytes contrast{0xA5, 0xA5};
    EXPECT_EQ(mModule->GetMode(kY, nullptr, nullptr, nullptr, contrast.data(), nullptr, nullptr), kOk);
    EXPECT_EQ(contrast, (Bytes{44, 0xA5}));
    std::uint16_t bits = 8;
    contrast = {0xA5, 0xA5};
    EXPECT_EQ(mModule->GetMode(kY, nullptr, nullptr, nullptr, contrast.data(), nullptr, &bits), kOk);
    EXPECT_EQ(contrast, (Bytes{44, 0xA5}));
    EXPECT_EQ(bits, 12);
    contrast = {0xA5, 0xA5};
    bits = 9;
    EXPECT_EQ(mModule->GetMode(kY, nullptr, nullptr, nullptr, contrast.data(), nullptr, &bits), kOk);
    EXPECT_EQ(contrast, (Bytes{44, 1}));
}

// 256 bytes, the low ones of the entries, at 8 bits, below, and without a depth; 2^bits words above; 12 bits at most.
TEST_F(CGoldenGamma, WidthOfTheTable) {
    SetFlat(kY, 0x1234);
    const auto read = [this](std::uint16_t* bits) {
        Bytes table(8194, 0xA5);
        EXPECT_EQ(mModule->GetMode(kY, nullptr, nullptr, nullptr, nullptr, table.data(), bits), kOk);
        std::size_t written = 0;
        while (table[written] != 0xA5) {
            ++written;
        }
        return std::make_pair(written, table[1]);
    };
    EXPECT_EQ(read(nullptr), std::make_pair(std::size_t{256}, std::uint8_t{0x34}));
    const unsigned sizes[][2] = {{0, 256},   {7, 256},   {8, 256},   {9, 1024},    {10, 2048},
                                 {11, 4096}, {12, 8192}, {13, 8192}, {65535, 8192}};
    for (const auto& [requested, size] : sizes) {
        auto bits = static_cast<std::uint16_t>(requested);
        EXPECT_EQ(read(&bits), std::make_pair(std::size_t{size}, std::uint8_t(requested <= 8 ? 0x34 : 0x12)));
        EXPECT_EQ(bits, 12);
    }
}

// The channels of the four phases, flat tables showing which was used.
TEST_F(CGoldenGamma, ChannelsOfThePhases) {
    for (const Channel channel : {kY, kR, kGr, kGb, kB}) {
        SetFlat(channel, static_cast<std::uint16_t>(10 * channel));
    }
    const Bytes image{1, 2, 3, 4};
    EXPECT_EQ(Raw(2, 2, 2, image), (Bytes{10, 20, 30, 40}));
    EXPECT_EQ(Raw(2, 2, 3, image), (Bytes{20, 10, 40, 30}));
    EXPECT_EQ(Raw(2, 2, 4, image), (Bytes{30, 40, 10, 20}));
    EXPECT_EQ(Raw(2, 2, 5, image), (Bytes{40, 30, 20, 10}));
    // All other codes count as RGGB.
    EXPECT_EQ(Raw(2, 2, 0, image), (Bytes{10, 20, 30, 40}));
    EXPECT_EQ(Raw(2, 2, 6, image), (Bytes{10, 20, 30, 40}));
    EXPECT_EQ(Raw(2, 2, 0x105, image), (Bytes{10, 20, 30, 40}));
    const Words words{1, 2000, 4095, 65535};
    EXPECT_EQ(Raw(2, 2, 3, words), (Words{20, 10, 40, 30}));
}

// An odd last row is an even one, an odd last column too.
TEST_F(CGoldenGamma, OddRawSizes) {
    for (const Channel channel : {kR, kGr, kGb, kB}) {
        SetFlat(channel, static_cast<std::uint16_t>(10 * channel));
    }
    EXPECT_EQ(Raw(3, 3, 5, Bytes(9)), (Bytes{40, 30, 40, 20, 10, 20, 40, 30, 40}));
}

TEST_F(CGoldenGamma, MonoRawPasses) {
    SetFlat(kR, 99);
    EXPECT_EQ(Raw<std::uint8_t>(2, 2, 1, {1, 2, 3, 4}), (Bytes{1, 2, 3, 4}));
    EXPECT_EQ(mModule->ProcColorRawW(2, 2, 0, 1, nullptr), kOk);
}

// With all four colours off nothing passes through the tables, whose identity would clip words at 255.
TEST_F(CGoldenGamma, RawPassesWhenAllColorsAreOff) {
    SetFlat(kY, 99);
    EXPECT_EQ(Raw<std::uint16_t>(2, 2, 2, {1, 256, 4095, 65535}), (Words{1, 256, 4095, 65535}));
    EXPECT_EQ(mModule->ProcColorRawB(2, 2, 0, 2, nullptr), kOk);
}

// One colour on: the others' identity tables apply, and clip words at the 8 bits that they were built for.
TEST_F(CGoldenGamma, ColorsThatAreOffClip) {
    SetFlat(kB, 4000);
    EXPECT_EQ(Raw<std::uint16_t>(2, 2, 2, {255, 256, 4095, 65535}), (Words{255, 255, 255, 4000}));
    Set(kGr, kOff, 100, 0, 0, 10);
    EXPECT_EQ(Raw<std::uint16_t>(2, 2, 2, {255, 1024, 4095, 0}), (Words{255, 1023, 255, 4000}));
}

// A curve of 8 bits on 12-bit data: all above 255 is 255.
TEST_F(CGoldenGamma, EightBitCurveOnTwelveBits) {
    Set(kY, kCurve, 100, 0, 0, 8);
    EXPECT_EQ(Row<std::uint16_t>(4, 16, {254, 255, 256, 4095}), (Words{254, 255, 255, 255}));
}

// Bytes keep the low byte of an entry.
TEST_F(CGoldenGamma, BytesKeepTheLowByte) {
    SetFlat(kY, 0x1234);
    SetFlat(kR, 0x5678);
    EXPECT_EQ(Row<std::uint8_t>(2, 1, {1, 2}), (Bytes{0x34, 0x34}));
    EXPECT_EQ(Raw<std::uint8_t>(1, 1, 2, {9}), (Bytes{0x78}));
}

// Words above 12 bits take the table's last entry.
TEST_F(CGoldenGamma, WordsAboveTwelveBits) {
    for (const Channel channel : {kY, kR}) {
        Set(channel, kNegative, 100, 0, 0, 12);
    }
    EXPECT_EQ(Row<std::uint16_t>(4, 32, {4094, 4095, 4096, 65535}), (Words{1, 0, 0, 0}));
    EXPECT_EQ(Raw<std::uint16_t>(1, 1, 2, {65535}), (Words{0}));
}

// Rows of 8-bit grey are a multiple of 4 bytes apart.
TEST_F(CGoldenGamma, GrayRowsOfBytes) {
    Set(kY, kNegative, 100, 0, 0, 8);
    EXPECT_EQ(Rows<std::uint8_t>(5, 2, 1, {0, 1, 2, 3, 4, 66, 77, 88, 5, 6, 7, 8, 9}),
              (Bytes{255, 254, 253, 252, 251, 66, 77, 88, 250, 249, 248, 247, 246}));
}

// Rows of grey words are 4 bytes a pixel apart when the length is derived; the second half of each stays.
TEST_F(CGoldenGamma, GrayRowsOfWordsAreTwiceAsLong) {
    Set(kY, kNegative, 100, 0, 0, 12);
    for (const unsigned long format : {16UL, 32UL}) {
        EXPECT_EQ(Rows<std::uint16_t>(3, 2, format, {0, 1, 2, 7, 8, 9, 3, 4, 5}),
                  (Words{4095, 4094, 4093, 7, 8, 9, 4092, 4091, 4090}));
    }
}

// Y = 1 + 12 + 9 = 22 becomes 233: all three go up by 211.
TEST_F(CGoldenGamma, ColorMovesWithItsLuma) {
    Set(kY, kNegative, 100, 0, 0, 8);
    EXPECT_EQ(Row<std::uint8_t>(1, 4, {10, 20, 30}), (Bytes{221, 231, 241}));
    // Red: 76 becomes 179, and red itself cannot go up by 103.
    EXPECT_EQ(Row<std::uint8_t>(1, 4, {0, 0, 255}), (Bytes{103, 103, 255}));
    // Yellow: 150 + 76 = 226 becomes 29, down by 197.
    EXPECT_EQ(Row<std::uint8_t>(1, 4, {0, 255, 255}), (Bytes{0, 58, 58}));
}

TEST_F(CGoldenGamma, BlackAndWhite) {
    Set(kY, kNegative, 100, 0, 0, 8);
    EXPECT_EQ(Row<std::uint8_t>(2, 4, {0, 0, 0, 255, 255, 255}), (Bytes{255, 255, 255, 0, 0, 0}));
    Set(kY, kNegative, 100, 0, 0, 12);
    EXPECT_EQ(Row<std::uint16_t>(1, 256, {0, 0, 0}), (Words{4095, 4095, 4095}));
    EXPECT_EQ(Row<std::uint16_t>(1, 256, {4095, 4095, 4095}), (Words{0, 0, 0}));
}

TEST_F(CGoldenGamma, FourthByteStays) {
    Set(kY, kNegative, 100, 0, 0, 8);
    EXPECT_EQ(Row<std::uint8_t>(2, 8, {0, 0, 0, 77, 255, 255, 255, 88}), (Bytes{255, 255, 255, 77, 0, 0, 0, 88}));
}

// 5 pixels of 3 bytes are 15; rows take 16.
TEST_F(CGoldenGamma, ColorRowsOfBytes) {
    SetFlat(kY, 0);
    Bytes image(31, 10);
    image[15] = 99;
    // Y = 1 + 6 + 3 = 10 becomes 0.
    Bytes expected(31, 0);
    expected[15] = 99;
    EXPECT_EQ(Rows<std::uint8_t>(5, 2, 4, image), expected);
}

// Colour pixels of words stand 6 words apart, of which 3 are left alone, and their rows 12 bytes a pixel.
TEST_F(CGoldenGamma, WordsOfColorStepTwiceTheirSize) {
    Set(kY, kNegative, 100, 0, 0, 12);
    EXPECT_EQ(Rows<std::uint16_t>(2, 2, 256, {0, 0, 0, 1, 2, 3, 4095, 4095, 4095, 4, 5, 6, //
                                              0, 0, 0, 1, 2, 3, 4095, 4095, 4095}),
              (Words{4095, 4095, 4095, 1, 2, 3, 0, 0, 0, 4, 5, 6, //
                     4095, 4095, 4095, 1, 2, 3, 0, 0, 0}));
}

// With a fourth word they stand 8 apart, of which 5 are left alone, and their rows 16 bytes a pixel.
TEST_F(CGoldenGamma, WordsOfColorWithAFourthStepTwiceTheirSize) {
    Set(kY, kNegative, 100, 0, 0, 12);
    EXPECT_EQ(Rows<std::uint16_t>(2, 2, 512, {0, 0, 0, 9, 1, 2, 3, 8, 4095, 4095, 4095, 9, 4, 5, 6, 8, //
                                              0, 0, 0, 9, 1, 2, 3, 8, 4095, 4095, 4095, 9}),
              (Words{4095, 4095, 4095, 9, 1, 2, 3, 8, 0, 0, 0, 9, 4, 5, 6, 8, //
                     4095, 4095, 4095, 9, 1, 2, 3, 8, 0, 0, 0, 9}));
}

// The step stays twice the size when the caller gives the pitch: the second row starts where he says.
TEST_F(CGoldenGamma, GivenLineLengthKeepsTheStep) {
    Set(kY, kNegative, 100, 0, 0, 12);
    Words image{0, 0, 0, 1, 2, 3, 0, 0, 0, 4, 5, 0, 0, 0, 6, 7, 8, 0, 0, 0};
    EXPECT_EQ(mModule->ProcBGROrGrayW(2, 2, 22, 256, image.data()), kOk);
    EXPECT_EQ(image, (Words{4095, 4095, 4095, 1, 2, 3, 4095, 4095, 4095, 4, 5, //
                            4095, 4095, 4095, 6, 7, 8, 4095, 4095, 4095}));
}

// The luma's change is a signed number of 16 bits: entries above 32767 + Y count as negative.
TEST_F(CGoldenGamma, ChangeIsSigned) {
    SetFlat(kY, 65535); // -1
    EXPECT_EQ(Row<std::uint8_t>(1, 4, {0, 0, 0}), (Bytes{0, 0, 0}));
    EXPECT_EQ(Row<std::uint16_t>(1, 256, {0, 0, 0}), (Words{0, 0, 0}));
    // Y = 9 + 0 + 0: 65535 - 9 is -10.
    EXPECT_EQ(Row<std::uint8_t>(1, 4, {80, 0, 0}), (Bytes{70, 0, 0}));
    SetFlat(kY, 32767);
    EXPECT_EQ(Row<std::uint8_t>(1, 4, {0, 0, 0}), (Bytes{255, 255, 255}));
    EXPECT_EQ(Row<std::uint16_t>(1, 256, {0, 0, 0}), (Words{4095, 4095, 4095}));
    SetFlat(kY, 32768);
    EXPECT_EQ(Row<std::uint8_t>(1, 4, {0, 0, 0}), (Bytes{0, 0, 0}));
    // 32768 - 9 fits again.
    EXPECT_EQ(Row<std::uint8_t>(1, 4, {80, 0, 0}), (Bytes{255, 255, 255}));
}

// Value and change are added without wrapping: 60000 + 7000 is above the top, not 1464.
TEST_F(CGoldenGamma, SumIsWide) {
    SetFlat(kY, 7478); // Y of blue 60000 is that of 4195, 478
    EXPECT_EQ(Row<std::uint16_t>(1, 256, {60000, 0, 0}), (Words{4095, 4095, 4095}));
    SetFlat(kY, 32767);
    EXPECT_EQ(Row<std::uint16_t>(1, 512, {65535, 0, 65535, 7}), (Words{4095, 4095, 4095, 7}));
}

// Components above 4195 have the luma of 4195; 478 + 2462 + 1254 = 4194 takes the curve's last entry, and 4194 stays
// what the change is counted from.
TEST_F(CGoldenGamma, ComponentsAboveTwelveBits) {
    SetFlat(kY, 100);
    EXPECT_EQ(Row<std::uint16_t>(1, 256, {4195, 4200, 8000}), (Words{101, 106, 3906}));
    EXPECT_EQ(Row<std::uint16_t>(1, 256, {65535, 65535, 65535}), (Words{4095, 4095, 4095}));
}

// Byte formats with words and word formats with bytes are refused, as are the two sizes without a meaning here.
TEST_F(CGoldenGamma, FormatsOfTheOtherWidth) {
    Set(kY, kNegative, 100, 0, 0, 8);
    const Bytes bytes(16, 5);
    const Words words(16, 5);
    for (const unsigned long format : {0UL, 2UL, 16UL, 32UL, 64UL, 256UL, 512UL}) {
        EXPECT_EQ(Rows(1, 1, format, bytes, kInvalid), bytes);
    }
    for (const unsigned long format : {0UL, 1UL, 2UL, 4UL, 8UL, 64UL}) {
        EXPECT_EQ(Rows(1, 1, format, words, kInvalid), words);
    }
}

// An off channel passes every format, before anything else is looked at.
TEST_F(CGoldenGamma, OffPassesEveryFormat) {
    Set(kY, kOff, 100, 0, 0, 3);
    for (const unsigned long format : {0UL, 1UL, 2UL, 4UL, 77UL, 256UL, ~0UL}) {
        EXPECT_EQ(Rows<std::uint8_t>(1, 1, format, {200, 100, 50, 25}), (Bytes{200, 100, 50, 25}));
        EXPECT_EQ(mModule->ProcBGROrGrayW(9, 9, 0, format, nullptr), kOk);
    }
}

} // namespace vek::test
