// SPDX-License-Identifier: Apache-2.0
// Mirror and rotation by hand, on pictures of 3 x 2 and a few more.
#include "imageproc/IFlip.h"
#include "imageproc/ModuleTest.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace vek::test {

namespace {

class CGoldenFlip : public ::testing::Test {
protected:
    /// A raw picture as bytes and as words, in place and into another buffer.
    void ExpectRaw(unsigned char mirror, unsigned char rotation, unsigned long width, unsigned long height,
                   const std::vector<int>& source, unsigned long resultWidth, const std::vector<int>& result) {
        Check<std::uint8_t>(mirror, rotation, width, height, 0, source, resultWidth, result);
        Check<std::uint16_t>(mirror, rotation, width, height, 0, source, resultWidth, result);
    }
    /// A picture of pixels of 3 or 4 samples in the same ways; a number n stands for the samples 10n, 10n + 1, ...
    void ExpectColor(unsigned char mirror, unsigned char rotation, unsigned long width, unsigned long height,
                     const std::vector<int>& source, unsigned long resultWidth, const std::vector<int>& result) {
        for (const unsigned samples : {3U, 4U}) {
            Check<std::uint8_t>(mirror, rotation, width, height, samples, Pixels(source, samples), resultWidth,
                                Pixels(result, samples));
            Check<std::uint16_t>(mirror, rotation, width, height, samples, Pixels(source, samples), resultWidth,
                                 Pixels(result, samples));
        }
    }
    /// 1 2 3 over 4 5 6.
    void ExpectRawSix(unsigned char mirror, unsigned char rotation, unsigned long resultWidth,
                      const std::vector<int>& result) {
        ExpectRaw(mirror, rotation, 3, 2, {1, 2, 3, 4, 5, 6}, resultWidth, result);
    }
    void ExpectSix(unsigned char mirror, unsigned char rotation, unsigned long resultWidth,
                   const std::vector<int>& result) {
        ExpectRawSix(mirror, rotation, resultWidth, result);
        ExpectColor(mirror, rotation, 3, 2, {1, 2, 3, 4, 5, 6}, resultWidth, result);
    }
    unsigned short ColorArray(unsigned char mirror, unsigned char rotation, unsigned short colorArray) {
        std::uint8_t image[6] = {};
        unsigned long width = 3;
        unsigned long height = 2;
        EXPECT_EQ(mModule->FlipRawB(mirror, rotation, &width, &height, image, image, &colorArray), 0U);
        return colorArray;
    }
    static std::vector<int> Pixels(const std::vector<int>& numbers, unsigned samples) {
        std::vector<int> all;
        for (const int number : numbers) {
            for (int i = 0; i < static_cast<int>(samples); ++i) {
                all.push_back(10 * number + i);
            }
        }
        return all;
    }

    ModulePtr<IFlip, kModuleFlip> mModule = makeModule<IFlip, kModuleFlip>();

private:
    /// samples 0: the raw operations.
    template <class T>
    void Check(unsigned char mirror, unsigned char rotation, unsigned long width, unsigned long height,
               unsigned samples, const std::vector<int>& source, unsigned long resultWidth,
               const std::vector<int>& result) {
        const auto call = [&](T* src, T* dst) {
            unsigned long w = width;
            unsigned long h = height;
            unsigned short colorArray = 1;
            const unsigned long status =
                samples == 0 ? (*mModule.*bySample<T>(&IFlip::FlipRawB, &IFlip::FlipRawW))(mirror, rotation, &w, &h,
                                                                                           src, dst, &colorArray)
                             : (*mModule.*bySample<T>(&IFlip::FlipBGRB, &IFlip::FlipBGRW))(
                                   mirror, rotation, &w, &h, src, dst, static_cast<unsigned short>(samples));
            EXPECT_EQ(status, 0U);
            EXPECT_EQ(w, resultWidth);
            EXPECT_EQ(h, width * height / resultWidth);
        };
        std::vector<T> image(source.begin(), source.end());
        call(image.data(), image.data());
        EXPECT_EQ(std::vector<int>(image.begin(), image.end()), result);
        if (mirror == 2 && rotation == 0 && samples != 0) {
            return; // has its own test
        }
        std::vector<T> src(source.begin(), source.end());
        std::vector<T> dst(source.size(), T{77});
        call(src.data(), dst.data());
        EXPECT_EQ(std::vector<int>(dst.begin(), dst.end()), result);
        EXPECT_EQ(std::vector<int>(src.begin(), src.end()), source);
    }
};

} // namespace

