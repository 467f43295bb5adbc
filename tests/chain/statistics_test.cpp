// SPDX-License-Identifier: Apache-2.0
// What bands count of the frame and of the picture.
#include "chain/NewStagesModel.h"
#include "chain/Plan.h"
#include "chain/RandomChain.h"

#include <gtest/gtest.h>

namespace vek::test {
namespace {

void count(VekChainCount& count, unsigned value, unsigned depth) {
    ++count.pixels;
    count.sum += value;
    count.clipped += value == (1U << depth) - 1 ? 1 : 0;
    ++count.bins[value >> (depth - 6)];
}

void expectEqual(const VekChainCount& expected, const VekChainCount& got) {
    ASSERT_EQ(expected.pixels, got.pixels);
    ASSERT_EQ(expected.sum, got.sum);
    ASSERT_EQ(expected.clipped, got.clipped);
    for (unsigned bin = 0; bin < 64; ++bin) {
        ASSERT_EQ(expected.bins[bin], got.bins[bin]) << bin;
    }
}

class CChainStatistics : public CRandomChain {
protected:
    /// The luma of a pixel that a band has made.
    static void CountLuma(VekChainCount& counted, const SCase& with, const VekChainTraits& traits,
                          const std::vector<std::uint16_t>& picture, unsigned long x, unsigned long y) {
        const unsigned samples = layoutSamples(with.picture.layout);
        const auto* const row = reinterpret_cast<const std::uint8_t*>(picture.data()) + y * traits.picturePitch;
        const auto sample = [&](unsigned i) -> unsigned {
            const std::size_t at = x * samples + i;
            return traits.depth > 8 ? row[2 * at] | row[2 * at + 1] << 8 : row[at];
        };
        const unsigned layout = with.picture.layout;
        const bool redFirst = layout == VEK_CHAIN_RGB || layout == VEK_CHAIN_RGBX || layout == VEK_CHAIN_RGBA;
        const unsigned luma =
            samples == 1
                ? sample(0)
                : (77 * sample(redFirst ? 0 : 2) + 150 * sample(1) + 29 * sample(redFirst ? 2 : 0) + 128) / 256;
        count(counted, luma, traits.depth);
    }
};

TEST_P(CChainStatistics, OfAllBandsAreTheFramesAndThePictures) {
    CRandom random(static_cast<std::uint64_t>(GetParam()) + 500);
    for (unsigned attempt = 0; attempt < 40; ++attempt) {
        SCase with;
        MakeCase(with, random);
        with.description.statistics = 1;
        VekChainTone tone{};
        tone.size = sizeof tone;
        tone.curve = VEK_CHAIN_CURVE_BT709;
        if (random.Below(2) == 0) {
            with.description.tone = &tone;
            with.description.stages = 0;
            with.picture.depth = 8;
            with.picture.pitch = 0;
            if (with.description.demosaic == VEK_DEMOSAIC_BICUBIC) {
                with.description.demosaic = VEK_CHAIN_DEMOSAIC_EDGE;
            }
        }
        const SMadePlan made = createPlan(mHandle, with.description);
        if (made.plan == nullptr) {
            continue;
        }
        SCOPED_TRACE(::testing::Message() << "attempt " << attempt << ": " << Told(with));
        const PlanOwner plan(makePlan(AnyTier(random), made.plan->handle, with.description, nullptr).release());
        const VekChainTraits traits = traitsOf(plan);
        const WorkOwner works[] = {createWork(plan), createWork(plan)};
        const StateOwner state = createState(plan);
        std::vector<std::uint16_t> picture(traits.pictureBytes / 2 + 1);
        ASSERT_EQ(0, VekChain_Prepare(plan.get(), state.get(), works[0].get(), with.bytes.data()));
        for (const auto& [first, rows] : randomBands(traits.height, random)) {
            ASSERT_EQ(0, VekChain_Run(plan.get(), state.get(), works[random.Below(2)].get(), with.bytes.data(),
                                      picture.data(), first, rows));
        }
        VekChainStatistics got = {};
        got.size = sizeof got;
        ASSERT_EQ(0, VekChain_TakeStatistics(works[0].get(), &got));
        ASSERT_EQ(0, VekChain_TakeStatistics(works[1].get(), &got));

        VekChainStatistics expected = {};
        static constexpr unsigned colors[4][4] = {{0, 1, 2, 3}, {1, 0, 3, 2}, {2, 3, 0, 1}, {3, 2, 1, 0}};
        for (unsigned long y = 0; y < with.height; ++y) {
            for (unsigned long x = 0; x < with.width; ++x) {
                const unsigned color =
                    with.colorArray == VEK_COLOR_ARRAY_MONO ? 0 : colors[with.colorArray - 2][2 * (y % 2) + x % 2];
                count(expected.raw[color], with.samples[y * with.width + x], with.format.depth);
                CountLuma(expected.luma, with, traits, picture, x, y);
            }
        }
        for (unsigned color = 0; color < 4; ++color) {
            ASSERT_NO_FATAL_FAILURE(expectEqual(expected.raw[color], got.raw[color])) << color;
        }
        ASSERT_NO_FATAL_FAILURE(expectEqual(expected.luma, got.luma));
        // Taken is taken.
        VekChainStatistics again = {};
        again.size = sizeof again;
        ASSERT_EQ(0, VekChain_TakeStatistics(works[0].get(), &again));
        ASSERT_EQ(0U, again.luma.pixels);
    }
}
INSTANTIATE_TEST_SUITE_P(Seeds, CChainStatistics, ::testing::Range(0, 6));

TEST(ChainStatistics, RefuseWhatIsMissing) {
    VekChainStatistics statistics = {};
    statistics.size = sizeof statistics;
    EXPECT_EQ(VEK_EINVAL, VekChain_TakeStatistics(nullptr, &statistics));
    VekCam_Handle handle = VekCam_Open(-1);
    SCase with;
    with.frame.width = with.frame.height = 4;
    with.frame.colorArray = VEK_COLOR_ARRAY_RGGB;
    const SMadePlan made = createPlan(handle, with.description);
    ASSERT_NE(nullptr, made.plan) << made.reason;
    const WorkOwner work = createWork(made.plan);
    EXPECT_EQ(VEK_EINVAL, VekChain_TakeStatistics(work.get(), nullptr));
    --statistics.size;
    EXPECT_EQ(VEK_EINVAL, VekChain_TakeStatistics(work.get(), &statistics));
    VekCam_Close(handle);
}

TEST(ChainStatistics, AreNotCountedUnlessAskedFor) {
    VekCam_Handle handle = VekCam_Open(-1);
    SCase with;
    with.frame.width = with.frame.height = 4;
    with.frame.colorArray = VEK_COLOR_ARRAY_RGGB;
    const SMadePlan made = createPlan(handle, with.description);
    const WorkOwner work = createWork(made.plan);
    const std::uint8_t raw[16] = {};
    std::uint8_t picture[16];
    ASSERT_EQ(0, VekChain_Run(made.plan.get(), nullptr, work.get(), raw, picture, 0, 4));
    VekChainStatistics statistics = {};
    statistics.size = sizeof statistics;
    ASSERT_EQ(0, VekChain_TakeStatistics(work.get(), &statistics));
    EXPECT_EQ(0U, statistics.raw[0].pixels + statistics.luma.pixels);
    VekCam_Close(handle);
}

/// A frame and its picture of bytes, both mono, and a work area that plans of it share.
struct SMonoFrame {
    SMonoFrame(std::uint32_t width, std::uint32_t height, bool flat) {
        with.frame.width = width;
        with.frame.height = height;
        with.frame.colorArray = VEK_COLOR_ARRAY_MONO;
        with.picture.layout = VEK_CHAIN_MONO;
        with.description.statistics = 1;
        counting = createPlan(handle, with.description);
        with.description.statistics = 0;
        silent = createPlan(handle, with.description);
        work = createWork(counting.plan);
        raw.resize(std::size_t{width} * height);
        picture.resize(raw.size());
        CRandom random(width);
        for (std::uint8_t& sample : raw) {
            sample = static_cast<std::uint8_t>(flat ? 200 : random.Below(256));
            count(expected, sample, 8);
        }
    }
    SMonoFrame(const SMonoFrame&) = delete;
    SMonoFrame& operator=(const SMonoFrame&) = delete;
    ~SMonoFrame() { VekCam_Close(handle); }

