// SPDX-License-Identifier: Apache-2.0
// Decoding of the six YCrCb layouts against the model, to colour and to grey, through both sample widths.
#include "imageproc/ColorInterpolation/DemosaicTest.h"

#include <initializer_list>

namespace vek::test {

namespace {

constexpr unsigned short kFirstYCrCb = 6;

template <class T>
class CYCrCb : public CDemosaicTest<T> {
protected:
    CYCrCb() : CDemosaicTest<T>(1UL << 16, 12) {}

    /// Every layout at one size, to colour of 3 and 4 channels and to grey. Pitches and the protected side change.
    void Sweep(unsigned long width, unsigned long height) {
        for (unsigned short colorArray = kFirstYCrCb; colorArray <= kLastColorArray; ++colorArray) {
            for (const unsigned short channels : {std::uint16_t{1}, std::uint16_t{3}, std::uint16_t{4}}) {
                // Any method but 0 decodes to colour, of 3 or 4 channels alone.
                for (const unsigned char method : {std::uint8_t{0}, std::uint8_t{2}}) {
                    const unsigned turn = ++this->mTurn;
                    const SDemosaicCall call{width, height, 0, 0, method, colorArray, channels};
                    const auto kind = static_cast<unsigned>(this->mRandom.Below(kPitchKinds));
                    ASSERT_TRUE(this->Long(withPitches<T>(call, kind), kSameSide[turn % 2]));
                    ASSERT_TRUE(this->Short(call, kSameSide[(turn + 1) % 2]));
                }
            }
        }
    }
};

TYPED_TEST_SUITE(CYCrCb, SampleTypes);

} // namespace

TYPED_TEST(CYCrCb, EverySmallSize) {
    for (unsigned long height = 1; height <= 3; ++height) {
        for (unsigned long width = 1; width <= 40; ++width) {
            ASSERT_NO_FATAL_FAILURE(this->Sweep(width, height));
        }
    }
}

TYPED_TEST(CYCrCb, WiderRows) {
    for (unsigned long width = 41; width <= 140; ++width) {
        ASSERT_NO_FATAL_FAILURE(this->Sweep(width, 2));
    }
    for (const unsigned long width : {255UL, 256UL, 257UL, 258UL, 259UL, 1923UL}) {
        ASSERT_NO_FATAL_FAILURE(this->Sweep(width, 1));
    }
}

TYPED_TEST(CYCrCb, HigherImages) {
    for (const unsigned long height : {7UL, 40UL}) {
        for (const unsigned long width : {1UL, 2UL, 3UL, 4UL, 5UL, 6UL, 7UL, 8UL, 9UL, 12UL}) {
            ASSERT_NO_FATAL_FAILURE(this->Sweep(width, height));
        }
    }
}

TYPED_TEST(CYCrCb, EveryByteOffset) {
    for (const unsigned long width : {5UL, 8UL, 33UL, 67UL}) {
        for (std::size_t offset = 0; offset < 16; ++offset) {
            for (unsigned short colorArray = kFirstYCrCb; colorArray <= kLastColorArray; ++colorArray) {
                const auto method = static_cast<unsigned char>(offset % 3);
                const SDemosaicCall call{width, 2, 0, 0, method, colorArray, 3};
                ASSERT_NO_FATAL_FAILURE(this->Offsets(call, offset));
            }
        }
    }
}

// Every method code other than 0 decodes to colour, those of no Bayer method too.
TYPED_TEST(CYCrCb, AnyMethodDecodes) {
    for (unsigned method = 0; method <= 255; ++method) {
        for (unsigned short colorArray = kFirstYCrCb; colorArray <= kLastColorArray; ++colorArray) {
            ASSERT_TRUE(this->Long({9, 2, 0, 0, static_cast<unsigned char>(method), colorArray, 4}, kSameSide[0]));
        }
    }
}

// Grey is a byte a pixel whatever the number of channels, which only moves the derived rows apart.
TYPED_TEST(CYCrCb, GrayIgnoresTheChannels) {
    for (const unsigned short channels : std::initializer_list<unsigned short>{0, 2, 5, 7, 1000}) {
        for (unsigned short colorArray = kFirstYCrCb; colorArray <= kLastColorArray; ++colorArray) {
            for (unsigned long width = 1; width <= 6; ++width) {
                if (channels != 0) {
                    ASSERT_TRUE(this->Long({width, 2, 0, 0, 0, colorArray, channels}, kSameSide[width % 2]));
                }
                ASSERT_TRUE(this->Long({width, 3, 0, width, 0, colorArray, channels}, kSameSide[width % 2]));
            }
        }
    }
}

TYPED_TEST(CYCrCb, ColorTakesThreeOrFourChannels) {
    TypeParam* const none = nullptr;
    for (const unsigned short channels : std::initializer_list<unsigned short>{0, 1, 2, 5, 256 + 3, 65535}) {
        for (unsigned short colorArray = kFirstYCrCb; colorArray <= kLastColorArray; ++colorArray) {
            for (const unsigned char method : {std::uint8_t{1}, std::uint8_t{6}, std::uint8_t{7}, std::uint8_t{255}}) {
                TypeParam src[40] = {};
                TypeParam dst[4] = {};
                EXPECT_EQ(callLong(*this->mModule, {5, 2, 0, 8, method, colorArray, channels}, src, dst),
                          kModelInvalid);
                EXPECT_EQ(callLong(*this->mModule, {0, 2, 0, 8, method, colorArray, channels}, none, none),
                          kModelInvalid);
                for (const TypeParam sample : dst) {
                    EXPECT_EQ(sample, 0);
                }
            }
        }
    }
}

// Rows that have nothing to convert leave the image alone; whether they look at the pointers is open.
TYPED_TEST(CYCrCb, RowsWithoutAGroupAreSafeWithoutBuffers) {
    TypeParam* const none = nullptr;
    for (const unsigned short colorArray : std::initializer_list<unsigned short>{8, 11}) {
        for (unsigned long width = 1; width <= 4; ++width) {
            const unsigned long status = callLong(*this->mModule, {width, 3, 0, 0, 1, colorArray, 3}, none, none);
            EXPECT_TRUE(status == 0 || status == kModelInvalid) << width;
        }
    }
}

// All pairs of a luma and a chroma byte in every flavour, with the other chroma at both ends.
TYPED_TEST(CYCrCb, EveryByteValue) {
    std::vector<std::uint8_t> src(256UL * 256 * 3);
    for (const std::uint8_t other : {std::uint8_t{0}, std::uint8_t{128}, std::uint8_t{255}}) {
        for (const bool cbRuns : {false, true}) {
            for (std::size_t i = 0; i < 65536; ++i) {
                const auto chroma = static_cast<std::uint8_t>(i >> 8);
                src[3 * i] = static_cast<std::uint8_t>(i);
                src[3 * i + 1] = cbRuns ? chroma : other;
                src[3 * i + 2] = cbRuns ? other : chroma;
            }
            for (const unsigned short colorArray : std::initializer_list<unsigned short>{7, 10}) {
                const SDemosaicCall call{256, 256, 768, 768, 1, colorArray, 3};
                std::vector<std::uint8_t> expected(src.size());
                std::vector<std::uint8_t> dst(src.size());
                auto* const samples = reinterpret_cast<TypeParam*>(src.data());
                CDemosaicModel<TypeParam>(call, samples, reinterpret_cast<TypeParam*>(expected.data())).Run();
                EXPECT_EQ(callLong(*this->mModule, call, samples, reinterpret_cast<TypeParam*>(dst.data())), 0U);
                EXPECT_TRUE(dst == expected) << colorArray << " " << int{other} << " " << cbRuns;
            }
        }
    }
}

TYPED_TEST(CYCrCb, EveryInstructionSet) {
    this->ForEveryTable([this](const auto& run) {
        for (unsigned long width = 1; width <= 140; ++width) {
            for (unsigned short colorArray = kFirstYCrCb; colorArray <= kLastColorArray; ++colorArray) {
                for (unsigned char method = 0; method <= 1; ++method) {
                    const auto channels = static_cast<unsigned short>(3 + ++this->mTurn / 2 % 2);
                    const SDemosaicCall call{width, 2, 0, 0, method, colorArray, channels};
                    ASSERT_TRUE(
                        run(withPitches<TypeParam>(call, this->mTurn / 4 % kPitchKinds), kSameSide[this->mTurn % 2]));
                }
            }
        }
    });
}

} // namespace vek::test
