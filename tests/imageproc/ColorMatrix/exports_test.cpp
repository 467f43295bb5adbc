// SPDX-License-Identifier: Apache-2.0
// Colour matrix, hue and saturation through the public header, with the chroma suppression that follows them.
#include "imageproc/ChromaSuppress/ChromaSuppressModel.h"
#include "imageproc/ColorMatrix/ColorMatrixModel.h"
#include "support/HandleTest.h"
#include "support/InPlaceCheck.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace vek::test {

namespace {

constexpr short kMatrix[12] = {120, -10, -10, 250, -20, 140, -20, -300, 0, -35, 135, 99};
constexpr short kIdentity[12] = {100, 0, 0, 0, 0, 100, 0, 0, 0, 0, 100, 0};

/// Whether a call is let through to the two steps.
bool passes(unsigned long format, unsigned bits) {
    switch (format) {
    case 1:
    case 2:
    case 16:
    case 32:
    case 64:
        return true;
    case 4:
    case 8:
        return bits <= 8;
    case 256:
    case 512:
        return bits >= 8 && bits <= 16;
    default:
        return false;
    }
}

class CColorMatrixExports : public CHandleTest {
protected:
    void SetMatrix(unsigned char mode, const short* matrix) {
        ASSERT_EQ(VekCam_SetColorMatrix(mHandle, mode, matrix), 0);
        mMatrix.SetColorMatrix(mode, matrix);
    }
    void SetHue(unsigned char mode, short hue, unsigned short saturation) {
        ASSERT_EQ(VekCam_SetHueSaturationMode(mHandle, mode, hue, saturation), 0);
        mMatrix.SetHueSaturation(mode, hue, saturation);
    }
    void SetChroma(const SChromaSuppressModel& settings) {
        ASSERT_EQ(VekCam_SetLowChromaSuppression(mHandle, settings.lowStart, settings.lowSlope), 0);
        ASSERT_EQ(VekCam_SetHighChromaSuppression(mHandle, settings.highStart, settings.highSlope), 0);
        mChroma = settings;
    }
    void ExpectMatrix(int expectedMode, const short* expected) {
        unsigned char mode = 9;
        short matrix[12] = {};
        EXPECT_EQ(VekCam_GetColorMatrix(mHandle, &mode, matrix), 0);
        EXPECT_EQ(mode, expectedMode);
        EXPECT_TRUE(std::equal(std::begin(matrix), std::end(matrix), expected));
    }
    void ExpectHue(int expectedMode, int expectedHue, int expectedSaturation) {
        unsigned char mode = 9;
        short hue = 9;
        unsigned short saturation = 9;
        EXPECT_EQ(VekCam_GetHueSaturationMode(mHandle, &mode, &hue, &saturation), 0);
        EXPECT_EQ(mode, expectedMode);
        EXPECT_EQ(hue, expectedHue);
        EXPECT_EQ(saturation, expectedSaturation);
    }
    int Call(unsigned long width, unsigned long height, unsigned long format, void* image, unsigned bits) {
        return VekCam_HueSaturationColorMatrix(mHandle, width, height, format, image,
                                               static_cast<unsigned short>(bits));
    }
    /// The two steps as modelled. T is the sample type that bits call for.
    template <class T>
    unsigned long Model(const SInPlaceImage& image, unsigned long format, T* samples, unsigned bits) {
        if (!passes(format, bits)) {
            return static_cast<unsigned long>(-22L);
        }
        const unsigned long status = mMatrix.Process(image, format, samples, bits);
        return status != 0 ? status : modelChromaSuppress(mChroma, image, format, samples);
    }
    /// Random settings, their levels and slopes below these; depth and bits follow the turn.
    template <class T>
    void CheckModel(unsigned levels, unsigned slopes, unsigned (*depth)(unsigned), unsigned (*bits)(unsigned)) {
        CInPlaceCheck<T> check(1UL << 14);
        for (unsigned turn = 0; turn < 200; ++turn) {
            CRandom& random = check.Random();
            const auto below = [&](unsigned bound) { return static_cast<unsigned short>(random.Below(bound)); };
            short matrix[12] = {};
            std::generate(std::begin(matrix), std::end(matrix),
                          [&] { return static_cast<short>(below(turn % 4 == 0 ? 4000 : 300) - 100); });
            SetMatrix(turn % 5 == 0 ? 0 : 255, matrix);
            SetHue(turn % 3 == 0 ? 0 : 1, static_cast<short>(random.Next()), below(300));
            SetChroma({below(levels), below(levels), below(slopes), below(slopes)});
            const SInPlaceImage image{below(40), below(6), turn % 2 + 3, 0};
            const unsigned long format = (sizeof(T) == 1 ? 4UL : 256UL) * (image.samples - 2);
            ASSERT_TRUE(mMatrix.Defined());
            ASSERT_TRUE(check.Run(
                image, depth(turn), kFlushes[turn / 2 % 2],
                [&](T* samples) { return Call(image.width, image.height, format, samples, bits(turn)); },
                [&](T* samples) { return Model(image, format, samples, bits(turn)); }));
        }
    }

