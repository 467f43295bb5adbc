// SPDX-License-Identifier: Apache-2.0
// Colour matrix, hue and saturation by hand. A sample s counts as s + 1; each input's share of an output is cut off
// towards zero by itself.
#include "imageproc/ColorMatrix.h"
#include "imageproc/IColorMatrix.h"
#include "imageproc/ModuleTest.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <vector>

namespace vek::test {

namespace {

using V = std::vector<int>;
using Matrix = std::array<short, 12>;

class CGoldenColorMatrix : public ::testing::Test {
protected:
    void Set(const Matrix& matrix) { EXPECT_EQ(mModule->SetColorMatrix(255, matrix.data()), 0U); }
    void Hue(short hue, unsigned short saturation) { EXPECT_EQ(mModule->SetHueSaturation(1, hue, saturation), 0U); }

    void ExpectMatrix(int expectedMode, const Matrix& expected) {
        unsigned char mode = 9;
        Matrix matrix{};
        EXPECT_EQ(mModule->GetColorMatrix(&mode, matrix.data()), 0U);
        EXPECT_EQ(mode, expectedMode);
        EXPECT_EQ(matrix, expected);
    }
    void ExpectHueOff() {
        unsigned char mode = 9;
        short hue = 9;
        unsigned short saturation = 9;
        EXPECT_EQ(mModule->GetHueSaturation(&mode, &hue, &saturation), 0U);
        EXPECT_EQ(mode, 0);
        EXPECT_EQ(hue, 0);
        EXPECT_EQ(saturation, 100);
    }

    /// One pixel (blue, green, red) in both colour formats.
    V Bytes(const V& pixel, unsigned short bits = 8) { return Run<std::uint8_t>(4, pixel, bits); }
    V Words(const V& pixel, unsigned short bits) { return Run<std::uint16_t>(256, pixel, bits); }
    /// Whether every sample of a depth rises by 1, the largest one aside.
    void ExpectOneMore() {
        for (int i = 0; i < 256; ++i) {
            const int more = i < 255 ? i + 1 : 255;
            ASSERT_EQ(Bytes({i, i, i}), (V{more, more, more}));
            ASSERT_EQ(Bytes({i, 255 - i, 7}), (V{more, i > 0 ? 256 - i : 255, 8}));
        }
        for (int i = 0; i < 4096; ++i) {
            const int more = i < 4095 ? i + 1 : 4095;
            ASSERT_EQ(Words({i, i, i}, 12), (V{more, more, more}));
            ASSERT_EQ(Words({i, 7, 4094}, 12), (V{more, 8, 4095}));
        }
    }

