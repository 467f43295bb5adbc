// SPDX-License-Identifier: Apache-2.0
// Mirrors and rotations in bands of the result's rows.
#include "imageproc/BandCheck.h"
#include "imageproc/Flip.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace vek::test {

namespace {

using enum ETransform;
constexpr ETransform kTransforms[] = {MirrorH,
                                      MirrorV,
                                      MirrorHV,
                                      RotationClockwise,
                                      RotationCounterclockwise,
                                      MirrorHRotationClockwise,
                                      MirrorHRotationCounterclockwise};

/// Calls body(stage, images) for every transform and pixel.
template <class Body>
void forStages(Body body) {
    for (const ETransform transform : kTransforms) {
        for (const unsigned sampleBytes : {1U, 2U}) {
            for (const unsigned samples : {1U, 3U, 4U}) {
                const unsigned pixelBytes = samples * sampleBytes;
                const SFlipStage stage = {transform, sampleBytes, pixelBytes};
                body(stage, SBandImages{pixelBytes, pixelBytes, 8, stage.IsRotation()});
            }
        }
    }
}

} // namespace

TEST(FlipBands, AreTheFrame) {
    std::uint64_t seed = 0;
    forStages([&](const SFlipStage& stage, const SBandImages& images) {
        for (unsigned turn = 0; turn < 6; ++turn) {
            CBandCheck<std::uint8_t> check(rows::bestTable(), ++seed);
            const SFrame frame = {.width = 1 + check.Random().Below(90), .height = 1 + check.Random().Below(40)};
            ASSERT_TRUE(check.Run(stage, frame, images))
                << "transform " << static_cast<int>(stage.transform) << ", " << stage.pixelBytes << " bytes a pixel";
        }
    });
}

// But for the vertical mirror of colours, which leaves more alone in another image.
TEST(FlipBands, AreTheFrameInPlace) {
    for (const ETransform transform : {MirrorH, MirrorV, MirrorHV}) {
        for (const unsigned pixelBytes : {1U, 2U, 3U}) {
            const unsigned long sampleBytes = transform == MirrorV ? pixelBytes : 1;
            CBandCheck<std::uint8_t> check(rows::bestTable(), pixelBytes);
            const SFrame frame = {.width = 1 + check.Random().Below(90), .height = 1 + check.Random().Below(20)};
            const SFlipStage stage = {transform, sampleBytes, pixelBytes};
            ASSERT_TRUE(check.RunInPlace(stage, frame, {pixelBytes, pixelBytes, 8}));
        }
    }
}

TEST(FlipBands, TraitsByTransform) {
    forStages([](const SFlipStage& stage, const SBandImages& images) {
        const SFrame frame = {.width = 9, .height = 7};
        STraits expected = {.kind = EStage::WholeFrame};
        if (stage.transform == MirrorH) {
            expected.kind = EStage::Pointwise;
        } else if (!stage.IsRotation()) {
            expected.kind = EStage::Permutation;
            expected.leavesOpen = stage.transform == MirrorV && images.srcSamples > stage.sampleBytes;
        }
        EXPECT_EQ(stage.Traits(frame), expected) << static_cast<int>(stage.transform);
        CBandCheck<std::uint8_t> check(rows::bestTable(), 1);
        const STraits observed = check.Observed(stage, frame, images);
        EXPECT_EQ(observed.readsBehind, expected.readsBehind);
        EXPECT_EQ(observed.leavesOpen, expected.leavesOpen);
    });
    EXPECT_EQ(SFlipStage{}.Traits({}), STraits{});
}

} // namespace vek::test
