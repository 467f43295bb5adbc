// SPDX-License-Identifier: Apache-2.0
#include "Program.h"
#include "support/Files.h"

#include <nlohmann/json.hpp>

namespace vek::test {

namespace {

class Measure : public CFileTest {
protected:
    static nlohmann::json Run(const Arguments& arguments, const std::vector<std::uint8_t>& in = {}) {
        return printedJson(joined({{"measure"}, arguments, {"--json"}}), {.in = in});
    }
};

TEST_F(Measure, PlacesAreNamedByTheColorArray) {
    const std::string file = Write("cell.raw", {10, 20, 30, 40});
    const auto averages = [&](const char* colorArray) {
        return Run({file, "-W", "2", "-H", "2", "-f", "raw8", "-a", colorArray})["averages"];
    };
    EXPECT_EQ(averages("rggb"), (nlohmann::json{{"R", 10}, {"Gr", 20}, {"Gb", 30}, {"B", 40}}));
    EXPECT_EQ(averages("grbg"), (nlohmann::json{{"Gr", 10}, {"R", 20}, {"B", 30}, {"Gb", 40}}));
    EXPECT_EQ(averages("gbrg"), (nlohmann::json{{"Gb", 10}, {"B", 20}, {"R", 30}, {"Gr", 40}}));
    EXPECT_EQ(averages("bggr"), (nlohmann::json{{"B", 10}, {"Gb", 20}, {"Gr", 30}, {"R", 40}}));
    const nlohmann::json mono = Run({file, "-W", "2", "-H", "2", "-f", "mono8"});
    EXPECT_EQ(mono["mean"], 25);
    EXPECT_FALSE(mono.contains("averages"));
}

TEST_F(Measure, RegionsAreCutAtTheEdge) {
    // 3 x 2 words of 12 bits.
    const std::string file = Write("words.raw", littleEndian({100, 200, 300, 400, 500, 4095}));
    const nlohmann::json corner = Run({file, "-W", "3", "-H", "2", "-f", "raw12", "-a", "rggb", "--region", "2,1,9,9"});
    EXPECT_EQ(corner["region"], (nlohmann::json{{"x", 2}, {"y", 1}, {"width", 1}, {"height", 1}}));
    EXPECT_EQ(corner["mean"], 4095);
    EXPECT_EQ(corner["averages"], (nlohmann::json{{"R", 0}, {"Gr", 0}, {"Gb", 4095}, {"B", 0}}));
}

TEST_F(Measure, PackedRows) {
    // 0x321 and 0x654: 21 | 3, 4 | 65. One row of two pixels, the second row 1 and 2.
    const std::vector<std::uint8_t> bytes = {0x21, 0x43, 0x65, 0x01, 0x20, 0x00};
    const std::string file = Write("packed.raw", bytes);
    const nlohmann::json whole = Run({file, "-W", "2", "-H", "2", "-f", "raw12p", "-a", "rggb"});
    EXPECT_EQ(whole["averages"], (nlohmann::json{{"R", 0x321}, {"Gr", 0x654}, {"Gb", 1}, {"B", 2}}));
    EXPECT_EQ(whole["fromFirstColumn"], false);
    // Read from the row's first pixel, counted as the second column's.
    const nlohmann::json second =
        Run({file, "-W", "2", "-H", "2", "-f", "raw12p", "-a", "rggb", "--region", "1,0,1,1"});
    EXPECT_EQ(second["averages"]["Gr"], 0x321);
    EXPECT_EQ(second["fromFirstColumn"], true);
    EXPECT_EQ(Run({"-", "-W", "2", "-H", "2", "-f", "mono12p"}, bytes)["mean"], (0x321 + 0x654 + 3) / 4.0);
    const SResult text = runVekcam({"measure", file, "-W", "2", "-H", "2", "-f", "mono12p", "--region", "1,0,1,1"});
    expectPart(text.out, "note: packed rows");
}

TEST_F(Measure, FramesBehindEachOther) {
    const std::string file = Write("frames.raw", {99, 1, 2, 3, 4, 5, 6});
    EXPECT_EQ(Run({file, "-W", "3", "-H", "1", "-f", "mono8", "--src-offset", "1", "--frame", "1"})["mean"], 5);
    const SResult result = runVekcam({"measure", file, "-W", "3", "-H", "1", "-f", "mono8", "--frame", "2"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err, "vekcam: " + file + ": too short: 9 bytes needed, 7 there\n");
}

TEST_F(Measure, SimulatedCameraInEveryFormat) {
    const double mean = Run({"--sim", "line-2m", "-f", "raw10"})["mean"].get<double>();
    EXPECT_GT(mean, 20);
    EXPECT_LT(mean, 1023);
    EXPECT_NEAR(Run({"--sim", "line-2m", "-f", "raw10p"})["mean"].get<double>(), mean, 0.01);
    EXPECT_NEAR(Run({"--sim", "line-2m", "-f", "raw8"})["mean"].get<double>(), mean / 4, 0.5);
    EXPECT_NEAR(Run({"--sim", "line-2m", "-f", "raw16"})["mean"].get<double>(), mean * 64, 1);
    EXPECT_EQ(Run({"--sim"})["frame"], "simulated camera global-1m");
    EXPECT_EQ(Run({"--sim=clock-vga", "-W", "30", "-H", "20"})["region"]["width"], 30);
}

} // namespace

} // namespace vek::test