    CColorMatrixModel mMatrix;
    SChromaSuppressModel mChroma;
};

} // namespace

TEST_F(CColorMatrixExports, NullHandleTouchesNothing) {
    unsigned char mode = 3;
    short matrix[12] = {};
    short hue = 4;
    unsigned short saturation = 5;
    unsigned char image[3] = {1, 2, 3};
    EXPECT_EQ(VekCam_SetColorMatrix(nullptr, 255, kMatrix), -22);
    EXPECT_EQ(VekCam_SetColorMatrix(nullptr, 255, nullptr), -22);
    EXPECT_EQ(VekCam_GetColorMatrix(nullptr, &mode, matrix), -22);
    EXPECT_EQ(VekCam_GetColorMatrix(nullptr, nullptr, nullptr), -22);
    EXPECT_EQ(VekCam_SetHueSaturationMode(nullptr, 1, 0, 100), -22);
    EXPECT_EQ(VekCam_GetHueSaturationMode(nullptr, &mode, &hue, &saturation), -22);
    EXPECT_EQ(VekCam_GetHueSaturationMode(nullptr, nullptr, nullptr, nullptr), -22);
    EXPECT_EQ(VekCam_HueSaturationColorMatrix(nullptr, 1, 1, 4, image, 8), -22);
    EXPECT_EQ(VekCam_HueSaturationColorMatrix(nullptr, 1, 1, 1, nullptr, 8), -22);
    EXPECT_EQ(mode, 3);
    EXPECT_EQ(matrix[0], 0);
    EXPECT_EQ(hue, 4);
    EXPECT_EQ(saturation, 5);
    EXPECT_EQ(image[0], 1);
}

TEST_F(CColorMatrixExports, MatrixIsKept) {
    ExpectMatrix(0, kIdentity);
    EXPECT_EQ(VekCam_SetColorMatrix(mHandle, 255, kMatrix), 0);
    for (unsigned refused = 1; refused <= 254; ++refused) {
        EXPECT_EQ(VekCam_SetColorMatrix(mHandle, static_cast<unsigned char>(refused), kIdentity), -22);
        EXPECT_EQ(VekCam_SetColorMatrix(mHandle, static_cast<unsigned char>(refused), nullptr), -22);
    }
    EXPECT_EQ(VekCam_SetColorMatrix(mHandle, 255, nullptr), -22);
    unsigned char mode = 9;
    short matrix[12] = {};
    EXPECT_EQ(VekCam_GetColorMatrix(mHandle, &mode, nullptr), 0);
    EXPECT_EQ(mode, 255);
    EXPECT_EQ(VekCam_GetColorMatrix(mHandle, nullptr, matrix), 0);
    EXPECT_TRUE(std::equal(std::begin(matrix), std::end(matrix), std::begin(kMatrix)));
    EXPECT_EQ(VekCam_GetColorMatrix(mHandle, nullptr, nullptr), 0);
    EXPECT_EQ(VekCam_SetColorMatrix(mHandle, 0, nullptr), 0);
    ExpectMatrix(0, kIdentity);
}

