// SPDX-License-Identifier: Apache-2.0
// Commands on a device: the simulated camera, preloaded, stands behind a path.
#include "Program.h"
#include "support/Files.h"
#include "support/PngFile.h"

#include "sim/SimulatedDriver.h"

#include <nlohmann/json.hpp>

#include <array>
#include <ostream>

#ifdef VEKCAM_SIM_PRELOAD

namespace vek::test {

namespace {

constexpr const char* kNode = "/dev/vekcam-sim0";

/// Runs a command with --device, and variables of the preloaded camera.
SResult runOnDevice(const Arguments& arguments, const Arguments& variables = {}) {
    return runVekcam(joined({arguments, {"--device", kNode}}),
                     {.environment = joined({variables, {"LD_PRELOAD=" VEKCAM_SIM_PRELOAD}})});
}

std::string replaced(std::string text, const std::string& part, const std::string& by) {
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + by.size())) {
        text.replace(at, part.size(), by);
    }
    return text;
}

/// The command tells the same of the device as of the simulated camera of the tool itself, which has another name.
void expectSameAsSimulated(const Arguments& arguments, const std::string& model) {
    const SResult device = runOnDevice(arguments, {"VEKCAM_SIM_MODEL=" + model});
    expectDone(device);
    const std::string simulated = printed(joined({arguments, {"--sim", model}}));
    expectPart(device.out, kNode);
    EXPECT_EQ(device.out, replaced(simulated, "simulated camera " + model, kNode));
}

TEST(OnADevice, InfoIsTheSame) {
    for (const sim::SCameraModel& model : sim::cameraModels()) {
        expectSameAsSimulated({"info", "--json"}, std::string(model.name));
    }
    expectSameAsSimulated({"info"}, "line-2m");
}

TEST(OnADevice, UnitsAreTheSame) {
    for (const char* const model : {"global-1m", "line-2m", "clock-vga"}) {
        expectSameAsSimulated({"units", "--exposure-time", "0.01", "--gain", "20", "--fps", "10", "--json"}, model);
    }
}

TEST(OnADevice, LuminanceControlTakesTheSameSteps) {
    const Arguments alc = {"alc", "--once",   "--region", "0,0,64,48",        "--start-gain",
                           "3",   "--target", "90",       "--start-exposure", "2000"};
    const SResult device = runOnDevice(alc, {"VEKCAM_SIM_MODEL=clock-vga", "VEKCAM_SIM_SIZE=64x48"});
    expectDone(device);
    EXPECT_EQ(device.out, printed(joined({alc, {"--sim", "clock-vga", "--width", "64", "--height", "48"}})));
    expectPart(device.out, "settled after");
}

class FilesOnADevice : public CFileTest {};

TEST_F(FilesOnADevice, SettingsAreTheSame) {
    const Arguments change = {"--set", "WBMode=manual", "--set", "WBGainR=200"};
    expectDone(runOnDevice(joined({{"settings", "save", Path("device.txt")}, change}), {"VEKCAM_SIM_MODEL=line-2m"}));
    printed(joined({{"settings", "save", Path("sim.txt")}, change, {"--sim", "line-2m"}}));
    EXPECT_EQ(readFile(Path("device.txt")), readFile(Path("sim.txt")));
    expectSameAsSimulated({"settings", "load", Path("sim.txt"), "--json"}, "line-2m");
}

TEST_F(FilesOnADevice, FlatFramesAreTheSameUnderAnEvenWhite) {
    // A PNG file of one white pixel is what the tool's own simulated camera looks at.
    const std::string raw = Write("white.raw", {255});
    expectDone(runVekcam({"convert", raw, "--plain", "-W", "1", "-H", "1", "-f", "mono8", "-o", Path("white.png")}));
    const Arguments calibrate = {"calibrate", "flat", "-n", "3", "-f", "raw12", "--exposure", "9000", "--gain", "7"};
    expectDone(runOnDevice(joined({calibrate, {"-o", Path("device.png"), "--raw", Path("device.raw")}}),
                           {"VEKCAM_SIM_SCENE=" + Path("white.png"), "VEKCAM_SIM_SIZE=80x64", "VEKCAM_SIM_SEED=5",
                            "VEKCAM_SIM_LIGHT=0.5"}));
    printed(joined({calibrate,
                    {"-o", Path("sim.png"), "--raw", Path("sim.raw"), "--width", "80", "--height", "64", "--seed", "5",
                     "--light", "0.5"}}));
    EXPECT_EQ(readFile(Path("device.raw")), readFile(Path("sim.raw")));
    EXPECT_EQ(readPng(Path("device.png")).samples, readPng(Path("sim.png")).samples);
}

