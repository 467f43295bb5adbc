// SPDX-License-Identifier: Apache-2.0
// Sharpness by hand: one pixel that differs in a flat field, and what the moves of bytes and words do at their ends.
#include "VekTrgApi.h"
#include "api/VekTrgCamera.h"
#include "imageproc/ISharpness.h"
#include "imageproc/ModuleTest.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace vek::test {

namespace {

class CGoldenSharpness : public ::testing::Test {
protected:
    void Set(unsigned short gain, unsigned short coring) { EXPECT_EQ(mModule->SetMode(1, gain, coring), 0U); }

    /// The centre of 5 x 5 pixels that are all field but for it, and the pixel beside it, after sharpening.
    std::vector<int> GrayBytes(int field, int center) { return Gray<std::uint8_t>(1, field, center, 8, 8); }
    std::vector<int> GrayWords(int field, int center, unsigned short bits) {
        return Gray<std::uint16_t>(32, field, center, bits, 6);
    }
    /// Blue, green and red of the centre of 3 x 3 pixels.
    std::vector<int> ColorBytes(int field, const std::vector<int>& center) {
        return Color<std::uint8_t>(4, field, center, 8, 12);
    }
    std::vector<int> ColorWords(int field, const std::vector<int>& center, unsigned short bits) {
        return Color<std::uint16_t>(256, field, center, bits, 10);
    }

    ModulePtr<ISharpness, kModuleSharpness> mModule = makeModule<ISharpness, kModuleSharpness>();

private:
    template <class T>
    void Process(unsigned long side, unsigned long format, std::vector<T>* image, unsigned short bits) {
        const auto process = bySample<T>(&ISharpness::ProcessB, &ISharpness::ProcessW);
        EXPECT_EQ((*mModule.*process)(side, side, 0, format, image->data(), bits), 0U);
    }
    /// row: samples from row to row, of which the derived pitch is.
    template <class T>
    std::vector<int> Gray(unsigned long format, int field, int center, unsigned short bits, std::size_t row) {
        std::vector<T> image(row * 5, static_cast<T>(field));
        image[2 * row + 2] = static_cast<T>(center);
        Process(5, format, &image, bits);
        return Expected<T>(image, row, field);
    }
    /// row: the same of pixels with three samples; pixels with four take 12.
    template <class T>
    std::vector<int> Color(unsigned long format, int field, const std::vector<int>& center, unsigned short bits,
                           std::size_t row) {
        std::vector<T> image(3 * row, static_cast<T>(field));
        std::vector<T> four(3 * 12, static_cast<T>(field));
        for (std::size_t i = 0; i < 3; ++i) {
            image[row + 3 + i] = static_cast<T>(center[i]);
            four[12 + 4 + i] = static_cast<T>(center[i]);
        }
        four[12 + 7] = 123;
        Process(3, format, &image, bits);
        Process(3, 2 * format, &four, bits);
        EXPECT_EQ(four[12 + 7], 123);
        const std::vector<int> result(&image[row + 3], &image[row + 6]);
        EXPECT_EQ(result, std::vector<int>(&four[16], &four[19]));
        return result;
    }
    /// Centre and neighbour; the eight neighbours agree and the border is as it was.
    template <class T>
    static std::vector<int> Expected(const std::vector<T>& image, std::size_t line, int field) {
        for (std::size_t y = 0; y < 5; ++y) {
            for (std::size_t x = 0; x < line; ++x) {
                const bool inner = y > 0 && y < 4 && x > 0 && x < 4;
                if (!inner) {
                    EXPECT_EQ(int{image[y * line + x]}, field) << y << ", " << x;
                } else if (y != 2 || x != 2) {
                    EXPECT_EQ(image[y * line + x], image[line + 1]) << y << ", " << x;
                }
            }
        }
        return {image[2 * line + 2], image[line + 1]};
    }
};

using V = std::vector<int>;

} // namespace

