// SPDX-License-Identifier: Apache-2.0
// Bicubic and the two methods that work on 2 x 2 blocks against the model: sizes, phases, pitches, protected pages.
#include "imageproc/ColorInterpolation/DemosaicTest.h"

namespace vek::test {

namespace {

constexpr unsigned char kFirstMethod = 4;

template <class T>
class CDemosaicMethods : public CDemosaicTest<T> {
protected:
    CDemosaicMethods() : CDemosaicTest<T>(1UL << 17) {}

    /// Every method and phase at one size; channels, pitches and the protected side change from call to call.
    void Sweep(unsigned long width, unsigned long height) {
        for (unsigned char method = kFirstMethod; method <= kLastMethod; ++method) {
            for (unsigned short colorArray = 2; colorArray <= kLastBayer; ++colorArray) {
                const unsigned turn = ++this->mTurn;
                const auto channels = static_cast<unsigned short>(3 + turn / 2 % 2);
                const SDemosaicCall call{width, height, 0, 0, method, colorArray, channels};
                const auto kind = static_cast<unsigned>(this->mRandom.Below(kPitchKinds));
                ASSERT_TRUE(this->Long(withPitches<T>(call, kind), kSameSide[turn % 2]));
            }
        }
    }
};

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
                        for (const SPlacement& place : kSameSide) {
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
                ASSERT_TRUE(this->Short(call, kSameSide[width / 2 % 2]));
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
                ASSERT_NO_FATAL_FAILURE(this->Offsets(call, offset));
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
            ASSERT_TRUE(this->Long(*this->mModule, &check, call, kSameSide[this->mTurn % 2]));
        }
    }
}

TYPED_TEST(CDemosaicMethods, EveryInstructionSet) {
    this->ForEveryTable([this](const auto& run) {
        for (unsigned long width = 2; width <= 130; ++width) {
            for (const unsigned long height : {4UL, 7UL, 9UL}) {
                for (unsigned char method = kFirstMethod; method <= kLastMethod; ++method) {
                    const auto colorArray = static_cast<unsigned short>(2 + this->mTurn++ % 4);
                    const auto channels = static_cast<unsigned short>(3 + this->mTurn / 4 % 2);
                    const SDemosaicCall call{width, height, 0, 0, method, colorArray, channels};
                    ASSERT_TRUE(
                        run(withPitches<TypeParam>(call, this->mTurn / 2 % kPitchKinds), kSameSide[this->mTurn % 2]));
                }
            }
        }
    });
}

} // namespace vek::test
