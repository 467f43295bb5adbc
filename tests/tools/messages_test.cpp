// SPDX-License-Identifier: Apache-2.0
// What is said about files and devices that do not fit, and what a terminal gets.
#include "Program.h"
#include "support/Files.h"
#include "support/PngFile.h"

#include <nlohmann/json.hpp>

#include <fstream>

#include <sys/stat.h>

namespace vek::test {

namespace {

class Messages : public CFileTest {
protected:
    /// Grey frame of 2 x 2 pixels to a picture.
    Arguments Convert(const std::string& output, const Arguments& more = {}) const {
        return joined({{"convert", Write("in.raw", {10, 20, 30, 40}), "--plain", "-o", output},
                       sized(2, 2, {"-f", "mono8"}),
                       more});
    }
};

const std::vector<Arguments> kOnDevices = {{"info"},
                                           {"alc"},
                                           {"units"},
                                           {"calibrate", "dark", "-o", "/nonexistent/d.png"},
                                           {"calibrate", "flat", "-o", "/nonexistent/d.png", "--exposure", "5"},
                                           {"settings", "save", "/nonexistent/file"},
                                           {"settings", "load", "/nonexistent/file"}};

TEST_F(Messages, WhatIsNoCameraIsCalledWhatItIs) {
    const std::string file = Write("file", {1, 2, 3});
    const std::string pipe = Path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const Arguments& command : kOnDevices) {
        const auto said = [&](const std::string& device) {
            const SResult result = runVekcam(joined({command, {"--device", device}}));
            EXPECT_EQ(result.exitCode, 1) << device;
            EXPECT_EQ(result.out, "");
            return result.err;
        };
        const std::string end = ", not a Video4Linux2 device\n";
        EXPECT_EQ(said(file), "vekcam: " + file + ": not a trigger camera: a plain file" + end);
        EXPECT_EQ(said("/dev/null"), "vekcam: /dev/null: not a trigger camera: a device of another kind" + end);
        EXPECT_EQ(said(pipe), "vekcam: " + pipe + ": not a trigger camera: a pipe" + end);
        EXPECT_EQ(said(Path("none")), "vekcam: " + Path("none") + ": cannot open: No such file or directory\n");
    }
    EXPECT_EQ(readFile(file), (std::vector<std::uint8_t>{1, 2, 3}));
}

TEST_F(Messages, InfoWithoutACameraSpeaksOfTheSimulatedOne) {
    if (std::filesystem::exists("/dev/video0")) {
        GTEST_SKIP() << "a camera is there";
    }
    EXPECT_EQ(runVekcam({"info"}).err, "vekcam: /dev/video0: cannot open: No such file or directory; --device names "
                                       "another node, --sim takes a simulated camera\n");
    // Who names a device knows of the option.
    EXPECT_EQ(runVekcam({"info", "--device", "/dev/video0"}).err,
              "vekcam: /dev/video0: cannot open: No such file or directory\n");
}

// ---- calibrations ----

const Arguments kTakeDark = {"calibrate", "dark", "-n", "1", "--width", "64", "--height", "64"};

TEST_F(Messages, BrokenDescriptionOfACalibration) {
    printed(joined({kTakeDark, {"-o", Path("dark.png")}}));
    const std::string whole = Content("dark.json");
    const auto said = [&](const std::string& text) {
        WriteText("dark.json", text);
        const SResult result = runVekcam(Convert(Path("out.png"), {"--noise", "complex", "--dark", Path("dark.png")}));
        expectOneLine(result, 1);
        return result.err;
    };
    const std::string head =
        "vekcam: " + Path("dark.json") + ": no description of a calibration, as `vekcam calibrate` writes it: ";
    EXPECT_EQ(said(""), head + "line 1, column 1: the file breaks off\n");
    EXPECT_EQ(said("{\n  \"kind\": \"dark\""), head + "line 2, column 17: the file breaks off\n");
    EXPECT_EQ(said("{\n  \"kind\": dark\n}"), head + "line 2, column 11: this is no JSON\n");
    EXPECT_EQ(said("kind dark"), head + "line 1, column 1: this is no JSON\n");
    EXPECT_EQ(said("{\"kind\": \"\xFF\"}"), head + "line 1, column 11: this is no JSON\n");
    EXPECT_EQ(said("[]"), head + "\"kind\" is missing\n");
    EXPECT_EQ(said("{}"), head + "\"kind\" is missing\n");
    EXPECT_EQ(said("{\"kind\": 1e999}"), head + "a number in it is too large\n");
    const auto changed = [&](const char* key, const nlohmann::json& value) {
        nlohmann::json json = nlohmann::json::parse(whole);
        json[key] = value;
        return said(json.dump());
    };
    EXPECT_EQ(changed("kind", 1), head + "\"kind\" is no text\n");
    for (const nlohmann::json& value : {nlohmann::json("64"), nlohmann::json(-64), nlohmann::json(64.5),
                                        nlohmann::json(0), nlohmann::json(4294967296), nlohmann::json()}) {
        EXPECT_EQ(changed("width", value), head + "\"width\" is no whole number of 1 to 4294967295\n") << value;
    }
    EXPECT_EQ(changed("gain", -1), head + "\"gain\" is no whole number of 0 to 2147483647\n");
    EXPECT_EQ(changed("format", "jpeg"), head + "unknown format or colour array\n");
    nlohmann::json without = nlohmann::json::parse(whole);
    without.erase("frames");
    EXPECT_EQ(said(without.dump()), head + "\"frames\" is missing\n");
    std::filesystem::remove(Path("dark.json"));
    std::filesystem::create_directory(Path("dark.json"));
    EXPECT_EQ(runVekcam(Convert(Path("out.png"), {"--noise", "complex", "--dark", Path("dark.png")})).err,
              "vekcam: " + Path("dark.json") + ": cannot read: Is a directory\n");
}

TEST_F(Messages, CalibrationsEndInPngWithAnyCase) {
    printed(joined({kTakeDark, {"-o", Path("DARK.PNG")}}));
    EXPECT_EQ(readPng(Path("DARK.PNG")).width, 64U);
    EXPECT_TRUE(std::filesystem::exists(Path("DARK.json")));
}

// ---- names of pictures ----

TEST_F(Messages, PicturesAreNotCalledAnythingElse) {
    for (const char* const name : {"out.bmp", "out.raw", "out.png.gz", "out.pngx", "out.json", "out.tifff"}) {
        const SResult result = runVekcam(Convert(Path(name)));
        EXPECT_EQ(result.exitCode, 2) << name;
        EXPECT_EQ(result.err, "vekcam: --output: \"" + Path(name) +
                                  "\": no known kind of picture: its name has to end in one of .png, .tif, .tiff, "
                                  ".jpg, .jpeg, .ppm, .pgm, .pnm, .dng; of recordings .nut, .ser\n");
        EXPECT_FALSE(std::filesystem::exists(Path(name)));
    }
}

TEST_F(Messages, NamesThatPromiseNothingElseHoldAPng) {
    std::filesystem::create_directory(Path("folder.v2"));
    for (const char* const name : {"out.png", "out.PNG", "out.Png", "out", "out.", ".hidden", "folder.v2/out"}) {
        const SResult result = runVekcam(Convert(Path(name)));
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(readPng(Path(name)).samples, (std::vector<std::uint16_t>{10, 20, 30, 40})) << name;
    }
    // A link to a device, whatever it is called.
    std::filesystem::create_symlink("/dev/null", Path("null.jpg"));
    EXPECT_EQ(runVekcam(Convert(Path("null.jpg"))).exitCode, 0);
    EXPECT_TRUE(runVekcam(Convert("/dev/stdout")).out.starts_with("\x89PNG"));
    EXPECT_TRUE(runVekcam(Convert("-")).out.starts_with("\x89PNG"));
}

// ---- terminals ----

TEST_F(Messages, NoPictureGoesToATerminal) {
    for (const char* const output : {"-", "/dev/stdout"}) {
        const SResult result = runVekcam(Convert(output), {.outIsTerminal = true});
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, "vekcam: --output: " + std::string(output[0] == '-' ? "standard output" : output) +
                                  " is a terminal: a file or a pipe is needed\n");
    }
    const SResult raw =
        runVekcam({"calibrate", "dark", "-o", Path("d.png"), "--raw", "/dev/stdout"}, {.outIsTerminal = true});
    EXPECT_EQ(raw.exitCode, 2);
    EXPECT_EQ(raw.err, "vekcam: --raw: /dev/stdout is a terminal: a file or a pipe is needed\n");
    // A terminal is no hindrance where a file is written, nor to text.
    EXPECT_EQ(runVekcam(Convert(Path("out.png")), {.outIsTerminal = true}).exitCode, 0);
    EXPECT_NE(runVekcam({"info", "--sim"}, {.outIsTerminal = true}).out.find("camera"), std::string::npos);
}