// Centre: 100 - 50 = 50 more. Neighbours: mean (7 x 50 + 100 + 4) >> 3 = 56, 6 less.
TEST_F(CGoldenSharpness, OneBrightPixel) {
    Set(100, 0);
    EXPECT_EQ(GrayBytes(50, 100), (V{150, 44}));
    EXPECT_EQ(GrayWords(50, 100, 12), (V{150, 44}));
}

// Centre: 50 - 100. Neighbours: mean (700 + 50 + 4) >> 3 = 94, 6 more.
TEST_F(CGoldenSharpness, OneDarkPixel) {
    Set(50, 0);
    EXPECT_EQ(GrayBytes(100, 50), (V{25, 103}));
    EXPECT_EQ(GrayWords(100, 50, 10), (V{25, 103}));
}

TEST_F(CGoldenSharpness, FlatFieldStays) {
    Set(65535, 0);
    EXPECT_EQ(GrayBytes(77, 77), (V{77, 77}));
    EXPECT_EQ(ColorBytes(77, {77, 77, 77}), (V{77, 77, 77}));
    EXPECT_EQ(GrayWords(777, 777, 12), (V{777, 777}));
}

// A new module is off, and so is one that was switched off, whatever depth and format.
TEST_F(CGoldenSharpness, OffTouchesNothing) {
    EXPECT_EQ(GrayBytes(50, 100), (V{100, 50}));
    EXPECT_EQ(mModule->SetMode(0, 100, 0), 0U);
    EXPECT_EQ(GrayBytes(50, 100), (V{100, 50}));
    EXPECT_EQ(mModule->ProcessB(5, 5, 0, 3, nullptr, 99), 0U);
    EXPECT_EQ(mModule->ProcessW(5, 5, 0, 3, nullptr, 99), 0U);
}

// Any mode but 0 is on.
TEST_F(CGoldenSharpness, EveryOtherModeIsOn) {
    for (const unsigned mode : {1U, 2U, 128U, 255U}) {
        EXPECT_EQ(mModule->SetMode(static_cast<unsigned char>(mode), 100, 0), 0U);
        EXPECT_EQ(GrayBytes(50, 100), (V{150, 44}));
    }
}

// Gain and coring set with mode 0 are kept, but work only once they are set with another mode.
TEST_F(CGoldenSharpness, SettingsOfModeZeroAreKept) {
    Set(100, 0);
    EXPECT_EQ(mModule->SetMode(0, 300, 7), 0U);
    unsigned char mode = 9;
    unsigned short gain = 9;
    unsigned short coring = 9;
    EXPECT_EQ(mModule->GetMode(&mode, &gain, &coring), 0U);
    EXPECT_EQ(mode, 0);
    EXPECT_EQ(gain, 300);
    EXPECT_EQ(coring, 7);
    EXPECT_EQ(GrayBytes(50, 100), (V{100, 50}));
    Set(300, 7);
    EXPECT_EQ(GrayBytes(50, 60), (V{69, 50})); // 3 levels beyond the coring, times 3; neighbours differ by 1
}

// A difference of the coring itself stays, the next one counts as one.
TEST_F(CGoldenSharpness, CoringIsIgnored) {
    Set(100, 10);
    EXPECT_EQ(GrayBytes(50, 60), (V{60, 50}));
    EXPECT_EQ(GrayBytes(50, 61), (V{62, 50}));
    EXPECT_EQ(GrayBytes(50, 40), (V{40, 50}));
    EXPECT_EQ(GrayBytes(50, 39), (V{38, 50}));
    EXPECT_EQ(ColorBytes(50, {60, 60, 60}), (V{60, 60, 60}));
    EXPECT_EQ(ColorBytes(50, {61, 61, 61}), (V{62, 62, 62}));
}

// Corings at and beyond the end of the table leave nothing to sharpen.
TEST_F(CGoldenSharpness, LargeCoringsSwitchOff) {
    for (const unsigned coring : {4095U, 4096U, 32768U, 65535U}) {
        Set(65535, static_cast<unsigned short>(coring));
        EXPECT_EQ(GrayWords(0, 4095, 12), (V{4095, 0})) << coring;
        EXPECT_EQ(GrayWords(4095, 0, 12), (V{0, 4095})) << coring;
    }
    Set(65535, 4094);
    EXPECT_EQ(GrayWords(4095, 0, 12), (V{0, 4095}));
}

