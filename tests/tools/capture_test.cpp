// SPDX-License-Identifier: Apache-2.0
// vekcam capture, watch, controls and calibrate delay on the simulated camera.
#include "Program.h"
#include "support/Files.h"

#include <gtest/gtest.h>

#include <csignal>
#include <sstream>
#include <thread>

namespace vek::test {

namespace {

const Arguments kSmall = {"--sim", "--width", "96", "--height", "64"};

Arguments capturing(const Arguments& more) {
    return joined({{"capture"}, kSmall, more});
}

/// The JSON objects of a run, one a line.
std::vector<nlohmann::json> linesOf(const std::string& text) {
    std::istringstream lines(text);
    std::string line;
    std::vector<nlohmann::json> objects;
    while (std::getline(lines, line)) {
        objects.push_back(nlohmann::json::parse(line));
    }
    return objects;
}

class CaptureCommand : public CFileTest {
protected:
    std::string Script(const std::string& text) { return Write("faults", {text.begin(), text.end()}); }
};

TEST_F(CaptureCommand, FramesBecomeFiles) {
    for (const char* const ending : {"png", "tif", "jpg", "ppm", "dng"}) {
        const SResult result = runVekcam(capturing({"-n", "3", "-o", Path(std::string("{seq:03}-{n}.") + ending)}));
        EXPECT_EQ(result.exitCode, 0) << result.err;
        expectPart(result.out, "3 written in ");
        expectPart(result.out, "= 3 delivered + 0 lost + 0 flagged + 0 short + 0 dropped + ");
        for (const char* const name : {"000-0.", "001-1.", "002-2."}) {
            EXPECT_FALSE(Content(std::string(name) + ending).empty()) << name << ending;
        }
    }
}

TEST_F(CaptureCommand, EachFaultHasItsCountAndExitCode) {
    struct SCase {
        const char* script;
        Arguments more;
        int code;
        const char* out;
        const char* err;
    };
    const SCase cases[] = {
        {"frame 3 lose 2", {}, 0, " 2 lost + 0 flagged + 0 short", "warning: "},
        {"frame 3 flag", {}, 0, " 0 lost + 1 flagged + 0 short", "warning: "},
        {"frame 3 short 9 2", {}, 0, " 0 lost + 0 flagged + 2 short", "warning: "},
        {"frame 3 lose", {"--no-loss"}, 13, " 1 lost + ", "1 of "},
        {"frame 3 sequence 4294967290", {}, 0, "1 sequence number that went back", ""},
        {"frame 3 unplug", {}, 8, "3 taken", "is not there any more"},
        {"frame 3 unplug 50", {"--reconnect"}, 0, "1 interruption", ""},
        {"request 40 EIO", {}, 7, "", "the transfer failed"},
        {"request 40 EBUSY", {}, 9, "", "someone else streams"},
        {"request 40 ENOSPC", {}, 10, "", "no bandwidth left"},
        {"frame 3 source-change", {}, 11, "taken", "another form"},
        {"frame 3 eos", {}, 12, "taken", "ended the stream after "},
        {"frame 3 stall 60000", {"--timeout", "0.2"}, 6, "1 timeout", "no frame came for 0.2"},
    };
    for (const SCase& fault : cases) {
        const SResult result =
            runVekcam(joined({capturing({"-n", "12", "--fps", "100", "--faults", Script(fault.script)}), fault.more}));
        EXPECT_EQ(result.exitCode, fault.code) << fault.script << '\n' << result.out << result.err;
        expectPart(result.out, fault.out);
        expectPart(result.err, fault.err);
        if (fault.code == 0) {
            expectPart(result.out, "12 taken");
        }
    }
}

TEST_F(CaptureCommand, JsonTellsEachFrameAndTheAccount) {
    const SResult result = runVekcam(capturing({"-n", "4", "--json", "--every", "3"}));
    expectDone(result);
    const std::vector<nlohmann::json> lines = linesOf(result.out);
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_EQ(lines[0]["n"], 0);
    EXPECT_EQ(lines[3]["sequence"], 9);
    EXPECT_EQ(lines[1]["exposure"], 10000);
    EXPECT_EQ(lines[1]["clock"], "monotonic");
    EXPECT_EQ(lines[4]["account"]["kept"], 4);
    EXPECT_EQ(lines[4]["account"]["passed"], 6);
    EXPECT_EQ(lines[4]["account"]["delivered"], 10);
}

TEST_F(CaptureCommand, SignalsEndItInItsOwnWay) {
    for (const bool counted : {true, false}) {
        SStreams streams;
        streams.meanwhile = [](pid_t program) {
            std::this_thread::sleep_for(std::chrono::milliseconds(600));
            kill(program, SIGINT);
        };
        const SResult result =
            runVekcam(joined({capturing({"--fps", "50"}), counted ? Arguments{"-n", "100000"} : Arguments{}}), streams);
        EXPECT_EQ(result.exitCode, counted ? 5 : 0) << result.err;
        expectPart(result.out, " delivered + ");
    }
}

TEST_F(CaptureCommand, UntilAMoment) {
    const SResult result = runVekcam(capturing({"--fps", "20", "--until", "300ms"}));
    expectDone(result);
    expectPart(result.out, " taken in 0.");
}

TEST_F(CaptureCommand, OnChangeKeepsWhatDiffers) {
    const SResult result = runVekcam(capturing({"--fps", "100", "--until", "300ms", "--on-change", "30"}));
    EXPECT_EQ(result.exitCode, 0);
    expectPart(result.out, "1 taken");
}

TEST_F(CaptureCommand, LuminanceControlFollowsTheProfilesDelay) {
    const std::string profile = Path("measured.json");
    expectDone(runVekcam(joined({{"calibrate", "delay"}, kSmall, {"--sim-delay", "3", "-o", profile}})));
    const nlohmann::json measured = nlohmann::json::parse(Content("measured.json"));
    EXPECT_EQ(measured["controlDelay"]["exposure"], 3);
    EXPECT_EQ(measured["controlDelay"]["gain"], 3);
    const SResult result = runVekcam(capturing(
        {"-n", "120", "--sim-delay", "3", "--profile", profile, "--alc", "both", "--alc-target", "60", "--json"}));
    expectDone(result);
    const std::vector<nlohmann::json> lines = linesOf(result.out);
    EXPECT_NEAR(lines[119]["level"].get<double>() * 255, 60, 12);
    const SResult settled = runVekcam(
        capturing({"-n", "20", "--sim-delay", "3", "--profile", profile, "--alc", "both", "--settle", "--json"}));
    for (const nlohmann::json& line : linesOf(settled.out)) {
        EXPECT_TRUE(line.contains("account") || line["settled"].get<bool>());
    }
}

TEST_F(CaptureCommand, DelaysAreNotGuessedInTheDark) {
    const SResult result = runVekcam(joined({{"calibrate", "delay"}, kSmall, {"--light", "0"}}));
    expectRefused(result, 1, "too dark");
    expectRefused(runVekcam(joined({{"calibrate", "delay"}, kSmall, {"--light", "1000"}})), 1, "too bright");
}

TEST_F(CaptureCommand, WhatIsRefused) {
    expectRefused(runVekcam(capturing({"-n", "2", "-o", Path("a.png")})), 2, "many frames need a pattern");
    expectRefused(runVekcam(capturing({"-n", "2", "-o", Path("{foo}.png")})), 2, "no pattern");
    expectRefused(runVekcam(capturing({"-n", "2", "-o", Path("{n}.gif")})), 2, ".dng");
    expectRefused(runVekcam(capturing({"--policy", "drop"})), 2, "drop-oldest");
    expectRefused(runVekcam(capturing({"--until", "soon"})), 2, "neither a time");
    expectRefused(runVekcam(capturing({"--alc-target", "5"})), 2, "--alc");
    expectRefused(runVekcam(capturing({"--faults", Script("frame x lose")})), 1, "line 1");
    expectRefused(runVekcam({"capture", "--device", "/dev/null"}), 1, "no Video4Linux2 device");
    expectRefused(runVekcam({"capture", "--device", Path("missing")}), 1, "cannot open");
    expectOneLine(runVekcam(capturing({"-n", "2", "-o", Path("none/{n}.png")})), 1, "cannot open");
}

TEST_F(CaptureCommand, WatchShowsFigures) {
    const SResult result = runVekcam(joined({{"watch"}, kSmall, {"--fps", "50", "-n", "2"}}));
    expectDone(result);
    for (const char* const part : {"focus ", "best ", "level ", "clipped ", "noise ", " fps +- ", "lost 0", "  ["}) {
        expectPart(result.out, part);
    }
    const SResult json = runVekcam(joined({{"watch"}, kSmall, {"--fps", "50", "-n", "1", "--json"}}));
    EXPECT_NEAR(linesOf(json.out)[0]["intervals"]["mean"].get<double>(), 0.02, 0.005);
    SStreams terminal;
    terminal.outIsTerminal = true;
    terminal.environment = {"TERM=xterm"};
    expectPart(runVekcam(joined({{"watch"}, kSmall, {"--fps", "50", "-n", "3"}}), terminal).out, "\033[2A");
}

TEST_F(CaptureCommand, ControlsByName) {
    const std::string list = printed({"controls", "list", "--sim"});
    for (const char* const part : {"exposure ", "gain ", "transfer_format", "image_width", "exposure clocks"}) {
        expectPart(list, part);
    }
    EXPECT_EQ(printed({"controls", "get", "gain", "--sim"}), "0\n");
    EXPECT_EQ(linesOf(printed({"controls", "set", "gain=30", "--sim", "--json"}))[0]["value"], 30);
    expectRefused(runVekcam({"controls", "set", "focus=1", "--sim"}), 2, "no such control");
    expectRefused(runVekcam({"controls", "set", "gain=241", "--sim"}), 2, "0 to 240");
    expectRefused(runVekcam({"controls", "set", "clock=1", "--sim"}), 2, "takes no other");
    expectRefused(runVekcam({"controls", "set", "gain", "--sim"}), 2, "NAME=VALUE");
}

TEST_F(CaptureCommand, TheLineOnATerminal) {
    SStreams terminal;
    terminal.errIsTerminal = true;
    const SResult result = runVekcam(capturing({"--fps", "50", "--until", "900ms"}), terminal);
    for (const char* const part : {" frames  ", "/s  lost 0", "level ", "clipped ", "exposure 10000  gain 0"}) {
        expectPart(result.err, part);
    }
}

} // namespace

} // namespace vek::test
