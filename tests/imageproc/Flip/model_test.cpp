// SPDX-License-Identifier: Apache-2.0
// Mirror and rotation against the model: every pair of codes, sizes, samples a pixel, in place and into another buffer.
#include "api/VekImageProcLib.h"
#include "imageproc/Flip.h"
#include "imageproc/Flip/FlipModel.h"
#include "imageproc/rows/RowDispatch.h"
#include "support/FailingAllocations.h"
#include "support/GuardedBuffer.h"
#include "support/InPlaceCheck.h"
#include "support/Random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

namespace vek::test {

namespace {

using FlipPtr = ModulePtr<IFlip, kModuleFlip>;
constexpr unsigned long kInvalid = static_cast<unsigned long>(-22L);
constexpr unsigned long kNoMemory = static_cast<unsigned long>(-12L);

FlipPtr makeFlip() {
    return FlipPtr(static_cast<IFlip*>(CreateVekImageProc(kModuleFlip)));
}

/// A pair of codes for each transform.
struct SCodes {
    unsigned char mirror;
    unsigned char rotation;
};
constexpr SCodes kCodes[8] = {{0, 0}, {1, 0}, {2, 0}, {3, 0}, {0, 1}, {0, 2}, {1, 1}, {1, 2}};

struct SFlipCase {
    unsigned char mirror = 0;
    unsigned char rotation = 0;
    unsigned long width = 0;
    unsigned long height = 0;
    unsigned short samples = 1;
    bool bRaw = false;
    bool bInPlace = false;
    unsigned short colorArray = 2;
};

unsigned long callBGR(IFlip& module, const SFlipCase& c, unsigned long* width, unsigned long* height, std::uint8_t* src,
                      std::uint8_t* dst) {
    return module.FlipBGRB(c.mirror, c.rotation, width, height, src, dst, c.samples);
}
unsigned long callBGR(IFlip& module, const SFlipCase& c, unsigned long* width, unsigned long* height,
                      std::uint16_t* src, std::uint16_t* dst) {
    return module.FlipBGRW(c.mirror, c.rotation, width, height, src, dst, c.samples);
}
unsigned long callRaw(IFlip& module, const SFlipCase& c, unsigned long* width, unsigned long* height, std::uint8_t* src,
                      std::uint8_t* dst, unsigned short* colorArray) {
    return module.FlipRawB(c.mirror, c.rotation, width, height, src, dst, colorArray);
}
unsigned long callRaw(IFlip& module, const SFlipCase& c, unsigned long* width, unsigned long* height,
                      std::uint16_t* src, std::uint16_t* dst, unsigned short* colorArray) {
    return module.FlipRawW(c.mirror, c.rotation, width, height, src, dst, colorArray);
}

template <class T>
class CFlipModel : public ::testing::Test {
protected:
    CFlipModel() : mModule(makeFlip()), mpTested(mModule.get()) {}

    /// Buffers exactly as large as the images, flush with protected pages; a destination of a vertical mirror ends
    /// where the last sample is written.
    ::testing::AssertionResult Run(const SFlipCase& c, Flush srcFlush, Flush dstFlush) {
        const unsigned transform = modelFlipTransform(c.mirror, c.rotation);
        const unsigned long expectedStatus = modelFlipStatus(transform, c.samples);
        const std::size_t srcCount = c.width * c.height * c.samples;
        const std::size_t dstCount = modelFlipReach(transform, c.width, c.height, c.samples);
        if (std::max(srcCount, dstCount) > kCapacity) {
            return Failure(c) << "the test's buffer is too small";
        }
        CGuardedBuffer<T>& srcArena = srcFlush == Flush::Left ? mSrcLeft : mSrcRight;
        CGuardedBuffer<T>& dstArena = dstFlush == Flush::Left ? mDstLeft : mDstRight;
        T* const src = srcFlush == Flush::Left ? srcArena.data() : srcArena.data() + kCapacity - srcCount;
        T* const dst =
            c.bInPlace ? src : (dstFlush == Flush::Left ? dstArena.data() : dstArena.data() + kCapacity - dstCount);
        // Some samples more on the open side, which have to survive.
        const Flush flush = c.bInPlace ? srcFlush : dstFlush;
        const std::size_t count = c.bInPlace ? srcCount : dstCount;
        const std::size_t margin = std::min<std::size_t>(40, kCapacity - count);
        T* const first = flush == Flush::Left ? dst : dst - margin;
        for (std::size_t i = 0; i < count + margin; ++i) {
            first[i] = static_cast<T>(mRandom.Next());
        }
        if (!c.bInPlace) {
            for (std::size_t i = 0; i < srcCount; ++i) {
                src[i] = static_cast<T>(mRandom.Next());
            }
        }
        mBefore.assign(src, src + srcCount);
        mExpected.assign(first, first + count + margin);
        if (expectedStatus == 0) {
            T* const to = mExpected.data() + (dst - first);
            modelFlip(transform, c.width, c.height, c.samples, c.bInPlace ? to : src, to);
        }
        const bool bTurned = modelFlipTurns(transform);
        unsigned long width = c.width;
        unsigned long height = c.height;
        unsigned short colorArray = c.colorArray;

        const unsigned long status = c.bRaw ? callRaw(*mpTested, c, &width, &height, src, dst, &colorArray)
                                            : callBGR(*mpTested, c, &width, &height, src, dst);

        if (status != expectedStatus) {
            return Failure(c) << "status " << static_cast<long>(status);
        }
        if (width != (bTurned ? c.height : c.width) || height != (bTurned ? c.width : c.height)) {
            return Failure(c) << "result of " << width << " x " << height;
        }
        if (colorArray != (c.bRaw ? modelFlipColorArray(transform, c.colorArray) : c.colorArray)) {
            return Failure(c) << "colour array " << colorArray;
        }
        const auto differ = std::mismatch(mExpected.begin(), mExpected.end(), first);
        if (differ.first != mExpected.end()) {
            return Failure(c) << "sample " << differ.second - dst << " is " << *differ.second << ", not "
                              << *differ.first;
        }
        if (!c.bInPlace && !std::equal(mBefore.begin(), mBefore.end(), src)) {
            return Failure(c) << "the source changed";
        }
        return ::testing::AssertionSuccess();
    }

