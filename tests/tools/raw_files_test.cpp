// SPDX-License-Identifier: Apache-2.0
// Files that are given as raw frames or setting files and hold something else, or more.
#include "Program.h"
#include "support/Files.h"
#include "support/SampleVectors.h"

#include <algorithm>

namespace vek::test {

namespace {

constexpr unsigned kSide = 32;
constexpr std::size_t kBytes = std::size_t{kSide} * kSide;

Bytes bytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

/// Repeats something until it has a number of bytes.
Bytes repeated(const std::string& text, std::size_t count = kBytes) {
    Bytes bytes;
    while (bytes.size() < count) {
        bytes.push_back(static_cast<std::uint8_t>(text[bytes.size() % text.size()]));
    }
    return bytes;
}

/// A file of a kind that is known by how it begins.
Bytes beginning(const std::string& magic) {
    Bytes bytes(kBytes, 0x90);
    std::copy(magic.begin(), magic.end(), bytes.begin());
    return bytes;
}

/// The commands that take raw frames, on frames of kSide x kSide pixels.
class RawFiles : public CFileTest, public ::testing::WithParamInterface<const char*> {
protected:
    SResult Run(const std::string& input, const Arguments& more, const std::string& format = "mono8",
                const SStreams& streams = {}) const {
        const Arguments output =
            GetParam() == std::string("convert") ? Arguments{"--plain", "-o", Path("out.png")} : Arguments();
        return runVekcam(joined({{GetParam(), input}, sized(kSide, kSide, {"-f", format}), output, more}), streams);
    }

    void ExpectSilence(const Bytes& bytes, const Arguments& more = {}, const std::string& format = "mono8") const {
        expectDone(Run(Write("in.raw", bytes), more, format));
    }

    /// The frame is taken, and one line says something.
    void ExpectWarning(const Bytes& bytes, const std::string& message, const Arguments& more = {},
                       const std::string& format = "mono8") const {
        const std::string path = Write("in.raw", bytes);
        const SResult result = Run(path, more, format);
        expectOneLine(result, 0, message);
        EXPECT_TRUE(result.err.starts_with("vekcam: warning: " + path + ": ")) << result.err;
    }

