// SPDX-License-Identifier: Apache-2.0
#include "Program.h"
#include "support/Files.h"

#include "VekTrgApi.h"

#include <array>
#include <cmath>
#include <sstream>

namespace vek::test {

namespace {

constexpr const char* kHead = "frame,light,target,level,exposure_clocks,exposure_seconds,gain,gain_db,"
                              "exposure_changed,gain_changed,mode";
enum Column : std::size_t {
    kFrame,
    kLight,
    kTarget,
    kLevel,
    kExposure,
    kSeconds,
    kGain,
    kDb,
    kChanged,
    kGainChanged,
    kMode
};
using Row = std::array<double, 11>;

const Arguments kAlc160 = {"alc", "--width", "160", "--height", "120"};

std::string tableOf(const Arguments& arguments) {
    return printed(joined({kAlc160, arguments}));
}

std::vector<Row> rowsOf(const std::string& csv) {
    std::istringstream lines(csv);
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(line, kHead);
    std::vector<Row> rows;
    while (std::getline(lines, line)) {
        std::istringstream fields(line);
        Row row{};
        for (double& value : row) {
            std::string field;
            std::getline(fields, field, ',');
            value = std::stod(field);
        }
        EXPECT_TRUE(fields.eof()) << line;
        rows.push_back(row);
    }
    return rows;
}

std::vector<Row> runForRows(const Arguments& arguments) {
    return rowsOf(tableOf(joined({arguments, {"--csv", "-"}})));
}

TEST(Alc, OneShotEndsWhenTheLevelIsReached) {
    const std::vector<Row> rows =
        runForRows({"--once", "--start-exposure", "500", "--light", "10", "--max-exposure", "20000"});
    ASSERT_GT(rows.size(), 2U);
    ASSERT_LT(rows.size(), 20U);
    EXPECT_EQ(rows.front()[kExposure], 500);
    EXPECT_EQ(rows.front()[kMode], VEK_ALC_EXPOSURE_AND_GAIN_ONCE);
    EXPECT_EQ(rows.front()[kChanged], 1);
    EXPECT_EQ(rows.back()[kMode], VEK_ALC_OFF);
    EXPECT_EQ(rows.back()[kChanged] + rows.back()[kGainChanged], 0);
    EXPECT_LE(std::abs(std::round(rows.back()[kLevel]) - 128), 5);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i][kFrame], static_cast<double>(i));
        EXPECT_EQ(rows[i][kTarget], 128);
        EXPECT_EQ(rows[i][kLight], 10);
        EXPECT_NEAR(rows[i][kSeconds], rows[i][kExposure] * 1e-6, 1e-9); // this model counts microseconds
        EXPECT_NEAR(rows[i][kDb], rows[i][kGain] * 0.1, 1e-3);
    }
}

TEST(Alc, OneShotThatIsThereAtOnceShowsItsStep) {
    // This exposure gives the chart a mean of 31.
    const Arguments arguments = {"--once", "--target", "31", "--max-exposure", "20000"};
    const std::vector<Row> rows = runForRows(arguments);
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0][kFrame], 0);
    EXPECT_EQ(rows[0][kExposure], 10000);
    EXPECT_EQ(rows[0][kMode], VEK_ALC_OFF);
    EXPECT_EQ(rows[0][kChanged] + rows[0][kGainChanged], 0);
    EXPECT_NEAR(rows[0][kLevel], 31, 5);
    const std::string step = "    0    31.2       10000    0.010000      0    0.00  -               off";
    const std::string settled = "settled at the first frame: level 31.2, target 31\n";
    EXPECT_TRUE(tableOf(arguments).ends_with("mode\n" + step + "\n" + settled));
    std::vector<std::string> onTerminal = {"alc", "--width", "160", "--height", "120"};
    onTerminal.insert(onTerminal.end(), arguments.begin(), arguments.end());
    const std::string seen = runVekcam(onTerminal, {.outIsTerminal = true, .environment = {"TERM=xterm"}}).out;
    expectPart(seen, step + "    ...#=");
    expectPart(seen, "settled at the first frame");
    // No light at all is a level that is there at once, too, and is not the target.
    const std::string dark =
        tableOf({"--once", "--light", "0", "--max-exposure", "1", "--start-exposure", "1", "--mode", "exposure"});
    expectPart(dark, "\nout of reach at the first frame: level ");
}

