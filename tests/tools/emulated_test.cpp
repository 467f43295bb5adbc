// SPDX-License-Identifier: Apache-2.0
// Commands on a device: the emulated camera.
#include "Program.h"
#include "support/Files.h"
#include "support/PngFile.h"

#include "sim/SimulatedDriver.h"

#include <nlohmann/json.hpp>

#include <array>
#include <ostream>

namespace vek::test {

namespace {

constexpr const char* kNode = "/dev/video0";

/// Runs a command under a camera with these options. Each frame is made when it is asked for, as by the tool's own.
SResult runEmulated(const Arguments& arguments, const Arguments& camera = {}, const SStreams& streams = {}) {
    return runVekcam(
        joined({{"emulate", "--pace", "reader", "--ring", "0"}, camera, {"--", VEKCAM_PROGRAM}, arguments}), streams);
}

SResult runOnDevice(const Arguments& arguments, const Arguments& camera = {}) {
    return runEmulated(joined({arguments, {"--device", kNode}}), camera);
}

std::string replaced(std::string text, const std::string& part, const std::string& by) {
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + by.size())) {
        text.replace(at, part.size(), by);
    }
    return text;
}

/// The command tells the same of the device as of the simulated camera of the tool itself, which has another name.
void expectSameAsSimulated(const Arguments& arguments, const std::string& model) {
    const SResult device = runOnDevice(arguments, {"--model", model});
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
    const SResult device = runOnDevice(alc, {"--model", "clock-vga", "--size", "64x48"});
    expectDone(device);
    EXPECT_EQ(device.out, printed(joined({alc, {"--sim", "clock-vga", "--width", "64", "--height", "48"}})));
    expectPart(device.out, "settled after");
}

class FilesOnADevice : public CFileTest {};

TEST_F(FilesOnADevice, SettingsAreTheSame) {
    const Arguments change = {"--set", "WBMode=manual", "--set", "WBGainR=200"};
    expectDone(runOnDevice(joined({{"settings", "save", Path("device.txt")}, change}), {"--model", "line-2m"}));
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
                           {"--scene", Path("white.png"), "--size", "80x64", "--seed", "5", "--light", "0.5"}));
    printed(joined({calibrate,
                    {"-o", Path("sim.png"), "--raw", Path("sim.raw"), "--width", "80", "--height", "64", "--seed", "5",
                     "--light", "0.5"}}));
    EXPECT_EQ(readFile(Path("device.raw")), readFile(Path("sim.raw")));
    EXPECT_EQ(readPng(Path("device.png")).samples, readPng(Path("sim.png")).samples);
}

TEST_F(FilesOnADevice, DarkFramesAreTheSameWithoutLight) {
    const Arguments calibrate = {"calibrate", "dark", "-n", "2", "-f", "raw10"};
    expectDone(runOnDevice(joined({calibrate, {"-o", Path("device.png")}}), {"--light", "0", "--size", "80x64"}));
    printed(joined({calibrate, {"-o", Path("sim.png"), "--width", "80", "--height", "64"}}));
    EXPECT_EQ(readPng(Path("device.png")).samples, readPng(Path("sim.png")).samples);
}

TEST_F(FilesOnADevice, BothKindsOfCameraInOneProcess) {
    // The preloaded library stands aside where no device is opened, also for the frames that the tool's own camera
    // sends.
    const Arguments alc = {"alc", "--frames", "3", "--width", "64", "--height", "48", "--csv", "-"};
    const SResult result = runEmulated(alc);
    expectDone(result);
    EXPECT_EQ(result.out, runVekcam(alc).out);
    // Files and pipes are read as ever.
    const SResult measured =
        runEmulated({"measure", "-", "-W", "2", "-H", "1", "-f", "mono8", "--json"}, {}, {.in = {10, 20}});
    expectDone(measured);
    EXPECT_EQ(nlohmann::json::parse(measured.out)["mean"], 15);
    expectPart(runOnDevice({"info"}, {"--node", "/dev/video7"}).err, "cannot open: No such file");
}

