// SPDX-License-Identifier: Apache-2.0
// Plans with stages of the chain's own, against models of these and the exports of the others.
#include "chain/ChainCase.h"
#include "chain/EdgeDemosaic/EdgeDemosaicModel.h"
#include "chain/NewStagesModel.h"
#include "chain/Plan.h"
#include "chain/RandomChain.h"

#include <gtest/gtest.h>

#include <optional>

namespace vek::test {
namespace {

/// A random case with the chain's own stages.
struct SNewStages {
    VekChainLevels levels{};
    VekChainLinearMatrix matrix{};
    VekChainTone tone{};
    std::array<Samples, 3> tables; ///< red, green, blue
};

class CNewStages : public CRandomChain {
protected:
    static void MakeStages(SCase& with, SNewStages& stages, CRandom& random) {
        VekChainDescription& description = with.description;
        description.stages &= VEK_CHAIN_SHADING | VEK_CHAIN_SHARPNESS | VEK_CHAIN_COLOR_MATRIX;
        const bool gray = with.picture.layout == VEK_CHAIN_MONO;
        if (!gray && random.Below(2) == 0) {
            description.demosaic = VEK_CHAIN_DEMOSAIC_EDGE;
        }
        if (description.demosaic == VEK_DEMOSAIC_BICUBIC) {
            description.demosaic = VEK_DEMOSAIC_NEAREST_NEIGHBOR;
        }
        if (random.Below(3) != 0) {
            stages.levels.size = sizeof stages.levels;
            stages.levels.pedestal = static_cast<std::uint16_t>(random.Below(4) == 0 ? 4095 : random.Below(100));
            for (unsigned i = 0; i < 4; ++i) {
                stages.levels.black[i] = static_cast<std::uint16_t>(random.Below(8) == 0 ? 4095 : random.Below(600));
                stages.levels.gain[i] = static_cast<std::uint16_t>(random.Below(8) == 0 ? 32767 : random.Below(12000));
            }
            description.levels = &stages.levels;
        }
        if (!gray && random.Below(2) == 0) {
            stages.matrix.size = sizeof stages.matrix;
            for (unsigned i = 0; i < 3; ++i) {
                const bool wild = random.Below(6) == 0;
                stages.matrix.offset[i] = static_cast<std::int16_t>(wild ? static_cast<int>(random.Below(32768)) - 16384
                                                                         : static_cast<int>(random.Below(400)) - 200);
                for (unsigned j = 0; j < 3; ++j) {
                    stages.matrix.factor[i][j] =
                        static_cast<std::int16_t>(wild ? static_cast<int>(random.Below(65536)) - 32768
                                                       : static_cast<int>(random.Below(9000)) - 3000);
                }
            }
            description.linearMatrix = &stages.matrix;
            description.stages &= ~static_cast<unsigned>(VEK_CHAIN_COLOR_MATRIX);
        }
        MakeTone(with, stages, random);
        const bool bytes = with.picture.depth == 8 && !gray;
        if (bytes && random.Below(3) == 0) {
            with.picture.layout = VEK_CHAIN_NV12;
            with.picture.colorSpace = static_cast<std::uint16_t>(random.Below(2));
            with.picture.fill = 0;
        }
        with.picture.pitch = 0;
    }

    static void MakeTone(SCase& with, SNewStages& stages, CRandom& random) {
        static constexpr std::uint32_t depths[] = {8, 8, 10, 12, 14, 16};
        with.picture.depth = depths[random.Below(6)];
        if (random.Below(3) == 0) {
            return;
        }
        VekChainTone& tone = stages.tone;
        tone.size = sizeof tone;
        tone.curve = static_cast<std::uint32_t>(random.Below(5));
        tone.gamma = tone.curve == VEK_CHAIN_CURVE_GAMMA ? static_cast<std::uint32_t>(40 + random.Below(300)) : 0;
        tone.sharpness = static_cast<std::uint32_t>(with.picture.depth <= 12 ? random.Below(2) : 0);
        if (with.format.depth == 8 && with.description.levels == nullptr && with.description.linearMatrix == nullptr &&
            random.Below(2) == 0) {
            with.description.workingDepth = 8;
        }
        if (tone.curve == VEK_CHAIN_CURVE_TABLE) {
            tone.entries = with.description.workingDepth == 8 ? 256 : 4096;
            const std::size_t given = 1 + random.Below(3);
            for (std::size_t i = 0; i < 3; ++i) {
                stages.tables[i] = i < given ? Samples(tone.entries) : stages.tables[i - 1];
                if (i < given) {
                    for (std::uint16_t& entry : stages.tables[i]) {
                        entry = static_cast<std::uint16_t>(random.Below(1U << with.picture.depth));
                    }
                    tone.table[i] = stages.tables[i].data();
                }
            }
        }
        with.description.tone = &tone;
    }

