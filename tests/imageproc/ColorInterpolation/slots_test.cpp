// SPDX-License-Identifier: Apache-2.0
// The module's four operations against the model: sizes, phases, pitches, placement at protected pages. Grey copies
// and the methods that work within rows and cells; the others have files of their own.
#include "imageproc/ColorInterpolation/DemosaicTest.h"

namespace vek::test {

namespace {

constexpr SPlacement kCrossed[] = {{Flush::Right, Flush::Left, 0, 0}, {Flush::Left, Flush::Right, 0, 0}};
constexpr unsigned short kChannels[] = {1, 3, 4};

template <class T>
class CDemosaicSlots : public CDemosaicTest<T> {
protected:
    CDemosaicSlots() : CDemosaicTest<T>(1UL << 16) {}

    /// test(call) for every colour array but YCrCb and each method of this file at one size.
    template <class Test>
    static void ForMethods(unsigned long width, unsigned long height, Test test) {
        for (unsigned short colorArray = 1; colorArray <= 5; ++colorArray) {
            for (unsigned char method = 0; method <= 3; ++method) {
                ASSERT_NO_FATAL_FAILURE(test(SDemosaicCall{width, height, 0, 0, method, colorArray, 3}));
            }
        }
    }
    /// The same with each number of channels.
    template <class Test>
    static void ForChannels(unsigned long width, unsigned long height, Test test) {
        ForMethods(width, height, [&](SDemosaicCall call) {
            for (const unsigned short channels : kChannels) {
                call.channels = channels;
                ASSERT_NO_FATAL_FAILURE(test(call));
            }
        });
    }
};

TYPED_TEST_SUITE(CDemosaicSlots, SampleTypes);

} // namespace

TYPED_TEST(CDemosaicSlots, EverySmallSize) {
    unsigned turn = 0;
    for (unsigned long height = 1; height <= 12; ++height) {
        for (unsigned long width = 1; width <= 40; ++width) {
            ASSERT_NO_FATAL_FAILURE(this->ForChannels(width, height, [&](const SDemosaicCall& call) {
                for (const SPlacement& place : kSameSide) {
                    ASSERT_TRUE(this->Long(withPitches<TypeParam>(call, turn++ % kPitchKinds), place));
                }
                ASSERT_TRUE(this->Short(call, kCrossed[turn++ / 7 % 2]));
            }));
        }
    }
}

TYPED_TEST(CDemosaicSlots, EveryPitchKindAtSomeSizes) {
    for (unsigned long height = 1; height <= 6; ++height) {
        for (const unsigned long width : {1UL, 2UL, 3UL, 4UL, 7UL, 15UL, 16UL, 17UL, 32UL, 33UL, 63UL, 65UL}) {
            ASSERT_NO_FATAL_FAILURE(this->ForChannels(width, height, [&](const SDemosaicCall& call) {
                for (unsigned kind = 0; kind < kPitchKinds; ++kind) {
                    for (const SPlacement& place : kSameSide) {
                        ASSERT_TRUE(this->Long(withPitches<TypeParam>(call, kind), place));
                    }
                }
            }));
        }
    }
}

TYPED_TEST(CDemosaicSlots, EveryWidthTo130) {
    unsigned turn = 0;
    for (const unsigned long height : {1UL, 2UL, 3UL, 6UL}) {
        for (unsigned long width = 41; width <= 130; ++width) {
            ASSERT_NO_FATAL_FAILURE(this->ForChannels(width, height, [&](const SDemosaicCall& call) {
                const SDemosaicCall padded = withPitches<TypeParam>(call, turn++ % kPitchKinds);
                ASSERT_TRUE(this->Long(padded, kSameSide[turn / 6 % 2]));
                ASSERT_TRUE(this->Short(call, kSameSide[(turn / 6 + 1) % 2]));
            }));
        }
    }
}

TYPED_TEST(CDemosaicSlots, EverySampleOffset) {
    for (const unsigned long width : {2UL, 3UL, 16UL, 31UL, 64UL, 67UL, 129UL}) {
        for (std::size_t offset = 0; offset < 16; ++offset) {
            ASSERT_NO_FATAL_FAILURE(this->ForMethods(width, 3, [&](SDemosaicCall call) {
                call.channels = offset % 2 == 0 ? 3 : 4;
                this->Offsets(call, offset);
            }));
        }
    }
}

TYPED_TEST(CDemosaicSlots, LargeOddSizes) {
    CDemosaicCheck<TypeParam> check(12UL << 20);
    const SDemosaicCall sizes[] = {{1921, 7, 0, 0, 0, 0, 0},
                                   {4097, 3, 0, 0, 0, 0, 0},
                                   {1025, 513, 0, 0, 0, 0, 0},
                                   {16385, 2, 0, 0, 0, 0, 0},
                                   {3, 2001, 0, 0, 0, 0, 0}};
    unsigned turn = 0;
    for (SDemosaicCall call : sizes) {
        for (call.method = 0; call.method <= 3; ++call.method) {
            for (call.channels = 3; call.channels <= 4; ++call.channels) {
                call.colorArray = static_cast<unsigned short>(2 + turn++ % 4);
                for (const SPlacement& place : kSameSide) {
                    ASSERT_TRUE(this->Long(*this->mModule, &check, call, place));
                }
            }
        }
    }
}

TYPED_TEST(CDemosaicSlots, EveryInstructionSet) {
    this->ForEveryTable([this](const auto& run) {
        unsigned turn = 0;
        for (const unsigned long height : {2UL, 5UL}) {
            for (unsigned long width = 2; width <= 130; ++width) {
                ASSERT_NO_FATAL_FAILURE(this->ForMethods(width, height, [&](SDemosaicCall call) {
                    for (call.channels = 3; call.channels <= 4; ++call.channels) {
                        const SDemosaicCall padded = withPitches<TypeParam>(call, turn++ % kPitchKinds);
                        ASSERT_TRUE(run(padded, kSameSide[turn / 6 % 2]));
                    }
                }));
            }
        }
    });
}

// Every method code with colour arrays inside and outside the known ones, and every number of channels.
TYPED_TEST(CDemosaicSlots, RefusalsWriteNothing) {
    for (unsigned method = 0; method <= 255; ++method) {
        for (const unsigned colorArray :
             {0U, 1U, 2U, 3U, 4U, 5U, 6U, 8U, 9U, 11U, 12U, 13U, 255U, 256U, 258U, 65535U}) {
            for (unsigned channels = 0; channels <= 5; ++channels) {
                SDemosaicCall call{6, 5, 0, 0, static_cast<unsigned char>(method), 0, 0};
                call.colorArray = static_cast<unsigned short>(colorArray);
                call.channels = static_cast<unsigned short>(channels);
                if (modelStatus(call) == 0 && channels != 1 && channels != 3 && channels != 4) {
                    continue; // grey of YCrCb is bytes, whatever the channels: tested with the other YCrCb calls
                }
                ASSERT_TRUE(this->Long(call, kSameSide[0]));
                ASSERT_TRUE(this->Short(call, kSameSide[1]));
            }
        }
    }
}

// Numbers of channels that a narrower comparison would take for 1, 3 or 4.
TYPED_TEST(CDemosaicSlots, ChannelsAreNotCutShort) {
    TypeParam src[64] = {};
    TypeParam dst[64] = {};
    for (const unsigned channels : {0x101U, 0x103U, 0x104U, 0x8003U, 0xFFFFU}) {
        for (unsigned char method = 0; method <= kLastMethod; ++method) {
            const SDemosaicCall call{4, 4, 0, 8, method, 2, static_cast<unsigned short>(channels)};
            EXPECT_EQ(callLong(*this->mModule, call, src, dst), kModelInvalid) << channels << " " << int{method};
        }
        const SDemosaicCall decoded{4, 4, 0, 8, 1, 7, static_cast<unsigned short>(channels)};
        EXPECT_EQ(callLong(*this->mModule, decoded, src, dst), kModelInvalid) << channels;
    }
    for (const TypeParam sample : dst) {
        EXPECT_EQ(sample, 0);
    }
}

} // namespace vek::test
