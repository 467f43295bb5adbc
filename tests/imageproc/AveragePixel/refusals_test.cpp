// SPDX-License-Identifier: Apache-2.0
// Mean pixel values: worked figures, and what is refused.
#include "support/HandleTest.h"

#include <array>

namespace vek::test {

namespace {

class CAverageRefusals : public CHandleTest {
protected:
    /// A 4 x 4 image.
    int Measure(unsigned short colorMode, unsigned long format, const void* src, float* average) {
        return VekCam_GetAveragePixelValue(mHandle, 4, 4, 0, colorMode, format, src, 0, 0, 4, 4, average);
    }

    const std::uint16_t mImage[16] = {};
};

bool isKnown(unsigned long format) {
    return format <= 4 || format == 18 || format == 19;
}

} // namespace

TEST_F(CAverageRefusals, EveryModeAndFormat) {
    constexpr unsigned short modes[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 255, 256, 257, 0x8001, 65535};
    const auto check = [&](unsigned short mode, unsigned long format) {
        float average[4] = {1.0F, 2.0F, 3.0F, 4.0F};
        const bool good = mode >= 1 && mode <= 5 && isKnown(format);
        EXPECT_EQ(Measure(mode, format, mImage, average), good ? 0 : -22) << mode << ' ' << format;
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(average[i], good ? 0.0F : static_cast<float>(i + 1)) << mode << ' ' << format;
        }
    };
    for (const unsigned short mode : modes) {
        for (unsigned long format = 0; format <= 40; ++format) {
            check(mode, format);
        }
        for (const unsigned long format : {256UL, 0x10000UL, 0x100000000UL, 0x100000013UL, ~0UL, ~0UL - 20}) {
            check(mode, format);
        }
    }
}

TEST_F(CAverageRefusals, NullPointers) {
    for (const unsigned long format : {0UL, 1UL, 2UL, 3UL, 4UL, 18UL, 19UL}) {
        float average[4] = {1.0F, 2.0F, 3.0F, 4.0F};
        EXPECT_EQ(Measure(1, format, nullptr, average), -22);
        EXPECT_EQ(Measure(2, format, nullptr, average), -22);
        EXPECT_EQ(Measure(1, format, mImage, nullptr), -22);
        EXPECT_EQ(Measure(1, format, nullptr, nullptr), -22);
        EXPECT_EQ(VekCam_GetAveragePixelValue(nullptr, 4, 4, 0, 1, format, mImage, 0, 0, 4, 4, average), -22);
        EXPECT_EQ(std::to_array(average), (std::array{1.0F, 2.0F, 3.0F, 4.0F}));
    }
}

TEST_F(CAverageRefusals, WorkedFigures) {
    const std::uint8_t image[] = {10, 20, 30, 40};
    float average[4];
    ASSERT_EQ(VekCam_GetAveragePixelValue(mHandle, 2, 2, 0, 1, 0, image, 0, 0, 2, 2, average), 0);
    EXPECT_EQ(std::to_array(average), (std::array{25.0F, 0.0F, 0.0F, 0.0F}));
    ASSERT_EQ(VekCam_GetAveragePixelValue(mHandle, 2, 2, 0, 5, 0, image, 0, 1, 1, 1, average), 0);
    EXPECT_EQ(std::to_array(average), (std::array{0.0F, 0.0F, 30.0F, 0.0F}));
    // The colour mode does not reorder.
    for (unsigned short mode = 2; mode <= 5; ++mode) {
        ASSERT_EQ(VekCam_GetAveragePixelValue(mHandle, 2, 2, 0, mode, 0, image, 0, 0, 9, 9, average), 0);
        EXPECT_EQ(std::to_array(average), (std::array{10.0F, 20.0F, 30.0F, 40.0F}));
    }
}

// Words count whole, whatever the depth; a pitch of words counts samples, one of packed data bytes.
TEST_F(CAverageRefusals, UnitsOfPitchAndSamples) {
    const std::uint16_t words[] = {0xFFFF, 1, 2, 0xFFFE, 3, 4};
    float average[4];
    for (const unsigned long format : {1UL, 3UL, 18UL, 19UL}) {
        ASSERT_EQ(VekCam_GetAveragePixelValue(mHandle, 1, 2, 3, 2, format, words, 0, 0, 1, 2, average), 0);
        EXPECT_EQ(average[0], 65535.0F);
        EXPECT_EQ(average[2], 65534.0F);
    }
    // Pixels 0x3FF, 0, then a row with 1, 0x200.
    const std::uint8_t packed[] = {0xFF, 0x03, 0x00, 0xEE, 0x01, 0x00, 0x08};
    ASSERT_EQ(VekCam_GetAveragePixelValue(mHandle, 2, 2, 4, 2, 2, packed, 0, 0, 2, 2, average), 0);
    EXPECT_EQ(std::to_array(average), (std::array{1023.0F, 0.0F, 1.0F, 512.0F}));
    // A packed region that starts at column 1 still begins at the row's first pixel.
    ASSERT_EQ(VekCam_GetAveragePixelValue(mHandle, 2, 2, 4, 2, 2, packed, 1, 0, 1, 1, average), 0);
    EXPECT_EQ(average[0], 0.0F);
    EXPECT_EQ(average[1], 1023.0F);
}

} // namespace vek::test