TEST_F(CColorMatrixExports, HueAndSaturationAreKept) {
    ExpectHue(0, 0, 100);
    EXPECT_EQ(VekCam_SetHueSaturationMode(mHandle, 1, -32768, 65535), 0);
    for (unsigned refused = 2; refused <= 255; ++refused) {
        EXPECT_EQ(VekCam_SetHueSaturationMode(mHandle, static_cast<unsigned char>(refused), 1, 2), -22);
    }
    ExpectHue(1, -32768, 65535);
    unsigned char mode = 77;
    short hue = 77;
    unsigned short saturation = 77;
    EXPECT_EQ(VekCam_GetHueSaturationMode(mHandle, nullptr, &hue, &saturation), -22);
    EXPECT_EQ(VekCam_GetHueSaturationMode(mHandle, &mode, nullptr, &saturation), -22);
    EXPECT_EQ(VekCam_GetHueSaturationMode(mHandle, &mode, &hue, nullptr), -22);
    EXPECT_EQ(mode, 77);
    EXPECT_EQ(hue, 77);
    EXPECT_EQ(saturation, 77);
    EXPECT_EQ(VekCam_SetHueSaturationMode(mHandle, 0, 900, 0), 0);
    ExpectHue(0, 0, 100);
}

// Every format at every depth: what the depth does not allow is refused before anything else, and what the second step
// does not take is refused after the first one.
TEST_F(CColorMatrixExports, EveryFormatAtEveryDepth) {
    std::vector<unsigned long> formats;
    for (unsigned long format = 0; format <= 66; ++format) {
        formats.push_back(format);
    }
    for (const unsigned long format : {127UL, 128UL, 255UL, 256UL, 257UL, 260UL, 511UL, 512UL, 513UL, 768UL, 1024UL,
                                       0x10004UL, 0x100000004UL, 0x100000100UL, 1UL << 63, ~0UL}) {
        formats.push_back(format);
    }
    for (unsigned settings = 0; settings < 8; ++settings) {
        SetMatrix(settings % 2 == 0 ? 0 : 255, kMatrix);
        SetHue(settings / 2 % 2 == 0 ? 0 : 1, 333, 77);
        SetChroma(settings / 4 == 0 ? SChromaSuppressModel{} : SChromaSuppressModel{60, 100, 500, 400});
        for (unsigned bits = 0; bits <= 40; ++bits) {
            const unsigned depth = bits <= 32 ? bits : bits == 33 ? 256 : bits == 34 ? 264 : 65535 - (bits - 35);
            for (const unsigned long format : formats) {
                std::vector<std::uint16_t> image(24);
                for (std::size_t i = 0; i < image.size(); ++i) {
                    image[i] = static_cast<std::uint16_t>(i * 2654435761U >> 20 & 0xFFF);
                }
                std::vector<std::uint16_t> expected = image;
                const SInPlaceImage shape{3, 2, 0, 0};
                const unsigned long status =
                    depth > 8 ? Model(shape, format, expected.data(), depth)
                              : Model(shape, format, reinterpret_cast<std::uint8_t*>(expected.data()), depth);
                ASSERT_EQ(Call(3, 2, format, image.data(), depth), static_cast<int>(status))
                    << format << ", " << depth << ", settings " << settings;
                ASSERT_EQ(image, expected) << format << ", " << depth << ", settings " << settings;
            }
        }
    }
}