    void Run(const SMadePlan& made) {
        ASSERT_NE(nullptr, made.plan) << made.reason;
        for (std::uint32_t y = 0; y < with.frame.height; ++y) {
            ASSERT_EQ(0, VekChain_Run(made.plan.get(), nullptr, work.get(), raw.data(), picture.data(), y, 1));
        }
    }
    void ExpectCounts() {
        VekChainStatistics got = {};
        got.size = sizeof got;
        ASSERT_EQ(0, VekChain_TakeStatistics(work.get(), &got));
        ASSERT_NO_FATAL_FAILURE(expectEqual(expected, got.raw[0]));
        ASSERT_NO_FATAL_FAILURE(expectEqual(expected, got.luma));
    }

    VekCam_Handle handle = VekCam_Open(-1);
    SCase with;
    SMadePlan counting;
    SMadePlan silent;
    WorkOwner work;
    std::vector<std::uint8_t> raw;
    std::vector<std::uint8_t> picture;
    VekChainCount expected = {};
};

// Columns are counted in parts where there are more of them than a count's 16 bits have room for.
TEST(ChainStatistics, OfRowsOfAnyWidth) {
    for (const std::uint32_t width : {131069U, 131070U, 131071U, 300001U}) {
        SMonoFrame frame(width, 3, true);
        ASSERT_NO_FATAL_FAILURE(frame.Run(frame.counting));
        ASSERT_NO_FATAL_FAILURE(frame.ExpectCounts()) << width;
    }
}

TEST(ChainStatistics, DoNotSeeWhatOtherPlansLeaveInTheWorkArea) {
    SMonoFrame frame(501, 40, false);
    for (int i = 0; i < 3; ++i) {
        ASSERT_NO_FATAL_FAILURE(frame.Run(frame.silent));
        ASSERT_NO_FATAL_FAILURE(frame.Run(frame.counting));
        ASSERT_NO_FATAL_FAILURE(frame.Run(frame.silent));
        ASSERT_NO_FATAL_FAILURE(frame.ExpectCounts()) << i;
    }
}

} // namespace
} // namespace vek::test
