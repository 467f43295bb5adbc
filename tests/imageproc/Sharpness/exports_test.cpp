// SPDX-License-Identifier: Apache-2.0
// Sharpness through the public header: settings, refusals in their order, and agreement with the model.
#include "imageproc/Sharpness/SharpnessModel.h"
#include "support/HandleTest.h"
#include "support/InPlaceCheck.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace vek::test {

namespace {

class CSharpnessExports : public CHandleTest {
protected:
    /// formats: of 1, 3 or 4 samples a pixel, in turn.
    template <class T>
    void CheckModel(const std::vector<unsigned long>& formats) {
        CInPlaceCheck<T> check(1UL << 14);
        SSharpnessModel model;
        for (unsigned turn = 0; turn < 300; ++turn) {
            CRandom& random = check.Random();
            model.SetMode(static_cast<unsigned char>(turn % 50 == 0 ? 0 : 1 + turn % 255),
                          static_cast<unsigned short>(random.Below(turn % 4 == 0 ? 65536 : 400)),
                          static_cast<unsigned char>(random.Below(turn % 4 == 1 ? 256 : 10)));
            const auto coring = static_cast<unsigned char>(model.coring);
            ASSERT_EQ(VekCam_SetSharpnessMode(mHandle, model.mode, model.gain, coring), 0);
            const unsigned long format = formats[turn % formats.size()];
            const unsigned samples = format == 4 || format == 256 ? 3 : format == 8 || format == 512 ? 4 : 1;
            const auto bits = static_cast<unsigned short>(sizeof(T) == 1 ? 8 : 9 + turn % 4);
            const SInPlaceImage image{random.Below(40), random.Below(9), samples, 0};
            ASSERT_TRUE(check.Run(
                image, bits, kFlushes[turn / sizeof(T) % 2],
                [&](T* first) { return VekCam_Sharpness(mHandle, image.width, image.height, format, first, bits); },
                [&](T* first) { return modelSharpness(model, image, format, first, bits); }));
        }
    }
};

} // namespace

TEST_F(CSharpnessExports, NullHandleTouchesNothing) {
    unsigned char image[9] = {0, 0, 0, 0, 9, 0, 0, 0, 0};
    unsigned char mode = 1;
    unsigned short gain = 2;
    unsigned char coring = 3;
    EXPECT_EQ(VekCam_SetSharpnessMode(nullptr, 1, 100, 0), -22);
    EXPECT_EQ(VekCam_GetSharpnessMode(nullptr, &mode, &gain, &coring), -22);
    EXPECT_EQ(VekCam_GetSharpnessMode(nullptr, nullptr, nullptr, nullptr), -22);
    EXPECT_EQ(VekCam_Sharpness(nullptr, 3, 3, 1, image, 8), -22);
    EXPECT_EQ(VekCam_Sharpness(nullptr, 3, 3, 1, nullptr, 8), -22);
    EXPECT_EQ(mode, 1);
    EXPECT_EQ(gain, 2);
    EXPECT_EQ(coring, 3);
    EXPECT_EQ(image[4], 9);
}

TEST_F(CSharpnessExports, SettingsAreKept) {
    unsigned char mode = 7;
    unsigned short gain = 7;
    unsigned char coring = 7;
    EXPECT_EQ(VekCam_GetSharpnessMode(mHandle, &mode, &gain, &coring), 0);
    EXPECT_EQ(mode, 0);
    EXPECT_EQ(gain, 0);
    EXPECT_EQ(coring, 0);
    for (unsigned value = 0; value <= 255; ++value) {
        const auto byte = static_cast<unsigned char>(value);
        EXPECT_EQ(VekCam_SetSharpnessMode(mHandle, byte, static_cast<unsigned short>(65535 - value),
                                          static_cast<unsigned char>(255 - value)),
                  0);
        EXPECT_EQ(VekCam_GetSharpnessMode(mHandle, &mode, &gain, &coring), 0);
        EXPECT_EQ(mode, value);
        EXPECT_EQ(gain, 65535 - value);
        EXPECT_EQ(coring, 255 - value);
    }
}

TEST_F(CSharpnessExports, NullOutputsAreRefused) {
    ASSERT_EQ(VekCam_SetSharpnessMode(mHandle, 1, 100, 5), 0);
    unsigned char mode = 77;
    unsigned short gain = 77;
    unsigned char coring = 77;
    EXPECT_EQ(VekCam_GetSharpnessMode(mHandle, nullptr, &gain, &coring), -22);
    EXPECT_EQ(VekCam_GetSharpnessMode(mHandle, &mode, nullptr, &coring), -22);
    EXPECT_EQ(VekCam_GetSharpnessMode(mHandle, &mode, &gain, nullptr), -22);
    EXPECT_EQ(VekCam_GetSharpnessMode(mHandle, nullptr, nullptr, nullptr), -22);
    EXPECT_EQ(mode, 77);
    EXPECT_EQ(gain, 77);
    EXPECT_EQ(coring, 77);
}