// ---- options of the emulated camera ----

struct SOption {
    std::string name;
    std::string value;
    std::string complaint;
};

void PrintTo(const SOption& option, std::ostream* stream) {
    *stream << commandLine({option.name, option.value});
}

class BadOption : public ::testing::TestWithParam<SOption> {};

TEST_P(BadOption, IsNamedInALine) {
    const SResult result = runOnDevice({"info"}, {GetParam().name, GetParam().value, "-m", "clock-vga"});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.out, "");
    expectPart(result.err, GetParam().name + ": " + GetParam().complaint);
}

SOption needs(const std::string& name, const std::string& value, const std::string& need) {
    return {name, value, '"' + value + '"' + need};
}

const std::string kFormats = " is none of: raw8, raw10, raw10p, raw12, raw12p, mono8, ";
const std::string kArrays = " is none of: mono, rggb, grbg, gbrg, bggr; nor a number of 1 to 5";
const std::string kSides = " is no WIDTHxHEIGHT of 2 to 65534 pixels";
const std::string kSeed = "0 to 18446744073709551615";
const std::string kRegions = " is no X,Y,WIDTH,HEIGHT:X,Y,WIDTH,HEIGHT...";

INSTANTIATE_TEST_SUITE_P(
    Cli, BadOption,
    ::testing::Values(
        needs("--format", "raw9", kFormats), needs("--format", "22", kFormats), needs("--format", "3x", kFormats),
        needs("--format", " 3", kFormats), needs("--colour-array", "0", kArrays),
        needs("--colour-array", "rgbg", kArrays), needs("--colour-array", "2.0", kArrays),
        needs("--size", "64", kSides), needs("--size", "64x", kSides), needs("--size", "64x48x2", kSides),
        needs("--size", "64 x48", kSides), needs("--size", "1x48", kSides), needs("--size", "0x40x48", kSides),
        needs("--size", "64x99999999999", kSides), needs("--seed", "-1", " is out of range: " + kSeed + " is needed"),
        needs("--seed", "1.5", ": a whole number is needed, " + kSeed),
        needs("--light", "nan", ": a number is needed, 0 to 1000000"),
        needs("--light", "1e99", " is out of range: 0 to 1000000 is needed"), needs("--regions", "0,0,8", kRegions),
        needs("--regions", "0,0,8,8,", kRegions), needs("--regions", "0,0,8,8:", kRegions),
        needs("--regions", "0,0,8,8 0,8,8,8", kRegions), needs("--regions", "nan,0,8,8", kRegions),
        needs("--regions", "0,0,8.5,8", kRegions), needs("--regions", " 0,0,8,8", kRegions),
        SOption{"--regions", "600,0,41,8",
                "region outside the frame: the camera has 640 x 480 pixels; regions: 1 at most"},
        SOption{"--regions", "0,0,8,8:0,8,8,8",
                "more regions than slots: the camera has 640 x 480 pixels; regions: 1 at most"}));

TEST(EmulatedCamera, NamesAndNumbers) {
    const auto info = [](const std::string& option, const std::string& value) {
        const SResult result = runOnDevice({"info", "--json"}, {option, value});
        expectDone(result);
        return nlohmann::json::parse(result.out);
    };
    for (const char* const text : {"raw8", "RAW8", "0", "000", "0x0"}) {
        EXPECT_EQ(info("--format", text)["transferFormat"]["name"], "raw8") << text;
    }
    EXPECT_EQ(info("--format", "ycrcb444-bt709")["transferFormat"]["code"], 17);
    EXPECT_EQ(info("--format", "0010")["transferFormat"]["name"], "bgr8");
    EXPECT_EQ(info("--colour-array", "bggr")["colorArray"]["code"], 5);
    EXPECT_EQ(info("--colour-array", "04")["colorArray"]["name"], "gbrg");
    EXPECT_EQ(info("--size", "064x0010")["height"], 10);
    EXPECT_EQ(info("--regions", "0,010,16,08")["height"], 8);
}

} // namespace

} // namespace vek::test
