// SPDX-License-Identifier: Apache-2.0
// vekcam defects and vekcam units.
#include "Program.h"

#include "sim/CameraModel.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace vek::test {

namespace {

std::string defects(const Arguments& arguments) {
    return printed(joined({{"defects", "detect"}, arguments}));
}

TEST(Defects, SlotsTakeWhatTheyCan) {
    const std::string few = defects({});
    expectPart(few, "simulated camera global-1m\n");
    expectPart(few, " 20 of 32 used\n");
    expectPart(few, " 20 before, 0 after\n");
    const std::string many = defects({"--sim", "line-2m", "--hot", "30", "--seed", "9"});
    expectPart(many, " 8 of 8 used\n");
    expectPart(many, " 30 before, 22 after\n");
    const std::string none = defects({"--sim", "global-2m", "--hot", "5"});
    expectPart(none, " 0 of 0 used\n");
    expectPart(none, " 5 before, 5 after\n");
    expectPart(defects({"--hot", "0"}), " 0 before, 0 after\n");
    expectPart(defects({"--threshold", "256"}), " 0 of 32 used\n");
}

TEST(Defects, SeedDecidesThePlaces) {
    EXPECT_EQ(defects({"--seed", "3"}), defects({"--seed", "3"}));
    EXPECT_NE(defects({"--seed", "3"}), defects({"--seed", "4"}));
}

nlohmann::json units(const Arguments& arguments) {
    return printedJson(joined({{"units", "--json"}, arguments}));
}

TEST(Units, RangesAreTheModels) {
    for (const sim::SCameraModel& model : sim::cameraModels()) {
        SCOPED_TRACE(std::string(model.name));
        const nlohmann::json ranges = units({"--sim", std::string(model.name)})["ranges"];
        EXPECT_EQ(ranges["gain"]["min"]["value"], model.initialGain);
        EXPECT_EQ(ranges["gain"]["max"]["value"], model.maxGain);
        EXPECT_NEAR(ranges["gain"]["max"]["dB"].get<double>(), sim::gainDb(model, model.maxGain), 1e-3);
        EXPECT_EQ(ranges["exposure"]["max"]["clocks"], model.maxLongExposure);
        EXPECT_LE(ranges["exposure"]["maxShort"]["clocks"], model.maxLongExposure);
        EXPECT_EQ(ranges["digitalGain"]["max"]["value"], model.maxDigitalGain);
        EXPECT_NEAR(ranges["digitalGain"]["max"]["times"].get<double>(), sim::digitalGain(model, model.maxDigitalGain),
                    1e-3);
    }
}

TEST(Units, BothWays) {
    // Microseconds, 0.1 dB, 64ths.
    const nlohmann::json json =
        units({"--exposure-time", "0.5", "--exposure-clocks", "10", "--gain", "100", "--digital-gain", "128",
               "--digital-times", "1.5", "--fps", "30"})["conversions"];
    EXPECT_EQ(json["exposureTime"], (nlohmann::json{{"seconds", 0.5}, {"clocks", 500000}, {"backSeconds", 0.5}}));
    EXPECT_EQ(json["exposureClocks"]["clocks"], 10);
    EXPECT_NEAR(json["exposureClocks"]["seconds"].get<double>(), 0.000022, 1e-9); // the shortest
    EXPECT_EQ(json["exposureClocks"]["backClocks"], 22);
    EXPECT_EQ(json["gain"], (nlohmann::json{{"value", 100}, {"dB", 10}}));
    EXPECT_EQ(json["digitalGain"], (nlohmann::json{{"value", 128}, {"times", 2}, {"backValue", 128}}));
    EXPECT_EQ(json["digitalTimes"], (nlohmann::json{{"times", 1.5}, {"value", 96}, {"backTimes", 1.5}}));
    EXPECT_EQ(json["fps"], (nlohmann::json{{"fps", 30}, {"vBlankLines", 500}})); // 1500 lines of 1650 clocks
    EXPECT_TRUE(units({"--sim", "line-2m-mono", "--fps", "5"})["conversions"]["fps"]["vBlankLines"].is_null());
    EXPECT_EQ(units({})["conversions"], nlohmann::json::object());
}

TEST(Units, DecibelsGiveTheNearestGainSetting) {
    // 0.1 dB a step, 0 .. 240.
    const auto valueOf = [](const char* decibels) {
        return units({"--gain-db", decibels})["conversions"]["gainDb"]["value"].get<int>();
    };
    EXPECT_EQ(valueOf("10"), 100);
    EXPECT_EQ(valueOf("10.06"), 101);
    EXPECT_EQ(valueOf("-3"), 0);
    EXPECT_EQ(valueOf("99"), 240);
    EXPECT_EQ(units({"--gain-db", "10.06"})["conversions"]["gainDb"]["backDb"].get<float>(), 10.1F);
}

TEST(Units, TextHasTheSameValues) {
    const std::string text = printed({"units", "--exposure-time", "0.5", "--gain", "100", "--fps", "30"});
    for (const char* const part : {"simulated camera global-1m", "16000000 clocks = 16 s", "0 .. 240 = 0 .. 24 dB",
                                   "0.5 s -> 500000 clocks -> 0.5 s", "100 -> 10 dB", "500 lines of blanking"}) {
        expectPart(text, part);
    }
}

} // namespace

} // namespace vek::test
