// SPDX-License-Identifier: Apache-2.0
// Bicubic and the two methods that work on 2 x 2 blocks against the model: sizes, phases, pitches, protected pages.
#include "imageproc/ColorInterpolation.h"
#include "imageproc/ColorInterpolation/DemosaicCheck.h"
#include "imageproc/ColorInterpolation/SlotCalls.h"
#include "imageproc/rows/RowDispatch.h"

namespace vek::test {

namespace {

constexpr SPlacement kFlushes[] = {{Flush::Right, Flush::Right, 0, 0}, {Flush::Left, Flush::Left, 0, 0}};
constexpr unsigned char kFirstMethod = 4;

template <class T>
class CDemosaicMethods : public ::testing::Test {
protected:
    CDemosaicMethods() : mModule(makeColorInterpolation()) {}

    ::testing::AssertionResult Long(const SDemosaicCall& call, const SPlacement& place) {
        return mCheck.Run(call, place,
                          [this](const SDemosaicCall& c, T* src, T* dst) { return callLong(*mModule, c, src, dst); });
    }

    /// Every method and phase at one size; channels, pitches and the protected side change from call to call.
    void Sweep(unsigned long width, unsigned long height) {
        for (unsigned char method = kFirstMethod; method <= kLastMethod; ++method) {
            for (unsigned short colorArray = 2; colorArray <= kLastBayer; ++colorArray) {
                ++mTurn;
                const SDemosaicCall call{
                    width, height, 0, 0, method, colorArray, static_cast<unsigned short>(3 + mTurn / 2 % 2)};
                const unsigned kind = static_cast<unsigned>(mRandom.Below(kPitchKinds));
                ASSERT_TRUE(Long(withPitches<T>(call, kind), kFlushes[mTurn % 2]));
            }
        }
    }

