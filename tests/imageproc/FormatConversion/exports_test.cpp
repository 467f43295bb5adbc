// SPDX-License-Identifier: Apache-2.0
// VekCam_ConvTo8BitsImage and VekCam_ConvYUVOrBGRToBGRImage: refusals, results, and agreement with the models.
#include "imageproc/ColorInterpolation/DemosaicModel.h"
#include "imageproc/FormatConversion/FormatConversionCheck.h"
#include "support/HandleTest.h"

#include <chrono>

namespace vek::test {

namespace {

constexpr unsigned short kDecodedAs[] = {8, 6, 7, 11, 9, 10}; // colour arrays of transfer formats 12..17

bool isYCrCbFormat(unsigned long transferFormat) {
    return transferFormat >= 12 && transferFormat <= 17;
}

bool isPackedFormat(unsigned long transferFormat) {
    return transferFormat == 2 || transferFormat == 4 || transferFormat == 7 || transferFormat == 9;
}

/// The decoding that stands for a YCrCb transfer format.
SDemosaicCall decoding(const SConversion& call, unsigned long transferFormat) {
    const auto channels = static_cast<unsigned short>(modelPixelBytes(call.outFormat));
    const unsigned char method = call.outFormat == 1 ? 0 : 2;
    return {call.width, call.height, 0, 0, method, kDecodedAs[transferFormat - 12], channels};
}

class CConversionExports : public CHandleTest {
protected:
    ::testing::AssertionResult To8Bits(const SConversion& call, std::optional<unsigned long> pitch,
                                       unsigned long transferFormat) {
        const Element element = modelElement(transferFormat);
        const bool taken = element != Element::None;
        const auto run = [&](const std::uint8_t* src, std::uint8_t* dst, unsigned long* variable) {
            return VekCam_ConvTo8BitsImage(mHandle, call.width, call.height, call.srcPitch, transferFormat, src,
                                           variable, dst);
        };
        const auto model = [&](const std::uint8_t* src, std::uint8_t* dst, unsigned long* variable) {
            return modelConvGray(call, transferFormat, src, variable, dst) ? 0 : -22;
        };
        return mCheck.Run(taken ? modelSourceBytes(call, element) : 0,
                          taken ? modelOutputBytes(call, element, pitch.value_or(0)) : 0, pitch, run, model)
               << " transfer format " << transferFormat << ", " << call.width << " x " << call.height << ", pitch "
               << call.srcPitch;
    }

    ::testing::AssertionResult Any(const SConversion& call, unsigned long transferFormat) {
        const Element element = modelElement(transferFormat);
        const bool taken = modelPixelBytes(call.outFormat) != 0;
        std::size_t srcBytes = 0;
        std::size_t dstBytes = 0;
        if (!taken || isPackedFormat(transferFormat)) {
            // touches nothing
        } else if (isYCrCbFormat(transferFormat)) {
            srcBytes = modelSrcBytes(decoding(call, transferFormat), 1);
            dstBytes = modelDstBytes(decoding(call, transferFormat), 1);
        } else if (transferFormat == 10 || transferFormat == 11) {
            srcBytes = modelBgrSourceBytes(call, transferFormat);
            dstBytes = call.width * call.height * modelPixelBytes(call.outFormat);
        } else if (element != Element::None) {
            srcBytes = modelSourceBytes(call, element);
            dstBytes = modelOutputBytes(call, element, 0);
        }
        const auto run = [&](const std::uint8_t* src, std::uint8_t* dst) {
            return VekCam_ConvYUVOrBGRToBGRImage(mHandle, call.width, call.height, transferFormat, src, call.outFormat,
                                                 dst);
        };
        const auto model = [&](const std::uint8_t* src, std::uint8_t* dst) {
            if (!taken) {
                return -22;
            }
            if (isYCrCbFormat(transferFormat)) {
                CDemosaicModel<std::uint8_t>(decoding(call, transferFormat), src, dst).Run();
            } else if (!isPackedFormat(transferFormat)) {
                modelConvGray(call, transferFormat, src, nullptr, dst);
                modelConvBgr(call, transferFormat, src, dst);
            }
            return 0;
        };
        return mCheck.Run(srcBytes, dstBytes, run, model) << " transfer format " << transferFormat << ", " << call.width
                                                          << " x " << call.height << ", format " << call.outFormat;
    }

