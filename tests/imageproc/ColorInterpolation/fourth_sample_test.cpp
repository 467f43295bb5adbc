// SPDX-License-Identifier: Apache-2.0
// The fourth sample of a pixel is never written, not even with the value it holds: it may belong to another thread
// or lie on a page that the library must not write.
#include "imageproc/ColorInterpolation.h"
#include "imageproc/ColorInterpolation/SlotCalls.h"
#include "imageproc/FourthSample.h"

#include <algorithm>
#include <cstdlib>

namespace vek::test {

namespace {

template <class T>
class CFourthSample : public ::testing::Test {};

TYPED_TEST_SUITE(CFourthSample, SampleTypes);

} // namespace

// The image ends before the last pixel's fourth sample, which lies on a protected page.
TYPED_TEST(CFourthSample, OfTheLastPixelMayBeMissing) {
    for (const rows::SRowTable* const table : usableTables()) {
        CColorInterpolation module(*table);
        for (const unsigned long width : {4UL, 5UL, 8UL, 16UL, 17UL, 32UL, 34UL, 64UL, 66UL, 128UL, 130UL}) {
            CGuardedBuffer<TypeParam> src(4 * width * 3, Flush::Right); // YCrCb 4:4:4 takes three samples a pixel
            std::fill(src.data(), src.data() + src.size(), TypeParam{5});
            CGuardedBuffer<TypeParam> dst(16 * width - 1, Flush::Right);
            CGuardedBuffer<TypeParam> decoded(sizeof(TypeParam) == 1 ? 16 * width - 1 : 8 * width, Flush::Right);
            const auto run = [&] {
                bool refused = false;
                for (unsigned char method = 0; method <= kLastMethod; ++method) {
                    const SDemosaicCall call{width, 4, 0, 0, method, 2, 4};
                    refused |= callLong(module, call, src.data(), dst.data()) != 0;
                }
                for (unsigned short colorArray = 6; colorArray <= kLastColorArray; ++colorArray) {
                    const SDemosaicCall call{width, 4, 0, 4 * width, 1, colorArray, 4};
                    refused |= callLong(module, call, src.data(), decoded.data()) != 0;
                }
                std::_Exit(refused ? 1 : 0);
            };
            EXPECT_EXIT(run(), ::testing::ExitedWithCode(0), "") << table->name << ", width " << width;
        }
    }
}

// Another thread counts in the fourth samples; none of its writes may get lost.
TYPED_TEST(CFourthSample, MayBelongToAnotherThread) {
    constexpr std::size_t pixels = 256UL * 4;
    std::vector<TypeParam> src(pixels * 3, 1);
    for (const rows::SRowTable* const table : usableTables()) {
        CColorInterpolation module(*table);
        // The methods of a Bayer image, then the three layouts of YCrCb, whose pixels are bytes.
        for (unsigned char turn = 0; turn <= kLastMethod + (sizeof(TypeParam) == 1 ? 3 : 0); ++turn) {
            const bool decodes = turn > kLastMethod;
            const auto colorArray = static_cast<unsigned short>(decodes ? turn - kLastMethod + 5 : 2);
            const SDemosaicCall call{256, 4, 0, 0, decodes ? std::uint8_t{1} : turn, colorArray, 4};
            std::vector<TypeParam> dst(pixels * 4, 0);
            const unsigned long lost =
                lostWrites(&dst, 4000, [&](int) { callLong(module, call, src.data(), dst.data()); });
            EXPECT_EQ(lost, 0U) << table->name << ", method " << int{call.method} << ", colour array " << colorArray;
        }
    }
}

} // namespace vek::test