    /// The pictures' samples before the layout, blue-green-red or grey.
    std::optional<Samples> Expected(const SCase& with, SNewStages& stages, unsigned workingDepth) {
        const VekChainDescription& description = with.description;
        const auto depth = static_cast<unsigned short>(with.format.depth);
        Samples raw = with.samples;
        bool good = true;
        const auto correct = [&](auto sample) {
            std::vector<decltype(sample)> image(raw.begin(), raw.end());
            CExportStages<decltype(sample)> exports(mHandle, description, with.width, with.height, with.colorArray,
                                                    depth);
            exports.Correct(image);
            good = exports.Good();
            raw.assign(image.begin(), image.end());
        };
        depth == 8 ? correct(std::uint8_t{}) : correct(std::uint16_t{});
        if (workingDepth == 12) {
            for (std::size_t i = 0; i < raw.size(); ++i) {
                raw[i] = at12Bits(raw[i], depth);
                if (description.levels != nullptr) {
                    raw[i] = leveled(stages.levels, raw[i], i % with.width + with.frame.cropX,
                                     i / with.width + with.frame.cropY);
                }
            }
        }
        const std::optional<Samples> picture = workingDepth == 8 ? Pictured<std::uint8_t>(with, stages, raw, 8)
                                                                 : Pictured<std::uint16_t>(with, stages, raw, 12);
        return good ? picture : std::nullopt;
    }

    template <class T>
    std::optional<Samples> Pictured(const SCase& with, SNewStages& stages, const Samples& samples, unsigned depth) {
        const VekChainDescription& description = with.description;
        CExportStages<T> exports(mHandle, description, with.width, with.height, with.colorArray,
                                 static_cast<unsigned short>(depth));
        std::vector<T> raw(samples.begin(), samples.end());
        exports.Mirror(raw);
        std::vector<T> picture;
        if (description.demosaic == VEK_CHAIN_DEMOSAIC_EDGE && exports.ColorArray() != VEK_COLOR_ARRAY_MONO) {
            const CEdgeDemosaicModel<T> model(static_cast<long>(with.width), static_cast<long>(with.height),
                                              exports.ColorArray(), depth, raw);
            for (std::size_t i = 0; i < raw.size(); ++i) {
                for (const int sample :
                     model.Pixel(static_cast<long>(i % with.width), static_cast<long>(i / with.width))) {
                    picture.push_back(static_cast<T>(sample));
                }
            }
        } else {
            picture = exports.Demosaic(raw);
        }
        exports.Color(picture);
        if constexpr (sizeof(T) == 2) {
            for (std::size_t i = 0; description.linearMatrix != nullptr && i < picture.size(); i += 3) {
                multiply(stages.matrix, &picture[i]);
            }
        }
        const bool after = description.tone != nullptr && stages.tone.sharpness == VEK_CHAIN_SHARPEN_AFTER_TONE;
        if (!after) {
            exports.Sharpen(picture);
        }
        Samples toned = Toned(with, stages, {picture.begin(), picture.end()}, depth, exports.Samples());
        if (!after || !exports.Good()) {
            return exports.Good() ? std::optional(toned) : std::nullopt;
        }
        const auto sharpen = [&](auto sample) {
            std::vector<decltype(sample)> image(toned.begin(), toned.end());
            CExportStages<decltype(sample)> last(mHandle, description, with.width, with.height, with.colorArray,
                                                 static_cast<unsigned short>(with.picture.depth));
            last.Sharpen(image);
            toned.assign(image.begin(), image.end());
            return last.Good();
        };
        const bool good = with.picture.depth == 8 ? sharpen(std::uint8_t{}) : sharpen(std::uint16_t{});
        return good ? std::optional(toned) : std::nullopt;
    }

