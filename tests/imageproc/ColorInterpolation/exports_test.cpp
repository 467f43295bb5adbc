// SPDX-License-Identifier: Apache-2.0
// Arguments of VekCam_ColorInterpolation: which are refused, with which result, and that nothing is written then.
#include "VekTrgApi.h"
#include "imageproc/ColorInterpolation/DemosaicModel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

namespace vek::test {

namespace {

constexpr unsigned long kWidth = 6;
constexpr unsigned long kHeight = 5;
constexpr std::size_t kSrcBytes = kWidth * kHeight * 2 * 3; // YCrCb 4:4:4
constexpr std::size_t kDstBytes = kWidth * kHeight * 8 + 64;

/// Channels of an accepted pair of format and depth, 0 for the others.
unsigned short channelsOf(unsigned long format, unsigned bits) {
    if (bits == 8) {
        return format == 1 ? 1 : format == 4 ? 3 : format == 8 ? 4 : 0;
    }
    if (bits == 10 || bits == 12) {
        return format == 16 || format == 32 ? 1 : format == 256 ? 3 : format == 512 ? 4 : 0;
    }
    return 0;
}

std::vector<unsigned long> spotFormats() {
    std::vector<unsigned long> formats;
    for (unsigned long format = 0; format <= 34; ++format) {
        formats.push_back(format);
    }
    for (const unsigned long format : {63UL,          64UL,
                                       65UL,          127UL,
                                       128UL,         129UL,
                                       255UL,         256UL,
                                       257UL,         260UL,
                                       264UL,         384UL,
                                       511UL,         512UL,
                                       513UL,         600UL,
                                       0x10001UL,     0x10004UL,
                                       0x100000001UL, 0x100000004UL,
                                       0x100000100UL, 0x8000000000000008UL,
                                       ~0UL}) {
        formats.push_back(format);
    }
    return formats;
}

class CColorInterpolationCall : public ::testing::Test {
protected:
    CColorInterpolationCall() : mHandle(VekCam_Open(-1)), mSrc(kSrcBytes / 2), mDst(kDstBytes / 2) {
        for (std::size_t i = 0; i < mSrc.size(); ++i) {
            mSrc[i] = static_cast<std::uint16_t>(i * 2654435761U >> 7);
        }
    }
    ~CColorInterpolationCall() override { VekCam_Close(mHandle); }

    int Call(unsigned long width, unsigned long height, unsigned colorArray, unsigned method, unsigned long format,
             unsigned bits) {
        std::memset(mDst.data(), 0xA5, kDstBytes);
        return VekCam_ColorInterpolation(mHandle, width, height, static_cast<unsigned short>(colorArray), mSrc.data(),
                                         mDst.data(), static_cast<unsigned char>(method), format,
                                         static_cast<unsigned short>(bits));
    }
    bool Untouched() const {
        return std::all_of(mDst.begin(), mDst.end(), [](std::uint16_t word) { return word == 0xA5A5; });
    }
    template <class T>
    bool IsAsModelled(const SDemosaicCall& call) {
        mExpected.assign(mDst.size(), 0xA5A5);
        CDemosaicModel<T>(call, reinterpret_cast<const T*>(mSrc.data()), reinterpret_cast<T*>(mExpected.data())).Run();
        return mExpected == mDst;
    }