TEST_F(Messages, CalibratingShowsItsProgressOnATerminalAlone) {
    const Arguments arguments = {"calibrate", "dark",    "-o", Path("d.png"), "-n",
                                 "8",         "--width", "64", "--height",    "64"};
    const SResult seen = runVekcam(arguments, {.errIsTerminal = true});
    EXPECT_EQ(seen.exitCode, 0);
    for (const char* const part : {"\r[........................................] 0/8", "\r[#####....", "] 1/8",
                                   "\r[########################################] 8/8"}) {
        expectPart(seen.err, part);
    }
    EXPECT_TRUE(seen.err.ends_with("\r\x1B[K")) << seen.err; // gone at the end
    EXPECT_EQ(runVekcam(arguments).err, "");
    EXPECT_EQ(runVekcam(arguments).out, seen.out);
}

// ---- the demo ----

TEST_F(Messages, DemoTakesItsModelAsOthersDo) {
    const auto camera = [&](const Arguments& more) {
        const std::string text =
            printed(joined({{"demo", "-o", Path("demo"), "-n", "1", "--width", "64", "--height", "64"}, more}));
        return text.substr(0, text.find('\n'));
    };
    const std::string name = "camera                simulated camera ";
    EXPECT_EQ(camera({}), name + "global-1m");
    EXPECT_EQ(camera({"--sim"}), name + "global-1m");
    EXPECT_EQ(camera({"--sim", "line-2m"}), name + "line-2m");
    EXPECT_EQ(camera({"-s", "clock-vga"}), name + "clock-vga");
    EXPECT_EQ(camera({"--model", "line-2m"}), name + "line-2m");
    for (const Arguments& bad : {Arguments{"--sim", "box"}, {"--sim", "--model", "line-2m"}}) {
        const SResult result = runVekcam(joined({{"demo", "-o", Path("demo")}, bad}));
        EXPECT_EQ(result.exitCode, 2);
        expectPart(result.err, "--sim");
    }
}

TEST_F(Messages, DemoTellsWhereTheProgramIs) {
    const SResult result =
        runVekcam({"demo", "-o", Path("demo"), "-n", "1", "--width", "64", "--height", "64", "--sim", "clock-vga"});
    const std::string program = std::filesystem::canonical(VEKCAM_PROGRAM).string();
    EXPECT_TRUE(result.out.ends_with("\nThis was " + program + "; what else it does:\n  " + program + " --help\n"))
        << result.out;
}

} // namespace

} // namespace vek::test