// Off: no depth, no format and no image is looked at.
TEST_F(CSharpnessExports, OffTakesAnything) {
    ASSERT_EQ(VekCam_SetSharpnessMode(mHandle, 0, 1000, 0), 0);
    unsigned short image[16] = {0, 0, 0, 0, 0, 9};
    for (const unsigned bits : {0U, 7U, 8U, 9U, 12U, 13U, 16U, 65535U}) {
        for (const unsigned long format : {0UL, 1UL, 3UL, 16UL, 256UL, ~0UL}) {
            EXPECT_EQ(VekCam_Sharpness(mHandle, 4, 4, format, image, static_cast<unsigned short>(bits)), 0);
            EXPECT_EQ(VekCam_Sharpness(mHandle, 4, 4, format, nullptr, static_cast<unsigned short>(bits)), 0);
        }
    }
    EXPECT_EQ(image[5], 9);
}

// On: depth and format are judged before the image is touched.
TEST_F(CSharpnessExports, Refusals) {
    ASSERT_EQ(VekCam_SetSharpnessMode(mHandle, 1, 1000, 0), 0);
    for (unsigned bits = 0; bits <= 20; ++bits) {
        for (unsigned long format = 0; format <= 600; ++format) {
            const bool bytes = bits == 8 && (format == 1 || format == 4 || format == 8);
            const bool words =
                bits >= 9 && bits <= 12 &&
                (format == 2 || format == 16 || format == 32 || format == 64 || format == 256 || format == 512);
            unsigned short image[64];
            for (unsigned i = 0; i < 64; ++i) {
                image[i] = static_cast<unsigned short>(i * i % 200);
            }
            const std::vector<unsigned short> before(std::begin(image), std::end(image));
            const int status = VekCam_Sharpness(mHandle, 4, 4, format, image, static_cast<unsigned short>(bits));
            ASSERT_EQ(status, bytes || words ? 0 : -22) << bits << ", " << format;
            const bool changed = std::vector<unsigned short>(std::begin(image), std::end(image)) != before;
            ASSERT_EQ(changed, status == 0) << bits << ", " << format;
            ASSERT_EQ(VekCam_Sharpness(mHandle, 4, 4, format, nullptr, static_cast<unsigned short>(bits)), -22);
            ASSERT_EQ(VekCam_Sharpness(mHandle, 0, 4, format, nullptr, static_cast<unsigned short>(bits)), status);
            ASSERT_EQ(VekCam_Sharpness(mHandle, 4, 0, format, nullptr, static_cast<unsigned short>(bits)), status);
        }
    }
    for (const unsigned bits : {255U, 256U, 264U, 268U, 32776U, 65535U}) {
        unsigned short image[64] = {0, 0, 0, 0, 0, 9};
        EXPECT_EQ(VekCam_Sharpness(mHandle, 4, 4, 16, image, static_cast<unsigned short>(bits)), -22);
        EXPECT_EQ(VekCam_Sharpness(mHandle, 4, 4, 1, image, static_cast<unsigned short>(bits)), -22);
        EXPECT_EQ(image[5], 9);
    }
    EXPECT_EQ(VekCam_Sharpness(mHandle, 4, 4, 0x100000001UL, nullptr, 8), -22);
}

TEST_F(CSharpnessExports, OutOfMemory) {
    ASSERT_EQ(VekCam_SetSharpnessMode(mHandle, 1, 100, 0), 0);
    unsigned char image[16] = {0, 0, 0, 0, 0, 9, 1, 8, 2, 7, 3, 6, 4, 5, 5, 4};
    const std::vector<unsigned char> before(std::begin(image), std::end(image));
    EXPECT_EQ(VekCam_Sharpness(mHandle, 1UL << 50, 4, 1, image, 8), -12);
    EXPECT_EQ(VekCam_Sharpness(mHandle, 1UL << 63, 4, 1, image, 8), -12);
    EXPECT_EQ(std::vector<unsigned char>(std::begin(image), std::end(image)), before);
}

TEST_F(CSharpnessExports, BytesAsModelled) {
    CheckModel<std::uint8_t>({1, 4, 8});
}

TEST_F(CSharpnessExports, WordsAsModelled) {
    CheckModel<std::uint16_t>({2, 16, 32, 64, 256, 512});
}

} // namespace vek::test
