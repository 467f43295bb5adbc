// SPDX-License-Identifier: Apache-2.0
// What the module does not touch: rows of no length, null buffers, padding, fourth samples.
#include "model/SlotCalls.h"
#include "support/DemosaicCheck.h"

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

using SampleTypes = ::testing::Types<std::uint8_t, std::uint16_t>;
TYPED_TEST_SUITE(CDemosaicReach, SampleTypes);

} // namespace

TYPED_TEST(CDemosaicReach, NoPixelsIsSuccessWithoutBuffers) {
    for (unsigned char method = 0; method <= 3; ++method) {
        for (unsigned short colorArray = 1; colorArray <= 5; ++colorArray) {
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
            for (unsigned char method = 1; method <= 3; ++method) {
                EXPECT_EQ(this->Long({width, height, 0, 0, method, 3, 1}, nullptr, nullptr), kModelInvalid);
            }
        }
    }
}

TYPED_TEST(CDemosaicReach, NullBuffersAreRefused) {
    std::vector<TypeParam> buffer(64, 9);
    for (unsigned char method = 0; method <= 3; ++method) {
        for (unsigned short colorArray = 1; colorArray <= 5; ++colorArray) {
            const SDemosaicCall call{4, 3, 0, 0, method, colorArray, 3};
            EXPECT_EQ(this->Long(call, nullptr, buffer.data()), kModelInvalid);
            EXPECT_EQ(this->Long(call, buffer.data(), nullptr), kModelInvalid);
            EXPECT_EQ(this->Long(call, nullptr, nullptr), kModelInvalid);
            EXPECT_EQ(this->Short(call, nullptr, buffer.data()), kModelInvalid);
            EXPECT_EQ(this->Short(call, buffer.data(), nullptr), kModelInvalid);
        }
    }
    EXPECT_EQ(this->Long({4, 3, 16, 16, 0, 1, 1}, nullptr, buffer.data()), kModelInvalid);
    EXPECT_EQ(this->Long({4, 3, 16, 16, 0, 1, 1}, buffer.data(), nullptr), kModelInvalid);
    EXPECT_EQ(buffer, std::vector<TypeParam>(64, 9));
}

// One row or one column holds no 2 x 2 cell.
TYPED_TEST(CDemosaicReach, ImagesWithoutACellAreRefused) {
    std::vector<TypeParam> src(600, 1);
    std::vector<TypeParam> dst(2400, 9);
    for (const unsigned char method : {std::uint8_t{2}, std::uint8_t{3}}) {
        for (unsigned short colorArray = 2; colorArray <= 5; ++colorArray) {
            for (const unsigned long length : {1UL, 2UL, 3UL, 16UL, 257UL}) {
                EXPECT_EQ(this->Long({length, 1, 0, 0, method, colorArray, 4}, src.data(), dst.data()), kModelInvalid);
                EXPECT_EQ(this->Short({1, length, 0, 0, method, colorArray, 3}, src.data(), dst.data()), kModelInvalid);
            }
        }
    }
    EXPECT_EQ(dst, std::vector<TypeParam>(2400, 9));
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

// The address sanitizer watches the padding inside the images: neither side's may be touched.
TYPED_TEST(CDemosaicReach, PaddingIsNotTouched) {
#if defined(__SANITIZE_ADDRESS__)
    constexpr unsigned long srcPitch = 512;
    constexpr unsigned long dstPitch = 2048;
    constexpr unsigned long height = 5;
    std::vector<std::uint64_t> srcWords(height * srcPitch / 8, 0x0102030405060708U);
    std::vector<std::uint64_t> dstWords(height * dstPitch / 8, 0);
    auto* const src = reinterpret_cast<std::uint8_t*>(srcWords.data());
    auto* const dst = reinterpret_cast<std::uint8_t*>(dstWords.data());
    for (unsigned long width = 1; width <= 130; ++width) {
        for (unsigned char method = 0; method <= 3; ++method) {
            for (const unsigned short channels : kChannels) {
                const unsigned short colorArray = static_cast<unsigned short>(2 + width / 2 % 4);
                const SDemosaicCall call{width, height, srcPitch, dstPitch, method, colorArray, channels};
                const unsigned long read = width + (method == 3 ? width % 2 : 0);
                for (unsigned long row = 0; row < height; ++row) {
                    const unsigned long srcEnd = read * sizeof(TypeParam);
                    const unsigned long dstEnd = width * channels * sizeof(TypeParam);
                    ASAN_POISON_MEMORY_REGION(src + row * srcPitch + srcEnd, srcPitch - srcEnd);
                    ASAN_POISON_MEMORY_REGION(dst + row * dstPitch + dstEnd, dstPitch - dstEnd);
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
