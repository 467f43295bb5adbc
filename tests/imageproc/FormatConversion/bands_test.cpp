// SPDX-License-Identifier: Apache-2.0
// Conversions in bands: every layout and pixel.
#include "imageproc/BandCheck.h"
#include "imageproc/FormatConversion.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace vek::test {

namespace {

struct SConversion {
    SFormatConversionStage stage;
    unsigned srcBytes; ///< of a pixel, rounded up
};

std::vector<SConversion> conversions() {
    std::vector<SConversion> all;
    for (const unsigned pixelBytes : {1U, 3U, 4U}) {
        for (const int shift : {-3, 0, 2, 31}) {
            all.push_back({{ELayout::Bytes, 8, shift, pixelBytes}, 1});
            all.push_back({{ELayout::Words, 16, shift, pixelBytes}, 2});
        }
        all.push_back({{ELayout::Bgr, 8, 0, pixelBytes}, 3});
        all.push_back({{ELayout::Bgr, 10, 0, pixelBytes}, 8});
    }
    all.push_back({{ELayout::Packed, 10, 2, 1}, 2});
    all.push_back({{ELayout::Packed, 12, 4, 1}, 2});
    return all;
}

} // namespace

TEST(FormatConversionBands, AreTheFrame) {
    std::uint64_t seed = 0;
    for (const auto& [stage, srcBytes] : conversions()) {
        for (unsigned turn = 0; turn < 5; ++turn) {
            CBandCheck<std::uint8_t> check(rows::bestTable(), ++seed);
            const SFrame frame = {.width = 1 + check.Random().Below(150), .height = 1 + check.Random().Below(12)};
            ASSERT_TRUE(check.Run(stage, frame, {srcBytes, stage.pixelBytes, 8}))
                << "layout " << static_cast<int>(stage.layout) << ", depth " << stage.depth << ", shift " << stage.shift
                << ", " << stage.pixelBytes << " bytes a pixel";
        }
    }
}

TEST(FormatConversionBands, AreMadeRowByRow) {
    for (const auto& [stage, srcBytes] : conversions()) {
        CBandCheck<std::uint8_t> check(rows::bestTable(), 1);
        const SFrame frame = {.width = 11, .height = 5};
        EXPECT_EQ(stage.Traits(frame), (STraits{.kind = EStage::Pointwise}));
        EXPECT_EQ(check.Observed(stage, frame, {srcBytes, stage.pixelBytes, 8}), stage.Traits(frame))
            << "layout " << static_cast<int>(stage.layout) << ", depth " << stage.depth;
    }
}

} // namespace vek::test