// Corrections of a gain of 0 are 0.
TEST_F(CGoldenSharpness, NoGain) {
    Set(0, 0);
    EXPECT_EQ(GrayBytes(50, 255), (V{255, 50}));
    EXPECT_EQ(GrayBytes(50, 0), (V{0, 50}));
    EXPECT_EQ(ColorBytes(50, {255, 0, 90}), (V{255, 0, 90}));
}

// Half a level is rounded up: 50 % of 1, 3 and 5 levels.
TEST_F(CGoldenSharpness, HalfALevelRoundsUp) {
    Set(50, 0);
    EXPECT_EQ(GrayBytes(50, 51), (V{52, 50}));
    EXPECT_EQ(GrayBytes(50, 53), (V{55, 50}));
    EXPECT_EQ(GrayBytes(50, 45), (V{42, 51})); // neighbours: mean (350 + 45 + 4) >> 3 = 49
}

// Corrections are summed in single precision: 25 times 10 % is a little less than 2.5, 15 times a little more than 1.5.
TEST_F(CGoldenSharpness, CorrectionsAreSummed) {
    Set(10, 0);
    EXPECT_EQ(GrayWords(100, 125, 12)[0], 127);
    EXPECT_EQ(GrayWords(100, 115, 12)[0], 117);
    Set(1, 0);
    EXPECT_EQ(GrayWords(100, 150, 12)[0], 150);
    EXPECT_EQ(GrayWords(100, 151, 12)[0], 152);
    Set(15, 0);
    EXPECT_EQ(GrayWords(100, 110, 12)[0], 111); // 10 x 15 %
}

// The mean of eight rounds a half up.
TEST_F(CGoldenSharpness, MeanRoundsAHalfUp) {
    Set(100, 0);
    std::vector<std::uint8_t> image{3, 0, 0, 9, 0, 5, 0, 9, 0, 0, 0, 9}; // sum 3: mean 0, 5 more
    EXPECT_EQ(mModule->ProcessB(3, 3, 0, 1, image.data(), 8), 0U);
    EXPECT_EQ(image[5], 10);
    image = {4, 0, 0, 9, 0, 5, 0, 9, 0, 0, 0, 9}; // sum 4: mean 1, 4 more
    EXPECT_EQ(mModule->ProcessB(3, 3, 0, 1, image.data(), 8), 0U);
    EXPECT_EQ(image[5], 9);
}

