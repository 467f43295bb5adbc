// SPDX-License-Identifier: Apache-2.0
// What VekChain_Create takes, refuses, and says why.
#include "chain/ChainCase.h"
#include "support/HandleTest.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace vek::test {
namespace {

using Change = std::function<void(SChainCase&)>;

class CChainDescription : public CHandleTest {
protected:
    /// The reason that a changed description is refused for; empty where it is taken.
    std::string Refusal(const Change& change, std::uint32_t width = 32, std::uint32_t height = 24) {
        SChainCase with(width, height);
        change(with);
        const SMadePlan made = createPlan(mHandle, with.description);
        EXPECT_EQ(made.result == VEK_OK, made.plan != nullptr);
        EXPECT_EQ(made.result == VEK_OK, made.reason.empty()) << made.reason;
        EXPECT_TRUE(made.result == VEK_OK || made.result == VEK_EINVAL);
        return made.reason;
    }
    /// Whether it is refused for a reason that begins with the member's name.
    ::testing::AssertionResult Refuses(const std::string& member, const Change& change, std::uint32_t width = 32,
                                       std::uint32_t height = 24) {
        const std::string reason = Refusal(change, width, height);
        if (reason.rfind(member, 0) == 0) {
            return ::testing::AssertionSuccess();
        }
        return ::testing::AssertionFailure() << "reason: \"" << reason << "\"";
    }
    ::testing::AssertionResult Takes(const Change& change, std::uint32_t width = 32, std::uint32_t height = 24) {
        const std::string reason = Refusal(change, width, height);
        return reason.empty() ? ::testing::AssertionSuccess() : ::testing::AssertionFailure() << reason;
    }
};

TEST_F(CChainDescription, ThePlainOneIsTaken) {
    EXPECT_TRUE(Takes([](SChainCase&) {}));
}

TEST_F(CChainDescription, NullArguments) {
    SChainCase with;
    VekChain_Plan plan = nullptr;
    char reason[80] = "kept";
    EXPECT_EQ(VEK_EINVAL, VekChain_Create(nullptr, &with.description, &plan, reason, sizeof reason));
    EXPECT_STREQ("handle: null", reason);
    EXPECT_EQ(VEK_EINVAL, VekChain_Create(mHandle, nullptr, &plan, reason, sizeof reason));
    EXPECT_STREQ("description: null", reason);
    EXPECT_EQ(VEK_EINVAL, VekChain_Create(mHandle, &with.description, nullptr, reason, sizeof reason));
    EXPECT_TRUE(Refuses("frame:", [](SChainCase& c) { c.description.frame = nullptr; }));
    EXPECT_TRUE(Refuses("picture:", [](SChainCase& c) { c.description.picture = nullptr; }));
}

TEST_F(CChainDescription, TheReasonIsCutToItsBuffer) {
    SChainCase with;
    with.frame.width = 0;
    VekChain_Plan plan = nullptr;
    std::array<char, 8> reason{};
    reason.fill('#');
    EXPECT_EQ(VEK_EINVAL, VekChain_Create(mHandle, &with.description, &plan, reason.data(), 6));
    EXPECT_EQ(std::string("frame\0##", 8), std::string(reason.data(), 8));
    EXPECT_EQ(VEK_EINVAL, VekChain_Create(mHandle, &with.description, &plan, nullptr, 6));
    EXPECT_EQ(VEK_EINVAL, VekChain_Create(mHandle, &with.description, &plan, reason.data(), 0));
    EXPECT_EQ('f', reason[0]);
}

TEST_F(CChainDescription, SizesOfStructs) {
    EXPECT_TRUE(Refuses("frame.size", [](SChainCase& c) { --c.frame.size; }));
    EXPECT_TRUE(Refuses("picture.size", [](SChainCase& c) { c.picture.size = 0; }));
    EXPECT_TRUE(Refuses("description.size", [](SChainCase& c) { --c.description.size; }));
    EXPECT_TRUE(Refuses("levels.size", [](SChainCase& c) {
        c.levels.size = 8;
        c.description.levels = &c.levels;
    }));
    EXPECT_TRUE(Refuses("linearMatrix.size", [](SChainCase& c) {
        c.matrix.size = 8;
        c.description.linearMatrix = &c.matrix;
    }));
    EXPECT_TRUE(Refuses("tone.size", [](SChainCase& c) {
        c.tone.size = 8;
        c.description.tone = &c.tone;
    }));
    // A later version's struct, whose new members are 0, and are not.
    struct {
        VekChainFrame known;
        std::uint64_t later;
    } frame = {};
    const auto later = [&](SChainCase& c) {
        frame.known = c.frame;
        frame.known.size = sizeof frame;
        c.description.frame = &frame.known;
    };
    EXPECT_TRUE(Takes(later));
    frame.later = 1;
    EXPECT_TRUE(Refuses("frame.size", later));
    // Sizes that nothing has, and that reach around the end of memory.
    for (const std::size_t size : {std::size_t{65537}, ~std::size_t{0}, ~std::size_t{0} - 7}) {
        EXPECT_TRUE(Refuses("frame.size", [=](SChainCase& c) { c.frame.size = size; }));
        EXPECT_TRUE(Refuses("picture.size", [=](SChainCase& c) { c.picture.size = size; }));
        EXPECT_TRUE(Refuses("description.size", [=](SChainCase& c) { c.description.size = size; }));
    }
}

TEST_F(CChainDescription, Frames) {
    EXPECT_TRUE(Refuses("frame.width", [](SChainCase& c) { c.frame.width = 0; }));
    EXPECT_TRUE(Refuses("frame.height", [](SChainCase& c) { c.frame.height = 0; }));
    EXPECT_TRUE(Refuses("frame.pitch", [](SChainCase& c) { c.frame.pitch = 31; }));
    EXPECT_TRUE(Takes([](SChainCase& c) { c.frame.pitch = 32; }));
    EXPECT_TRUE(Refuses("frame.pitch", [](SChainCase& c) {
        c.frame.format = VEK_TRANSFER_RAW10_PACKED;
        c.frame.pitch = 39;
    }));
    EXPECT_TRUE(Takes([](SChainCase& c) {
        c.frame.format = VEK_TRANSFER_RAW10_PACKED;
        c.frame.pitch = 40;
    }));
    for (const std::uint32_t format : {10U, 11U, 12U, 17U, 22U, 0xFFFU, 0x1003U, 0xFFFFFFFFU}) {
        EXPECT_TRUE(Refuses("frame.format", [=](SChainCase& c) { c.frame.format = format; })) << format;
    }
    for (const auto array : {std::uint16_t{0}, std::uint16_t{6}, std::uint16_t{11}, std::uint16_t{65535}}) {
        EXPECT_TRUE(Refuses("frame.colorArray", [=](SChainCase& c) { c.frame.colorArray = array; })) << array;
        EXPECT_TRUE(Takes([=](SChainCase& c) {
            c.frame.format = VEK_TRANSFER_MONO8;
            c.frame.colorArray = array;
        })) << array;
    }
    EXPECT_TRUE(Refuses("frame.byteOrder", [](SChainCase& c) { c.frame.byteOrder = 1; }));
    EXPECT_TRUE(Refuses("frame.byteOrder", [](SChainCase& c) { c.frame.byteOrder = 2; }));
    EXPECT_TRUE(Takes([](SChainCase& c) {
        c.frame.format = VEK_TRANSFER_RAW12;
        c.frame.byteOrder = VEK_CHAIN_BIG_ENDIAN;
    }));
    EXPECT_TRUE(Refuses("frame:", [](SChainCase& c) { c.frame.pitch = ~std::size_t{0} / 2; }));
}

TEST_F(CChainDescription, Crops) {
    EXPECT_TRUE(Refuses("frame.crop", [](SChainCase& c) { c.frame.cropX = 32; }));
    EXPECT_TRUE(Refuses("frame.crop", [](SChainCase& c) { c.frame.cropY = 24; }));
    EXPECT_TRUE(Refuses("frame.crop", [](SChainCase& c) {
        c.frame.cropX = 1;
        c.frame.cropWidth = 32;
    }));
    EXPECT_TRUE(Refuses("frame.crop", [](SChainCase& c) {
        c.frame.cropY = 0xFFFFFFFF;
        c.frame.cropHeight = 2;
    }));
    SChainCase with;
    with.frame.cropX = 3;
    with.frame.cropY = 5;
    with.frame.cropHeight = 7;
    const SMadePlan made = createPlan(mHandle, with.description);
    ASSERT_NE(nullptr, made.plan) << made.reason;
    const VekChainTraits traits = traitsOf(made.plan);
    EXPECT_EQ(29U, traits.width);
    EXPECT_EQ(7U, traits.height);
    EXPECT_EQ(11U * 32 + 32, traits.frameBytes);
    EXPECT_EQ(29U * 3, traits.picturePitch);
}

TEST_F(CChainDescription, Pictures) {
    EXPECT_TRUE(Refuses("picture.layout", [](SChainCase& c) { c.picture.layout = 8; }));
    EXPECT_TRUE(Refuses("picture.layout", [](SChainCase& c) { c.picture.layout = VEK_CHAIN_MONO; }));
    EXPECT_TRUE(Takes([](SChainCase& c) {
        c.picture.layout = VEK_CHAIN_MONO;
        c.description.demosaic = VEK_DEMOSAIC_MONO;
    }));
    EXPECT_TRUE(Takes([](SChainCase& c) {
        c.picture.layout = VEK_CHAIN_MONO;
        c.frame.colorArray = VEK_COLOR_ARRAY_MONO;
        c.description.demosaic = 77;
    }));
    EXPECT_TRUE(Refuses("picture.pitch", [](SChainCase& c) { c.picture.pitch = 95; }));
    EXPECT_TRUE(Takes([](SChainCase& c) { c.picture.pitch = 97; }));
    EXPECT_TRUE(Refuses("picture.pitch", [](SChainCase& c) {
        c.picture.pitch = 193;
        c.picture.depth = 10;
    }));
    EXPECT_TRUE(Refuses("picture.fill", [](SChainCase& c) { c.picture.fill = 1; }));
    EXPECT_TRUE(Refuses("picture.fill", [](SChainCase& c) {
        c.picture.layout = VEK_CHAIN_BGRA;
        c.picture.fill = 256;
    }));
    EXPECT_TRUE(Takes([](SChainCase& c) {
        c.picture.layout = VEK_CHAIN_RGBA;
        c.picture.fill = 255;
    }));
    EXPECT_TRUE(Refuses("picture.colorSpace", [](SChainCase& c) { c.picture.colorSpace = 1; }));
    EXPECT_TRUE(Refuses("picture.colorSpace", [](SChainCase& c) {
        c.picture.layout = VEK_CHAIN_NV12;
        c.picture.colorSpace = 2;
    }));
    EXPECT_TRUE(Refuses("picture.depth", [](SChainCase& c) {
        c.picture.layout = VEK_CHAIN_NV12;
        c.picture.depth = 10;
    }));
    for (const std::uint32_t depth : {1U, 7U, 17U, 0xFFFFFFFFU}) {
        EXPECT_TRUE(Refuses("picture.depth", [=](SChainCase& c) { c.picture.depth = depth; })) << depth;
    }
    EXPECT_TRUE(Refuses("picture.reserved", [](SChainCase& c) { c.picture.reserved = 1; }));
}

TEST_F(CChainDescription, NoiseAndShading) {
    EXPECT_TRUE(Refuses("noise", [](SChainCase& c) { c.description.noise = 3; }));
    EXPECT_TRUE(Refuses("noise", [](SChainCase& c) { c.description.noise = VEK_NOISE_COMPLEX; }));
    EXPECT_TRUE(Takes([](SChainCase& c) { c.description.noise = VEK_NOISE_EASY; }, 4, 4));
    EXPECT_TRUE(Refuses(
        "noise", [](SChainCase& c) { c.description.noise = VEK_NOISE_EASY; }, 4, 3));
    std::vector<unsigned char> dark(33 * 24, 7);
    ASSERT_EQ(0,
              VekCam_NoiseReduction(mHandle, VEK_NOISE_STORE_DARK, 32, 24, 33, VEK_COLOR_ARRAY_RGGB, dark.data(), 8));
    EXPECT_TRUE(Refuses("noise", [](SChainCase& c) { c.description.noise = VEK_NOISE_COMPLEX; })) << "padded";
    ASSERT_EQ(0, VekCam_NoiseReduction(mHandle, VEK_NOISE_STORE_DARK, 32, 24, 0, VEK_COLOR_ARRAY_RGGB, dark.data(), 8));
    EXPECT_TRUE(Takes([](SChainCase& c) { c.description.noise = VEK_NOISE_COMPLEX; }));
    EXPECT_TRUE(Refuses("noise", [](SChainCase& c) {
        c.description.noise = VEK_NOISE_COMPLEX;
        c.frame.colorArray = VEK_COLOR_ARRAY_GRBG;
    }));
    EXPECT_TRUE(Refuses("noise", [](SChainCase& c) {
        c.description.noise = VEK_NOISE_COMPLEX;
        c.frame.format = VEK_TRANSFER_RAW12;
    }));
    const Change shaded = [](SChainCase& c) { c.description.stages = VEK_CHAIN_SHADING; };
    EXPECT_TRUE(Takes(shaded)) << "off";
    VekCam_SetShadingCorrectionMode(mHandle, VEK_SHADING_CALIBRATE_GAIN);
    EXPECT_TRUE(Refuses("stages: shading", shaded));
    VekCam_ShadingCorrection(mHandle, 32, 24, 0, dark.data(), 8);
    VekCam_SetShadingCorrectionMode(mHandle, VEK_SHADING_GAIN);
    EXPECT_TRUE(Takes(shaded));
    EXPECT_TRUE(Refuses("stages", [](SChainCase& c) {
        c.description.stages = VEK_CHAIN_SHADING;
        c.frame.cropX = 2;
    }));
}

TEST_F(CChainDescription, ARefusedOneMakesNoMap) {
    std::vector<unsigned char> flat(32 * 24, 100);
    VekCam_SetShadingCorrectionMode(mHandle, VEK_SHADING_CALIBRATE_GAIN);
    VekCam_SetShadingCorrectionTarget(mHandle, 200);
    VekCam_ShadingCorrection(mHandle, 32, 24, 0, flat.data(), 8);
    VekCam_SetShadingCorrectionMode(mHandle, VEK_SHADING_GAIN);
    EXPECT_TRUE(Refuses("demosaic", [](SChainCase& c) {
        c.description.stages = VEK_CHAIN_SHADING;
        c.description.demosaic = 99;
    }));
    // The calibration still waits for its first frame, whose mode decides what the map holds.
    VekCam_SetShadingCorrectionMode(mHandle, VEK_SHADING_OFFSET);
    VekCam_ShadingCorrection(mHandle, 32, 24, 0, flat.data(), 8);
    EXPECT_EQ(200, flat[0]);
}

TEST_F(CChainDescription, WordsAndTheStagesOfBytes) {
    const auto withStage = [](std::uint32_t stage) {
        return [=](SChainCase& c) {
            c.frame.format = VEK_TRANSFER_RAW12;
            c.description.stages = stage;
        };
    };
    EXPECT_TRUE(Refuses("stages: white balance", withStage(VEK_CHAIN_WHITE_BALANCE)));
    EXPECT_TRUE(Refuses("stages: the luma curve", withStage(VEK_CHAIN_LUMA_GAMMA)));
    EXPECT_TRUE(Takes(withStage(VEK_CHAIN_RAW_GAMMA | VEK_CHAIN_COLOR_MATRIX | VEK_CHAIN_SHARPNESS)));
    EXPECT_TRUE(Refuses("stages", withStage(64)));
    EXPECT_TRUE(Refuses("demosaic", [](SChainCase& c) { c.frame.format = VEK_TRANSFER_RAW14; }));
    EXPECT_TRUE(Refuses("stages: sharpness", [](SChainCase& c) {
        c.frame.format = VEK_TRANSFER_MONO14;
        c.picture.layout = VEK_CHAIN_MONO;
        c.description.stages = VEK_CHAIN_SHARPNESS;
    }));
}

TEST_F(CChainDescription, DemosaicMethods) {
    const auto method = [](std::uint32_t number) { return [=](SChainCase& c) { c.description.demosaic = number; }; };
    for (std::uint32_t number = 0; number <= VEK_DEMOSAIC_NEAREST_NEIGHBOR2; ++number) {
        EXPECT_TRUE(Takes(method(number), 32, 24)) << number;
    }
    EXPECT_TRUE(Refuses("demosaic", method(7)));
    EXPECT_TRUE(Refuses("demosaic", method(256)));
    EXPECT_TRUE(Refuses("demosaic", method(VEK_DEMOSAIC_BILINEAR_SIMPLE), 31, 24)) << "reads behind";
    EXPECT_TRUE(Refuses("demosaic", method(VEK_DEMOSAIC_BILINEAR_SIMPLE), 32, 23)) << "leaves open";
    EXPECT_TRUE(Refuses("demosaic", method(VEK_DEMOSAIC_NEAREST_NEIGHBOR2), 31, 24));
    EXPECT_TRUE(Takes(method(VEK_DEMOSAIC_NEAREST_NEIGHBOR2), 32, 23));
    EXPECT_TRUE(Refuses("demosaic", method(VEK_DEMOSAIC_NEAREST_NEIGHBOR), 1, 24));
    EXPECT_TRUE(Refuses("demosaic", method(VEK_DEMOSAIC_BILINEAR_FALSE_COLOR_REDUCTION), 32, 3));
    EXPECT_TRUE(Refuses("demosaic", [](SChainCase& c) {
        c.frame.format = VEK_TRANSFER_RAW10;
        c.description.demosaic = VEK_DEMOSAIC_BICUBIC;
    }));
}

TEST_F(CChainDescription, Tone) {
    const std::vector<std::uint16_t> table(4096, 7);
    const auto toned = [&](const Change& change) {
        return [&, change](SChainCase& c) {
            c.description.tone = &c.tone;
            change(c);
        };
    };
    const auto tabled = [&](const Change& change) {
        return toned([&, change](SChainCase& c) {
            c.tone.curve = VEK_CHAIN_CURVE_TABLE;
            c.tone.entries = 4096;
            c.tone.table[0] = table.data();
            change(c);
        });
    };
    for (const std::uint32_t curve : {1U, 2U, 3U}) {
        EXPECT_TRUE(Takes(toned([=](SChainCase& c) { c.tone.curve = curve; }))) << curve;
    }
    EXPECT_TRUE(Refuses("tone.curve", toned([](SChainCase& c) { c.tone.curve = 5; })));
    EXPECT_TRUE(Refuses("tone.gamma", toned([](SChainCase& c) { c.tone.curve = VEK_CHAIN_CURVE_GAMMA; })));
    EXPECT_TRUE(Refuses("tone.gamma", toned([](SChainCase& c) { c.tone.gamma = 220; })));
    EXPECT_TRUE(Takes(toned([](SChainCase& c) {
        c.tone.curve = VEK_CHAIN_CURVE_GAMMA;
        c.tone.gamma = 1;
    })));
    EXPECT_TRUE(Takes(tabled([](SChainCase&) {})));
    EXPECT_TRUE(Refuses("tone.entries", tabled([](SChainCase& c) { c.tone.entries = 256; })));
    EXPECT_TRUE(Takes(tabled([](SChainCase& c) {
        c.tone.entries = 256;
        c.description.workingDepth = 8;
    })));
    EXPECT_TRUE(Refuses("tone.table", tabled([](SChainCase& c) { c.tone.table[0] = nullptr; })));
    EXPECT_TRUE(Refuses("tone.table", toned([&](SChainCase& c) { c.tone.table[1] = table.data(); })));
    EXPECT_TRUE(Refuses("tone.sharpness", toned([](SChainCase& c) { c.tone.sharpness = 2; })));
    EXPECT_TRUE(Refuses("tone.reserved", toned([](SChainCase& c) { c.tone.reserved = 1; })));
    EXPECT_TRUE(Refuses("stages: sharpness", toned([](SChainCase& c) {
                            c.picture.depth = 14;
                            c.tone.sharpness = VEK_CHAIN_SHARPEN_AFTER_TONE;
                            c.description.stages = VEK_CHAIN_SHARPNESS;
                        })));
    EXPECT_TRUE(Takes(toned([](SChainCase& c) {
        c.picture.depth = 14;
        c.description.stages = VEK_CHAIN_SHARPNESS;
    })));
}

TEST_F(CChainDescription, TheEdgeDirectedMethod) {
    const Change edge = [](SChainCase& c) { c.description.demosaic = VEK_CHAIN_DEMOSAIC_EDGE; };
    EXPECT_TRUE(Takes(edge, 2, 2));
    EXPECT_TRUE(Takes(edge, 33, 25));
    EXPECT_TRUE(Refuses("demosaic", edge, 1, 2));
    EXPECT_TRUE(Refuses("picture.layout", [](SChainCase& c) {
        c.description.demosaic = VEK_CHAIN_DEMOSAIC_EDGE;
        c.picture.layout = VEK_CHAIN_MONO;
    }));
    EXPECT_TRUE(Takes([](SChainCase& c) {
        c.description.demosaic = VEK_CHAIN_DEMOSAIC_EDGE;
        c.frame.format = VEK_TRANSFER_MONO8;
    }));
}

TEST_F(CChainDescription, DepthsOfTheChain) {
    const auto depths = [&](const Change& change) {
        SChainCase with;
        change(with);
        const SMadePlan made = createPlan(mHandle, with.description);
        EXPECT_NE(nullptr, made.plan) << made.reason;
        const VekChainTraits traits = traitsOf(made.plan);
        return std::pair(traits.workingDepth, traits.depth);
    };
    using Depths = std::pair<std::uint32_t, std::uint32_t>;
    EXPECT_EQ(Depths(8, 8), depths([](SChainCase&) {}));
    EXPECT_EQ(Depths(10, 10), depths([](SChainCase& c) { c.frame.format = VEK_TRANSFER_RAW10_PACKED; }));
    EXPECT_EQ(Depths(10, 16), depths([](SChainCase& c) {
                  c.frame.format = VEK_TRANSFER_RAW10;
                  c.picture.depth = 16;
              }));
    EXPECT_EQ(Depths(12, 12), depths([](SChainCase& c) { c.description.levels = &c.levels; }));
    EXPECT_EQ(Depths(12, 8), depths([](SChainCase& c) { c.description.tone = &c.tone; }));
    EXPECT_EQ(Depths(8, 8), depths([](SChainCase& c) {
                  c.description.tone = &c.tone;
                  c.description.workingDepth = 8;
              }));
    EXPECT_EQ(Depths(12, 12), depths([](SChainCase& c) {
                  c.frame.format = VEK_TRANSFER_RAW16;
                  c.description.workingDepth = 12;
              }));
    EXPECT_EQ(Depths(12, 8), depths([](SChainCase& c) {
                  c.frame.format = VEK_TRANSFER_RAW12;
                  c.picture.layout = VEK_CHAIN_NV12;
              }));
}

TEST_F(CChainDescription, OtherMembers) {
    EXPECT_TRUE(Refuses("mirror", [](SChainCase& c) { c.description.mirror = 4; }));
    EXPECT_TRUE(Refuses("statistics", [](SChainCase& c) { c.description.statistics = 2; }));
    EXPECT_TRUE(Refuses("workingDepth", [](SChainCase& c) { c.description.workingDepth = 10; }));
    EXPECT_TRUE(Refuses("workingDepth", [](SChainCase& c) {
        c.frame.format = VEK_TRANSFER_RAW10;
        c.description.workingDepth = 8;
    }));
    EXPECT_TRUE(Refuses("workingDepth", [](SChainCase& c) {
        c.description.levels = &c.levels;
        c.description.workingDepth = 8;
    }));
    EXPECT_TRUE(Refuses("linearMatrix", [](SChainCase& c) {
        c.description.linearMatrix = &c.matrix;
        c.description.stages = VEK_CHAIN_COLOR_MATRIX;
    }));
    EXPECT_TRUE(Refuses("levels.black", [](SChainCase& c) {
        c.levels.black[3] = 4096;
        c.description.levels = &c.levels;
    }));
    EXPECT_TRUE(Refuses("levels.gain", [](SChainCase& c) {
        c.levels.gain[0] = 32768;
        c.description.levels = &c.levels;
    }));
    EXPECT_TRUE(Refuses("levels.pedestal", [](SChainCase& c) {
        c.levels.pedestal = 4096;
        c.description.levels = &c.levels;
    }));
    EXPECT_TRUE(Refuses("linearMatrix.offset", [](SChainCase& c) {
        c.matrix.offset[1] = 16384;
        c.description.linearMatrix = &c.matrix;
    }));
}

} // namespace
} // namespace vek::test