    VekCam_Handle mHandle;
    std::vector<std::uint16_t> mSrc;
    std::vector<std::uint16_t> mDst;
    std::vector<std::uint16_t> mExpected;
};

} // namespace

TEST_F(CColorInterpolationCall, EveryCombinationOfCodes) {
    const std::vector<unsigned long> formats = spotFormats();
    for (unsigned bits = 0; bits <= 20; ++bits) {
        for (const unsigned long format : formats) {
            const unsigned short channels = channelsOf(format, bits);
            for (unsigned method = 0; method <= 10; ++method) {
                for (unsigned colorArray = 0; colorArray <= 13; ++colorArray) {
                    const SDemosaicCall call{kWidth,
                                             kHeight,
                                             0,
                                             0,
                                             static_cast<unsigned char>(method),
                                             static_cast<unsigned short>(colorArray),
                                             channels};
                    const int result = Call(kWidth, kHeight, colorArray, method, format, bits);
                    if (channels == 0) {
                        ASSERT_EQ(result, -22) << bits << " bits, format " << format;
                        ASSERT_TRUE(Untouched());
                    } else {
                        ASSERT_EQ(result, modelStatus(call) == 0 ? 0 : 1)
                            << bits << " bits, format " << format << ", method " << method << ", array " << colorArray;
                        ASSERT_TRUE(bits == 8 ? IsAsModelled<std::uint8_t>(call) : IsAsModelled<std::uint16_t>(call));
                    }
                }
            }
        }
    }
}

TEST_F(CColorInterpolationCall, CodesAreNotCutShort) {
    for (const unsigned bits : {0x108U, 0x10AU, 0x10CU, 0x800U, 0xFFFFU}) {
        EXPECT_EQ(Call(kWidth, kHeight, 2, 1, 4, bits), -22);
        EXPECT_EQ(Call(kWidth, kHeight, 2, 1, 256, bits), -22);
    }
    for (const unsigned colorArray : {0x101U, 0x102U, 0x105U, 0xFFFFU}) {
        EXPECT_EQ(Call(kWidth, kHeight, colorArray, 0, 4, 8), 1);
        EXPECT_EQ(Call(kWidth, kHeight, colorArray, 1, 4, 8), 1);
        EXPECT_TRUE(Untouched());
    }
    for (unsigned method = 7; method <= 255; ++method) {
        EXPECT_EQ(Call(kWidth, kHeight, 3, method, 8, 8), 1);
        EXPECT_TRUE(Untouched());
    }
}

TEST_F(CColorInterpolationCall, WorkedResults) {
    EXPECT_EQ(Call(kWidth, kHeight, 2, 7, 4, 8), 1);
    EXPECT_EQ(Call(kWidth, kHeight, 2, 1, 256, 16), -22);
    EXPECT_EQ(Call(kWidth, kHeight, 2, 1, 256, 14), -22);
    EXPECT_EQ(Call(kWidth, kHeight, 2, 6, 256, 16), -22);
    EXPECT_EQ(Call(kWidth, kHeight, 7, 7, 4, 8), 0); // YCrCb is decoded whatever the method
}

TEST_F(CColorInterpolationCall, NullHandleComesFirst) {
    std::memset(mDst.data(), 0xA5, kDstBytes);
    EXPECT_EQ(VekCam_ColorInterpolation(nullptr, kWidth, kHeight, 2, mSrc.data(), mDst.data(), 1, 4, 8), -22);
    EXPECT_EQ(VekCam_ColorInterpolation(nullptr, 0, 0, 2, nullptr, nullptr, 1, 4, 8), -22);
    EXPECT_EQ(VekCam_ColorInterpolation(nullptr, kWidth, kHeight, 2, mSrc.data(), mDst.data(), 9, 4, 8), -22);
    EXPECT_TRUE(Untouched());
}

TEST_F(CColorInterpolationCall, NullBuffersGive1AfterTheFormat) {
    std::memset(mDst.data(), 0xA5, kDstBytes);
    for (unsigned char method = 0; method <= kLastMethod; ++method) {
        for (unsigned short array = 1; array <= kLastColorArray; ++array) {
            EXPECT_EQ(VekCam_ColorInterpolation(mHandle, 5, 4, array, nullptr, mDst.data(), method, 4, 8), 1);
            EXPECT_EQ(VekCam_ColorInterpolation(mHandle, 5, 4, array, mSrc.data(), nullptr, method, 512, 12), 1);
            EXPECT_EQ(VekCam_ColorInterpolation(mHandle, 5, 4, array, nullptr, nullptr, method, 256, 10), 1);
            EXPECT_EQ(VekCam_ColorInterpolation(mHandle, 5, 4, array, nullptr, nullptr, method, 4, 10), -22);
        }
    }
    EXPECT_TRUE(Untouched());
}

TEST_F(CColorInterpolationCall, NoPixelsIsSuccess) {
    for (unsigned char method = 0; method <= kLastMethod; ++method) {
        for (unsigned short array = 1; array <= kLastColorArray; ++array) {
            for (const unsigned long other : {0UL, 1UL, 5UL, 0x100000000UL, ~0UL}) {
                EXPECT_EQ(VekCam_ColorInterpolation(mHandle, 0, other, array, nullptr, nullptr, method, 4, 8), 0);
                EXPECT_EQ(VekCam_ColorInterpolation(mHandle, other, 0, array, nullptr, nullptr, method, 512, 10), 0);
            }
            EXPECT_EQ(Call(0, 3, array, method, 8, 8), 0);
            EXPECT_TRUE(Untouched());
            EXPECT_EQ(Call(3, 0, array, method, 8, 8), 0);
            EXPECT_TRUE(Untouched());
        }
    }
}

TEST_F(CColorInterpolationCall, RefusalsComeBeforeNoPixels) {
    EXPECT_EQ(Call(0, 3, 2, 1, 5, 8), -22);
    EXPECT_EQ(Call(0, 3, 2, 1, 4, 9), -22);
    EXPECT_EQ(Call(0, 3, 2, 7, 4, 8), 1);
    EXPECT_EQ(Call(3, 0, 0, 0, 4, 8), 1);
    EXPECT_EQ(Call(0, 0, 12, 1, 4, 8), 1);
    EXPECT_EQ(Call(0, 0, 2, 1, 1, 8), 1); // a Bayer method into grey
    EXPECT_TRUE(Untouched());
}

// A copy to one channel may be made in place where rows have no padding: nothing moves.
TEST_F(CColorInterpolationCall, GrayCopiesInPlace) {
    for (const unsigned short colorArray : {std::uint16_t{1}, std::uint16_t{2}, std::uint16_t{5}}) {
        for (const unsigned short bits : {std::uint16_t{8}, std::uint16_t{12}}) {
            const unsigned long width = bits == 8 ? 8 : 6;
            const unsigned long format = bits == 8 ? VEK_DESTINATION_MONO8 : VEK_DESTINATION_MONO12;
            std::vector<std::uint16_t> image(mSrc.begin(), mSrc.begin() + 40);
            const std::vector<std::uint16_t> before = image;
            EXPECT_EQ(VekCam_ColorInterpolation(mHandle, width, 5, colorArray, image.data(), image.data(),
                                                VEK_DEMOSAIC_MONO, format, bits),
                      0);
            EXPECT_EQ(image, before);
        }
    }
}

TEST_F(CColorInterpolationCall, ImagesBelowTheSmallest) {
    for (unsigned method = 2; method <= kLastMethod; ++method) {
        for (unsigned colorArray = 2; colorArray <= kLastBayer; ++colorArray) {
            for (unsigned long shorter = 1; shorter < (method < 5 ? 2UL : 4UL); ++shorter) {
                EXPECT_EQ(Call(shorter, shorter, colorArray, method, 4, 8), 1);
                EXPECT_TRUE(Untouched());
                EXPECT_EQ(Call(6, shorter, colorArray, method, 8, 8), 1);
                EXPECT_TRUE(Untouched());
                EXPECT_EQ(Call(shorter, 6, colorArray, method, 512, 12), 1);
                EXPECT_TRUE(Untouched());
            }
        }
    }
}

} // namespace vek::test