    CConversionCheck mCheck{1UL << 15};
};

// Codes that a narrower comparison would take for a known one, and other unknown ones.
constexpr unsigned long kOddCodes[] = {
    22,  23, 31, 127, 128, 255, 256, 257, 0x10000, 0x100000000, 0x100000001UL, 0x10000000CUL, 0x8000000000000000UL,
    ~0UL};

} // namespace

TEST_F(CConversionExports, To8BitsOfEveryFormat) {
    unsigned turn = 0;
    for (unsigned long transferFormat = 0; transferFormat <= 22; ++transferFormat) {
        for (unsigned long width = 1; width <= 40; ++width) {
            for (unsigned kind = 0; kind < 4; ++kind) {
                SConversion call{width, 1 + turn++ % 3, 0, 1};
                call.srcPitch = sourcePitch(call, modelElement(transferFormat), turn / 4 % 3);
                ASSERT_TRUE(To8Bits(call, outputPitch(call, kind), transferFormat));
            }
        }
    }
}

TEST_F(CConversionExports, To8BitsRefusesOtherFormats) {
    for (const unsigned long transferFormat : kOddCodes) {
        ASSERT_TRUE(To8Bits({5, 3, 0, 1}, 0, transferFormat));
        ASSERT_TRUE(To8Bits({5, 3, 7, 1}, 64, transferFormat));
        ASSERT_TRUE(To8Bits({5, 3, 0, 1}, std::nullopt, transferFormat));
        ASSERT_TRUE(To8Bits({0, 0, 0, 1}, std::nullopt, transferFormat));
    }
}

TEST_F(CConversionExports, AnyFormatToAnyOutput) {
    for (unsigned long transferFormat = 0; transferFormat <= 22; ++transferFormat) {
        for (unsigned long width = 1; width <= 37; ++width) {
            for (const unsigned long outFormat : kOutFormats) {
                ASSERT_TRUE(Any({width, 1 + width % 3, 0, outFormat}, transferFormat));
            }
        }
        for (const unsigned long outFormat : kOutFormats) {
            ASSERT_TRUE(Any({131, 3, 0, outFormat}, transferFormat));
            ASSERT_TRUE(Any({259, 2, 0, outFormat}, transferFormat));
            ASSERT_TRUE(Any({67, 5, 0, outFormat}, transferFormat));
        }
    }
}

// The output format is judged first, at its full width; then codes without a conversion do nothing and are no failure.
TEST_F(CConversionExports, OutputFormatComesFirst) {
    for (const unsigned long outFormat : {0UL, 2UL, 3UL, 5UL, 6UL, 7UL, 9UL, 16UL, 32UL, 64UL, 256UL, 257UL, 260UL,
                                          512UL, 0x10004UL, 0x100000001UL, 0x100000004UL, 0x100000008UL, ~0UL}) {
        for (unsigned long transferFormat = 0; transferFormat <= 22; ++transferFormat) {
            ASSERT_TRUE(Any({5, 3, 0, outFormat}, transferFormat));
            EXPECT_EQ(VekCam_ConvYUVOrBGRToBGRImage(mHandle, 5, 3, transferFormat, nullptr, outFormat, nullptr), -22);
            EXPECT_EQ(VekCam_ConvYUVOrBGRToBGRImage(mHandle, 0, 0, transferFormat, nullptr, outFormat, nullptr), -22);
        }
    }
    for (const unsigned long transferFormat : kOddCodes) {
        for (const unsigned long outFormat : kOutFormats) {
            ASSERT_TRUE(Any({5, 3, 0, outFormat}, transferFormat));
        }
    }
}

TEST_F(CConversionExports, NullHandleComesFirst) {
    unsigned long pitch = 0;
    std::uint8_t dst[64] = {};
    const std::uint16_t src[64] = {};
    EXPECT_EQ(VekCam_ConvTo8BitsImage(nullptr, 4, 2, 0, 0, src, &pitch, dst), -22);
    EXPECT_EQ(VekCam_ConvTo8BitsImage(nullptr, 0, 0, 0, 12, nullptr, nullptr, nullptr), -22);
    EXPECT_EQ(VekCam_ConvYUVOrBGRToBGRImage(nullptr, 4, 2, 0, src, 1, dst), -22);
    EXPECT_EQ(VekCam_ConvYUVOrBGRToBGRImage(nullptr, 4, 2, 2, nullptr, 1, nullptr), -22);
    EXPECT_EQ(pitch, 0U);
}

// Null buffers of some pixels. The pitch variable stays; of YCrCb either refusal will do.
TEST_F(CConversionExports, NullBuffers) {
    std::uint16_t words[64] = {};
    auto* const bytes = reinterpret_cast<std::uint8_t*>(words);
    for (unsigned long transferFormat = 0; transferFormat <= 21; ++transferFormat) {
        unsigned long pitch = 0;
        EXPECT_EQ(VekCam_ConvTo8BitsImage(mHandle, 5, 2, 0, transferFormat, nullptr, &pitch, bytes), -22);
        EXPECT_EQ(VekCam_ConvTo8BitsImage(mHandle, 5, 2, 0, transferFormat, words, &pitch, nullptr), -22);
        EXPECT_EQ(VekCam_ConvTo8BitsImage(mHandle, 5, 2, 0, transferFormat, nullptr, nullptr, nullptr), -22);
        EXPECT_EQ(pitch, 0U);
        for (const unsigned long outFormat : kOutFormats) {
            const int results[] = {
                VekCam_ConvYUVOrBGRToBGRImage(mHandle, 5, 2, transferFormat, nullptr, outFormat, bytes),
                VekCam_ConvYUVOrBGRToBGRImage(mHandle, 5, 2, transferFormat, words, outFormat, nullptr),
                VekCam_ConvYUVOrBGRToBGRImage(mHandle, 5, 2, transferFormat, nullptr, outFormat, nullptr)};
            for (const int result : results) {
                if (isPackedFormat(transferFormat)) {
                    EXPECT_EQ(result, 0) << transferFormat;
                } else if (isYCrCbFormat(transferFormat)) {
                    EXPECT_TRUE(result == 1 || result == -22) << transferFormat << " " << result;
                } else {
                    EXPECT_EQ(result, -22) << transferFormat;
                }
            }
        }
    }
    for (const std::uint16_t word : words) {
        EXPECT_EQ(word, 0);
    }
}

TEST_F(CConversionExports, NoPixelsIsSuccessWithoutBuffers) {
    for (unsigned long transferFormat = 0; transferFormat <= 22; ++transferFormat) {
        const int expected = modelElement(transferFormat) == Element::None ? -22 : 0;
        for (const unsigned long other : {0UL, 1UL, 9UL, 1000UL}) {
            EXPECT_EQ(VekCam_ConvTo8BitsImage(mHandle, 0, other, 0, transferFormat, nullptr, nullptr, nullptr),
                      expected);
            EXPECT_EQ(VekCam_ConvTo8BitsImage(mHandle, other, 0, 0, transferFormat, nullptr, nullptr, nullptr),
                      expected);
            for (const unsigned long outFormat : kOutFormats) {
                EXPECT_EQ(VekCam_ConvYUVOrBGRToBGRImage(mHandle, 0, other, transferFormat, nullptr, outFormat, nullptr),
                          0);
                EXPECT_EQ(VekCam_ConvYUVOrBGRToBGRImage(mHandle, other, 0, transferFormat, nullptr, outFormat, nullptr),
                          0);
            }
        }
    }
}

// Rows of no width are not walked: 2^32 of them take no time, where a step each takes many seconds.
TEST_F(CConversionExports, RowsOfNoWidthTakeNoTime) {
    constexpr unsigned long rows = 0x100000000UL;
    const auto atOnce = [](const char* name, const auto& call) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(call(), 0) << name;
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2)) << name;
    };
    atOnce("bytes", [this] {
        return VekCam_ConvTo8BitsImage(mHandle, 0, rows, 0, VEK_TRANSFER_RAW8, nullptr, nullptr, nullptr);
    });
    atOnce("words",
           [this] { return VekCam_ConvYUVOrBGRToBGRImage(mHandle, 0, rows, VEK_TRANSFER_RAW12, nullptr, 4, nullptr); });
    atOnce("packed", [this] {
        return VekCam_ConvTo8BitsImage(mHandle, 0, rows, 0, VEK_TRANSFER_MONO10_PACKED, nullptr, nullptr, nullptr);
    });
}

