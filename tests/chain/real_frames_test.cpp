// SPDX-License-Identifier: Apache-2.0
// Frames of real cameras: chains against the functions one after the other, and what the chain's own stages make of
// greys.
#include "chain/ChainCase.h"
#include "chain/ExportChain.h"
#include "support/HandleTest.h"
#include "support/RealFrames.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

namespace vek::test {

namespace {

/// The words of a file.
std::vector<std::uint16_t> wordsOf(const std::string& path, std::size_t count) {
    std::vector<std::uint16_t> words(count);
    std::ifstream file(path, std::ios::binary);
    file.read(reinterpret_cast<char*>(words.data()), static_cast<std::streamsize>(count * sizeof words[0]));
    EXPECT_TRUE(file) << path;
    return words;
}

class ChainRealFrames : public CHandleTest {
protected:
    /// Every stage that frames of such a depth may have.
    void SetStages(unsigned short depth) {
        ASSERT_EQ(0, VekCam_SetWhiteBalanceMode(mHandle, VEK_WB_AUTO));
        for (unsigned char channel = VEK_GAMMA_Y; channel <= VEK_GAMMA_B; ++channel) {
            ASSERT_EQ(0, VekCam_SetGammaMode(mHandle, channel, VEK_GAMMA_CURVE, 150, 0, 4, nullptr, depth));
        }
        ASSERT_EQ(0, VekCam_SetHueSaturationMode(mHandle, 1, 150, 130));
        ASSERT_EQ(0, VekCam_SetHighChromaSuppression(mHandle, static_cast<unsigned short>(3U << (depth - 2)), 60));
        ASSERT_EQ(0, VekCam_SetSharpnessMode(mHandle, 1, 60, 4));
    }

    /// The rows of a plan, in bands from the bottom up.
    static std::vector<std::uint8_t> Developed(const PlanOwner& plan, const void* frame) {
        const VekChainTraits traits = traitsOf(plan);
        std::vector<std::uint8_t> picture(traits.pictureBytes);
        const WorkOwner work = createWork(plan);
        const StateOwner state = createState(plan);
        EXPECT_EQ(0, VekChain_Prepare(plan.get(), state.get(), work.get(), frame));
        constexpr std::uint32_t rows = 96;
        for (std::uint32_t first = (traits.height - 1) / rows * rows;; first -= rows) {
            EXPECT_EQ(0, VekChain_Run(plan.get(), state.get(), work.get(), frame, picture.data(), first,
                                      std::min(rows, traits.height - first)));
            if (first == 0) {
                return picture;
            }
        }
    }

