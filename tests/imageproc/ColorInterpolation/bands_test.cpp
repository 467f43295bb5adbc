// SPDX-License-Identifier: Apache-2.0
// Demosaicing in bands: every method, colour array and pixel.
#include "VekTrgApi.h"
#include "imageproc/BandCheck.h"
#include "imageproc/ColorInterpolation.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace vek::test {

namespace {

constexpr unsigned short kChannels[] = {1, 3, 4};
constexpr unsigned char kLastMethod = VEK_DEMOSAIC_NEAREST_NEIGHBOR2;

/// Calls body(stage, colour array, images) for all that the stage takes of a sample type.
template <class T, class Body>
void forStages(Body body) {
    for (unsigned char method = 0; method <= kLastMethod; ++method) {
        for (const unsigned short channels : kChannels) {
            for (unsigned short colorArray = 1; colorArray <= VEK_COLOR_ARRAY_YCRCB411_BT709; ++colorArray) {
                const bool decoded = colorArray > VEK_COLOR_ARRAY_BGGR;
                const SColorInterpolationStage stage = {method, channels};
                if (stage.MethodFor(colorArray) == nullptr || (decoded && sizeof(T) != 1)) {
                    continue;
                }
                // Pixels of 4:1:1 have one byte and a half.
                const unsigned sources[] = {2, 3, 2};
                const unsigned gray = decoded && method == VEK_DEMOSAIC_MONO ? 1 : channels;
                body(stage, colorArray,
                     SBandImages{decoded ? sources[colorArray % 3] : 1, gray, sizeof(T) == 1 ? 8U : 12U});
            }
        }
    }
}

template <class T>
void tryBands() {
    std::uint64_t seed = 0;
    forStages<T>([&](const SColorInterpolationStage& stage, unsigned short colorArray, const SBandImages& images) {
        for (unsigned turn = 0; turn < 4; ++turn) {
            CBandCheck<T> check(rows::bestTable(), ++seed);
            const unsigned long least = stage.MethodFor(colorArray)->minSize;
            // A strip of the cubic method has 2560 columns.
            const bool wide = stage.method == VEK_DEMOSAIC_BICUBIC && turn == 0 && images.srcSamples == 1;
            const unsigned long width = wide ? 2555 + check.Random().Below(10) : least + check.Random().Below(150);
            const SFrame frame = {width, least + check.Random().Below(14), 0, colorArray,
                                  static_cast<unsigned short>(images.depth)};
            ASSERT_TRUE(check.Run(stage, frame, images))
                << "method " << int{stage.method} << ", " << stage.channels << " channels, array " << colorArray;
        }
    });
}

template <class T>
void expectTraitsOfResults() {
    forStages<T>([](const SColorInterpolationStage& stage, unsigned short colorArray, SBandImages images) {
        images.depth = 8; // the cubic method cuts words at 255
        for (const unsigned long width : {12, 13}) {
            for (const unsigned long height : {12, 13}) {
                CBandCheck<T> check(rows::bestTable(), 10 * width + height);
                const SFrame frame = {width, height, 0, colorArray, 8};
                STraits observed = check.Observed(stage, frame, images);
                const STraits told = stage.Traits(frame);
                if (height % 2 == 0) {
                    // The block methods take the second row above for an odd height's last row alone.
                    EXPECT_LE(observed.rowsAbove, told.rowsAbove);
                    observed.rowsAbove = told.rowsAbove;
                }
                EXPECT_EQ(observed, told) << "method " << int{stage.method} << ", " << stage.channels
                                          << " channels, array " << colorArray << ", " << width << " x " << height;
            }
        }
    });
}

} // namespace

TEST(ColorInterpolationBands, OfBytesAreTheFrame) {
    tryBands<std::uint8_t>();
}

TEST(ColorInterpolationBands, OfWordsAreTheFrame) {
    tryBands<std::uint16_t>();
}

TEST(ColorInterpolationBands, TraitsAreThoseOfTheResults) {
    expectTraitsOfResults<std::uint8_t>();
    expectTraitsOfResults<std::uint16_t>();
}

TEST(ColorInterpolationBands, TraitsByMethod) {
    const SFrame raw = {100, 50, 0, VEK_COLOR_ARRAY_GRBG, 8};
    const auto traitsOf = [&](unsigned char method) { return SColorInterpolationStage{method, 3}.Traits(raw); };
    EXPECT_EQ(traitsOf(VEK_DEMOSAIC_MONO), (STraits{.kind = EStage::Pointwise}));
    EXPECT_EQ(traitsOf(VEK_DEMOSAIC_NONE), (STraits{.kind = EStage::Pointwise}));
    EXPECT_EQ(traitsOf(VEK_DEMOSAIC_NEAREST_NEIGHBOR),
              (STraits{.kind = EStage::Window, .rowsAbove = 1, .rowsBelow = 1}));
    EXPECT_EQ(traitsOf(VEK_DEMOSAIC_BILINEAR_SIMPLE),
              (STraits{.kind = EStage::Window, .rowsAbove = 1, .rowsBelow = 1}));
    EXPECT_EQ(traitsOf(VEK_DEMOSAIC_BICUBIC), (STraits{.kind = EStage::Window, .rowsAbove = 3, .rowsBelow = 3}));
    EXPECT_EQ(traitsOf(VEK_DEMOSAIC_BILINEAR_FALSE_COLOR_REDUCTION),
              (STraits{.kind = EStage::Window, .rowsAbove = 2, .rowsBelow = 2}));
    EXPECT_EQ(traitsOf(VEK_DEMOSAIC_NEAREST_NEIGHBOR2),
              (STraits{.kind = EStage::Window, .rowsAbove = 2, .rowsBelow = 1}));
    EXPECT_EQ(traitsOf(kLastMethod + 1).kind, EStage::None);
    EXPECT_EQ((SColorInterpolationStage{VEK_DEMOSAIC_BICUBIC, 1}.Traits(raw).kind), EStage::None);
}

} // namespace vek::test