// 1 2 3    3 2 1
// 4 5 6    6 5 4   the middle pixel of an odd row stays.
TEST_F(CGoldenFlip, Horizontal) {
    ExpectSix(1, 0, 3, {3, 2, 1, 6, 5, 4});
    ExpectRaw(1, 0, 4, 1, {1, 2, 3, 4}, 4, {4, 3, 2, 1});
    ExpectRaw(1, 0, 1, 3, {1, 2, 3}, 1, {1, 2, 3});
}

// The middle row of an odd height stays.
TEST_F(CGoldenFlip, Vertical) {
    ExpectRaw(2, 0, 2, 3, {1, 2, 3, 4, 5, 6}, 2, {5, 6, 3, 4, 1, 2});
    ExpectColor(2, 0, 2, 3, {1, 2, 3, 4, 5, 6}, 2, {5, 6, 3, 4, 1, 2});
    ExpectRaw(2, 0, 3, 1, {1, 2, 3}, 3, {1, 2, 3});
}

// The middle pixel of an odd picture stays.
TEST_F(CGoldenFlip, Both) {
    ExpectRawSix(3, 0, 3, {6, 5, 4, 3, 2, 1});
    ExpectRaw(3, 0, 3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9}, 3, {9, 8, 7, 6, 5, 4, 3, 2, 1});
    ExpectColor(3, 0, 3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9}, 3, {9, 8, 7, 6, 5, 4, 3, 2, 1});
}

// 1 2 3    4 1
// 4 5 6    5 2
//          6 3
TEST_F(CGoldenFlip, Clockwise) {
    ExpectSix(0, 1, 2, {4, 1, 5, 2, 6, 3});
}

// 1 2 3    3 6
// 4 5 6    2 5
//          1 4
TEST_F(CGoldenFlip, Counterclockwise) {
    ExpectSix(0, 2, 2, {3, 6, 2, 5, 1, 4});
}

// 1 2 3    6 3
// 4 5 6    5 2
//          4 1
TEST_F(CGoldenFlip, HorizontalThenClockwise) {
    ExpectSix(1, 1, 2, {6, 3, 5, 2, 4, 1});
}

// 1 2 3    1 4
// 4 5 6    2 5
//          3 6   rows become columns.
TEST_F(CGoldenFlip, HorizontalThenCounterclockwise) {
    ExpectSix(1, 2, 2, {1, 4, 2, 5, 3, 6});
}

// Nothing moves, in place or not: a destination is not even filled.
TEST_F(CGoldenFlip, NoneDoesNotCopy) {
    std::uint8_t src[6] = {1, 2, 3, 4, 5, 6};
    std::uint8_t dst[6] = {9, 9, 9, 9, 9, 9};
    for (const unsigned mirror : {0U, 8U, 9U, 10U, 11U, 12U, 128U, 255U}) {
        unsigned long width = 3;
        unsigned long height = 2;
        unsigned short colorArray = kGBRG;
        EXPECT_EQ(mModule->FlipRawB(static_cast<unsigned char>(mirror), 0, &width, &height, src, dst, &colorArray), 0U);
        EXPECT_EQ(mModule->FlipBGRB(static_cast<unsigned char>(mirror), 3, &width, &height, src, dst, 2), 0U);
        EXPECT_EQ(width, 3U);
        EXPECT_EQ(height, 2U);
        EXPECT_EQ(colorArray, kGBRG);
        EXPECT_EQ(std::vector<int>(dst, dst + 6), std::vector<int>(6, 9));
        EXPECT_EQ(std::vector<int>(src, src + 6), (std::vector<int>{1, 2, 3, 4, 5, 6}));
    }
}

// Without a rotation the mirror byte is a transform of its own: 4 to 7 turn the picture.
TEST_F(CGoldenFlip, MirrorBytesAboveThreeTurn) {
    ExpectRawSix(4, 0, 2, {4, 1, 5, 2, 6, 3});
    ExpectRawSix(5, 0, 2, {3, 6, 2, 5, 1, 4});
    ExpectRawSix(6, 0, 2, {6, 3, 5, 2, 4, 1});
    ExpectRawSix(7, 0, 2, {1, 4, 2, 5, 3, 6});
    ExpectRawSix(4, 3, 2, {4, 1, 5, 2, 6, 3}); // 3 is no rotation
    ExpectRawSix(1, 255, 3, {3, 2, 1, 6, 5, 4});
}

// With a rotation only the low two bits of the mirror count.
TEST_F(CGoldenFlip, RotationMasksTheMirror) {
    ExpectRawSix(4, 1, 2, {4, 1, 5, 2, 6, 3});
    ExpectRawSix(253, 1, 2, {6, 3, 5, 2, 4, 1});
    ExpectRawSix(8, 2, 2, {3, 6, 2, 5, 1, 4});
}

