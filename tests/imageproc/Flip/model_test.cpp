// SPDX-License-Identifier: Apache-2.0
// Mirror and rotation against the model: every pair of codes, sizes, samples a pixel, in place and into another buffer.
#include "imageproc/Flip.h"
#include "imageproc/Flip/FlipModel.h"
#include "imageproc/ModuleTest.h"
#include "support/InPlaceCheck.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

namespace vek::test {

namespace {

using FlipPtr = ModulePtr<IFlip, kModuleFlip>;
constexpr auto makeFlip = makeModule<IFlip, kModuleFlip>;

/// A pair of codes for each transform.
struct SCodes {
    unsigned char mirror = 0;
    unsigned char rotation = 0;
};
constexpr SCodes kCodes[8] = {{0, 0}, {1, 0}, {2, 0}, {3, 0}, {0, 1}, {0, 2}, {1, 1}, {1, 2}};

struct SFlipCase : SCodes {
    unsigned long width = 0;
    unsigned long height = 0;
    unsigned short samples = 1;
    bool raw = false;
    bool inPlace = false;
    unsigned short colorArray = 2;
};

template <class T>
unsigned long callBGR(IFlip& module, const SFlipCase& c, unsigned long* width, unsigned long* height, T* src, T* dst) {
    return (module.*bySample<T>(&IFlip::FlipBGRB, &IFlip::FlipBGRW))(c.mirror, c.rotation, width, height, src, dst,
                                                                     c.samples);
}
template <class T>
unsigned long callRaw(IFlip& module, const SFlipCase& c, unsigned long* width, unsigned long* height, T* src, T* dst,
                      unsigned short* colorArray) {
    return (module.*bySample<T>(&IFlip::FlipRawB, &IFlip::FlipRawW))(c.mirror, c.rotation, width, height, src, dst,
                                                                     colorArray);
}

template <class T>
class CFlipModel : public ::testing::Test {
protected:
    CFlipModel() : mModule(makeFlip()), mTested(mModule.get()) {}

    /// Buffers exactly as large as the images, flush with protected pages; a destination of a vertical mirror ends
    /// where the last sample is written.
    ::testing::AssertionResult Run(const SFlipCase& c, Flush srcFlush, Flush dstFlush) {
        const unsigned transform = modelFlipTransform(c.mirror, c.rotation);
        const unsigned long expectedStatus = modelFlipStatus(transform, c.samples);
        const std::size_t srcCount = c.width * c.height * c.samples;
        const std::size_t dstCount = modelFlipReach(transform, c.width, c.height, c.samples);
        const auto random = [this](T* samples, std::size_t count) {
            mRandom.Fill(reinterpret_cast<std::uint8_t*>(samples), reinterpret_cast<std::uint8_t*>(samples + count));
        };
        T* const src = mSource.Place(srcCount * sizeof(T), srcFlush, random);
        T* const dst = c.inPlace ? src : mDestination.Place(dstCount * sizeof(T), dstFlush, random);
        if (expectedStatus == 0) {
            T* const to = (c.inPlace ? mSource : mDestination).Expected();
            modelFlip(transform, c.width, c.height, c.samples, c.inPlace ? to : src, to);
        }
        const bool turned = modelFlipTurns(transform);
        unsigned long width = c.width;
        unsigned long height = c.height;
        unsigned short colorArray = c.colorArray;

        const unsigned long status = c.raw ? callRaw(*mTested, c, &width, &height, src, dst, &colorArray)
                                           : callBGR(*mTested, c, &width, &height, src, dst);

        if (status != expectedStatus) {
            return Failure(c) << "status " << static_cast<long>(status);
        }
        if (width != (turned ? c.height : c.width) || height != (turned ? c.width : c.height)) {
            return Failure(c) << "result of " << width << " x " << height;
        }
        if (colorArray != (c.raw ? modelFlipColorArray(transform, c.colorArray) : c.colorArray)) {
            return Failure(c) << "colour array " << colorArray;
        }
        for (const CImageArena<T>* const arena : {&mSource, &mDestination}) {
            const ::testing::AssertionResult result = arena->Check(0);
            if (!result) {
                return Failure(c) << result.message();
            }
            if (c.inPlace) {
                break;
            }
        }
        return ::testing::AssertionSuccess();
    }

