// SPDX-License-Identifier: Apache-2.0
// Many frames: several inputs, patterns, steps, going on after failures, resuming.
#include "Program.h"
#include "support/Files.h"
#include "support/PngFile.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <set>
#include <sstream>
#include <thread>

namespace vek::test {

namespace {

class Series : public CFileTest {
protected:
    Series() { std::filesystem::create_directory(Path("out")); }

    /// frames of 2 x 2 grey bytes that hold first, first + 1, ...
    std::string Raw(const std::string& name, unsigned frames, std::uint8_t first) const {
        std::vector<std::uint8_t> bytes;
        for (unsigned i = 0; i < frames; ++i) {
            bytes.insert(bytes.end(), 4, static_cast<std::uint8_t>(first + i));
        }
        return Write(name, bytes);
    }

    Arguments Convert(const Arguments& inputs, const std::string& pattern, const Arguments& more = {}) const {
        return joined({{"convert"},
                       inputs,
                       {"-W", "2", "-H", "2", "-f", "mono8", "--plain", "-o", Path("out/" + pattern)},
                       more});
    }

    std::set<std::string> Written() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(Path("out"))) {
            names.insert(entry.path().filename().string());
        }
        return names;
    }

    unsigned Value(const std::string& name) const { return readPng(Path("out/" + name)).samples.at(0); }
};

using NameSet = std::set<std::string>;

std::vector<nlohmann::json> jsonLinesOf(const std::string& text) {
    std::vector<nlohmann::json> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(nlohmann::json::parse(line));
    }
    return lines;
}

TEST_F(Series, EachFrameBecomesAFile) {
    const std::string a = Raw("a.raw", 3, 10);
    const std::string b = Raw("b.raw", 2, 20);
    EXPECT_EQ(printed(Convert({a, b}, "{name}-{frame:03}-{number}.png")), "");
    EXPECT_EQ(Written(), (NameSet{"a-000-0.png", "a-001-1.png", "a-002-2.png", "b-000-3.png", "b-001-4.png"}));
    EXPECT_EQ(Value("a-002-2.png"), 12U);
    EXPECT_EQ(Value("b-001-4.png"), 21U);
}

TEST_F(Series, StepsCountOverAllFiles) {
    const std::string a = Raw("a.raw", 3, 10);
    const std::string b = Raw("b.raw", 4, 20);
    expectDone(runVekcam(Convert({a, b}, "{number}.png", {"--frames", "1:5:2"})));
    EXPECT_EQ(Written(), (NameSet{"1.png", "3.png", "5.png"}));
    EXPECT_EQ(Value("3.png"), 20U);
    EXPECT_EQ(Value("5.png"), 22U);
    expectRefused(runVekcam(Convert({a}, "{number}.png", {"--frames", "3:"})), 1, "no frame 3: 3 frames are there");
    expectRefused(runVekcam(Convert({a}, "{number}.png", {"--frames", "2:1"})), 2, "is no FIRST:LAST:STEP");
    expectRefused(runVekcam(Convert({a}, "{number}.png", {"--frame", "1"})), 2, "--frames takes those of a series");
}

TEST_F(Series, NamesStandForFiles) {
    Raw("f1.raw", 1, 1);
    Raw("f2.raw", 1, 2);
    Raw("f10.raw", 1, 10);
    const std::vector<nlohmann::json> lines =
        jsonLinesOf(printed(Convert({Path("f*.raw")}, "{name}.png", {"--json", "--threads", "3"})));
    ASSERT_EQ(lines.size(), 3U);
    const char* const names[] = {"f1", "f2", "f10"};
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(lines[i]["input"], Path(names[i] + std::string(".raw")));
        EXPECT_EQ(lines[i]["output"], Path("out/" + std::string(names[i]) + ".png"));
        EXPECT_EQ(lines[i]["number"], i);
        EXPECT_EQ(lines[i]["frame"], 0);
        EXPECT_EQ(lines[i]["skipped"], false);
    }
    EXPECT_EQ(Value("f10.png"), 10U);
    expectRefused(runVekcam(Convert({Path("g*.raw")}, "{name}.png")), 1, "none of such names");
}

TEST_F(Series, PicturesAreThoseOfSingleFrames) {
    std::vector<std::uint8_t> bytes;
    for (unsigned i = 0; i < 5 * 64 * 48; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(i * 2654435761U >> 24));
    }
    const std::string raw = Write("in.raw", bytes);
    const Arguments form =
        sized(64, 48,
              {"-f", "raw8", "-a", "grbg", "--black", "3", "--wb", "2,1,1.5", "--matrix", "none", "--sharpness", "50"});
    expectDone(runVekcam(joined({{"convert", raw, "-o", Path("out/{frame}.png"), "--threads", "4"}, form})));
    for (const char* const frame : {"0", "1", "2", "3", "4"}) {
        expectDone(runVekcam(joined({{"convert", raw, "-o", Path("one.png"), "--frame", frame}, form})));
        EXPECT_EQ(readPng(Path("out/" + std::string(frame) + ".png")).samples, readPng(Path("one.png")).samples);
    }
}

TEST_F(Series, WithoutNamesOfTheirOwnFramesAreRefused) {
    const std::string a = Raw("a.raw", 2, 10);
    expectRefused(runVekcam(Convert({a}, "x.png", {"--frames", ":"})), 2, "{number} tells them apart");
    expectRefused(runVekcam(Convert({a}, "{what}.png")), 2, "no pattern");
    expectRefused(runVekcam(Convert({a}, "{frame:s}.png")), 2, "no pattern");
    expectRefused(runVekcam(Convert({a}, "{frame}.bmp")), 2, "no known kind of picture");
    expectRefused(
        runVekcam(joined({{"convert", a, "-o", "-", "--frames", ":", "--plain"}, sized(2, 2, {"-f", "mono8"})})), 2,
        "do not go to standard output");
    // Doubled braces are braces.
    expectDone(runVekcam(Convert({Raw("b.raw", 1, 7)}, "{{x}}.png")));
    EXPECT_EQ(Value("{x}.png"), 7U);
}