// Both mirrors and a turn are the turn the other way round; a vertical mirror and a turn are the other mirrored turn.
TEST_F(CGoldenFlip, MirrorsAndTurnsCombine) {
    ExpectRawSix(3, 1, 2, {3, 6, 2, 5, 1, 4});
    ExpectRawSix(3, 2, 2, {4, 1, 5, 2, 6, 3});
    ExpectRawSix(2, 1, 2, {1, 4, 2, 5, 3, 6});
    ExpectRawSix(2, 2, 2, {6, 3, 5, 2, 4, 1});
}

// RGGB becomes GRBG by a horizontal mirror and by a clockwise turn, GBRG by a vertical mirror.
TEST_F(CGoldenFlip, ColorArrayOfTheResult) {
    EXPECT_EQ(ColorArray(1, 0, kRGGB), kGRBG);
    EXPECT_EQ(ColorArray(0, 1, kRGGB), kGRBG);
    EXPECT_EQ(ColorArray(2, 0, kRGGB), kGBRG);
    EXPECT_EQ(ColorArray(3, 0, kRGGB), kBGGR);
    EXPECT_EQ(ColorArray(0, 2, kRGGB), kGBRG);
    EXPECT_EQ(ColorArray(1, 1, kRGGB), kBGGR);
    EXPECT_EQ(ColorArray(1, 2, kRGGB), kRGGB);
    EXPECT_EQ(ColorArray(0, 0, kRGGB), kRGGB);
    EXPECT_EQ(ColorArray(0, 1, kGRBG), kBGGR);
    EXPECT_EQ(ColorArray(0, 1, kBGGR), kGBRG);
    EXPECT_EQ(ColorArray(0, 1, kGBRG), kRGGB);
    EXPECT_EQ(ColorArray(4, 0, kRGGB), kGRBG); // a mirror byte that turns
    EXPECT_EQ(ColorArray(8, 0, kRGGB), kRGGB);
}

// Mono and the YCrCb layouts have no phase.
TEST_F(CGoldenFlip, OtherColorArraysStay) {
    for (const unsigned colorArray : {0U, 1U, 6U, 11U, 258U, 65535U}) {
        for (unsigned char mirror = 0; mirror < 8; ++mirror) {
            EXPECT_EQ(ColorArray(mirror, 0, static_cast<unsigned short>(colorArray)), colorArray);
        }
    }
}

// A vertical mirror into another buffer moves as many samples of a row as it has pixels: of two pixels of three
// samples, the first two samples.
TEST_F(CGoldenFlip, VerticalIntoAnotherBufferMovesWidthSamples) {
    std::uint8_t src[12] = {11, 12, 13, 21, 22, 23, 31, 32, 33, 41, 42, 43};
    std::uint8_t dst[12] = {};
    unsigned long width = 2;
    unsigned long height = 2;
    EXPECT_EQ(mModule->FlipBGRB(2, 0, &width, &height, src, dst, 3), 0U);
    EXPECT_EQ(std::vector<int>(dst, dst + 12), (std::vector<int>{31, 32, 0, 0, 0, 0, 11, 12, 0, 0, 0, 0}));
    std::uint16_t words[8] = {11, 12, 13, 14, 21, 22, 23, 24};
    std::uint16_t result[8] = {};
    width = 1;
    EXPECT_EQ(mModule->FlipBGRW(2, 0, &width, &height, words, result, 4), 0U);
    EXPECT_EQ(std::vector<int>(result, result + 8), (std::vector<int>{21, 0, 0, 0, 11, 0, 0, 0}));
}

// Pixels of other than 1, 3 or 4 samples cannot be moved one by one; the size is exchanged before that is noticed.
TEST_F(CGoldenFlip, RefusalComesAfterTheSize) {
    std::uint8_t image[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    unsigned long width = 3;
    unsigned long height = 2;
    EXPECT_EQ(mModule->FlipBGRB(0, 1, &width, &height, image, image, 2), kInvalid);
    EXPECT_EQ(width, 2U);
    EXPECT_EQ(height, 3U);
    EXPECT_EQ(mModule->FlipBGRB(1, 0, &width, &height, image, image, 2), kInvalid);
    EXPECT_EQ(width, 2U);
    EXPECT_EQ(image[0], 1);
    EXPECT_EQ(image[11], 12);
    EXPECT_EQ(mModule->FlipBGRB(2, 0, &width, &height, image, image, 2), 0U); // whole rows
    EXPECT_EQ(image[0], 9);
    EXPECT_EQ(image[11], 4);
}

} // namespace vek::test