    /// Status of a quarter turn in place of an image that is no such size; one of a sample a pixel goes through both
    /// operations. Image and colour array must survive.
    unsigned long TooLarge(unsigned transform, unsigned samples, const SImageSize& size) {
        TypedImage image = kImage;
        SFlipCase c{static_cast<unsigned char>(transform), 0, 0, 0, static_cast<unsigned short>(samples)};
        unsigned long width = size.width;
        unsigned long height = size.height;
        const unsigned long status = callBGR(*mpTested, c, &width, &height, image.data(), image.data());
        EXPECT_EQ(width, size.height);
        EXPECT_EQ(height, size.width);
        if (samples == 1) {
            unsigned short colorArray = 3;
            EXPECT_EQ(callRaw(*mpTested, c, &width, &height, image.data(), image.data(), &colorArray), status);
            EXPECT_EQ(width, size.width);
            EXPECT_EQ(height, size.height);
            EXPECT_EQ(colorArray, 3);
        }
        EXPECT_EQ(image, kImage);
        return status;
    }

    static ::testing::AssertionResult Failure(const SFlipCase& c) {
        return ::testing::AssertionFailure()
               << 8 * sizeof(T) << " bit, mirror " << int{c.mirror} << ", rotation " << int{c.rotation} << ", "
               << c.width << " x " << c.height << ", samples " << c.samples << (c.bRaw ? " raw" : "")
               << (c.bInPlace ? " in place" : "") << ", colour array " << c.colorArray << ": ";
    }