    /// Status of a quarter turn in place of an image that is no such size; one of a sample a pixel goes through both
    /// operations. Image and colour array must survive.
    unsigned long TooLarge(unsigned transform, unsigned samples, const SImageSize& size) {
        TypedImage image = kImage;
        SFlipCase c{{static_cast<unsigned char>(transform), 0}, 0, 0, static_cast<unsigned short>(samples)};
        unsigned long width = size.width;
        unsigned long height = size.height;
        const unsigned long status = callBGR(*mTested, c, &width, &height, image.data(), image.data());
        EXPECT_EQ(width, size.height);
        EXPECT_EQ(height, size.width);
        if (samples == 1) {
            unsigned short colorArray = 3;
            EXPECT_EQ(callRaw(*mTested, c, &width, &height, image.data(), image.data(), &colorArray), status);
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
               << c.width << " x " << c.height << ", samples " << c.samples << (c.raw ? " raw" : "")
               << (c.inPlace ? " in place" : "") << ", colour array " << c.colorArray << ": ";
    }

    using TypedImage = std::array<T, 6>;
    static constexpr TypedImage kImage = {1, 2, 3, 4, 5, 6};
    static constexpr std::size_t kCapacity = 1UL << 14;
    ModulePtr<IFlip, kModuleFlip> mModule;
    IFlip* mTested;
    CRandom mRandom{5150};
    CImageArena<T> mSource{kCapacity * sizeof(T)};
    CImageArena<T> mDestination{kCapacity * sizeof(T)};
};

TYPED_TEST_SUITE(CFlipModel, SampleTypes);

} // namespace

TYPED_TEST(CFlipModel, EverySmallSize) {
    for (unsigned long height = 0; height <= 12; ++height) {
        for (unsigned long width = 0; width <= 12; ++width) {
            for (const SCodes& codes : kCodes) {
                for (const unsigned samples : {1U, 3U, 4U}) {
                    for (const bool inPlace : {false, true}) {
                        const SFlipCase c{codes, width, height, static_cast<unsigned short>(samples), false, inPlace};
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
                for (const bool inPlace : {true, false}) {
                    const SFlipCase c{codes, size.width, size.height, static_cast<unsigned short>(samples),
                                      false, inPlace};
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
            for (const bool inPlace : {true, false}) {
                SFlipCase c{codes, width, 3, 1, true, inPlace};
                ASSERT_TRUE(this->Run(c, kFlushes[width % 2], kFlushes[width / 2 % 2]));
                std::swap(c.width, c.height);
                ASSERT_TRUE(this->Run(c, kFlushes[width % 2], kFlushes[width / 2 % 2]));
            }
        }
    }
}

// The module with the kernels of each instruction set that this machine has.
TYPED_TEST(CFlipModel, EveryInstructionSet) {
    for (const rows::SRowTable* const table : usableTables()) {
        SCOPED_TRACE(table->name);
        CFlip module(*table);
        this->mTested = &module;
        for (unsigned long width = 1; width <= 70; ++width) {
            for (const SCodes& codes : kCodes) {
                for (const unsigned samples : {1U, 3U, 4U}) {
                    const SFlipCase c{codes,
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
            const bool edge = mirror <= 9 || mirror >= 252 || rotation <= 4 || rotation == 255;
            if (!edge && (mirror + rotation) % 16 != 0) {
                continue;
            }
            SFlipCase c{{static_cast<unsigned char>(mirror), static_cast<unsigned char>(rotation)}, 3, 2, 1, true};
            c.inPlace = (mirror + rotation) % 2 == 0;
            c.colorArray = static_cast<unsigned short>(2 + (mirror + rotation / 2) % 4);
            ASSERT_TRUE(this->Run(c, Flush::Right, Flush::Right));
            c.raw = false;
            c.samples = 3;
            ASSERT_TRUE(this->Run(c, Flush::Right, Flush::Right));
        }
    }
}

// Colour arrays 2 to 5 follow the picture, all others stay.
TYPED_TEST(CFlipModel, EveryColorArray) {
    for (const SCodes& codes : kCodes) {
        for (const bool inPlace : {false, true}) {
            for (unsigned colorArray = 0; colorArray <= 65535; colorArray += colorArray < 300 ? 1 : 251) {
                SFlipCase c{codes, 2, 3, 1, true, inPlace};
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
            for (const bool inPlace : {false, true}) {
                const SFlipCase c{codes, 5, 4, static_cast<unsigned short>(samples), false, inPlace};
                ASSERT_TRUE(this->Run(c, Flush::Right, Flush::Right));
                ASSERT_TRUE(this->Run(c, Flush::Left, Flush::Left));
            }
        }
        // 0 samples in place are no image; 65535 would be a large one.
        ASSERT_TRUE(this->Run({codes, 5, 4, 0, false, true}, Flush::Right, Flush::Right));
        ASSERT_TRUE(this->Run({codes, 0, 4, 65535, false, true}, Flush::Right, Flush::Right));
    }
}

// One module for images of many sizes: the copy that quarter turns in place need grows, and serves smaller images.
TYPED_TEST(CFlipModel, TurnsInPlaceOfChangingSizes) {
    for (unsigned turn = 0; turn < 400; ++turn) {
        const unsigned samples = turn % 3 == 0 ? 1 : turn % 3 == 1 ? 3 : 4;
        const SCodes& codes = kCodes[4 + this->mRandom.Below(4)];
        const SFlipCase c{codes,
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
            const SFlipCase c{codes, 0, 0, 3};
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
                SFlipCase c{{static_cast<unsigned char>(transform), 0}, 4, 3, static_cast<unsigned short>(samples)};
                const bool turned = modelFlipTurns(transform);
                const unsigned long refusal = modelFlipStatus(transform, samples);
                unsigned long width = 4;
                unsigned long height = 3;
                const bool nothing = transform == 0 || transform > 7;
                EXPECT_EQ(callBGR(*this->mModule, c, &width, &height, pair[0], pair[1]), nothing ? 0 : kInvalid);
                EXPECT_EQ(width, turned ? 3U : 4U) << transform;
                EXPECT_EQ(height, turned ? 4U : 3U) << transform;
                for (const SImageSize& size : kNoPixels) {
                    width = size.width;
                    height = size.height;
                    EXPECT_EQ(callBGR(*this->mModule, c, &width, &height, pair[0], pair[1]), refusal)
                        << transform << " samples " << samples << ": " << size.width << " x " << size.height;
                    EXPECT_EQ(width, turned ? size.height : size.width);
                    EXPECT_EQ(height, turned ? size.width : size.height);
                }
            }
            SFlipCase c{{static_cast<unsigned char>(transform), 0}, 4, 3, 1, true};
            unsigned long width = 4;
            unsigned long height = 3;
            unsigned short colorArray = 2;
            const bool nothing = transform == 0 || transform > 7;
            EXPECT_EQ(callRaw(*this->mModule, c, &width, &height, pair[0], pair[1], &colorArray),
                      nothing ? 0 : kInvalid);
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
        const SFlipCase c{{mirror, 0}, 3, 2, 1};
        const bool nothing = transform == 0 || transform > 7;
        const auto accept = [nothing](unsigned long status) { return status == kInvalid || (nothing && status == 0); };
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
    ASSERT_TRUE(this->Run({{0, 1}, 9, 7, 3, false, true}, Flush::Right, Flush::Right));
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
    ASSERT_TRUE(this->Run({{0, 1}, 9, 7, 3, false, true}, Flush::Right, Flush::Right));
}

} // namespace vek::test