// A null image is refused once it would be touched, not by what does nothing.
TEST_F(CColorMatrixExports, NullImage) {
    for (unsigned settings = 0; settings < 4; ++settings) {
        SetMatrix(settings % 2 == 0 ? 0 : 255, kMatrix);
        SetChroma(settings / 2 == 0 ? SChromaSuppressModel{} : SChromaSuppressModel{60, 100, 500, 400});
        for (const unsigned long format : {4UL, 8UL}) {
            EXPECT_EQ(Call(3, 2, format, nullptr, 8), settings == 0 ? 0 : -22);
            EXPECT_EQ(Call(3, 2, format, nullptr, 9), -22);
            EXPECT_EQ(Call(0, 2, format, nullptr, 8), 0);
            EXPECT_EQ(Call(3, 0, format, nullptr, 8), 0);
            EXPECT_EQ(Call(0, ~0UL, format, nullptr, 8), 0);
            EXPECT_EQ(Call(0, 2, format, nullptr, 9), -22);
        }
        for (const unsigned long format : {256UL, 512UL}) {
            EXPECT_EQ(Call(3, 2, format, nullptr, 12), settings == 0 ? 0 : -22);
            EXPECT_EQ(Call(3, 2, format, nullptr, 8), -22);
            EXPECT_EQ(Call(0, 2, format, nullptr, 12), 0);
            EXPECT_EQ(Call(0, 2, format, nullptr, 8), -22);
        }
        EXPECT_EQ(Call(3, 2, 1, nullptr, 8), 0);
        EXPECT_EQ(Call(3, 2, 1, nullptr, 12), -22);
        EXPECT_EQ(Call(3, 2, 16, nullptr, 12), 0);
        EXPECT_EQ(Call(3, 2, 16, nullptr, 8), -22);
        EXPECT_EQ(Call(3, 2, 16, nullptr, 65535), 0);
        EXPECT_EQ(Call(3, 2, 1, nullptr, 0), 0);
    }
}

// Formats of words at 8 bits: the first step takes the image for bytes, then the second refuses.
TEST_F(CColorMatrixExports, WordFormatsAtEightBits) {
    SetMatrix(255, kIdentity);
    unsigned char image[14] = {1, 2, 3, 4, 5, 6, 50, 51, 7, 8, 9, 10, 11, 12}; // lines of 8 bytes
    EXPECT_EQ(Call(2, 2, 256, image, 8), -22);
    const unsigned char raised[14] = {2, 3, 4, 5, 6, 7, 50, 51, 8, 9, 10, 11, 12, 13};
    EXPECT_TRUE(std::equal(std::begin(image), std::end(image), std::begin(raised)));
    SetMatrix(0, nullptr);
    EXPECT_EQ(Call(2, 2, 256, image, 8), -22);
    EXPECT_TRUE(std::equal(std::begin(image), std::end(image), std::begin(raised)));
}

// Chroma suppression sees what the matrix left: 1 more on all samples puts luma above the start level.
TEST_F(CColorMatrixExports, ChromaSuppressionComesSecond) {
    unsigned char pixel[3] = {60, 40, 32};
    SetChroma({0, 40, 0, 16384});
    EXPECT_EQ(Call(1, 1, 4, pixel, 8), 0);
    EXPECT_EQ(pixel[0], 60); // luma 40
    SetMatrix(255, kIdentity);
    EXPECT_EQ(Call(1, 1, 4, pixel, 8), 0);
    EXPECT_EQ(pixel[0], 41);
    EXPECT_EQ(pixel[1], 41);
    EXPECT_EQ(pixel[2], 41);
}

// While matrix, hue and saturation are off nothing keeps samples to the depth: suppression does not look at it.
TEST_F(CColorMatrixExports, ChromaSuppressionKnowsNoDepth) {
    unsigned short pixel[3] = {3000, 4000, 1000};
    SetChroma({0, 10, 0, 16384});
    EXPECT_EQ(Call(1, 1, VEK_DESTINATION_BGR48, pixel, 10), 0);
    EXPECT_EQ(pixel[0], 4000);
    EXPECT_EQ(pixel[1], 4000);
    EXPECT_EQ(pixel[2], 4000);
}

TEST_F(CColorMatrixExports, BytesAsModelled) {
    CheckModel<std::uint8_t>(
        258, 900, [](unsigned) { return 8U; }, [](unsigned turn) { return turn % 3 == 0 ? turn % 9 : 8; });
}

TEST_F(CColorMatrixExports, WordsAsModelled) {
    CheckModel<std::uint16_t>(
        4200, 99, [](unsigned turn) { return turn % 7 == 0 ? 16U : std::min(9 + turn % 8, 12U); },
        [](unsigned turn) { return 9 + turn % 8; });
}

} // namespace vek::test