    static Samples Toned(const SCase& with, const SNewStages& stages, Samples picture, unsigned depth,
                         unsigned samples) {
        if (with.description.tone == nullptr) {
            for (std::uint16_t& sample : picture) {
                const unsigned wide =
                    static_cast<unsigned>(sample) << 16 >> depth; // the highest of 32 bits' lower half
                sample = static_cast<std::uint16_t>(wide >> (16 - with.picture.depth));
            }
            return picture;
        }
        const VekChainTone& tone = stages.tone;
        const std::size_t entries = std::size_t{1} << depth;
        const Samples named = tone.curve != VEK_CHAIN_CURVE_TABLE
                                  ? curveTable(tone.curve, tone.gamma, entries, with.picture.depth)
                                  : Samples();
        for (std::size_t i = 0; i < picture.size(); ++i) {
            const std::size_t color = samples == 1 ? 1 : 2 - i % 3; // of red, green, blue
            const Samples& table = named.empty() ? stages.tables[color] : named;
            picture[i] = table[std::min<std::size_t>(picture[i], entries - 1)];
        }
        return picture;
    }

    void CompareNv12(const SCase& with, const PlanOwner& plan, const Samples& expected, CRandom& random) {
        const VekChainTraits traits = traitsOf(plan);
        EXPECT_EQ(2U, traits.rowMultiple);
        const std::size_t pitch = (with.width + 1) / 2 * 2;
        ASSERT_EQ(pitch, traits.picturePitch);
        const std::vector<std::uint8_t> planes = nv12Of(expected, with.width, with.height, with.picture.colorSpace);
        CGuardedBuffer<std::uint8_t> picture(traits.pictureBytes, Flush::Right);
        const WorkOwner work = createWork(plan);
        const StateOwner state = createState(plan);
        ASSERT_EQ(0, VekChain_Prepare(plan.get(), state.get(), work.get(), with.bytes.data()));
        const auto height = static_cast<std::uint32_t>(with.height);
        for (std::uint32_t first = 0; first < height;) {
            const auto rows =
                static_cast<std::uint32_t>(std::min<std::uint64_t>(height - first, 2 + 2 * random.Below(9)));
            ASSERT_EQ(
                0, VekChain_Run(plan.get(), state.get(), work.get(), with.bytes.data(), picture.data(), first, rows));
            first += rows;
        }
        std::size_t at = 0;
        for (unsigned long y = 0; y < with.height + (with.height + 1) / 2; ++y) {
            for (unsigned long x = 0; x < (y < with.height ? with.width : pitch); ++x, ++at) {
                ASSERT_EQ(int{planes[at]}, int{picture[y * pitch + x]}) << x << ", " << y;
            }
        }
    }
};

TEST_P(CNewStages, EqualTheirModels) {
    CRandom random(static_cast<std::uint64_t>(GetParam()) + 1000);
    unsigned made = 0;
    for (unsigned attempt = 0; attempt < 40; ++attempt) {
        SCase with;
        SNewStages stages;
        MakeFrame(with, random);
        MakeDescription(with, random);
        MakeStages(with, stages, random);
        SetSettings(random, 12);
        MakeCorrections(with, random);
        const SMadePlan best = createPlan(mHandle, with.description);
        if (best.plan == nullptr) {
            ASSERT_FALSE(best.reason.empty());
            continue;
        }
        ++made;
        const rows::SRowTable& kernels = AnyTier(random);
        SCOPED_TRACE(::testing::Message()
                     << kernels.name << ", attempt " << attempt << ": " << Told(with) << ", levels "
                     << (with.description.levels != nullptr) << ", matrix "
                     << (with.description.linearMatrix != nullptr) << ", tone "
                     << (with.description.tone != nullptr ? static_cast<int>(stages.tone.curve) : -1));
        const PlanOwner plan(makePlan(kernels, best.plan->handle, with.description, nullptr).release());
        const unsigned workingDepth = traitsOf(plan).workingDepth;
        if (workingDepth != 8 && workingDepth != 12) {
            continue; // no stage of the chain's own but the demosaic method
        }
        const std::optional<Samples> expected = Expected(with, stages, workingDepth);
        ASSERT_TRUE(expected.has_value());
        if (with.picture.layout == VEK_CHAIN_NV12) {
            ASSERT_NO_FATAL_FAILURE(CompareNv12(with, plan, *expected, random));
        } else {
            const unsigned samples = with.picture.layout == VEK_CHAIN_MONO ? 1 : 3;
            ASSERT_NO_FATAL_FAILURE(RunAndCompare(with, plan, {true, samples, *expected}, random));
        }
    }
    EXPECT_GE(made, 8U);
}
INSTANTIATE_TEST_SUITE_P(Seeds, CNewStages, ::testing::Range(0, 24));

} // namespace
} // namespace vek::test