    ColorInterpolationPtr mModule;
    CDemosaicCheck<T> mCheck{1UL << 17};
    CRandom mRandom{11};
    unsigned mTurn = 0;
};

using SampleTypes = ::testing::Types<std::uint8_t, std::uint16_t>;
TYPED_TEST_SUITE(CDemosaicMethods, SampleTypes);

} // namespace

TYPED_TEST(CDemosaicMethods, EverySizeTo40) {
    for (unsigned long height = 4; height <= 40; ++height) {
        for (unsigned long width = 4; width <= 40; ++width) {
            ASSERT_NO_FATAL_FAILURE(this->Sweep(width, height));
        }
    }
}

// Bicubic goes down to 2 x 2; the others, and it below that, refuse.
TYPED_TEST(CDemosaicMethods, EverySizeWithAShortSide) {
    for (unsigned long length = 1; length <= 40; ++length) {
        for (unsigned long shorter = 1; shorter <= 3; ++shorter) {
            ASSERT_NO_FATAL_FAILURE(this->Sweep(length, shorter));
            ASSERT_NO_FATAL_FAILURE(this->Sweep(shorter, length));
        }
    }
}

// Both pitches of every kind, both numbers of channels, both sides: at the sizes where borders meet.
TYPED_TEST(CDemosaicMethods, EveryPitchKindAtSomeSizes) {
    for (const unsigned long height : {4UL, 5UL, 7UL, 10UL}) {
        for (const unsigned long width : {4UL, 5UL, 6UL, 7UL, 9UL, 16UL, 33UL}) {
            for (unsigned char method = kFirstMethod; method <= kLastMethod; ++method) {
                for (unsigned short colorArray = 2; colorArray <= kLastBayer; ++colorArray) {
                    for (unsigned kind = 0; kind < kPitchKinds; ++kind) {
                        const unsigned short channels = kind % 2 == height / 2 % 2 ? 3 : 4;
                        const SDemosaicCall call{width, height, 0, 0, method, colorArray, channels};
                        for (const SPlacement& place : kFlushes) {
                            ASSERT_TRUE(this->Long(withPitches<TypeParam>(call, kind), place));
                        }
                    }
                }
            }
        }
    }
}

TYPED_TEST(CDemosaicMethods, ShortOperationsDeriveBothPitches) {
    for (const unsigned long height : {2UL, 5UL, 8UL}) {
        for (unsigned long width = 2; width <= 21; ++width) {
            for (unsigned char method = kFirstMethod; method <= kLastMethod; ++method) {
                const auto colorArray = static_cast<unsigned short>(2 + width % 4);
                const SDemosaicCall call{width, height, 0, 0, method, colorArray, 3};
                ASSERT_TRUE(this->mCheck.Run(call, kFlushes[width / 2 % 2],
                                             [this](const SDemosaicCall& c, TypeParam* src, TypeParam* dst) {
                                                 return callShort(*this->mModule, c, src, dst);
                                             }));
            }
        }
    }
}

TYPED_TEST(CDemosaicMethods, EveryWidthTo130) {
    for (const unsigned long height : {4UL, 7UL}) {
        for (unsigned long width = 41; width <= 130; ++width) {
            ASSERT_NO_FATAL_FAILURE(this->Sweep(width, height));
        }
    }
}

TYPED_TEST(CDemosaicMethods, EverySampleOffset) {
    for (const unsigned long width : {4UL, 5UL, 16UL, 31UL, 64UL, 67UL}) {
        for (std::size_t offset = 0; offset < 16; ++offset) {
            for (unsigned char method = kFirstMethod; method <= kLastMethod; ++method) {
                const auto colorArray = static_cast<unsigned short>(2 + offset % 4);
                const auto channels = static_cast<unsigned short>(3 + offset / 2 % 2);
                const SDemosaicCall call{width, 5, 0, 0, method, colorArray, channels};
                ASSERT_TRUE(this->Long(call, {Flush::Left, Flush::Left, offset, 0}));
                ASSERT_TRUE(this->Long(call, {Flush::Left, Flush::Left, 0, offset}));
                ASSERT_TRUE(this->Long(call, {Flush::Right, Flush::Right, offset, 15 - offset}));
            }
        }
    }
}

TYPED_TEST(CDemosaicMethods, LargeSizes) {
    CDemosaicCheck<TypeParam> check(5UL << 20);
    const SDemosaicCall sizes[] = {
        {1921, 7, 0, 0, 0, 0, 0}, {4098, 4, 0, 0, 0, 0, 0}, {515, 260, 0, 0, 0, 0, 0}, {5, 1201, 0, 0, 0, 0, 0}};
    for (SDemosaicCall call : sizes) {
        for (call.method = kFirstMethod; call.method <= kLastMethod; ++call.method) {
            call.colorArray = static_cast<unsigned short>(2 + this->mTurn++ % 4);
            call.channels = static_cast<unsigned short>(3 + this->mTurn / 2 % 2);
            ASSERT_TRUE(check.Run(call, kFlushes[this->mTurn % 2],
                                  [this](const SDemosaicCall& c, TypeParam* src, TypeParam* dst) {
                                      return callLong(*this->mModule, c, src, dst);
                                  }));
        }
    }
}

// The module with the kernels of each instruction set that this machine has, not only with the fastest.
TYPED_TEST(CDemosaicMethods, EveryInstructionSet) {
    for (std::size_t i = 0; i < rows::tierCount(); ++i) {
        if (!rows::tier(i).usable) {
            continue;
        }
        SCOPED_TRACE(rows::tier(i).table->name);
        CColorInterpolation module(*rows::tier(i).table);
        for (unsigned long width = 2; width <= 130; ++width) {
            for (const unsigned long height : {4UL, 7UL, 9UL}) {
                for (unsigned char method = kFirstMethod; method <= kLastMethod; ++method) {
                    const auto colorArray = static_cast<unsigned short>(2 + this->mTurn++ % 4);
                    const auto channels = static_cast<unsigned short>(3 + this->mTurn / 4 % 2);
                    const SDemosaicCall call{width, height, 0, 0, method, colorArray, channels};
                    ASSERT_TRUE(this->mCheck.Run(withPitches<TypeParam>(call, this->mTurn / 2 % kPitchKinds),
                                                 kFlushes[this->mTurn % 2],
                                                 [&module](const SDemosaicCall& c, TypeParam* src, TypeParam* dst) {
                                                     return callLong(module, c, src, dst);
                                                 }));
                }
            }
        }
    }
}

} // namespace vek::test
