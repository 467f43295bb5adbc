// SPDX-License-Identifier: Apache-2.0
// The fourth sample of a pixel is never written, not even with the value it holds: it may belong to another thread
// or lie on a page that the library must not write.
#include "imageproc/ColorInterpolation.h"
#include "imageproc/ColorInterpolation/SlotCalls.h"
#include "imageproc/rows/RowDispatch.h"
#include "support/GuardedBuffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <thread>
#include <vector>

namespace vek::test {

namespace {

template <class T>
class CFourthSample : public ::testing::Test {};

using SampleTypes = ::testing::Types<std::uint8_t, std::uint16_t>;
TYPED_TEST_SUITE(CFourthSample, SampleTypes);

std::vector<const rows::SRowTable*> usableTables() {
    std::vector<const rows::SRowTable*> tables;
    for (std::size_t i = 0; i < rows::tierCount(); ++i) {
        if (rows::tier(i).usable) {
            tables.push_back(rows::tier(i).table);
        }
    }
    return tables;
}

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
            std::atomic<bool> started{false};
            std::atomic<bool> stop{false};
            unsigned long lost = 0;
            std::thread owner([&] {
                TypeParam written = 0;
                while (!stop) {
                    const TypeParam next = static_cast<TypeParam>(written + 1);
                    for (std::size_t pixel = 0; pixel < pixels; ++pixel) {
                        const std::atomic_ref<TypeParam> fourth(dst[4 * pixel + 3]);
                        lost += fourth.load(std::memory_order_relaxed) != written ? 1 : 0;
                        fourth.store(next, std::memory_order_relaxed);
                    }
                    written = next;
                    started = true;
                }
            });
            while (!started) {
                std::this_thread::yield();
            }
            for (int frame = 0; frame < 4000; ++frame) {
                callLong(module, call, src.data(), dst.data());
            }
            stop = true;
            owner.join();
            EXPECT_EQ(lost, 0U) << table->name << ", method " << int{call.method} << ", colour array " << colorArray;
        }
    }
}

} // namespace vek::test