    /// A frame of 8 or 12 bits, by every method.
    void ExpectFunctions(const std::vector<std::uint16_t>& samples, std::uint32_t width, std::uint32_t height,
                         unsigned short colorArray, unsigned short depth) {
        SetStages(depth);
        const bool bytes = depth == 8;
        const std::vector<std::uint8_t> narrow(samples.begin(), samples.end());
        for (unsigned method = VEK_DEMOSAIC_MONO; method <= VEK_DEMOSAIC_NEAREST_NEIGHBOR2; ++method) {
            if (method == VEK_DEMOSAIC_BICUBIC && !bytes) {
                continue;
            }
            SCOPED_TRACE(::testing::Message() << "method " << method << ", " << depth << " bits");
            SChainCase with(width, height);
            with.frame.format = bytes ? VEK_TRANSFER_RAW8 : VEK_TRANSFER_RAW12;
            with.frame.colorArray = colorArray;
            with.picture.layout = method == VEK_DEMOSAIC_MONO ? VEK_CHAIN_MONO : VEK_CHAIN_BGR;
            with.description.demosaic = method;
            with.description.noise = VEK_NOISE_EASY;
            with.description.mirror = VEK_MIRROR_HORIZONTAL;
            with.description.stages = VEK_CHAIN_RAW_GAMMA | VEK_CHAIN_SHARPNESS;
            if (bytes) {
                with.description.stages |= VEK_CHAIN_WHITE_BALANCE | VEK_CHAIN_LUMA_GAMMA;
            }
            if (method != VEK_DEMOSAIC_MONO) {
                with.description.stages |= VEK_CHAIN_COLOR_MATRIX;
            }
            const SMadePlan made = createPlan(mHandle, with.description);
            ASSERT_NE(made.plan, nullptr) << made.reason;
            const auto frame = bytes ? static_cast<const void*>(narrow.data()) : samples.data();
            const std::vector<std::uint8_t> picture = Developed(made.plan, frame);
            const SStagedPicture staged =
                callExports(mHandle, with.description, width, height, colorArray, depth, samples);
            ASSERT_TRUE(staged.made);
            if (bytes) {
                ASSERT_TRUE(std::equal(picture.begin(), picture.end(), staged.values.begin(), staged.values.end()));
            } else {
                ASSERT_EQ(picture.size(), staged.values.size() * 2);
                ASSERT_EQ(0, std::memcmp(picture.data(), staged.values.data(), picture.size()));
            }
        }
    }
    void ExpectFunctionsAtEachDepth(std::vector<std::uint16_t> samples, std::uint32_t width, std::uint32_t height,
                                    unsigned short colorArray) {
        ExpectFunctions(samples, width, height, colorArray, 12);
        for (std::uint16_t& sample : samples) {
            sample = static_cast<std::uint16_t>(sample >> 4);
        }
        ExpectFunctions(samples, width, height, colorArray, 8);
    }
};

TEST_F(ChainRealFrames, ColorChartIsThatOfTheFunctions) {
    const std::string path = realFrame(kColorChartFrame);
    if (path.empty()) {
        GTEST_SKIP() << "VEKCAM_DATA_DIR has no such frame";
    }
    ExpectFunctionsAtEachDepth(wordsOf(path, 1920 * 1080), 1920, 1080, VEK_COLOR_ARRAY_BGGR);
}

TEST_F(ChainRealFrames, DefectPixelsAreThoseOfTheFunctions) {
    const std::string path = realFrame(kDefectFlowerFrame);
    if (path.empty()) {
        GTEST_SKIP() << "VEKCAM_DATA_DIR has no such frame";
    }
    std::vector<std::uint16_t> samples = wordsOf(path, 768 * 512);
    for (std::uint16_t& sample : samples) {
        sample = static_cast<std::uint16_t>(std::min<unsigned>(sample, 0x3FFF) >> 2);
    }
    ExpectFunctionsAtEachDepth(std::move(samples), 768, 512, VEK_COLOR_ARRAY_RGGB);
}

/// The chart's black is 0, since its greys have the same ratio of colours from light to dark. Gains that make one of
/// them neutral make the others so; a matrix whose rows have a sum of 1 leaves greys alone, and so does one curve for
/// all colours.
TEST_F(ChainRealFrames, GreysOfTheColorChartBecomeNeutral) {
    const std::string path = realFrame(kColorChartFrame);
    if (path.empty()) {
        GTEST_SKIP() << "VEKCAM_DATA_DIR has no such frame";
    }
    constexpr std::uint32_t width = 1920;
    constexpr std::uint32_t top = 850;
    constexpr std::uint32_t side = 40;
    constexpr std::array<std::uint32_t, 3> greys = {700, 980, 1120}; // left edges, from light to dark
    const std::vector<std::uint16_t> samples = wordsOf(path, std::size_t{width} * 1080);
    // By place in the cell: blue, green, green, red.
    const auto rawMean = [&](std::uint32_t left, unsigned place) {
        double sum = 0;
        for (std::uint32_t y = place / 2; y < side; y += 2) {
            for (std::uint32_t x = place % 2; x < side; x += 2) {
                sum += samples[(top + y) * width + left + x];
            }
        }
        return sum / (side * side / 4.0);
    };
    SChainCase with(width, 1080);
    with.frame.format = VEK_TRANSFER_RAW12;
    with.frame.colorArray = VEK_COLOR_ARRAY_BGGR;
    with.picture.layout = VEK_CHAIN_RGB;
    with.description.demosaic = VEK_CHAIN_DEMOSAIC_EDGE;
    for (unsigned place = 0; place < 4; ++place) {
        with.levels.gain[place] =
            static_cast<std::uint16_t>(std::lround(4096 * rawMean(greys[0], 1) / rawMean(greys[0], place)));
    }
    const std::int16_t factors[3][3] = {{6144, -1638, -410}, {-819, 5734, -819}, {-205, -2253, 6554}};
    std::memcpy(with.matrix.factor, factors, sizeof factors);
    with.description.levels = &with.levels;
    with.description.linearMatrix = &with.matrix;
    with.description.tone = &with.tone;
    for (const std::uint32_t curve : {VEK_CHAIN_CURVE_LINEAR, VEK_CHAIN_CURVE_SRGB}) {
        with.tone.curve = curve;
        const SMadePlan made = createPlan(mHandle, with.description);
        ASSERT_NE(made.plan, nullptr) << made.reason;
        const std::vector<std::uint8_t> picture = Developed(made.plan, samples.data());
        for (const std::uint32_t left : greys) {
            std::array<double, 3> means{};
            for (std::uint32_t y = top; y < top + side; ++y) {
                for (std::uint32_t x = 3 * left; x < 3 * (left + side); ++x) {
                    means[x % 3] += picture[std::size_t{y} * width * 3 + x] / double{side * side};
                }
            }
            // The ratios themselves differ by 2.5 per cent, which the matrix makes more of.
            EXPECT_NEAR(means[0], means[1], 0.05 * means[1] + 0.5) << curve << ", " << left;
            EXPECT_NEAR(means[2], means[1], 0.05 * means[1] + 0.5) << curve << ", " << left;
            const double light = rawMean(left, 1) / 4095;
            const double expected = curve == VEK_CHAIN_CURVE_LINEAR ? light : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
            EXPECT_NEAR(means[1], 255 * expected, 0.02 * 255 * expected + 0.5) << curve << ", " << left;
        }
    }
}

} // namespace

} // namespace vek::test
