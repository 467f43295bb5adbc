// SPDX-License-Identifier: Apache-2.0
#include "client/Errors.h"
#include "client/stages/Conversion.h"

#include <gtest/gtest.h>

namespace vek::test {

namespace {

client::SConversion conversionOf(unsigned format, unsigned short colorArray) {
    client::SConversion conversion;
    conversion.format = transferFormat(format);
    conversion.width = 4;
    conversion.height = 4;
    conversion.colorArray = colorArray;
    conversion.method = VEK_DEMOSAIC_BILINEAR_SIMPLE;
    return conversion;
}

unsigned bitsOf(client::SConversion conversion) {
    client::complete(conversion);
    return conversion.bitsOut;
}

/// What does not fit, the settings in brackets; empty where all does.
std::string misfitOf(client::SConversion conversion) {
    try {
        client::complete(conversion);
    } catch (const client::CMisfit& misfit) {
        return misfit.Text([](std::string_view name) { return '[' + std::string(name) + ']'; });
    }
    return {};
}

} // namespace

TEST(ClientConversion, BitsOfAPicture) {
    client::SConversion conversion = conversionOf(VEK_TRANSFER_RAW12, VEK_COLOR_ARRAY_RGGB);
    EXPECT_EQ(bitsOf(conversion), 16U);
    conversion.display = true;
    EXPECT_EQ(bitsOf(conversion), 8U);
    conversion.bitsOut = 16;
    EXPECT_EQ(bitsOf(conversion), 16U);
    conversion = conversionOf(VEK_TRANSFER_RAW12, VEK_COLOR_ARRAY_RGGB);
    conversion.stages.hue = 10;
    EXPECT_EQ(bitsOf(conversion), 8U);
    EXPECT_EQ(bitsOf(conversionOf(VEK_TRANSFER_RAW12_PACKED, VEK_COLOR_ARRAY_RGGB)), 8U);
}

TEST(ClientConversion, StagesOfAFileThatDoNothingToTheFrameAreDropped) {
    client::SConversion conversion = conversionOf(VEK_TRANSFER_MONO12, VEK_COLOR_ARRAY_MONO);
    conversion.stages.file = {.balance = true, .rawGamma = true, .color = true};
    client::complete(conversion);
    EXPECT_FALSE(conversion.stages.Any());
    EXPECT_EQ(conversion.bitsOut, 16U);
}

TEST(ClientConversion, MisfitsNameTheirSettings) {
    client::SConversion conversion = conversionOf(VEK_TRANSFER_MONO8, VEK_COLOR_ARRAY_MONO);
    conversion.black = 9;
    conversion.white = 9;
    EXPECT_EQ(misfitOf(conversion), "[black] 9 is not below [white] 9");
    conversion = conversionOf(VEK_TRANSFER_MONO8, VEK_COLOR_ARRAY_MONO);
    conversion.corrections.noise = VEK_NOISE_COMPLEX;
    EXPECT_EQ(misfitOf(conversion), "[noise] complex needs [dark]");
    conversion = conversionOf(VEK_TRANSFER_MONO8, VEK_COLOR_ARRAY_MONO);
    conversion.stages.hue = 10;
    EXPECT_EQ(misfitOf(conversion), "[hue] needs a colour picture: a mono frame is grey");
    conversion = conversionOf(VEK_TRANSFER_BGR8, 0);
    conversion.stages.mirror = VEK_MIRROR_VERTICAL;
    EXPECT_EQ(misfitOf(conversion), "[mirror] needs a raw or mono frame: format bgr8 is colour already");
    EXPECT_EQ(misfitOf(conversionOf(VEK_TRANSFER_BGR8, 0)), "");
}

TEST(ClientConversion, DepthsThatDoNotFit) {
    client::SConversion conversion = conversionOf(VEK_TRANSFER_RAW16, VEK_COLOR_ARRAY_RGGB);
    conversion.depth = 12;
    EXPECT_EQ(misfitOf(conversion), "");
    conversion.depth = 16;
    EXPECT_EQ(misfitOf(conversion), "[depth] 16 needs a grey picture: colours have 12 bits at most");
    conversion.method = VEK_DEMOSAIC_MONO;
    EXPECT_EQ(misfitOf(conversion), "");
    conversion.stages.gamma = 100;
    EXPECT_EQ(misfitOf(conversion), "[depth] 16 does not go with image stages, which work at 8 bits");
    conversion.stages = {};
    conversion.method = VEK_DEMOSAIC_BICUBIC;
    conversion.depth = 12;
    EXPECT_EQ(misfitOf(conversion), "[depth] 12 does not go with method bicubic, which works at 8 bits");
    conversion = conversionOf(VEK_TRANSFER_BGR8, 0);
    conversion.depth = 12;
    EXPECT_EQ(misfitOf(conversion), "[depth] 12 needs a raw or mono frame: format bgr8 is colour already");
    conversion.depth = 8;
    EXPECT_EQ(misfitOf(conversion), "");
}

TEST(ClientConversion, DepthOfAPicture) {
    client::SConversion conversion = conversionOf(VEK_TRANSFER_RAW10_PACKED, VEK_COLOR_ARRAY_RGGB);
    EXPECT_EQ(client::workingDepth(conversion), 8);
    conversion.depth = 12;
    EXPECT_EQ(client::workingDepth(conversion), 10);
    EXPECT_EQ(bitsOf(conversion), 16U);
    conversion = conversionOf(VEK_TRANSFER_RAW16, VEK_COLOR_ARRAY_MONO);
    EXPECT_EQ(client::workingDepth(conversion), 12);
    conversion.depth = 16;
    EXPECT_EQ(client::workingDepth(conversion), 16);
    conversion.depth = 8;
    EXPECT_EQ(client::workingDepth(conversion), 8);
    conversion.depth = 0;
    conversion.format = chainFormat(VEK_CHAIN_CSI2_RAW14);
    EXPECT_EQ(client::workingDepth(conversion), 12);
}

TEST(ClientConversion, MethodsNeedTheirBlocks) {
    client::SConversion conversion = conversionOf(VEK_TRANSFER_RAW8, VEK_COLOR_ARRAY_RGGB);
    conversion.method = VEK_DEMOSAIC_NEAREST_NEIGHBOR2;
    EXPECT_NO_THROW(client::checkMethod(conversion));
    conversion.width = 3;
    EXPECT_THROW(client::checkMethod(conversion), client::CBadArguments);
    conversion.colorArray = VEK_COLOR_ARRAY_MONO;
    EXPECT_NO_THROW(client::checkMethod(conversion));
}

TEST(ClientConversion, PictureOfAFrame) {
    const client::CLibraryHandle library(-1);
    client::SConversion conversion = conversionOf(VEK_TRANSFER_RAW8, VEK_COLOR_ARRAY_RGGB);
    conversion.width = 2;
    conversion.height = 2;
    conversion.method = VEK_DEMOSAIC_NONE;
    client::complete(conversion);
    const std::vector<std::uint8_t> bytes = {10, 20, 30, 40};
    EXPECT_EQ(client::CConverter(library, conversion).Picture(bytes).samples,
              (std::vector<std::uint16_t>{10, 0, 0, 0, 20, 0, 0, 30, 0, 0, 0, 40}));
}

} // namespace vek::test