// Whether an image of no pixels has a pitch to report is open: none, or the one that its rows would have.
TEST_F(CConversionExports, PitchOfNoPixels) {
    for (const unsigned long transferFormat : {0UL, 1UL, 2UL, 4UL}) {
        unsigned long pitch = 0;
        EXPECT_EQ(VekCam_ConvTo8BitsImage(mHandle, 5, 0, 0, transferFormat, nullptr, &pitch, nullptr), 0);
        EXPECT_TRUE(pitch == 0 || pitch == (isPackedFormat(transferFormat) ? 5U : 8U)) << pitch;
    }
}

// Code 2 gives 0 and writes nothing; code 12 is no grey.
TEST_F(CConversionExports, WorkedResults) {
    std::uint8_t dst[16];
    std::memset(dst, 170, sizeof dst);
    const std::uint8_t packed[5] = {0xFF, 0x03, 0, 0, 0};
    EXPECT_EQ(VekCam_ConvYUVOrBGRToBGRImage(mHandle, 4, 1, 2, packed, 1, dst), 0);
    EXPECT_EQ(VekCam_ConvTo8BitsImage(mHandle, 4, 1, 0, 12, packed, nullptr, dst), -22);
    for (const std::uint8_t byte : dst) {
        EXPECT_EQ(byte, 170);
    }
    unsigned long pitch = 64;
    EXPECT_EQ(VekCam_ConvTo8BitsImage(mHandle, 4, 1, 0, 2, packed, &pitch, dst), 0);
    EXPECT_EQ(dst[0], 0xFF);
    EXPECT_EQ(dst[1], 0);
    EXPECT_EQ(dst[4], 170);
    EXPECT_EQ(pitch, 4U);
    const std::uint16_t word = 0x0ABC;
    EXPECT_EQ(VekCam_ConvTo8BitsImage(mHandle, 1, 1, 0, 3, &word, nullptr, dst), 0);
    EXPECT_EQ(dst[0], 0xAB);
    EXPECT_EQ(dst[1], 0);
}

} // namespace vek::test