    ModulePtr<IColorMatrix, kModuleColorMatrix> mModule = makeModule<IColorMatrix, kModuleColorMatrix>();

private:
    template <class T>
    V Run(unsigned long format, const V& pixel, unsigned short bits) {
        const auto process = bySample<T>(&IColorMatrix::ProcessB, &IColorMatrix::ProcessW);
        std::vector<T> three(pixel.begin(), pixel.end());
        std::vector<T> four(pixel.begin(), pixel.end());
        four.push_back(200);
        EXPECT_EQ((*mModule.*process)(1, 1, 0, format, three.data(), bits), 0U);
        EXPECT_EQ((*mModule.*process)(1, 1, 0, 2 * format, four.data(), bits), 0U);
        EXPECT_EQ(four[3], 200);
        EXPECT_TRUE(std::equal(three.begin(), three.end(), four.begin()));
        return {three.begin(), three.end()};
    }
};

constexpr Matrix kIdentity = {100, 0, 0, 0, 0, 100, 0, 0, 0, 0, 100, 0};

} // namespace

// A new module is off: identity, no hue, full saturation, and no image changes.
TEST_F(CGoldenColorMatrix, DefaultsTouchNothing) {
    ExpectMatrix(0, kIdentity);
    ExpectHueOff();
    EXPECT_EQ(Bytes({0, 100, 255}), (V{0, 100, 255}));
    EXPECT_EQ(Words({0, 100, 65535}, 12), (V{0, 100, 65535}));
}

// Every table begins one step up, so that the identity raises each sample by 1.
TEST_F(CGoldenColorMatrix, IdentityHueRaisesByOne) {
    Hue(0, 100);
    ExpectOneMore();
}

TEST_F(CGoldenColorMatrix, IdentityMatrixRaisesByOne) {
    Set(kIdentity);
    ExpectOneMore();
}

TEST_F(CGoldenColorMatrix, FullTurnIsTheIdentity) {
    Hue(3600, 100);
    ExpectOneMore();
}

// Both modes off again: the tables are there, the image is not touched.
TEST_F(CGoldenColorMatrix, SwitchedOffTouchesNothing) {
    Set({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    Hue(0, 0);
    EXPECT_EQ(mModule->SetColorMatrix(0, nullptr), 0U);
    EXPECT_EQ(Bytes({50, 100, 200}), (V{124, 124, 124})); // saturation is still on
    EXPECT_EQ(mModule->SetHueSaturation(0, 500, 7), 0U);
    EXPECT_EQ(Bytes({50, 100, 200}), (V{50, 100, 200}));
    ExpectHueOff(); // what came with mode 0 is not kept
}

// 51 x 0.1145 = 5.8, 101 x 0.5866 = 59.2, 201 x 0.2989 = 60.1: 5 + 59 + 60 on all three.
TEST_F(CGoldenColorMatrix, NoSaturationIsGray) {
    Hue(0, 0);
    EXPECT_EQ(Bytes({50, 100, 200}), (V{124, 124, 124}));
    EXPECT_EQ(Bytes({0, 0, 255}), (V{76, 76, 76}));            // 256 x 0.2989 = 76.5
    EXPECT_EQ(Bytes({255, 0, 0}), (V{29, 29, 29}));            // 256 x 0.1145 = 29.3
    EXPECT_EQ(Bytes({0, 255, 0}), (V{150, 150, 150}));         // 256 x 0.5866 = 150.2
    EXPECT_EQ(Words({0, 0, 4000}, 12), (V{1195, 1195, 1195})); // 4001 x 0.2989 = 1195.9
}

// A quarter turn: red 0.5978 R + 1.1732 G - 0.771 B, green 0.0097 R + 0.4022 G + 0.5881 B, blue R.
TEST_F(CGoldenColorMatrix, QuarterTurnOfHue) {
    Hue(900, 100);
    EXPECT_EQ(Bytes({10, 20, 100}), (V{101, 0 + 8 + 6, 60 + 24 - 8}));
}

// Half a turn: red -0.4022 R + 1.1732 G + 0.229 B, green 0.5978 R + 0.1732 G + 0.229 B, blue 0.5978 R + 1.1732 G -
// 0.771 B.
TEST_F(CGoldenColorMatrix, HalfATurnOfHue) {
    Hue(1800, 100);
    EXPECT_EQ(Bytes({0, 0, 100}), (V{60 + 1, 60, 0})); // red: -40 + 1
    EXPECT_EQ(Bytes({30, 60, 90}), (V{54 + 71 - 23, 54 + 10 + 7, -36 + 71 + 7}));
}

// Rows are the outputs red, green and blue, columns the inputs red, green and blue; pixels are blue, green and red.
TEST_F(CGoldenColorMatrix, RowsAndColumns) {
    Set({0, 100, 0, 0, 0, 0, 100, 0, 100, 0, 0, 0}); // red from green, green from blue, blue from red
    EXPECT_EQ(Bytes({10, 20, 30}), (V{31, 11, 21}));
    Set({200, 0, 0, 0, 0, 300, 0, 0, 0, 0, 50, 0});
    EXPECT_EQ(Bytes({10, 20, 30}), (V{5, 63, 62}));
}

// The caller's matrix comes first, then hue and saturation: with red and blue exchanged their weights are, too.
// 51 x 0.2989 = 15.2, 101 x 0.5866 = 59.2, 201 x 0.1145 = 23.0.
TEST_F(CGoldenColorMatrix, MatrixComesBeforeSaturation) {
    Set({0, 0, 100, 0, 0, 100, 0, 0, 100, 0, 0, 0});
    Hue(0, 0);
    EXPECT_EQ(Bytes({50, 100, 200}), (V{97, 97, 97}));
}

// Negative sums become 0.
TEST_F(CGoldenColorMatrix, NegativeIsBlack) {
    Set({-50, 0, 0, 0, 0, 100, 0, 0, 0, 0, 100, 0});
    EXPECT_EQ(Bytes({1, 2, 200}), (V{2, 3, 0}));
    EXPECT_EQ(Words({1, 2, 4095}, 12), (V{2, 3, 0}));
    Set({100, -50, 0, 0, 0, 100, 0, 0, 0, 0, 100, 0});
    EXPECT_EQ(Bytes({0, 100, 40}), (V{1, 101, 0})); // 41 - 50
}

// Shares are cut off towards zero, each by itself: -5.5 counts as -5, and two halves make nothing.
TEST_F(CGoldenColorMatrix, SharesAreCutOffTowardsZero) {
    Set({100, -50, 0, 0, 0, 100, 0, 0, 0, 0, 100, 0});
    EXPECT_EQ(Bytes({0, 9, 10}), (V{1, 10, 6}));  // 11 - 5.0
    EXPECT_EQ(Bytes({0, 10, 10}), (V{1, 11, 6})); // 11 - 5.5
    EXPECT_EQ(Bytes({0, 11, 10}), (V{1, 12, 5})); // 11 - 6.0
    Set({50, 50, 50, 0, 0, 100, 0, 0, 0, 0, 100, 0});
    EXPECT_EQ(Bytes({0, 0, 0}), (V{1, 1, 0}));
    EXPECT_EQ(Bytes({2, 2, 2}), (V{3, 3, 3})); // three times 1.5
}

// Offsets join the shares of the red input before these are cut off.
TEST_F(CGoldenColorMatrix, OffsetsJoinTheRedInput) {
    Set({50, 0, 0, 250, 0, 100, 0, 250, 0, 0, 50, 250});
    EXPECT_EQ(Bytes({0, 0, 0}), (V{2, 3, 3}));    // blue 0.5 and 2.5 apart, green 1 + 2.5, red 0.5 + 2.5
    EXPECT_EQ(Bytes({9, 10, 11}), (V{7, 13, 8})); // blue 5 + 2, green 11 + 2, red 6 + 2.5
    Set({100, 0, 0, -250, 0, 100, 0, -150, 0, 0, 100, -32768});
    EXPECT_EQ(Bytes({255, 9, 9}), (V{0, 9, 7})); // blue 256 - 327, green 10 - 1, red trunc(10 - 2.5)
}

// Offsets are not rotated nor made grey: 30 + 59 + 11 = 100 for all, 10 more for red.
TEST_F(CGoldenColorMatrix, OffsetsEscapeSaturation) {
    Set({100, 0, 0, 1000, 0, 100, 0, 0, 0, 0, 100, 0});
    Hue(0, 0);
    EXPECT_EQ(Bytes({100, 100, 100}), (V{100, 100, 110}));
}

// What exceeds the depth becomes its largest value.
TEST_F(CGoldenColorMatrix, ClampsToTheDepth) {
    Set({1000, 0, 0, 0, 0, 100, 0, 0, 0, 0, 100, 0});
    EXPECT_EQ(Bytes({254, 255, 24}), (V{255, 255, 250}));
    EXPECT_EQ(Bytes({254, 255, 25}), (V{255, 255, 255}));
    EXPECT_EQ(Bytes({254, 255, 255}), (V{255, 255, 255}));
    EXPECT_EQ(Words({1022, 1023, 101}, 10), (V{1023, 1023, 1020}));
    EXPECT_EQ(Words({1022, 1023, 102}, 10), (V{1023, 1023, 1023}));
    EXPECT_EQ(Words({4000, 9, 4095}, 16), (V{4001, 10, 40960}));
    EXPECT_EQ(Bytes({13, 14, 15}, 4), (V{14, 15, 15}));
    EXPECT_EQ(Bytes({0, 1, 2}, 0), (V{0, 0, 0}));
}

// Sums of 2^28 and more count as negative. Red of red: 327.67 x 459.765 = 150651 for each level.
TEST_F(CGoldenColorMatrix, HugeSumsAreBlack) {
    Set({32767, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    Hue(0, 65535);
    EXPECT_EQ(Words({0, 0, 0}, 12), (V{0, 0, 4095}));
    EXPECT_EQ(Words({0, 0, 1700}, 12), (V{0, 0, 4095})); // 256.3 million
    EXPECT_EQ(Words({0, 0, 1800}, 12), (V{0, 0, 0}));    // 271.3 million
    EXPECT_EQ(Words({0, 0, 4095}, 12), (V{0, 0, 0}));
    EXPECT_EQ(Bytes({0, 0, 255}), (V{0, 0, 255}));
}

// The tables end at 4095: higher words count as that.
TEST_F(CGoldenColorMatrix, WordsBeyondTheTablesTakeTheLastEntry) {
    Set(kIdentity);
    EXPECT_EQ(Words({4094, 4095, 4096}, 16), (V{4095, 4096, 4096}));
    EXPECT_EQ(Words({65535, 0, 60000}, 16), (V{4096, 1, 4096}));
}

// A refused mode changes neither the settings nor the tables.
TEST_F(CGoldenColorMatrix, RefusedModesChangeNothing) {
    constexpr Matrix kDouble = {200, 0, 0, 0, 0, 200, 0, 0, 0, 0, 200, 0};
    Set(kDouble);
    for (const unsigned mode : {1U, 2U, 128U, 254U}) {
        EXPECT_EQ(mModule->SetColorMatrix(static_cast<unsigned char>(mode), kIdentity.data()), kInvalid);
    }
    for (const unsigned mode : {2U, 128U, 255U}) {
        EXPECT_EQ(mModule->SetHueSaturation(static_cast<unsigned char>(mode), 900, 0), kInvalid);
    }
    ExpectMatrix(255, kDouble);
    ExpectHueOff();
    EXPECT_EQ(Bytes({1, 2, 3}), (V{4, 6, 8}));
}

// Grey formats have nothing to do and need no image; all but these and the four of colour are refused.
TEST_F(CGoldenColorMatrix, Formats) {
    Set({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    std::uint8_t bytes[3] = {1, 2, 3};
    std::uint16_t words[3] = {1, 2, 3};
    for (const unsigned long format : {1UL, 2UL, 16UL, 32UL, 64UL}) {
        EXPECT_EQ(mModule->ProcessB(1, 1, 0, format, bytes, 8), 0U);
        EXPECT_EQ(mModule->ProcessW(1, 1, 0, format, words, 12), 0U);
        EXPECT_EQ(mModule->ProcessB(1, 1, 0, format, nullptr, 8), 0U);
    }
    for (const unsigned long format : {0UL, 3UL, 5UL, 128UL, 260UL, 1024UL}) {
        EXPECT_EQ(mModule->ProcessB(1, 1, 0, format, bytes, 8), kInvalid);
        EXPECT_EQ(mModule->ProcessW(1, 1, 0, format, words, 12), kInvalid);
    }
    EXPECT_EQ(bytes[0], 1);
    EXPECT_EQ(bytes[2], 3);
    EXPECT_EQ(words[0], 1);
    EXPECT_EQ(words[2], 3);
    EXPECT_EQ(mModule->ProcessB(1, 1, 0, 256, bytes, 8), 0U); // the format gives samples per pixel, not their width
    EXPECT_EQ(mModule->ProcessW(1, 1, 0, 4, words, 12), 0U);
    EXPECT_EQ(bytes[2], 0);
    EXPECT_EQ(words[2], 0);
}

// A derived line of three words takes 8 bytes: 6 rounded up to a multiple of 4.
TEST_F(CGoldenColorMatrix, DerivedLinesAreMultiplesOfFour) {
    Set(kIdentity);
    std::vector<std::uint16_t> words{1, 2, 3, 77, 4, 5, 6};
    EXPECT_EQ(mModule->ProcessW(1, 2, 0, 256, words.data(), 12), 0U);
    EXPECT_EQ(words, (std::vector<std::uint16_t>{2, 3, 4, 77, 5, 6, 7}));
    std::vector<std::uint8_t> bytes{1, 2, 3, 77, 4, 5, 6};
    EXPECT_EQ(mModule->ProcessB(1, 2, 0, 4, bytes.data(), 8), 0U);
    EXPECT_EQ(bytes, (std::vector<std::uint8_t>{2, 3, 4, 77, 5, 6, 7}));
}

// The byte form of the clamp: 0 .. 255 as it is, a set bit 28 (negative values) as 0, all else as 255.
TEST(CColorMatrixSums, BecomeBytes) {
    EXPECT_EQ(INT_2_BYTE(0), 0);
    EXPECT_EQ(INT_2_BYTE(255), 255);
    EXPECT_EQ(INT_2_BYTE(256), 255);
    EXPECT_EQ(INT_2_BYTE((1 << 28) - 1), 255);
    EXPECT_EQ(INT_2_BYTE(1 << 28), 0);
    EXPECT_EQ(INT_2_BYTE(-1), 0);
    EXPECT_EQ(INT_2_BYTE(-70000), 0);
}

} // namespace vek::test
