// SPDX-License-Identifier: Apache-2.0
// What the module does not touch: rows of no length, null buffers, padding, fourth samples.
#include "imageproc/ColorInterpolation/DemosaicCheck.h"
#include "imageproc/ColorInterpolation/SlotCalls.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#endif

namespace vek::test {

namespace {

constexpr unsigned long kHuge = ~0UL;
constexpr unsigned short kChannels[] = {1, 3, 4};

template <class T>
class CDemosaicReach : public ::testing::Test {
protected:
    CDemosaicReach() : mModule(makeColorInterpolation()) {}

    unsigned long Long(const SDemosaicCall& call, T* src, T* dst) { return callLong(*mModule, call, src, dst); }
    unsigned long Short(const SDemosaicCall& call, T* src, T* dst) { return callShort(*mModule, call, src, dst); }

    ColorInterpolationPtr mModule;
};

TYPED_TEST_SUITE(CDemosaicReach, SampleTypes);

} // namespace

TYPED_TEST(CDemosaicReach, NoPixelsIsSuccessWithoutBuffers) {
    for (unsigned char method = 0; method <= kLastMethod; ++method) {
        for (unsigned short colorArray = 1; colorArray <= kLastColorArray; ++colorArray) {
            for (const unsigned short channels : kChannels) {
                if (channels == 1 && method != 0 && colorArray != 1) {
                    continue;
                }
                for (const unsigned long other : {0UL, 1UL, 7UL, kHuge}) {
                    EXPECT_EQ(this->Long({0, other, 0, 0, method, colorArray, channels}, nullptr, nullptr), 0U);
                    EXPECT_EQ(this->Long({other, 0, 0, 0, method, colorArray, channels}, nullptr, nullptr), 0U);
                    EXPECT_EQ(this->Long({0, other, 16, 16, method, colorArray, channels}, nullptr, nullptr), 0U);
                    EXPECT_EQ(this->Long({other, 0, 16, 16, method, colorArray, channels}, nullptr, nullptr), 0U);
                    EXPECT_EQ(this->Short({0, other, 0, 0, method, colorArray, channels}, nullptr, nullptr), 0U);
                    EXPECT_EQ(this->Short({other, 0, 0, 0, method, colorArray, channels}, nullptr, nullptr), 0U);
                }
            }
        }
    }
}

TYPED_TEST(CDemosaicReach, RowsOfNoWidthAreNotBlockCopied) {
    std::vector<TypeParam> src(64, 1);
    std::vector<TypeParam> dst(64, 9);
    EXPECT_EQ(this->Long({0, 4, 8, 8, 0, 1, 1}, src.data(), dst.data()), 0U);
    EXPECT_EQ(dst, std::vector<TypeParam>(64, 9));
}

TYPED_TEST(CDemosaicReach, RefusalComesBeforeNoPixels) {
    for (const unsigned long width : {0UL, 5UL}) {
        for (const unsigned long height : {0UL, 5UL}) {
            if (width != 0 && height != 0) {
                continue;
            }
            EXPECT_EQ(this->Long({width, height, 0, 0, 7, 2, 3}, nullptr, nullptr), kModelInvalid);
            EXPECT_EQ(this->Long({width, height, 0, 0, 255, 2, 3}, nullptr, nullptr), kModelInvalid);
            EXPECT_EQ(this->Long({width, height, 0, 0, 0, 0, 3}, nullptr, nullptr), kModelInvalid);
            EXPECT_EQ(this->Long({width, height, 0, 0, 1, 0, 3}, nullptr, nullptr), kModelInvalid);
            EXPECT_EQ(this->Long({width, height, 0, 0, 0, 12, 3}, nullptr, nullptr), kModelInvalid);
            EXPECT_EQ(this->Long({width, height, 0, 0, 3, 12, 3}, nullptr, nullptr), kModelInvalid);
            EXPECT_EQ(this->Long({width, height, 0, 0, 0, 1, 2}, nullptr, nullptr), kModelInvalid);
            EXPECT_EQ(this->Long({width, height, 0, 0, 0, 2, 0}, nullptr, nullptr), kModelInvalid);
            for (unsigned char method = 1; method <= kLastMethod; ++method) {
                EXPECT_EQ(this->Long({width, height, 0, 0, method, 3, 1}, nullptr, nullptr), kModelInvalid);
                EXPECT_EQ(this->Long({width, height, 0, 0, method, 6, 1}, nullptr, nullptr), kModelInvalid);
                EXPECT_EQ(this->Long({width, height, 0, 0, method, 11, 2}, nullptr, nullptr), kModelInvalid);
            }
        }
    }
}

TYPED_TEST(CDemosaicReach, NullBuffersAreRefused) {
    std::vector<TypeParam> buffer(128, 9);
    for (unsigned char method = 0; method <= kLastMethod; ++method) {
        for (unsigned short colorArray = 1; colorArray <= kLastColorArray; ++colorArray) {
            const SDemosaicCall call{5, 4, 0, 0, method, colorArray, 3};
            EXPECT_EQ(this->Long(call, nullptr, buffer.data()), kModelInvalid);
            EXPECT_EQ(this->Long(call, buffer.data(), nullptr), kModelInvalid);
            EXPECT_EQ(this->Long(call, nullptr, nullptr), kModelInvalid);
            EXPECT_EQ(this->Short(call, nullptr, buffer.data()), kModelInvalid);
            EXPECT_EQ(this->Short(call, buffer.data(), nullptr), kModelInvalid);
        }
    }
    EXPECT_EQ(this->Long({4, 3, 16, 16, 0, 1, 1}, nullptr, buffer.data()), kModelInvalid);
    EXPECT_EQ(this->Long({4, 3, 16, 16, 0, 1, 1}, buffer.data(), nullptr), kModelInvalid);
    EXPECT_EQ(buffer, std::vector<TypeParam>(128, 9));
}

// One row or one column holds no 2 x 2 cell, three of them no pair of rows of 2 x 2 blocks with what lies around it.
TYPED_TEST(CDemosaicReach, ImagesBelowTheSmallestAreRefused) {
    std::vector<TypeParam> src(1200, 1);
    std::vector<TypeParam> dst(4800, 9);
    for (unsigned char method = 2; method <= kLastMethod; ++method) {
        for (unsigned short colorArray = 2; colorArray <= kLastBayer; ++colorArray) {
            for (unsigned long shorter = 1; shorter < (method < 5 ? 2UL : 4UL); ++shorter) {
                for (const unsigned long length : {1UL, 2UL, 3UL, 4UL, 16UL, 257UL}) {
                    const SDemosaicCall flat{length, shorter, 0, 0, method, colorArray, 4};
                    const SDemosaicCall high{shorter, length, 0, 0, method, colorArray, 3};
                    EXPECT_EQ(this->Long(flat, src.data(), dst.data()), kModelInvalid) << int{method};
                    EXPECT_EQ(this->Short(high, src.data(), dst.data()), kModelInvalid) << int{method};
                    EXPECT_EQ(this->Long(flat, nullptr, nullptr), kModelInvalid) << int{method};
                }
            }
        }
    }
    EXPECT_EQ(dst, std::vector<TypeParam>(4800, 9));
}

// A mono image is copied whatever the method says.
TYPED_TEST(CDemosaicReach, MonoIgnoresTheMethod) {
    std::vector<TypeParam> src(1, 7);
    for (unsigned method = 0; method <= 255; ++method) {
        std::vector<TypeParam> dst(4, 9);
        EXPECT_EQ(this->Long({1, 1, 0, 0, static_cast<unsigned char>(method), 1, 4}, src.data(), dst.data()), 0U);
        EXPECT_EQ(dst, (std::vector<TypeParam>{7, 7, 7, 9})) << method;
    }
}

// The address sanitizer watches what lies behind the rows inside the images: nothing that the model leaves alone may be
// touched on either side.
TYPED_TEST(CDemosaicReach, PaddingIsNotTouched) {
#if defined(__SANITIZE_ADDRESS__)
    constexpr unsigned long srcPitch = 512;
    constexpr unsigned long dstPitch = 2048;
    constexpr unsigned long height = 7;
    std::vector<std::uint64_t> srcWords(height * srcPitch / 8, 0x0102030405060708U);
    std::vector<std::uint64_t> dstWords(height * dstPitch / 8, 0);
    std::vector<std::uint64_t> scratch(height * dstPitch / 8, 0);
    auto* const src = reinterpret_cast<std::uint8_t*>(srcWords.data());
    auto* const dst = reinterpret_cast<std::uint8_t*>(dstWords.data());
    unsigned turn = 0;
    for (unsigned long width = 1; width <= 130; ++width) {
        for (unsigned char method = 0; method <= kLastMethod; ++method) {
            for (unsigned short colorArray = 2; colorArray <= kLastColorArray; ++colorArray) {
                const bool gray = method == 0 && turn % 3 == 0;
                const auto channels = static_cast<unsigned short>(gray ? 1 : 3 + turn % 2);
                ++turn;
                if (method > 1 && colorArray > kLastBayer) {
                    continue; // decodes as method 1 does
                }
                const SDemosaicCall call{width, height, srcPitch, dstPitch, method, colorArray, channels};
                std::vector<bool> reads;
                CDemosaicModel<TypeParam>(call, reinterpret_cast<TypeParam*>(src),
                                          reinterpret_cast<TypeParam*>(scratch.data()))
                    .RunMarkingReads(&reads);
                reads.resize(height * srcPitch, false);
                SDemosaicCall row = call;
                row.height = 1;
                const unsigned long dstEnd = modelDstBytes(row, sizeof(TypeParam));
                for (unsigned long y = 0; y < height; ++y) {
                    unsigned long srcEnd = srcPitch;
                    while (srcEnd > 0 && !reads[y * srcPitch + srcEnd - 1]) {
                        --srcEnd;
                    }
                    ASAN_POISON_MEMORY_REGION(src + y * srcPitch + srcEnd, srcPitch - srcEnd);
                    ASAN_POISON_MEMORY_REGION(dst + y * dstPitch + dstEnd, dstPitch - dstEnd);
                }
                EXPECT_EQ(this->Long(call, reinterpret_cast<TypeParam*>(src), reinterpret_cast<TypeParam*>(dst)),
                          modelStatus(call));
                ASAN_UNPOISON_MEMORY_REGION(src, height * srcPitch);
                ASAN_UNPOISON_MEMORY_REGION(dst, height * dstPitch);
            }
        }
    }
#else
    GTEST_SKIP() << "needs the address sanitizer";
#endif
}

} // namespace vek::test
