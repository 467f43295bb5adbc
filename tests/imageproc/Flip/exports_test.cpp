// SPDX-License-Identifier: Apache-2.0
// VekCam_MirrorRotation: raw bytes in place, every failure of the module as 1.
#include "imageproc/Flip/FlipModel.h"
#include "support/GuardedBuffer.h"
#include "support/HandleTest.h"
#include "support/Random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace vek::test {

namespace {

class CFlipExports : public CHandleTest {};

} // namespace

TEST_F(CFlipExports, NullHandleTouchesNothing) {
    unsigned char image[6] = {1, 2, 3, 4, 5, 6};
    unsigned long width = 3;
    unsigned long height = 2;
    unsigned short colorArray = 2;
    EXPECT_EQ(VekCam_MirrorRotation(nullptr, 0, 1, &width, &height, &colorArray, image), -22);
    EXPECT_EQ(VekCam_MirrorRotation(nullptr, 0, 0, nullptr, nullptr, nullptr, nullptr), -22);
    EXPECT_EQ(width, 3U);
    EXPECT_EQ(height, 2U);
    EXPECT_EQ(colorArray, 2);
    EXPECT_EQ(image[0], 1);
}

TEST_F(CFlipExports, AsModelled) {
    CRandom random(404);
    constexpr std::size_t capacity = 1UL << 12;
    CGuardedBuffer<std::uint8_t> left(capacity, Flush::Left);
    CGuardedBuffer<std::uint8_t> right(capacity, Flush::Right);
    for (unsigned turn = 0; turn < 3000; ++turn) {
        const unsigned long width = random.Below(turn % 20 == 0 ? 60 : 13);
        const unsigned long height = random.Below(turn % 20 == 0 ? 60 : 13);
        const unsigned mirror = static_cast<unsigned>(random.Below(turn % 3 == 0 ? 256 : 4));
        const unsigned rotation = static_cast<unsigned>(random.Below(turn % 5 == 0 ? 256 : 3));
        const auto colorArray = static_cast<unsigned short>(random.Below(8));
        const std::size_t bytes = width * height;
        std::uint8_t* const image = turn % 2 == 0 ? left.data() : right.data() + capacity - bytes;
        std::generate(image, image + bytes, [&] { return static_cast<std::uint8_t>(random.Next()); });
        std::vector<std::uint8_t> expected(image, image + bytes);
        const unsigned transform = modelFlipTransform(mirror, rotation);
        modelFlip(transform, width, height, 1, expected.data(), expected.data());
        unsigned long resultWidth = width;
        unsigned long resultHeight = height;
        unsigned short resultArray = colorArray;
        ASSERT_EQ(VekCam_MirrorRotation(mHandle, static_cast<unsigned char>(mirror),
                                        static_cast<unsigned char>(rotation), &resultWidth, &resultHeight, &resultArray,
                                        image),
                  0);
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), image))
            << transform << ": " << width << " x " << height;
        ASSERT_EQ(resultWidth, modelFlipTurns(transform) ? height : width);
        ASSERT_EQ(resultHeight, modelFlipTurns(transform) ? width : height);
        ASSERT_EQ(resultArray, modelFlipColorArray(transform, colorArray));
    }
}

// What does nothing needs no image, and neither does an image of no pixels.
TEST_F(CFlipExports, NullImageThatIsNotTouched) {
    unsigned long width = 3;
    unsigned long height = 2;
    unsigned short colorArray = 2;
    for (const unsigned mirror : {0U, 8U, 255U}) {
        EXPECT_EQ(VekCam_MirrorRotation(mHandle, static_cast<unsigned char>(mirror), 0, &width, &height, &colorArray,
                                        nullptr),
                  0);
        EXPECT_EQ(width, 3U);
        EXPECT_EQ(height, 2U);
        EXPECT_EQ(colorArray, 2);
    }
    width = 0;
    EXPECT_EQ(VekCam_MirrorRotation(mHandle, 0, 1, &width, &height, &colorArray, nullptr), 0);
    EXPECT_EQ(width, 2U);
    EXPECT_EQ(height, 0U);
    EXPECT_EQ(colorArray, 3);
}

// Every failure is 1; the size is exchanged by then, image and colour array are as they were.
TEST_F(CFlipExports, FailuresAreOne) {
    for (const unsigned transform : {1U, 2U, 3U, 4U, 5U, 6U, 7U}) {
        const auto mirror = static_cast<unsigned char>(transform);
        const bool turned = transform >= 4;
        unsigned long width = 3;
        unsigned long height = 2;
        unsigned short colorArray = 2;
        EXPECT_EQ(VekCam_MirrorRotation(mHandle, mirror, 0, &width, &height, &colorArray, nullptr), 1);
        EXPECT_EQ(width, turned ? 2U : 3U);
        EXPECT_EQ(height, turned ? 3U : 2U);
        EXPECT_EQ(colorArray, 2);
        unsigned char image[6] = {1, 2, 3, 4, 5, 6};
        width = 3;
        height = 2;
        EXPECT_EQ(VekCam_MirrorRotation(mHandle, mirror, 0, nullptr, &height, &colorArray, image), 1);
        height = 2;
        EXPECT_EQ(VekCam_MirrorRotation(mHandle, mirror, 0, &width, nullptr, &colorArray, image), 1);
        width = 3;
        EXPECT_EQ(VekCam_MirrorRotation(mHandle, mirror, 0, &width, &height, nullptr, image), 1);
        EXPECT_EQ(colorArray, 2);
        for (unsigned i = 0; i < 6; ++i) {
            EXPECT_EQ(image[i], i + 1);
        }
    }
}

// A copy that no machine can hold.
TEST_F(CFlipExports, OutOfMemoryIsOne) {
    unsigned char image[6] = {1, 2, 3, 4, 5, 6};
    unsigned long width = 1UL << 30;
    unsigned long height = 1UL << 21;
    unsigned short colorArray = 2;
    EXPECT_EQ(VekCam_MirrorRotation(mHandle, 0, 2, &width, &height, &colorArray, image), 1);
    EXPECT_EQ(width, 1UL << 21);
    EXPECT_EQ(height, 1UL << 30);
    EXPECT_EQ(colorArray, 2);
    for (unsigned i = 0; i < 6; ++i) {
        EXPECT_EQ(image[i], i + 1);
    }
    width = 3;
    height = 2;
    EXPECT_EQ(VekCam_MirrorRotation(mHandle, 0, 2, &width, &height, &colorArray, image), 0);
    EXPECT_EQ(image[0], 3);
    EXPECT_EQ(colorArray, 4);
}

} // namespace vek::test