TEST_F(FilesOnADevice, DarkFramesAreTheSameWithoutLight) {
    const Arguments calibrate = {"calibrate", "dark", "-n", "2", "-f", "raw10"};
    expectDone(
        runOnDevice(joined({calibrate, {"-o", Path("device.png")}}), {"VEKCAM_SIM_LIGHT=0", "VEKCAM_SIM_SIZE=80x64"}));
    printed(joined({calibrate, {"-o", Path("sim.png"), "--width", "80", "--height", "64"}}));
    EXPECT_EQ(readPng(Path("device.png")).samples, readPng(Path("sim.png")).samples);
}

TEST_F(FilesOnADevice, BothKindsOfCameraInOneProcess) {
    // The preloaded object stands aside where no device is opened, also for the frames that the tool's own camera
    // sends.
    const Arguments alc = {"alc", "--frames", "3", "--width", "64", "--height", "48", "--csv", "-"};
    const SResult result = runVekcam(alc, {.environment = {"LD_PRELOAD=" VEKCAM_SIM_PRELOAD}});
    expectDone(result);
    EXPECT_EQ(result.out, runVekcam(alc).out);
    // Files and pipes are read as ever.
    const SResult measured = runVekcam({"measure", "-", "-W", "2", "-H", "1", "-f", "mono8", "--json"},
                                       {.in = {10, 20}, .environment = {"LD_PRELOAD=" VEKCAM_SIM_PRELOAD}});
    expectDone(measured);
    EXPECT_EQ(nlohmann::json::parse(measured.out)["mean"], 15);
    EXPECT_NE(runOnDevice({"info"}, {"VEKCAM_SIM_DEVICE=/dev/other"}).err.find("cannot open: No such file"),
              std::string::npos);
}

// ---- variables of the preloaded camera ----

struct SVariable {
    std::string setting; ///< NAME=VALUE
    std::string complaint;
};

void PrintTo(const SVariable& variable, std::ostream* stream) {
    *stream << commandLine({variable.setting});
}

class BadVariable : public ::testing::TestWithParam<SVariable> {};

