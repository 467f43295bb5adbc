// SPDX-License-Identifier: Apache-2.0
// The names against the codes of the public header, and against those of the simulated camera, which has its own.
#include "client/Errors.h"
#include "client/names/Names.h"

#include "sim/SimulatedSensor.h"
#include "sim/ValueText.h"

#include <gtest/gtest.h>

#include <set>

namespace vek::test {

TEST(ClientNames, TablesFollowTheCodesWithoutAGap) {
    for (const auto names :
         {client::colorArrays(), client::bayerColorArrays(), client::demosaicMethods().first(kDemosaicMethods.size()),
          client::noiseModes(), client::alcModes(), client::alcModesAndOff()}) {
        std::set<std::string_view> different;
        for (std::size_t i = 0; i < names.size(); ++i) {
            EXPECT_EQ(names[i].code, names[0].code + i);
            EXPECT_EQ(client::findCode(names, names[i].name), names[i].code);
            different.insert(names[i].name);
        }
        EXPECT_EQ(different.size(), names.size());
    }
    EXPECT_EQ(client::colorArrays().back().code, unsigned{VEK_COLOR_ARRAY_YCRCB411_BT709});
    EXPECT_EQ(client::demosaicMethods().back().code, unsigned{VEK_CHAIN_DEMOSAIC_EDGE});
    EXPECT_EQ(client::alcModes().back().code, unsigned{VEK_ALC_GAIN_ONCE});
}

TEST(ClientNames, NumbersOfATable) {
    EXPECT_EQ(client::numberList(client::demosaicMethods()), "0 to 6 or 16");
    EXPECT_EQ(client::numberList(client::bayerColorArrays()), "1 to 5");
    EXPECT_EQ(client::numberList({}), "");
}

TEST(ClientNames, ColorArraysAreCalledAsTheSimulatedCameraCallsThem) {
    for (const client::SName& name : client::bayerColorArrays()) {
        EXPECT_EQ(name.name, sim::kColorArrayNames.at(name.code - VEK_COLOR_ARRAY_MONO));
    }
}

TEST(ClientNames, TextsAreTakenAsTheSimulatedCameraTakesThem) {
    const auto methods = client::demosaicMethods().first(kDemosaicMethods.size());
    for (const char* const text :
         {"0",  "3",  "6",   "7", "03",         "0x3",  "0X06", "0x",   "x3",    "-1",  "+3",
          " 3", "3 ", "3.0", "",  "4294967299", "none", "NONE", "nOnE", "none ", "non", "nonee"}) {
        std::optional<unsigned> expected = sim::readCode(text);
        if (expected && *expected >= methods.size()) {
            expected = std::nullopt;
        }
        if (sim::isName(text, "none")) {
            expected = VEK_DEMOSAIC_NONE;
        }
        EXPECT_EQ(client::findCode(methods, text), expected) << text;
    }
}

TEST(ClientNames, EveryPixelFormatOfATransferFormatHasAName) {
    std::set<std::string_view> names;
    for (const SPixelFormatName& name : kPixelFormatNames) {
        EXPECT_TRUE(names.insert(name.name).second) << name.name;
        EXPECT_EQ(client::pixelFormatName(name.value), name.name);
    }
    for (const STransferFormat& format : kTransferFormats) {
        EXPECT_EQ(client::findTransferFormat(format.name), &format);
        for (const int pixelFormat : format.pixelFormats) {
            EXPECT_NE(client::pixelFormatName(pixelFormat), "unknown") << format.name;
        }
    }
    EXPECT_EQ(client::pixelFormatName(12345), "unknown");
    for (const STransferFormat& format : kChainFormats) {
        EXPECT_EQ(client::findTransferFormat(format.name), nullptr);
        EXPECT_EQ(client::findChainFormat(format.name), &format);
        EXPECT_EQ(client::findChainFormat(std::to_string(format.code)), &format);
    }
    EXPECT_EQ(client::colorArrayName(0), "unknown");
}

TEST(ClientNames, ColorArrayOfAFrame) {
    const auto of = [](unsigned format, std::optional<unsigned> given) {
        return client::frameColorArray(*transferFormat(format), given);
    };
    EXPECT_EQ(of(VEK_TRANSFER_RAW8, VEK_COLOR_ARRAY_BGGR), VEK_COLOR_ARRAY_BGGR);
    EXPECT_EQ(of(VEK_TRANSFER_RAW12_PACKED, VEK_COLOR_ARRAY_MONO), VEK_COLOR_ARRAY_MONO);
    EXPECT_EQ(of(VEK_TRANSFER_MONO16, std::nullopt), VEK_COLOR_ARRAY_MONO);
    EXPECT_EQ(of(VEK_TRANSFER_BGR10, std::nullopt), 0);
    EXPECT_EQ(of(VEK_TRANSFER_YCRCB422, std::nullopt), VEK_COLOR_ARRAY_YCRCB422);
    EXPECT_THROW(of(VEK_TRANSFER_RAW8, std::nullopt), client::CMisfit);
    EXPECT_THROW(of(VEK_TRANSFER_MONO8, VEK_COLOR_ARRAY_RGGB), client::CMisfit);
    EXPECT_THROW(of(VEK_TRANSFER_BGR8, VEK_COLOR_ARRAY_MONO), client::CMisfit);
}

} // namespace vek::test