TEST_F(Series, AFailureEndsIt) {
    const std::string a = Raw("a.raw", 2, 10);
    std::filesystem::create_directory(Path("out/1.png"));
    expectRefused(runVekcam(Convert({a}, "{frame}.png")), 1, "frame 1: ");
    EXPECT_EQ(Written(), (NameSet{"0.png", "1.png"}));
    EXPECT_EQ(Value("0.png"), 10U);
    expectRefused(runVekcam(Convert({a, Path("none.raw")}, "{number}.png")), 1, "none.raw: cannot open");
}

TEST_F(Series, ItGoesOnAndSaysWhichFailed) {
    const std::string a = Raw("a.raw", 3, 10);
    const std::string cut = Write("cut.raw", {1, 2});
    const std::string b = Raw("b.raw", 1, 20);
    std::filesystem::create_directory(Path("out/a1.png"));
    const SResult result =
        runVekcam(Convert({a, cut, Path("none.raw"), b}, "{name}{frame}.png", {"--keep-going", "--json"}));
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_EQ(Written(), (NameSet{"a0.png", "a1.png", "a2.png", "b0.png"}));
    for (const char* const part :
         {"cut.raw: too short", "none.raw: cannot open", "a.raw, frame 1: ", "vekcam: 3 done, 3 failed\n"}) {
        expectPart(result.err, part);
    }
    const std::vector<nlohmann::json> lines = jsonLinesOf(result.out);
    EXPECT_EQ(std::ranges::count_if(lines, [](const auto& line) { return line.contains("error"); }), 3);
    EXPECT_EQ(std::ranges::count_if(lines, [](const auto& line) { return line.contains("output"); }), 3);
}

TEST_F(Series, ResumedItLeavesOutWhatIsThere) {
    const std::string a = Raw("a.raw", 3, 10);
    WriteText("out/1.png", "as it was");
    const std::vector<nlohmann::json> lines = jsonLinesOf(printed(Convert({a}, "{frame}.png", {"--resume", "--json"})));
    EXPECT_EQ(Content("out/1.png"), "as it was");
    EXPECT_EQ(Value("2.png"), 12U);
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[1]["skipped"], true);
    EXPECT_EQ(lines[2]["skipped"], false);
}

TEST_F(Series, DngFilesOutAndIn) {
    const std::string a = Raw("a.raw", 3, 10);
    expectDone(runVekcam(joined({{"convert", a, "-o", Path("out/{frame}.dng")}, sized(2, 2, {"-f", "mono8"})})));
    EXPECT_EQ(Written(), (NameSet{"0.dng", "1.dng", "2.dng"}));
    expectDone(runVekcam({"convert", Path("out/*.dng"), "--plain", "-o", Path("out/{name}.png")}));
    EXPECT_EQ(Value("2.png"), 12U);
}

TEST_F(Series, PngFilesAreFrames) {
    for (const char* const name : {"p1", "p2"}) {
        const std::string raw = Raw(std::string(name) + ".raw", 1, name[1] == '1' ? 30 : 40);
        expectDone(runVekcam(joined(
            {{"convert", raw, "--plain", "-o", Path(std::string(name) + ".png")}, sized(2, 2, {"-f", "mono8"})})));
    }
    const std::string raw = Raw("r.raw", 1, 50);
    expectDone(
        runVekcam(joined({{"convert", Path("p1.png"), raw, Path("p2.png"), "--plain", "-o", Path("out/{name}.png")},
                          sized(2, 2, {"-f", "mono8"})})));
    EXPECT_EQ(Value("p1.png"), 30U);
    EXPECT_EQ(Value("r.png"), 50U);
    EXPECT_EQ(Value("p2.png"), 40U);
}

TEST_F(Series, StandardInputIsReadToItsEnd) {
    expectDone(runVekcam(Convert({"-"}, "{name}{frame}.png"), {.in = {1, 1, 1, 1, 2, 2, 2, 2}}));
    EXPECT_EQ(Written(), (NameSet{"stdin0.png", "stdin1.png"}));
}

TEST_F(Series, ASignalLeavesWholeFilesAlone) {
    const std::string a = Raw("a.raw", 50000, 0);
    for (const int signal : {SIGINT, SIGTERM}) {
        SStreams streams;
        streams.meanwhile = [&](pid_t program) {
            while (Written().size() < 20) {
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            }
            kill(program, signal);
        };
        EXPECT_EQ(runVekcam(Convert({a}, "{frame}.png"), streams).signal, signal);
        const NameSet names = Written();
        EXPECT_LT(names.size(), 50000U);
        for (const std::string& name : names) {
            EXPECT_FALSE(name.starts_with(".")) << name;
            EXPECT_EQ(readPng(Path("out/" + name)).width, 2U);
        }
        std::filesystem::remove_all(Path("out"));
        std::filesystem::create_directory(Path("out"));
    }
}

TEST_F(Series, ThereIsABarOnATerminal) {
    SStreams streams;
    streams.errIsTerminal = true;
    const SResult result = runVekcam(Convert({Raw("a.raw", 40, 0)}, "{frame}.png"), streams);
    EXPECT_EQ(result.exitCode, 0);
    expectPart(result.err, "/40");
    expectPart(result.err, "frames/s");
    expectPart(result.err, " left");
}

} // namespace

} // namespace vek::test