// Neighbours are taken as they were, whatever became of them: with 0s around, both means are (80 + 4) >> 3 = 10.
TEST_F(CGoldenSharpness, NeighborsAreTakenUnchanged) {
    Set(100, 0);
    std::vector<std::uint8_t> wide{0, 0, 0, 0, 0, 80, 80, 0, 0, 0, 0, 0};
    EXPECT_EQ(mModule->ProcessB(4, 3, 0, 1, wide.data(), 8), 0U);
    EXPECT_EQ(wide, (std::vector<std::uint8_t>{0, 0, 0, 0, 0, 150, 150, 0, 0, 0, 0, 0}));
    std::vector<std::uint8_t> high{0, 0, 0, 0, 0, 80, 0, 0, 0, 80, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(mModule->ProcessB(3, 4, 0, 1, high.data(), 8), 0U);
    EXPECT_EQ(high, (std::vector<std::uint8_t>{0, 0, 0, 0, 0, 150, 0, 0, 0, 150, 0, 0, 0, 0, 0, 0}));
}

// Images of one or two rows or columns have no inner pixels.
TEST_F(CGoldenSharpness, SmallImagesStay) {
    Set(1000, 0);
    const unsigned long sizes[][2] = {{1, 1}, {2, 2}, {2, 6}, {6, 2}, {1, 6}, {6, 1}, {0, 6}, {6, 0}};
    for (const auto& size : sizes) {
        std::vector<std::uint8_t> image(48);
        for (std::size_t i = 0; i < image.size(); ++i) {
            image[i] = static_cast<std::uint8_t>(i * i);
        }
        const std::vector<std::uint8_t> before = image;
        EXPECT_EQ(mModule->ProcessB(size[0], size[1], 0, 1, image.data(), 8), 0U);
        EXPECT_EQ(mModule->ProcessB(size[0], size[1], 0, 8, image.data(), 8), 0U);
        EXPECT_EQ(image, before);
    }
}

// Moves stop at the ends of the depth.
TEST_F(CGoldenSharpness, Clamps) {
    Set(100, 0);
    EXPECT_EQ(GrayBytes(50, 200), (V{255, 31}));          // 200 + 150; neighbours: mean (350 + 200 + 4) >> 3 = 69
    EXPECT_EQ(GrayBytes(150, 50), (V{0, 162}));           // 50 - 100; mean (1050 + 50 + 4) >> 3 = 138
    EXPECT_EQ(GrayWords(1000, 3000, 12), (V{4095, 750})); // mean (7000 + 3000 + 4) >> 3 = 1250
    EXPECT_EQ(GrayWords(500, 900, 10), (V{1023, 450}));   // mean (3500 + 900 + 4) >> 3 = 550
    EXPECT_EQ(GrayWords(200, 300, 9), (V{400, 187}));     // mean (1400 + 300 + 4) >> 3 = 213
    EXPECT_EQ(ColorBytes(50, {200, 200, 200}), (V{255, 255, 255}));
    EXPECT_EQ(ColorWords(1000, {3000, 3000, 3000}, 12), (V{4095, 4095, 4095}));
}

// Luma 25 + 88 + 30 = 143 against 50: 93 more on each sample, each clamped by itself.
TEST_F(CGoldenSharpness, ColorMovesByItsLuma) {
    Set(100, 0);
    EXPECT_EQ(ColorBytes(50, {220, 150, 100}), (V{255, 243, 193}));
    // Luma 2 + 12 + 27 = 41: 9 less.
    EXPECT_EQ(ColorBytes(50, {20, 20, 90}), (V{11, 11, 81}));
    // Luma 1 + 6 + 24 = 31: 19 less.
    EXPECT_EQ(ColorBytes(50, {10, 10, 80}), (V{0, 0, 61}));
}

// In grey bytes a move counts modulo 256: 3 x 100 moves by 44.
TEST_F(CGoldenSharpness, GrayBytesMoveModulo256) {
    Set(300, 0);
    EXPECT_EQ(GrayBytes(50, 150), (V{194, 11})); // neighbours: mean (350 + 150 + 4) >> 3 = 63, 39 less
    EXPECT_EQ(GrayBytes(150, 50), (V{6, 186}));  // neighbours: mean (1050 + 50 + 4) >> 3 = 138, 36 more
    Set(256, 0);
    EXPECT_EQ(GrayBytes(50, 150), (V{150, 17})); // 256 x 100 % = 256: 0; 13 x 2.56 = 33.28
}

// In colour bytes sum and bound count modulo 256: a move of 300 has a bound of 211.
TEST_F(CGoldenSharpness, ColorBytesMoveModulo256) {
    Set(300, 0);
    EXPECT_EQ(ColorBytes(50, {150, 150, 150}), (V{194, 194, 194}));
    // Luma 143, 93 x 3 = 279: bound 232, 23 more.
    EXPECT_EQ(ColorBytes(50, {220, 150, 100}), (V{243, 173, 123}));
    // Luma 29 + 59 + 30 = 118, 68 x 3 = 204: bound 51, which no sample is below.
    EXPECT_EQ(ColorBytes(50, {255, 100, 100}), (V{255, 255, 255}));
    // Downwards the whole move counts: 300 is more than any byte.
    EXPECT_EQ(ColorBytes(150, {50, 50, 50}), (V{0, 0, 0}));
    EXPECT_EQ(ColorBytes(255, {255, 100, 100}), (V{0, 0, 0})); // luma 118, 137 x 3
}

// Words move by what the table says, up to 4095, and are clamped.
TEST_F(CGoldenSharpness, WordsDoNotWrap) {
    Set(300, 0);
    EXPECT_EQ(GrayWords(50, 150, 12), (V{450, 11}));
    EXPECT_EQ(GrayWords(50, 150, 9), (V{450, 11}));
    EXPECT_EQ(GrayWords(150, 50, 9), (V{0, 186}));
    EXPECT_EQ(ColorWords(50, {220, 150, 100}, 12), (V{499, 429, 379}));
    EXPECT_EQ(ColorWords(50, {220, 150, 100}, 9), (V{499, 429, 379}));
    Set(65535, 0);
    EXPECT_EQ(GrayWords(0, 3, 12), (V{1969, 0})); // 3 x 655.35 = 1966.05
    EXPECT_EQ(GrayWords(0, 7, 12), (V{4095, 0})); // saturated
    EXPECT_EQ(GrayWords(0, 3, 10), (V{1023, 0})); // a correction above the largest sample
    EXPECT_EQ(GrayWords(1000, 997, 10), (V{0, 1000}));
}

// Words above the depth: the difference of 19900 takes the table's last entry.
TEST_F(CGoldenSharpness, DeepSampleTakesTheLastEntry) {
    Set(100, 0);
    EXPECT_EQ(GrayWords(100, 20000, 12), (V{4095, 0})); // neighbours: mean (700 + 20000 + 4) >> 3 = 2588
    Set(1, 0);
    EXPECT_EQ(GrayWords(4000, 14000, 12)[1], 3987); // mean (28000 + 14000 + 4) >> 3 = 5250: 1250 x 1 %, summed
}

// Depths outside of 8 to 12 and formats of the other depth are refused.
TEST_F(CGoldenSharpness, Refusals) {
    Set(100, 0);
    std::uint16_t image[64] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 90};
    EXPECT_EQ(mModule->ProcessW(4, 4, 0, 16, image, 7), kInvalid);
    EXPECT_EQ(mModule->ProcessW(4, 4, 0, 16, image, 13), kInvalid);
    EXPECT_EQ(mModule->ProcessW(4, 4, 0, 1, image, 12), kInvalid);
    EXPECT_EQ(mModule->ProcessW(4, 4, 0, 4, image, 12), kInvalid);
    EXPECT_EQ(mModule->ProcessW(4, 4, 0, 0, image, 12), kInvalid);
    auto* const bytes = reinterpret_cast<std::uint8_t*>(image);
    EXPECT_EQ(mModule->ProcessB(4, 4, 0, 2, bytes, 8), kInvalid);
    EXPECT_EQ(mModule->ProcessB(4, 4, 0, 256, bytes, 8), kInvalid);
    EXPECT_EQ(mModule->ProcessB(4, 4, 0, 3, bytes, 8), kInvalid);
    EXPECT_EQ(mModule->ProcessB(4, 4, 0, 1, bytes, 0), kInvalid);
    EXPECT_EQ(image[10], 90);
}

// A coring that does not fit in a byte is reported as 255.
TEST_F(CGoldenSharpness, ExportReportsLargeCoringsAs255) {
    const VekCam_Handle handle = VekCam_Open(-1);
    ASSERT_NE(handle, nullptr);
    for (const unsigned coring : {254U, 255U, 256U, 300U, 512U, 65535U}) {
        EXPECT_EQ(handle->Sharpness().SetMode(3, 40000, static_cast<unsigned short>(coring)), 0U);
        unsigned char mode = 0;
        unsigned short gain = 0;
        unsigned char read = 0;
        EXPECT_EQ(VekCam_GetSharpnessMode(handle, &mode, &gain, &read), 0);
        EXPECT_EQ(mode, 3);
        EXPECT_EQ(gain, 40000);
        EXPECT_EQ(read, coring < 255 ? coring : 255);
    }
    VekCam_Close(handle);
}

} // namespace vek::test
