// SPDX-License-Identifier: Apache-2.0
#include "Program.h"

#include <gtest/gtest.h>

#include <ostream>
#include <regex>

namespace vek::test {

namespace {

struct SHelp {
    Arguments arguments;
    Arguments mentioned;
};

void PrintTo(const SHelp& help, std::ostream* stream) {
    *stream << commandLine(help.arguments);
}

class HelpText : public ::testing::TestWithParam<SHelp> {};

TEST_P(HelpText, MentionsEveryOptionAndSucceeds) {
    const SResult result = runVekcam(GetParam().arguments);
    expectDone(result);
    for (const std::string& word : GetParam().mentioned) {
        expectPart(result.out, word);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cli, HelpText,
    ::testing::Values(
        SHelp{{"--help"}, {"info",     "demo",    "convert",  "measure", "stats",     "diff",      "capture",
                           "record",   "watch",   "controls", "alc",     "calibrate", "defects",   "units",
                           "settings", "profile", "emulate",  "--help",  "--version", "Exit codes"}},
        SHelp{{"-h"}, {"info", "demo", "convert"}},
        SHelp{{"info", "--help"}, {"--help", "--device", "--sim", "--json", "/dev/video0", "global-1m"}},
        SHelp{{"measure", "--help"},
              {"IN", "--width", "--height", "--format", "--colour-array", "--region", "--sim", "--json", "--src-offset",
               "--src-stride", "--byte-order", "--frame", "--force", "--profile", "raw12p"}},
        SHelp{{"stats", "--help"},
              {"FRAME", "--width", "--format", "--colour-array", "--frames", "--region", "--tiles", "--histogram",
               "--log", "--json", "--profile", "--frame", "--src-offset", "--force"}},
        SHelp{{"diff", "--help"},
              {"A", "B", "--width", "--format", "--colour-array", "--tolerance", "--map", "--json", "--profile",
               "--frame", "--force", "Exit codes"}},
        SHelp{{"profile", "--help"}, {"show", "check", "new", "export"}},
        SHelp{{"profile", "show", "--help"}, {"FILE", "--json"}},
        SHelp{{"profile", "new", "--help"},
              {"--output", "--from", "--camera", "--size", "--format", "--colour-array", "--bits", "--black", "--white",
               "--neutral", "--balance", "--tone", "--dark", "--shading", "--delay", "raw12-csi2"}},
        SHelp{{"profile", "export", "--help"}, {"FILE", "--libcamera", "--output"}},
        SHelp{{"capture", "--help"},
              {"--device",  "--sim",       "--frames",  "--output",    "--discard", "--until",
               "--every",   "--on-change", "--settle",  "--alc",       "--json",    "--alc-target",
               "--no-loss", "--queue",     "--policy",  "--realtime",  "--timeout", "--threads",
               "--format",  "--reconnect", "--profile", "--sim-delay", "--faults",  "{seq}"}},
        SHelp{{"watch", "--help"}, {"--device", "--sim", "--region", "--reports", "--json", "--fps"}},
        SHelp{{"controls", "--help"}, {"list", "get", "set"}},
        SHelp{{"controls", "set", "--help"}, {"NAME=VALUE", "--device", "--sim", "--json"}},
        SHelp{{"calibrate", "delay", "--help"}, {"--rounds", "--output", "--sim-delay", "controlDelay", "--json"}},
        SHelp{{"alc", "--help"}, {"--sim",        "--device",   "--mode",     "--once",         "--target",
                                  "--frames",     "--region",   "--light",    "--light-steps",  "--start-exposure",
                                  "--start-gain", "--min-gain", "--max-gain", "--min-exposure", "--max-exposure",
                                  "--seed",       "--width",    "--height",   "--csv",          "exposure-once"}},
        SHelp{{"calibrate", "black", "--help"},
              {"FILES", "--sim", "--device", "--output", "--frames", "--format", "--profile", "--json", "BlackLevel"}},
        SHelp{{"calibrate", "noise", "--help"},
              {"FILES", "--sim", "--dark", "--exposures", "--region", "--steps", "--plot", "--output", "--json",
               "NoiseProfile", "EMVA"}},
        SHelp{{"calibrate", "--help"}, {"black", "dark", "flat", "noise", "delay", "colour"}},
        SHelp{{"calibrate", "color", "--help"},
              {"IN", "--black", "--white", "--corners", "--reference", "--no-plane", "--illuminant", "--name",
               "--output", "--picture", "--profile", "--json"}},
        SHelp{{"calibrate", "dark", "--help"},
              {"--sim", "--device", "--output", "--frames", "--format", "--exposure", "--gain", "--raw", "--hot",
               "--no-noise", "--seed"}},
        SHelp{{"calibrate", "flat", "--help"}, {"--light", "--frames", "FILE.json"}},
        SHelp{{"defects", "--help"}, {"detect"}},
        SHelp{{"defects", "detect", "--help"}, {"--sim", "--threshold", "--hot", "--seed"}},
        SHelp{{"units", "--help"},
              {"--sim", "--device", "--exposure-time", "--exposure-clocks", "--gain", "--gain-db", "--digital-gain",
               "--digital-times", "--fps", "--json"}},
        SHelp{{"demo", "--help"},
              {"--help", "--output", "demo-output", "--frames", "--model", "global-1m", "--seed", "--width", "--height",
               "--raw", "--no-noise", "--hot", "--truth"}},
        SHelp{{"convert", "--help"},
              {"--help",        "IN",           "--width",         "--height",       "--format",     "--colour-array",
               "--color-array", "--method",     "--output",        "--frame",        "--black",      "--bits-out",
               "--src-offset",  "--display",    "--white",         "shifted",        "raw8",         "mono16",
               "rggb",          "bilinear",     "nearest2",        "bicubic",        "bilinear-fcr", "raw12p",
               "bgr10",         "ycrcb422",     "bits-out",        "--depth",        "--threads",    "edge",
               "raw10-csi2",    "--wb",         "--raw-gamma",     "--mirror",       "--rotate",     "--matrix",
               "--hue",         "--saturation", "--suppress-high", "--suppress-low", "--gamma",      "--brightness",
               "--contrast",    "--sharpness",  "8 bits deep",     "--noise",        "--dark",       "--shading",
               "--settings"}},
        SHelp{{"convert", "-h"},
              {"--force", "--profile", "--src-stride", "--byte-order", "--quality", ".tiff", ".pnm", ".dng"}}));

TEST(Version, NamesProgramAndLibrary) {
    const SResult result = runVekcam({"--version"});
    expectDone(result);
    // Nothing of the folder that it was built in, and no time.
    EXPECT_TRUE(std::regex_match(result.out, std::regex("vekcam 2\\.0\\.0, library version 2\n"
                                                        "build: [^/\n]+\n"
                                                        "compiler: (GNU|Clang) [0-9.]+\n"
                                                        "row kernels: scalar(, [a-z0-9]+)*; [a-z0-9]+ runs\n")))
        << result.out;
}

TEST(StandardOutput, FullDeviceIsAFailure) {
    for (const Arguments& arguments :
         {std::vector<std::string>{"--help"}, {"--version"}, {"info", "--sim"}, {"info", "--sim", "--json"}}) {
        expectOneLine(runVekcam(arguments, {.outFile = "/dev/full"}), 1);
    }
}

TEST(StandardOutput, PipeWithoutReaderIsAFailureAndNoCrash) {
    const SResult result = runVekcam({"info", "--sim"}, {.outIsBrokenPipe = true});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err, "vekcam: standard output: cannot write: Broken pipe\n");
}

} // namespace

} // namespace vek::test