    using TypedImage = std::array<T, 6>;
    static constexpr TypedImage kImage = {1, 2, 3, 4, 5, 6};
    static constexpr std::size_t kCapacity = 1UL << 14;
    FlipPtr mModule;
    IFlip* mpTested;
    CRandom mRandom{5150};
    CGuardedBuffer<T> mSrcLeft{kCapacity, Flush::Left};
    CGuardedBuffer<T> mSrcRight{kCapacity, Flush::Right};
    CGuardedBuffer<T> mDstLeft{kCapacity, Flush::Left};
    CGuardedBuffer<T> mDstRight{kCapacity, Flush::Right};
    std::vector<T> mBefore;
    std::vector<T> mExpected;
};

using SampleTypes = ::testing::Types<std::uint8_t, std::uint16_t>;
TYPED_TEST_SUITE(CFlipModel, SampleTypes);

constexpr Flush kFlushes[] = {Flush::Right, Flush::Left};

} // namespace

TYPED_TEST(CFlipModel, EverySmallSize) {
    for (unsigned long height = 0; height <= 12; ++height) {
        for (unsigned long width = 0; width <= 12; ++width) {
            for (const SCodes& codes : kCodes) {
                for (const unsigned samples : {1U, 3U, 4U}) {
                    for (const bool bInPlace : {false, true}) {
                        const SFlipCase c{
                            codes.mirror, codes.rotation, width, height, static_cast<unsigned short>(samples),
                            false,        bInPlace};
                        ASSERT_TRUE(this->Run(c, Flush::Right, Flush::Right));
                        ASSERT_TRUE(this->Run(c, Flush::Left, Flush::Left));
                    }
                }
            }
        }
    }
}

TYPED_TEST(CFlipModel, OddSizes) {
    for (const SImageSize& size : {SImageSize{67, 5}, SImageSize{131, 3}, SImageSize{259, 2}, SImageSize{2, 259},
                                   SImageSize{1, 131}, SImageSize{1000, 1}, SImageSize{33, 65}, SImageSize{64, 32}}) {
        for (const SCodes& codes : kCodes) {
            for (const unsigned samples : {1U, 3U, 4U}) {
                for (const bool bInPlace : {true, false}) {
                    const SFlipCase c{
                        codes.mirror, codes.rotation, size.width, size.height, static_cast<unsigned short>(samples),
                        false,        bInPlace};
                    ASSERT_TRUE(this->Run(c, Flush::Right, Flush::Left));
                    ASSERT_TRUE(this->Run(c, Flush::Left, Flush::Right));
                }
            }
        }
    }
}

TYPED_TEST(CFlipModel, EveryWidthTo130) {
    for (unsigned long width = 13; width <= 130; ++width) {
        for (const SCodes& codes : kCodes) {
            for (const bool bInPlace : {true, false}) {
                SFlipCase c{codes.mirror, codes.rotation, width, 3, 1, true, bInPlace};
                ASSERT_TRUE(this->Run(c, kFlushes[width % 2], kFlushes[width / 2 % 2]));
                std::swap(c.width, c.height);
                ASSERT_TRUE(this->Run(c, kFlushes[width % 2], kFlushes[width / 2 % 2]));
            }
        }
    }
}

// The module with the kernels of each instruction set that this machine has.
TYPED_TEST(CFlipModel, EveryInstructionSet) {
    for (std::size_t i = 0; i < rows::tierCount(); ++i) {
        if (!rows::tier(i).usable) {
            continue;
        }
        SCOPED_TRACE(rows::tier(i).table->name);
        CFlip module(*rows::tier(i).table);
        this->mpTested = &module;
        for (unsigned long width = 1; width <= 70; ++width) {
            for (const SCodes& codes : kCodes) {
                for (const unsigned samples : {1U, 3U, 4U}) {
                    const SFlipCase c{codes.mirror,
                                      codes.rotation,
                                      width,
                                      1 + width * samples % 37,
                                      static_cast<unsigned short>(samples),
                                      samples == 1,
                                      width / 2 % 2 == 0};
                    ASSERT_TRUE(this->Run(c, kFlushes[width % 2], kFlushes[width / 3 % 2]));
                }
            }
        }
    }
}

// Every mirror byte and every rotation byte: only two rotations are any, and without one the whole byte counts.
TYPED_TEST(CFlipModel, EveryPairOfCodes) {
    for (unsigned mirror = 0; mirror <= 255; ++mirror) {
        for (unsigned rotation = 0; rotation <= 255; ++rotation) {
            const bool bEdge = mirror <= 9 || mirror >= 252 || rotation <= 4 || rotation == 255;
            if (!bEdge && (mirror + rotation) % 16 != 0) {
                continue;
            }
            SFlipCase c{static_cast<unsigned char>(mirror), static_cast<unsigned char>(rotation), 3, 2, 1, true};
            c.bInPlace = (mirror + rotation) % 2 == 0;
            c.colorArray = static_cast<unsigned short>(2 + (mirror + rotation / 2) % 4);
            ASSERT_TRUE(this->Run(c, Flush::Right, Flush::Right));
            c.bRaw = false;
            c.samples = 3;
            ASSERT_TRUE(this->Run(c, Flush::Right, Flush::Right));
        }
    }
}

// Colour arrays 2 to 5 follow the picture, all others stay.
TYPED_TEST(CFlipModel, EveryColorArray) {
    for (const SCodes& codes : kCodes) {
        for (const bool bInPlace : {false, true}) {
            for (unsigned colorArray = 0; colorArray <= 65535; colorArray += colorArray < 300 ? 1 : 251) {
                SFlipCase c{codes.mirror, codes.rotation, 2, 3, 1, true, bInPlace};
                c.colorArray = static_cast<unsigned short>(colorArray);
                ASSERT_TRUE(this->Run(c, Flush::Right, Flush::Right));
            }
        }
    }
}

// Samples a pixel other than 1, 3 and 4 are refused where pixels are moved, with the size exchanged already; a vertical
// mirror moves rows and takes any.
TYPED_TEST(CFlipModel, OtherSamplesAPixel) {
    for (const SCodes& codes : kCodes) {
        for (const unsigned samples : {2U, 5U, 6U, 7U, 8U, 255U}) {
            for (const bool bInPlace : {false, true}) {
                const SFlipCase c{codes.mirror, codes.rotation, 5, 4, static_cast<unsigned short>(samples),
                                  false,        bInPlace};
                ASSERT_TRUE(this->Run(c, Flush::Right, Flush::Right));
                ASSERT_TRUE(this->Run(c, Flush::Left, Flush::Left));
            }
        }
        // 0 samples in place are no image; 65535 would be a large one.
        ASSERT_TRUE(this->Run({codes.mirror, codes.rotation, 5, 4, 0, false, true}, Flush::Right, Flush::Right));
        ASSERT_TRUE(this->Run({codes.mirror, codes.rotation, 0, 4, 65535, false, true}, Flush::Right, Flush::Right));
    }
}

// One module for images of many sizes: the copy that quarter turns in place need grows, and serves smaller images.
TYPED_TEST(CFlipModel, TurnsInPlaceOfChangingSizes) {
    for (unsigned turn = 0; turn < 400; ++turn) {
        const unsigned samples = turn % 3 == 0 ? 1 : turn % 3 == 1 ? 3 : 4;
        const SCodes& codes = kCodes[4 + this->mRandom.Below(4)];
        const SFlipCase c{codes.mirror,
                          codes.rotation,
                          this->mRandom.Below(turn % 10 == 0 ? 40 : 9),
                          this->mRandom.Below(turn % 10 == 0 ? 40 : 9),
                          static_cast<unsigned short>(samples),
                          false,
                          true};
        ASSERT_TRUE(this->Run(c, kFlushes[turn % 2], Flush::Right));
    }
}

// Mirrors undo themselves, a turn is undone by the opposite one, four turns are none.
TYPED_TEST(CFlipModel, TransformsUndoEachOther) {
    constexpr SCodes kUndo[8] = {{0, 0}, {1, 0}, {2, 0}, {3, 0}, {0, 2}, {0, 1}, {1, 1}, {1, 2}};
    std::vector<TypeParam> image(7 * 5 * 3);
    for (TypeParam& sample : image) {
        sample = static_cast<TypeParam>(this->mRandom.Next());
    }
    const std::vector<TypeParam> before = image;
    for (unsigned transform = 0; transform < 8; ++transform) {
        unsigned long width = 7;
        unsigned long height = 5;
        for (const SCodes& codes : {kCodes[transform], kUndo[transform]}) {
            const SFlipCase c{codes.mirror, codes.rotation, 0, 0, 3};
            ASSERT_EQ(callBGR(*this->mModule, c, &width, &height, image.data(), image.data()), 0U);
        }
        EXPECT_EQ(width, 7U);
        EXPECT_EQ(height, 5U);
        EXPECT_EQ(image, before) << transform;
    }
}

// A null image is refused where it would be touched: not by a refusal, not by what does nothing, not without pixels.
TYPED_TEST(CFlipModel, NullImages) {
    TypeParam some[64] = {};
    TypeParam* const pairs[][2] = {{nullptr, nullptr}, {nullptr, some}, {some, nullptr}};
    for (const auto& pair : pairs) {
        for (unsigned transform = 0; transform <= 10; ++transform) {
            for (const unsigned samples : {1U, 2U, 3U, 4U, 5U}) {
                SFlipCase c{static_cast<unsigned char>(transform), 0, 4, 3, static_cast<unsigned short>(samples)};
                const bool bTurned = modelFlipTurns(transform);
                const unsigned long refusal = modelFlipStatus(transform, samples);
                unsigned long width = 4;
                unsigned long height = 3;
                const bool bNothing = transform == 0 || transform > 7;
                EXPECT_EQ(callBGR(*this->mModule, c, &width, &height, pair[0], pair[1]), bNothing ? 0 : kInvalid);
                EXPECT_EQ(width, bTurned ? 3U : 4U) << transform;
                EXPECT_EQ(height, bTurned ? 4U : 3U) << transform;
                for (const SImageSize& size :
                     {SImageSize{0, 3}, SImageSize{3, 0}, SImageSize{0, 0}, SImageSize{0, ~0UL}, SImageSize{~0UL, 0}}) {
                    width = size.width;
                    height = size.height;
                    EXPECT_EQ(callBGR(*this->mModule, c, &width, &height, pair[0], pair[1]), refusal)
                        << transform << " samples " << samples << ": " << size.width << " x " << size.height;
                    EXPECT_EQ(width, bTurned ? size.height : size.width);
                    EXPECT_EQ(height, bTurned ? size.width : size.height);
                }
            }
            SFlipCase c{static_cast<unsigned char>(transform), 0, 4, 3, 1, true};
            unsigned long width = 4;
            unsigned long height = 3;
            unsigned short colorArray = 2;
            const bool bNothing = transform == 0 || transform > 7;
            EXPECT_EQ(callRaw(*this->mModule, c, &width, &height, pair[0], pair[1], &colorArray),
                      bNothing ? 0 : kInvalid);
            EXPECT_EQ(colorArray, 2);
            width = 0;
            EXPECT_EQ(callRaw(*this->mModule, c, &width, &height, pair[0], pair[1], &colorArray), 0U);
            EXPECT_EQ(colorArray, modelFlipColorArray(transform, 2)); // success, if of no pixels
        }
    }
    EXPECT_TRUE(std::all_of(std::begin(some), std::end(some), [](TypeParam sample) { return sample == 0; }));
}

// Null sizes and a null colour array do no harm: a documented status, the image in one piece.
TYPED_TEST(CFlipModel, NullSizesAndColorArray) {
    for (unsigned transform = 0; transform <= 8; ++transform) {
        TypeParam image[6] = {1, 2, 3, 4, 5, 6};
        const auto mirror = static_cast<unsigned char>(transform);
        unsigned long size = 3;
        unsigned short colorArray = 2;
        const SFlipCase c{mirror, 0, 3, 2, 1};
        const bool bNothing = transform == 0 || transform > 7;
        const auto accept = [bNothing](unsigned long status) {
            return status == kInvalid || (bNothing && status == 0);
        };
        EXPECT_TRUE(accept(callBGR(*this->mModule, c, nullptr, &size, image, image))) << transform;
        EXPECT_TRUE(accept(callBGR(*this->mModule, c, &size, nullptr, image, image))) << transform;
        EXPECT_TRUE(accept(callBGR(*this->mModule, c, nullptr, nullptr, image, image))) << transform;
        EXPECT_TRUE(accept(callRaw(*this->mModule, c, nullptr, nullptr, image, image, &colorArray))) << transform;
        unsigned long width = 3;
        unsigned long height = 2;
        EXPECT_TRUE(accept(callRaw(*this->mModule, c, &width, &height, image, image, nullptr))) << transform;
        EXPECT_EQ(colorArray, 2);
        for (unsigned i = 0; i < 6; ++i) {
            EXPECT_EQ(image[i], static_cast<TypeParam>(i + 1)) << transform;
        }
    }
}

// More memory than there is for the copy: image, colour array and module survive, the size is exchanged.
TYPED_TEST(CFlipModel, NoMemoryForTheCopy) {
    for (unsigned transform = 4; transform <= 7; ++transform) {
        for (const unsigned samples : {1U, 3U, 4U}) {
            EXPECT_EQ(this->TooLarge(transform, samples, {1UL << 30, 1UL << 20}), kNoMemory);
            EXPECT_EQ(this->TooLarge(transform, samples, {1UL << 20, 1UL << 30}), kNoMemory);
        }
    }
    ASSERT_TRUE(this->Run({0, 1, 9, 7, 3, false, true}, Flush::Right, Flush::Right));
}

// Sizes whose bytes do not even fit in 64 bits do not pass for small ones.
TYPED_TEST(CFlipModel, BytesOfTheCopyDoNotWrap) {
    constexpr SImageSize kSizes[] = {
        {1UL << 32, 1UL << 32},             // bytes, words: 0 modulo 2^64
        {1UL << 63, 2},                     //
        {(1UL << 32) + 1, (1UL << 32) - 1}, // all ones with bytes
        {~0UL, ~0UL},                       // 1
        {0x5555555555555556UL, 3},          // a row of 3 bytes a pixel: 2
        {0x4000000000000001UL, 4},          // a row of 4 bytes a pixel: 4
        {0x2000000000000001UL, 2},          // a row of 4 words a pixel: 8
    };
    for (const SImageSize& size : kSizes) {
        for (unsigned transform = 4; transform <= 7; ++transform) {
            for (const unsigned samples : {1U, 3U, 4U}) {
                const unsigned long status = this->TooLarge(transform, samples, size);
                EXPECT_TRUE(status == kNoMemory || status == kInvalid)
                    << static_cast<long>(status) << ": " << size.width << " x " << size.height << ", samples "
                    << samples;
            }
        }
    }
    ASSERT_TRUE(this->Run({0, 1, 9, 7, 3, false, true}, Flush::Right, Flush::Right));
}

} // namespace vek::test