TEST_P(BadVariable, IsNamedInALineAndTheCameraIsMissing) {
    const std::string& setting = GetParam().setting;
    const SResult result = runOnDevice({"info"}, {setting, "VEKCAM_SIM_MODEL=clock-vga"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "vekcam-sim: " + setting.substr(0, setting.find('=')) + ": " + GetParam().complaint +
                              "\nvekcam: /dev/vekcam-sim0: cannot open: No such device\n");
}

SVariable needs(const std::string& name, const std::string& value, const std::string& need) {
    return {"VEKCAM_SIM_" + name + '=' + value, '"' + value + '"' + need};
}

const std::string kModels = " is none of: global-1m, rolling-4m, rolling-4m-mono, line-2m, line-2m-mono, global-5m, "
                            "global-3m, global-2m, clock-vga";
const std::string kFormats =
    " is none of: raw8, raw10, raw10p, raw12, raw12p, mono8, mono10, mono10p, mono12, mono12p, bgr8, bgr10, ycrcb411, "
    "ycrcb422, ycrcb444, ycrcb411-bt709, ycrcb422-bt709, ycrcb444-bt709, raw14, raw16, mono14, mono16; nor a number of "
    "0 to 21";
const std::string kArrays = " is none of: mono, rggb, grbg, gbrg, bggr; nor a number of 1 to 5";
const std::string kSides = ": WIDTHxHEIGHT is needed, whole numbers of 2 to 65534";
const std::string kSeed = "0 to 18446744073709551615";
const std::string kRegions = ": X,Y,WIDTH,HEIGHT:X,Y,WIDTH,HEIGHT... is needed, whole numbers of 0 to 65534";

INSTANTIATE_TEST_SUITE_P(
    Cli, BadVariable,
    ::testing::Values(SVariable{"VEKCAM_SIM_MODEL=box", "\"box\"" + kModels}, needs("FORMAT", "raw9", kFormats),
                      needs("FORMAT", "22", kFormats), needs("FORMAT", "-1", kFormats), needs("FORMAT", "3x", kFormats),
                      needs("FORMAT", " 3", kFormats), needs("COLOR_ARRAY", "0", kArrays),
                      needs("COLOR_ARRAY", "rgbg", kArrays), needs("COLOR_ARRAY", "2.0", kArrays),
                      needs("SIZE", "64", kSides), needs("SIZE", "64x", kSides), needs("SIZE", "64x48x2", kSides),
                      needs("SIZE", "64 x48", kSides), needs("SIZE", "-64x48", kSides), needs("SIZE", "1x48", kSides),
                      needs("SIZE", "0x40x48", kSides), needs("SIZE", "64x99999999999", kSides),
                      needs("SEED", "-1", " is out of range: " + kSeed + " is needed"),
                      needs("SEED", "1.5", ": a whole number is needed, " + kSeed),
                      needs("SEED", "1x", ": a whole number is needed, " + kSeed),
                      needs("LIGHT", "nan", ": a number is needed, 0 to 1000000"),
                      needs("LIGHT", "inf", ": a number is needed, 0 to 1000000"),
                      needs("LIGHT", "1x", ": a number is needed, 0 to 1000000"),
                      needs("LIGHT", "-1", " is out of range: 0 to 1000000 is needed"),
                      needs("LIGHT", "1e99", " is out of range: 0 to 1000000 is needed"),
                      needs("REGIONS", "0,0,8", kRegions), needs("REGIONS", "nan,0,8,8", kRegions),
                      needs("REGIONS", "0,0,8.5,8", kRegions), needs("REGIONS", " 0,0,8,8", kRegions),
                      SVariable{"VEKCAM_SIM_REGIONS=600,0,41,8",
                                "region outside the frame: the camera has 640 x 480 pixels; regions: 1 at most"},
                      SVariable{"VEKCAM_SIM_REGIONS=0,0,8,8:0,8,8,8",
                                "more regions than slots: the camera has 640 x 480 pixels; regions: 1 at most"},
                      SVariable{"VEKCAM_SIM_SCENE=/nonexistent/scene.png",
                                "/nonexistent/scene.png: No such file or directory; a PNG file is needed"}));

TEST(Variables, NamesAndNumbers) {
    const auto info = [](const std::string& setting) {
        const SResult result = runOnDevice({"info", "--json"}, {"VEKCAM_SIM_" + setting});
        expectDone(result);
        return nlohmann::json::parse(result.out);
    };
    for (const char* const text : {"raw8", "RAW8", "0", "000", "0x0"}) {
        EXPECT_EQ(info("FORMAT=" + std::string(text))["transferFormat"]["name"], "raw8") << text;
    }
    EXPECT_EQ(info("FORMAT=ycrcb444-bt709")["transferFormat"]["code"], 17);
    EXPECT_EQ(info("FORMAT=0010")["transferFormat"]["name"], "bgr8");
    EXPECT_EQ(info("COLOR_ARRAY=bggr")["colorArray"]["code"], 5);
    EXPECT_EQ(info("COLOR_ARRAY=04")["colorArray"]["name"], "gbrg");
    EXPECT_EQ(info("SIZE=064x0010")["height"], 10);
    EXPECT_EQ(info("REGIONS=0,010,16,08")["height"], 8);
}

} // namespace

} // namespace vek::test

#endif