    static void ExpectRefusal(const SResult& result, const std::string& message) { expectRefused(result, 1, message); }
};

INSTANTIATE_TEST_SUITE_P(Commands, RawFiles, ::testing::Values("convert", "measure"),
                         [](const auto& command) { return std::string(command.param); });

// ---- how many frames there are ----

TEST_P(RawFiles, FramesThatNobodyAskedForAreCounted) {
    ExpectSilence(Bytes(kBytes));
    ExpectWarning(Bytes(3 * kBytes), "holds 3 frames of 1024 bytes; frame 0 is taken");
    ExpectSilence(Bytes(3 * kBytes), {"--frame", "0"});
    ExpectSilence(Bytes(3 * kBytes), {"--frame", "2"});
    ExpectSilence(Bytes(kBytes + 7), {"--src-offset", "7"});
    ExpectWarning(Bytes(2 * kBytes + 7), "holds 2 frames of 1024 bytes; frame 0 is taken", {"--src-offset", "7"});
}

TEST_P(RawFiles, PartsOfFramesAreCounted) {
    ExpectWarning(Bytes(kBytes + 1), "holds 1 frame of 1024 bytes and 1 byte more");
    ExpectWarning(Bytes(4 * kBytes - 1), "holds 3 frames of 1024 bytes and 1023 bytes more", {"--frame", "2"});
    ExpectWarning(Bytes(2 * kBytes), "holds 1 frame of 1024 bytes and 1022 bytes more", {"--src-offset", "2"});
}

TEST_P(RawFiles, StandardInputThatIsAFileIsCountedFromWhereItStands) {
    const std::string path = Write("in.raw", Bytes(2 * kBytes));
    const SResult result = Run("-", {}, "mono8", {.inFile = path});
    EXPECT_EQ(result.exitCode, 0);
    expectPart(result.err, "standard input: holds 2 frames of 1024 bytes");
    // The end of a pipe may never come.
    EXPECT_EQ(Run("-", {}, "mono8", {.in = Bytes(2 * kBytes)}).err, "");
}

TEST_P(RawFiles, FrameBehindTheLastOne) {
    const Bytes bytes(200 * kBytes);
    const std::string path = Write("in.raw", bytes);
    const std::string message = ": no frame 200: it holds 200 frames of 1024 bytes, counted from 0\n";
    ExpectRefusal(Run(path, {"--frame", "200"}), path + message);
    ExpectRefusal(Run("-", {"--frame", "200"}, "mono8", {.in = bytes}), "standard input" + message);
    ExpectRefusal(Run(path, {"--frame", "1000000000"}), "it holds 200 frames");
    ExpectRefusal(Run(path, {"--frame", "199", "--src-offset", "1"}), "too short: 204801 bytes needed, 204800 there");
    ExpectRefusal(Run(path, {"--frame", "300", "--src-offset", "1"}), "holds 199 frames of 1024 bytes and 1023 bytes");
    EXPECT_EQ(Run(path, {"--frame", "199"}).exitCode, 0);
}

// ---- other kinds of files ----

TEST_P(RawFiles, OtherKindsAreRefusedByName) {
    using namespace std::string_literals;
    const std::pair<std::string, const char*> kinds[] = {
        {"\x89PNG\r\n\x1A\n", "PNG"}, {"II*\0"s, "TIFF"},          {"MM\0*"s, "TIFF"},
        {"\xFF\xD8\xFF", "JPEG"},     {"\x7F\x45\x4C\x46", "ELF"}, {"PK\x03\x04", "ZIP"},
    };
    for (const auto& [magic, kind] : kinds) {
        const Bytes bytes = beginning(magic);
        const std::string path = Write("in.raw", bytes);
        ExpectRefusal(Run(path, {}), path + ": is a" + (kind[0] == 'E' ? "n " : " ") + kind);
        ExpectRefusal(Run("-", {}, "mono8", {.in = bytes}), kind);
        ExpectRefusal(Run(path, {}, "mono16"), kind); // before its size is looked at
        ExpectSilence(bytes, {"--force"});
        // One byte less of it may well be a frame.
        Bytes other = bytes;
        other[magic.size() - 1] = 0x91;
        ExpectSilence(other);
    }
    EXPECT_FALSE(std::filesystem::exists(Path("out.raw")));
}

TEST_P(RawFiles, WhatLiesInFrontOfTheFirstFrameMayBeAnything) {
    Bytes bytes = bytesOf("II*");
    bytes.resize(8 + kBytes);
    ExpectSilence(bytes, {"--src-offset", "8"});
    Bytes twice(8 + kBytes);
    std::copy_n("PK\x03\x04", 4, twice.begin() + 8);
    ExpectRefusal(Run(Write("in.raw", twice), {"--src-offset", "8"}), "ZIP");
    ExpectRefusal(Run("-", {"--src-offset", "8"}, "mono8", {.in = twice}), "ZIP");
}

TEST_P(RawFiles, TextIsRefused) {
    for (const std::string& text : {
             std::string("# Settings of the camera in the hall\nWBMode 1\n"),
             std::string("The quick brown fox\r\njumps over the lazy dog.\r\n"),
             std::string("frame,light,target\n0,1,128\n"),
             std::string("\tif (file == nullptr) {\n\t\treturn 1;\n\t}\n"),
             std::string("Gr\xC3\xB6\xC3\x9F"
                         "e und St\xC3\xA4rke: 5 \xE2\x82\xAC\n"),
         }) {
        const Bytes bytes = repeated(text);
        ExpectRefusal(Run(Write("in.raw", bytes), {}), "is text");
        ExpectRefusal(Run("-", {}, "mono8", {.in = bytes}), "is text");
        ExpectSilence(bytes, {"--force"});
    }
}

TEST_P(RawFiles, FramesOfSamplesThatAreLettersAreNoText) {
    ExpectSilence(Bytes(kBytes, 0x40));
    ExpectSilence(Bytes(kBytes, 'A'));
    ExpectSilence(Bytes(kBytes, '\n'));
    ExpectSilence(repeated("\nd"));                               // a checked pattern
    ExpectSilence(repeated("abcdefghijklmnopqrstuvwxyz"));        // a ramp
    ExpectSilence(repeated("ACEGIKMOQSUWY ZXVTRPNLJHFDB"));       // a dim frame, no line ends
    ExpectSilence(repeated("\x0B\nfriend of the lamp\x1F line")); // noise at the dark end
    // Words around 0x0A50 and 0x0D60: the upper bytes are line ends.
    ExpectSilence(repeated("P\nQ\nR\nS\nT\nK\nL\nM\n", 2 * kBytes), {}, "mono12");
    ExpectSilence(repeated("`\ra\rb\rc\rd\re\rf\rg\r", 2 * kBytes), {}, "mono12");
}

// ---- formats that are too small ----

TEST_P(RawFiles, WordsAboveTheRangeAreCounted) {
    for (const auto& [format, largest] :
         {std::pair<std::string, std::uint16_t>{"mono10", 1023}, {"mono12", 4095}, {"mono14", 16383}}) {
        std::vector<std::uint16_t> words(kBytes, largest);
        ExpectSilence(littleEndian(words), {}, format);
        // Hot pixels and a word that was lost on the way.
        words[5] = words[700] = 0xFFFF;
        words[1000] = static_cast<std::uint16_t>(largest + 1);
        ExpectSilence(littleEndian(words), {}, format);
        std::fill_n(words.begin() + 200, 97, static_cast<std::uint16_t>(largest + 1));
        ExpectWarning(littleEndian(words), "100 of 1024 samples are above " + std::to_string(largest), {}, format);
    }
    ExpectSilence(littleEndian(std::vector<std::uint16_t>(kBytes, 0xFFFF)), {}, "mono16");
    ExpectSilence(Bytes(kBytes, 0xFF));
}

TEST_P(RawFiles, FailuresStayOneLine) {
    const std::string path = Write("in.raw", Bytes(2 * kBytes + 1));
    const bool picture = GetParam() == std::string("convert");
    ExpectRefusal(
        Run(path, picture ? Arguments{"--settings", Path("none")} : Arguments{}, "mono8", {.outFile = "/dev/full"}),
        picture ? "cannot open" : "No space left");
}

// ---- setting files ----

class SettingFiles : public CFileTest {};

TEST_F(SettingFiles, WithoutASettingAreRefusedEverywhere) {
    const std::string good = WriteText("good", "WBMode 1\n");
    const std::string frame = Write("in.raw", {1});
    for (const std::string& text : {std::string(), std::string("\n"), std::string("Key 1\nwbmode 2\n"),
                                    std::string("WBMode\n"), std::string("{\"WBMode\": 1}"), std::string(600, '\0')}) {
        const std::string bad = WriteText("bad", text);
        const auto expect = [&](const Arguments& arguments, int code, const SStreams& streams = {}) {
            SCOPED_TRACE(commandLine(arguments));
            expectRefused(runVekcam(arguments, streams), code, "no setting file");
        };
        expect({"settings", "show", bad}, 1);
        expect({"settings", "show", bad, "--json"}, 1);
        expect({"settings", "show", "-"}, 1, {.in = bytesOf(text)});
        expect({"settings", "load", bad}, 1);
        expect({"settings", "diff", good, bad}, 2);
        expect({"settings", "diff", bad, good}, 2);
        expect({"convert", frame, "-W", "1", "-H", "1", "-f", "mono8", "--settings", bad, "-o", Path("none.png")}, 1);
        EXPECT_FALSE(std::filesystem::exists(Path("none.png")));
    }
}

} // namespace

} // namespace vek::test
