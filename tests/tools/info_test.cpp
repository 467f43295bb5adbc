// SPDX-License-Identifier: Apache-2.0
#include "Program.h"
#include "support/Files.h"

#include "VekTrgApi.h"
#include "sim/SimulatedDriver.h"

#include <linux/videodev2.h>
#include <nlohmann/json.hpp>

#include <cstdio>

namespace vek::test {

namespace {

nlohmann::json controlOf(sim::CSimulatedDriver& driver, std::uint32_t id) {
    v4l2_control control{};
    control.id = id;
    return driver.Ioctl(VIDIOC_G_CTRL, &control) == 0 ? nlohmann::json(control.value) : nlohmann::json();
}

TEST(Info, JsonHasTheCamerasValues) {
    for (const sim::SCameraModel& model : sim::cameraModels()) {
        SCOPED_TRACE(std::string(model.name));
        sim::CSimulatedDriver driver(model);
        const nlohmann::json info = printedJson({"info", "--json", "--sim", std::string(model.name)});
        EXPECT_EQ(info["camera"], "simulated camera " + std::string(model.name));
        EXPECT_EQ(info["libraryVersion"], 2);
        EXPECT_EQ(info["width"], model.width);
        EXPECT_EQ(info["height"], model.height);
        EXPECT_EQ(info["colorArray"]["code"], model.colorArray);
        EXPECT_EQ(info["sensorColorArray"], info["colorArray"]);
        EXPECT_EQ(info["transferFormat"]["code"], driver.TransferFormat());
        EXPECT_EQ(info["bitsPerPixel"], 16);
        EXPECT_EQ(info["rawImageSize"], driver.FrameSize());
        EXPECT_EQ(info["clockHz"], model.clockHz);
        EXPECT_EQ(info["lineClocks"], model.totalHClock);
        EXPECT_EQ(info["frameLines"], controlOf(driver, VEK_CID_TOTAL_V_LINE));
        EXPECT_EQ(info["binning"]["horizontal"], 0);
        EXPECT_EQ(info["binning"]["vertical"], 0);
        EXPECT_EQ(info["gain"], driver.GainValue());
        EXPECT_EQ(info["exposureClocks"], driver.ExposureValue());
        EXPECT_EQ(info["maxShortExposureClocks"], controlOf(driver, VEK_CID_MAX_SHORT_EXPOSURE_CLOCK));
        EXPECT_EQ(info["vBlankLines"], controlOf(driver, VEK_CID_VBLANK)); // null where the model has none
    }
}

TEST(Info, JsonNamesWhatTheCodesMean) {
    // global-1m: 12 bits, RGGB. line-2m: 10 bits, BGGR. clock-vga: 10 bits, monochrome.
    const nlohmann::json deep = printedJson({"info", "--sim", "--json"});
    EXPECT_EQ(deep["camera"], "simulated camera global-1m");
    EXPECT_EQ(deep["colorArray"]["name"], "rggb");
    EXPECT_EQ(deep["transferFormat"]["name"], "raw12");
    EXPECT_EQ(deep["pixelFormat"]["name"], "BayerRG12");
    EXPECT_EQ(deep["pixelFormat"]["value"], "0x01100011");
    const nlohmann::json blueFirst = printedJson({"info", "--sim", "line-2m", "--json"});
    EXPECT_EQ(blueFirst["colorArray"]["name"], "bggr");
    EXPECT_EQ(blueFirst["pixelFormat"]["name"], "BayerBG10");
    EXPECT_EQ(blueFirst["pixelFormat"]["value"], "0x0110000F");
    const nlohmann::json gray = printedJson({"info", "--json", "--sim=clock-vga"});
    EXPECT_EQ(gray["colorArray"]["name"], "mono");
    EXPECT_EQ(gray["pixelFormat"]["name"], "Mono10");
}

TEST(Info, TextHasTheSameValues) {
    const std::string text = printed({"info", "--sim"});
    for (const char* const part :
         {"simulated camera global-1m", "1280 x 960", "rggb (2)", "raw12 (3)", "BayerRG12 (0x01100011)",
          "2457600 bytes", "74250000 Hz", "1650 clocks", "1000 lines", "vertical blanking"}) {
        expectPart(text, part);
    }
}

class InfoOfAFile : public CFileTest {};

TEST_F(InfoOfAFile, WhatIsNoCameraFailsWithOneLine) {
    const std::string file = Write("file", {1, 2, 3});
    for (const std::string& device : {file, Path("missing"), Path(""), std::string("/dev/null")}) {
        expectRefused(runVekcam({"info", "--device", device}), 1, device);
    }
    EXPECT_NE(runVekcam({"info", "--device", file}).err.find("not a trigger camera"), std::string::npos);
    EXPECT_EQ(readFile(file), (std::vector<std::uint8_t>{1, 2, 3}));
}

} // namespace

} // namespace vek::test