TEST(Alc, ContinuousModesTakeAllFrames) {
    EXPECT_EQ(runForRows({"--frames", "7"}).size(), 7U);
    EXPECT_EQ(runForRows({"--frames", "8", "--mode", "3"}).back()[kMode], VEK_ALC_GAIN);
    EXPECT_EQ(runForRows({"--frames", "1", "--mode", "exposure"}).back()[kMode], VEK_ALC_EXPOSURE);
    EXPECT_EQ(runForRows({"--frames", "1", "--mode", "gain", "--once"}).back()[kMode], VEK_ALC_GAIN_ONCE);
    EXPECT_EQ(runForRows({"--frames", "1", "--mode", "6", "--once"}).back()[kMode], VEK_ALC_GAIN_ONCE);
    EXPECT_EQ(runForRows({"--frames", "1", "--mode", "both-once"}).back()[kMode], VEK_ALC_EXPOSURE_AND_GAIN_ONCE);
}

TEST(Alc, LimitsAndTargetAreTheGivenOnes) {
    const std::vector<Row> rows =
        runForRows({"--target", "60", "--min-gain", "20", "--max-gain", "30", "--min-exposure", "100", "--max-exposure",
                    "900", "--start-exposure", "50", "--start-gain", "10", "--frames", "12"});
    EXPECT_EQ(rows.front()[kGain], 10);
    for (std::size_t i = 1; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i][kTarget], 60);
        EXPECT_GE(rows[i][kExposure], 100);
        EXPECT_LE(rows[i][kExposure], 900);
        EXPECT_GE(rows[i][kGain], 20);
        EXPECT_LE(rows[i][kGain], 30);
    }
}

TEST(Alc, TableAndSettlingForEachLight) {
    const std::string table = tableOf({"--light-steps", "5:8,25:16", "--light", "4", "--max-exposure", "20000",
                                       "--start-exposure", "2000", "--frames", "45"});
    EXPECT_TRUE(table.starts_with("frame   level    exposure     seconds   gain      dB  changes         mode\n"));
    EXPECT_EQ(table.find('\033'), std::string::npos); // no terminal
    for (const char* const part : {"\nlight 4: ", "\nlight 8: settled after ", "\nlight 16: settled after "}) {
        expectPart(table, part);
    }
    EXPECT_NE(tableOf({"--mode", "exposure", "--light", "0", "--frames", "30"}).find("out of reach"),
              std::string::npos);
    EXPECT_NE(tableOf({"--start-exposure", "1", "--frames", "2"}).find("not settled"), std::string::npos);
}

TEST(Alc, RegionDecidesTheLevel) {
    const auto level = [](const char* region) {
        return runForRows({"--frames", "1", "--region", region}).front()[kLevel];
    };
    // The chart's grey patches, the lightest and the darkest one; and the same region cut at the image's edge.
    EXPECT_GT(level("5,60,8,8"), 3 * level("87,60,8,8"));
    EXPECT_EQ(level("150,110,10,10"), level("150,110,500,500"));
}

class AlcFiles : public CFileTest {};

TEST_F(AlcFiles, CsvBesideTheTable) {
    const std::string table = tableOf({"--frames", "3", "--csv", Path("run.csv")});
    EXPECT_EQ(rowsOf(Content("run.csv")).size(), 3U);
    expectPart(table, "\n    2 ");
    const SResult refused = runVekcam({"alc", "--frames", "1", "--csv", Path("none/run.csv")});
    expectOneLine(refused, 1);
}

TEST_F(AlcFiles, WhatIsNoCameraFailsWithOneLine) {
    for (const char* const command : {"alc", "units"}) {
        for (const std::string& device : {Path("missing"), Write("file", {1})}) {
            expectOneLine(runVekcam({command, "--device", device}), 1);
        }
    }
}

TEST(Alc, CameraThatRefusesAStartValue) {
    const SResult result = runVekcam({"alc", "--start-gain", "241"}); // 240 is this model's largest
    expectOneLine(result, 1);
}

} // namespace

} // namespace vek::test
