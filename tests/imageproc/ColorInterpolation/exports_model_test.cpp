// SPDX-License-Identifier: Apache-2.0
// The exported function against the model, with the pitches it derives.
#include "imageproc/ColorInterpolation/DemosaicCheck.h"
#include "support/HandleTest.h"

namespace vek::test {

namespace {

struct SOutput {
    unsigned long format;
    unsigned short bits;
    unsigned short channels;
};

// Every accepted pair of format and depth, by sample size.
template <class T>
const std::vector<SOutput> kOutputs = {{1, 8, 1}, {4, 8, 3}, {8, 8, 4}};
template <>
const std::vector<SOutput> kOutputs<std::uint16_t> = {{16, 10, 1}, {32, 10, 1}, {256, 10, 3}, {512, 10, 4},
                                                      {16, 12, 1}, {32, 12, 1}, {256, 12, 3}, {512, 12, 4}};

template <class T>
class CDemosaicExport : public CHandleTest {
protected:
    ::testing::AssertionResult Check(const SDemosaicCall& call, const SOutput& output, const SPlacement& place) {
        const auto function = [this, &output](const SDemosaicCall& c, T* src, T* dst) {
            return VekCam_ColorInterpolation(mHandle, c.width, c.height, c.colorArray, src, dst, c.method,
                                             output.format, output.bits);
        };
        return mCheck.Run(call, place, function, 0, 1);
    }

    void Sweep(unsigned long width, unsigned long height) {
        for (unsigned short colorArray = 1; colorArray <= kLastColorArray; ++colorArray) {
            for (unsigned char method = 0; method <= kLastMethod; ++method) {
                if (colorArray > kLastBayer && method > 1) {
                    continue; // decodes as method 1 does
                }
                for (const SOutput& output : kOutputs<T>) {
                    const SDemosaicCall call{width, height, 0, 0, method, colorArray, output.channels};
                    ++mTurn;
                    ASSERT_TRUE(Check(call, output, {kFlushes[mTurn % 2], kFlushes[mTurn / 3 % 2], 0, 0}));
                }
            }
        }
    }

    CDemosaicCheck<T> mCheck{1UL << 16, 777};
    unsigned mTurn = 0;
};

TYPED_TEST_SUITE(CDemosaicExport, SampleTypes);

} // namespace

TYPED_TEST(CDemosaicExport, EverySmallSize) {
    for (unsigned long height = 0; height <= 12; ++height) {
        for (unsigned long width = 0; width <= 40; ++width) {
            ASSERT_NO_FATAL_FAILURE(this->Sweep(width, height));
        }
    }
}

TYPED_TEST(CDemosaicExport, WiderRows) {
    for (const unsigned long height : {2UL, 3UL}) {
        for (unsigned long width = 41; width <= 130; ++width) {
            ASSERT_NO_FATAL_FAILURE(this->Sweep(width, height));
        }
        ASSERT_NO_FATAL_FAILURE(this->Sweep(1923, height));
    }
}

} // namespace vek::test
