// SPDX-License-Identifier: Apache-2.0
// Recordings: how they are made and end, what the other commands make of them, and what other programs read.
#include "Program.h"
#include "support/Files.h"
#include "support/PngFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <thread>

namespace vek::test {

namespace {

class Record : public CFileTest {
protected:
    std::string Run() const { return Path("run.vrec"); }

    /// Small frames whose size is that of a block.
    Arguments Small(const Arguments& more = {}) const {
        return joined({{"record", "--sim", "--width", "64", "--height", "64", "-f", "raw8", "-o", Run()}, more});
    }
    nlohmann::json Text() const { return nlohmann::json::parse(Content("run.vrec/recording.json")); }

    /// Waits until frames are recorded, and sends a signal.
    std::function<void(pid_t)> WhenFramesAreThere(int signal) const {
        return [index = Path("run.vrec/index.bin"), signal](pid_t program) {
            for (int i = 0; i < 2000; ++i) {
                const std::string bytes = RecordsOf(index);
                if (bytes.find("VEC1", 3 * 128) != std::string::npos) {
                    break;
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            }
            kill(program, signal);
        };
    }
    static std::string RecordsOf(const std::string& index) {
        std::string bytes(8 * 128, '\0');
        const int fd = open(index.c_str(), O_RDONLY);
        if (fd >= 0) {
            static_cast<void>(!pread(fd, bytes.data(), bytes.size(), 0));
            close(fd);
        }
        return bytes;
    }

    void Flip(const std::string& name, off_t at) const {
        const int fd = open(Path(name).c_str(), O_RDWR);
        char byte = 0;
        EXPECT_EQ(pread(fd, &byte, 1, at), 1);
        byte = static_cast<char>(byte ^ 1);
        EXPECT_EQ(pwrite(fd, &byte, 1, at), 1);
        close(fd);
    }
};

TEST_F(Record, FramesAndTheirAccount) {
    const nlohmann::json account = printedJson(Small({"-n", "6", "--json"}))["account"];
    EXPECT_EQ(account["recorded"], 6);
    EXPECT_EQ(account["notRecorded"], 0);
    EXPECT_EQ(account["delivered"], 6);
    EXPECT_EQ(account["sent"].get<unsigned>(),
              account["delivered"].get<unsigned>() + account["lost"].get<unsigned>() +
                  account["flagged"].get<unsigned>() + account["short"].get<unsigned>() +
                  account["dropped"].get<unsigned>() + account["left"].get<unsigned>());
    EXPECT_EQ(Names("run.vrec"), (std::vector<std::string>{"frames.raw", "index.bin", "recording.json"}));
    EXPECT_EQ(readFile(Path("run.vrec/frames.raw")).size(), 6U * 4096);
    EXPECT_EQ(readFile(Path("run.vrec/index.bin")).size(), 6U * 128);
    const nlohmann::json text = Text();
    EXPECT_EQ(text["complete"], true);
    EXPECT_EQ(text["frames"], 6);
    EXPECT_EQ(text["format"], "raw8");
    EXPECT_EQ(text["stride"], 4096);
    EXPECT_EQ(text["endedBy"], "the number of frames was reached");
    EXPECT_EQ(text["clock"], "monotonic");
    EXPECT_EQ(text["account"]["sent"], account["sent"]);
    EXPECT_EQ(printedJson({"info", Run(), "--check", "--json"})["readable"], 6);
}

TEST_F(Record, LossesAreInTheAccount) {
    const std::string faults = WriteText("faults.txt", "frame 2 lose 3\n");
    const SResult result = runVekcam(Small({"-n", "4", "--faults", faults}));
    expectOneLine(result, 0, "3 of ");
    EXPECT_EQ(Text()["account"]["lost"], 3);
    EXPECT_EQ(runVekcam(Small({"-n", "4", "--faults", faults, "--no-loss", "--force"})).exitCode, 13);
    EXPECT_EQ(Text()["account"]["recorded"], 4);
}

TEST_F(Record, WhatIsThereIsNotReplacedUnasked) {
    printed(Small({"-n", "1"}));
    expectRefused(runVekcam(Small({"-n", "2"})), 2, "--force replaces a recording");
    EXPECT_EQ(Text()["frames"], 1);
    printed(Small({"-n", "2", "--force"}));
    EXPECT_EQ(Text()["frames"], 2);
    WriteText("run.vrec/mine.txt", "");
    expectRefused(runVekcam(Small({"-n", "2", "--force"})), 1, "mine.txt");
    EXPECT_EQ(Text()["frames"], 2);
    expectRefused(runVekcam({"record", "--sim", "-o", Path("none/run.vrec")}), 1, "No such file or directory");
    expectRefused(runVekcam({"record", "--sim"}), 2, "--output");
}

TEST_F(Record, ASignalEndsItInOrder) {
    for (const int signal : {SIGINT, SIGTERM}) {
        std::filesystem::remove_all(Run()); // frames of before would be taken for those that are waited for
        const SResult result = runVekcam(Small({"--fps", "200"}), {.meanwhile = WhenFramesAreThere(signal)});
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(Text()["complete"], true);
        EXPECT_EQ(Text()["endedBy"], "a signal");
        EXPECT_GE(printedJson({"info", Run(), "--check", "--json"})["readable"].get<unsigned>(), 4U);
    }
    // Sent to the group, and once more by a program that it runs under.
    std::filesystem::remove_all(Run());
    const SResult twice = runVekcam(Small({"--fps", "200"}), {.meanwhile = [this](pid_t program) {
                                        WhenFramesAreThere(SIGINT)(program);
                                        kill(program, SIGTERM);
                                    }});
    EXPECT_EQ(twice.exitCode, 0) << twice.err;
    EXPECT_EQ(Text()["complete"], true);
    std::filesystem::remove_all(Run());
    const SResult early =
        runVekcam(Small({"--fps", "200", "-n", "1000000"}), {.meanwhile = WhenFramesAreThere(SIGINT)});
    EXPECT_EQ(early.exitCode, 5);
    expectPart(early.err, "a signal ended the recording");
    EXPECT_EQ(Text()["complete"], true);
}

TEST_F(Record, FramesOfAKilledProgramAreThere) {
    EXPECT_EQ(runVekcam(Small({"--fps", "200"}), {.meanwhile = WhenFramesAreThere(SIGKILL)}).signal, SIGKILL);
    EXPECT_EQ(Text()["complete"], false);
    const SResult check = runVekcam({"info", Run(), "--check"});
    expectOneLine(check, 1, "was not ended in order");
    expectPart(check.out, "frames");
    const SResult converted = runVekcam({"convert", Run(), "--plain", "--frames", ":2", "-o", Path("{frame}.png")});
    expectOneLine(converted, 0, "was not ended in order");
    EXPECT_TRUE(std::filesystem::exists(Path("2.png")));
    printed(Small({"-n", "1", "--force"}));
}

TEST_F(Record, AFullDiskHasACodeOfItsOwn) {
    // Large enough for the buffers of the simulated camera.
    const SResult result = runVekcam(Small({"-n", "100000"}), {.fileSize = 2'000'000});
    expectOneLine(result, 14, "; the 488 frames before are recorded");
    expectPart(result.out, "488 recorded");
    EXPECT_EQ(Text()["complete"], true);
    EXPECT_EQ(Text()["frames"], 488);
    expectPart(printed({"info", Run(), "--check"}), "all frames are as they were written");
}

TEST_F(Record, OtherCommandsTakeItAsAFile) {
    const std::string profile = Path("camera.json");
    printed({"profile", "new", "-o", profile, "--camera", "Front", "--black", "10", "--white", "250", "--neutral",
             "0.5,1,0.6", "--tone", "srgb"});
    printed(Small({"-n", "3", "--profile", profile, "--exposure", "1000", "--gain", "4"}));
    // Frames of whole blocks are a raw file as it is.
    const Arguments raw = {Path("run.vrec/frames.raw"), "-W", "64", "-H", "64", "-f", "raw8", "-a", "rggb"};
    EXPECT_EQ(printedJson({"measure", Run(), "--frame", "2", "--json"})["mean"],
              printedJson(joined({{"measure", "--frame", "2", "--json"}, raw}))["mean"]);
    EXPECT_EQ(printedJson({"stats", Run(), "--json"})["colors"],
              printedJson(joined({{"stats", "--json", "--profile", profile}, raw}))["colors"]);
    const Arguments develop = {"--matrix", "none", "--frame", "1", "-o"};
    printed(joined({{"convert", Run()}, develop, {Path("a.png")}}));
    printed(joined({{"convert", "--profile", profile}, raw, develop, {Path("b.png")}}));
    EXPECT_EQ(readFile(Path("a.png")), readFile(Path("b.png")));
    EXPECT_EQ(runVekcam({"diff", Run(), Run(), "--frame", "1"}).exitCode, 0);
    printed(joined({{"diff", Run(), "--frame", "1"}, raw}));
    expectRefused(runVekcam({"convert", Run(), "-W", "64", "-o", Path("c.png")}), 2, "a recording tells its own");
    expectRefused(runVekcam({"convert", Run(), "--frame", "3", "-o", Path("c.png")}), 1, "no frame 3");

    printed({"convert", Run(), "-o", Path("{name}-{frame}.dng")});
    const std::string dng = Content("run-2.dng");
    expectPart(dng, "exposure 1000 clocks, gain 4");
    expectPart(dng, "Front");
    EXPECT_EQ(runVekcam({"diff", Path("run-2.dng"), Path("run-2.dng")}).exitCode, 0);
}

TEST_F(Record, AllFramesInOneFile) {
    printed(Small({"-n", "3"}));
    const std::string frames = Content("run.vrec/frames.raw");
    printed({"convert", Run(), "-o", Path("a.ser")});
    EXPECT_EQ(Content("a.ser").substr(178, frames.size()), frames);
    EXPECT_EQ(Content("a.ser").size(), 178 + frames.size() + 3 * 8);
    printed({"convert", Run(), "--frames", "1:", "-o", Path("b.ser")});
    EXPECT_EQ(Content("b.ser").substr(178, 8192), frames.substr(4096));
    printed({"convert", Run(), "-o", Path("a.nut")});
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_NE(Content("a.nut").find(frames.substr(4096 * i, 4096)), std::string::npos);
    }
    expectRefused(runVekcam({"convert", Run(), "--wb", "auto", "-o", Path("c.nut")}), 2, "--wb");
    expectRefused(runVekcam({"convert", Run(), Run(), "-o", Path("c.nut")}), 2, "one recording");
    expectRefused(runVekcam({"convert", Run(), "--black", "3", "-o", Path("c.ser")}), 2, "--black");
    expectRefused(runVekcam({"convert", Path("run.vrec/frames.raw"), "-o", Path("c.ser")}), 2, "one recording");
    expectRefused(runVekcam({"convert", Run(), "--frames", "9", "-o", Path("c.ser")}), 1, "no frame 9");
    EXPECT_FALSE(std::filesystem::exists(Path("c.ser")));
}

TEST_F(Record, PackedFramesAreUnpackedInOneFile) {
    printed({"record", "--sim", "--width", "64", "--height", "64", "-f", "raw12p", "-n", "1", "-o", Run()});
    printed({"convert", Run(), "-o", Path("a.ser")});
    EXPECT_EQ(Content("a.ser").size(), 178U + 64 * 64 * 2 + 8);
    EXPECT_EQ(Content("a.ser")[34], 12);
}

TEST_F(Record, DamagedFramesAreToldAndLeftOut) {
    printed(Small({"-n", "4"}));
    Flip("run.vrec/frames.raw", 4096 * 2 + 17);
    const SResult check = runVekcam({"info", Run(), "--check", "--json"});
    expectOneLine(check, 1, "frame 2 is damaged");
    EXPECT_EQ(nlohmann::json::parse(check.out)["damages"][0]["first"], 2);
    const SResult stopped = runVekcam({"convert", Run(), "--plain", "-o", Path("a{frame}.png")});
    EXPECT_EQ(stopped.exitCode, 1);
    expectPart(stopped.err, "frame 2 is damaged");
    const SResult going = runVekcam({"convert", Run(), "--plain", "--keep-going", "-o", Path("b{frame}.png")});
    EXPECT_EQ(going.exitCode, 4);
    EXPECT_TRUE(std::filesystem::exists(Path("b3.png")));
    EXPECT_FALSE(std::filesystem::exists(Path("b2.png")));
    // The place of a frame stays its number where one in front of it is missing.
    Flip("run.vrec/index.bin", 128 + 20);
    const SResult gap = runVekcam({"convert", Run(), "--plain", "--keep-going", "-o", Path("c{frame}.png")});
    EXPECT_EQ(gap.exitCode, 4);
    EXPECT_TRUE(std::filesystem::exists(Path("c0.png")));
    EXPECT_FALSE(std::filesystem::exists(Path("c1.png")));
    EXPECT_TRUE(std::filesystem::exists(Path("c3.png")));
    expectRefused(runVekcam({"convert", Run(), "-o", Path("c.nut")}), 1, "frame 2 is damaged");
}

TEST_F(Record, InfoIsOfOneThing) {
    printed(Small({"-n", "2"}));
    expectPart(printed({"info", Run()}), "64 x 64 pixels, raw8, rggb");
    expectRefused(runVekcam({"info", Run(), "--sim"}), 2, "a recording goes neither");
    expectRefused(runVekcam({"info", "--sim", "--check"}), 2, "--check");
    expectRefused(runVekcam({"info", Path("none")}), 1, "is no recording");
}

int status(const std::string& command) {
    return std::system((command + " >/dev/null 2>&1").c_str());
}

TEST_F(Record, NumpyReadsItAsItIs) {
    if (status("/usr/bin/python3 -c 'import numpy'") != 0) {
        GTEST_SKIP() << "no numpy here";
    }
    printed({"record", "--sim", "--width", "70", "--height", "64", "-f", "raw12", "-n", "3", "-o", Run()});
    printed({"convert", Run(), "-o", Path("a.ser")});
    const std::string script = WriteText("read.py", R"(
import json, numpy, sys, zlib
folder = sys.argv[1]
r = json.load(open(folder + '/recording.json'))
frames = numpy.memmap(folder + '/frames.raw', '<u2', 'r').reshape(-1, r['stride'] // 2)[:, :r['frameBytes'] // 2]
frames = frames.reshape(-1, r['height'], r['width'])
assert frames.tobytes() == open(sys.argv[2], 'rb').read()[178:178 + 3 * r['frameBytes']]
index = numpy.fromfile(folder + '/index.bin', [
    ('mark', 'S4'), ('flags', '<u4'), ('number', '<u8'), ('position', '<u8'), ('sequence', '<u4'),
    ('driverFlags', '<u4'), ('time', '<i8'), ('arrival', '<i8'), ('wall', '<i8'), ('lostBefore', '<u4'),
    ('clock', 'u1'), ('moment', 'u1'), ('', '<u2'), ('exposure', '<i4'), ('gain', '<i4'), ('exposureNs', '<u8'),
    ('gainMilliDb', '<i4'), ('', '<u4'), ('bytes', '<u8'), ('hash', '<u8'), ('crc', '<u4'), ('', 'V16'),
    ('recordCrc', '<u4')])
assert len(index) == 3 and (index['mark'] == b'VEC1').all() and (index['number'] == [0, 1, 2]).all()
assert (numpy.diff(index['time']) > 0).all() and (index['exposureNs'] > 0).all()
for frame, record in zip(frames, index):
    assert zlib.crc32(frame.tobytes()) == record['crc']
    assert zlib.crc32(record.tobytes()[:124]) == record['recordCrc']
)");
    EXPECT_EQ(std::system(("/usr/bin/python3 " + script + " " + Run() + " " + Path("a.ser")).c_str()), 0);
}

TEST_F(Record, FfmpegReadsFramesOfWholeBlocks) {
    if (status("command -v ffmpeg") != 0) {
        GTEST_SKIP() << "no ffmpeg here";
    }
    printed(Small({"-n", "3"}));
    EXPECT_EQ(std::system(("ffmpeg -v error -f rawvideo -pixel_format bayer_rggb8 -video_size 64x64 -i " + Run() +
                           "/frames.raw -f rawvideo " + Path("all.raw"))
                              .c_str()),
              0);
    EXPECT_EQ(Content("all.raw"), Content("run.vrec/frames.raw"));
}

} // namespace

} // namespace vek::test
