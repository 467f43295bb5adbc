// SPDX-License-Identifier: Apache-2.0
// What becomes of files that the program writes, or was about to write.
#include "Program.h"
#include "support/Files.h"
#include "support/PngFile.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <ostream>
#include <random>
#include <thread>
#include <utility>

namespace vek::test {

namespace {

using Clock = std::chrono::steady_clock;

const std::string kOld = "what was there before\n";

/// Samples that hardly compress: the picture is as large as they are.
std::vector<std::uint8_t> noise(std::size_t count) {
    std::mt19937 random(5);
    std::vector<std::uint8_t> bytes;
    while (bytes.size() < count) {
        bytes.push_back(static_cast<std::uint8_t>(random()));
    }
    return bytes;
}

class Output : public CFileTest {
protected:
    std::string Old(const std::string& name) const { return WriteText(name, kOld); }

    /// Converts a frame of two pixels.
    Arguments Convert(const std::string& output) const {
        return {"convert", Write("in.raw", {1, 2}), "-W", "2", "-H", "1", "-f", "mono8", "-o", output};
    }

    static bool Decodes(const std::vector<std::uint8_t>& bytes) { return decodePng(bytes).samples.size() == 2; }

    mode_t Mode(const std::string& name) const {
        struct stat status {};
        EXPECT_EQ(stat(Path(name).c_str(), &status), 0);
        return status.st_mode & 07777U;
    }
};

// ---- failures in the middle ----

struct SWriter {
    Arguments arguments; ///< $ stands for the test's directory
    Arguments outputs;   ///< in that directory
    rlim_t fileSize;     ///< too little for the last output
};

void PrintTo(const SWriter& writer, std::ostream* stream) {
    *stream << commandLine(writer.arguments);
}

class FailedWrite : public Output, public ::testing::WithParamInterface<SWriter> {};

TEST_P(FailedWrite, LeavesWhatWasThereAndNothingElse) {
    Write("in.raw", noise(10000));
    mkdir(Path("demo").c_str(), 0777);
    Arguments arguments = GetParam().arguments;
    for (std::string& argument : arguments) {
        if (argument.starts_with("$")) {
            argument = Path(argument.substr(1));
        }
    }
    for (const bool there : {false, true}) {
        SCOPED_TRACE(there);
        for (const std::string& name : GetParam().outputs) {
            if (there) {
                Old(name);
            }
        }
        const Arguments names = Names();
        const Arguments demoNames = Names("demo");
        expectOneLine(runVekcam(arguments, {.fileSize = GetParam().fileSize}), 1, "cannot write");
        EXPECT_EQ(Names(), names);
        EXPECT_EQ(Names("demo"), demoNames);
        for (const std::string& name : GetParam().outputs) {
            EXPECT_EQ(Content(name), there ? kOld : "") << name;
        }
    }
}

// The description of a calibration has some 230 bytes, the picture of an even surface less than 1000, its frame 4096.
INSTANTIATE_TEST_SUITE_P(
    Commands, FailedWrite,
    ::testing::Values(
        SWriter{{"convert", "$in.raw", "-W", "100", "-H", "100", "-f", "mono8", "-o", "$out.png"}, {"out.png"}, 5000},
        SWriter{{"convert", "$in.raw", "-W", "100", "-H", "100", "-f", "mono8", "-o", "$out.tif"}, {"out.tif"}, 5000},
        SWriter{{"convert", "$in.raw", "-W", "100", "-H", "100", "-f", "mono8", "-o", "$out.jpg"}, {"out.jpg"}, 2000},
        SWriter{{"convert", "$in.raw", "-W", "100", "-H", "100", "-f", "mono8", "-o", "$out.pgm"}, {"out.pgm"}, 5000},
        SWriter{{"convert", "$in.raw", "-W", "100", "-H", "100", "-f", "mono8", "-o", "$out.dng"}, {"out.dng"}, 5000},
        SWriter{{"settings", "save", "$settings"}, {"settings"}, 100},
        SWriter{{"alc", "--frames", "3", "--width", "64", "--height", "64", "--csv", "$steps"}, {"steps"}, 100},
        SWriter{{"calibrate", "flat", "--no-noise", "--width", "64", "--height", "64", "-o", "$flat.png", "--raw",
                 "$flat.raw"},
                {"flat.png", "flat.json", "flat.raw"},
                2000},
        SWriter{{"demo", "-n", "1", "--width", "64", "--height", "64", "-o", "$demo"}, {"demo/frame1-mono.png"}, 500}));

TEST_F(Output, FullDiskLeavesTheOldPicture) {
    const std::string disk = Path("disk");
    ASSERT_EQ(mkdir(disk.c_str(), 0777), 0);
    if (mount("none", disk.c_str(), "tmpfs", 0, "size=64k") != 0) {
        GTEST_SKIP() << "no file system may be mounted here";
    }
    Old("disk/out.png");
    const std::string input = Write("in.raw", noise(300000));
    const SResult result =
        runVekcam({"convert", input, "-W", "600", "-H", "500", "-f", "mono8", "-o", Path("disk/out.png")});
    const Arguments names = Names("disk");
    const std::string content = Content("disk/out.png");
    umount2(disk.c_str(), MNT_DETACH);
    expectOneLine(result, 1, "No space left on device");
    EXPECT_EQ(names, Arguments{"out.png"});
    EXPECT_EQ(content, kOld);
}

// ---- signals ----

TEST_F(Output, SignalsAtAnyMomentLeaveTheOldPictureOrTheNewOne) {
    const std::string input = Write("in.raw", noise(800 * 600));
    const Arguments arguments = {"convert", input, "-W", "800", "-H", "600", "-f", "mono8", "-o", Path("out.png")};
    const auto start = Clock::now();
    ASSERT_EQ(runVekcam(arguments).exitCode, 0);
    const auto duration = Clock::now() - start;
    const std::string picture = Content("out.png");
    constexpr int kSignals[] = {SIGHUP, SIGINT, SIGTERM};
    constexpr int kMoments = 30;
    int ended = 0;
    for (int i = 0; i < kMoments; ++i) {
        Old("out.png");
        const int signal = kSignals[i % 3];
        const auto moment = start - start + duration * i / kMoments;
        const SResult result = runVekcam(arguments, {.meanwhile = [&](pid_t child) {
                                             std::this_thread::sleep_for(moment);
                                             kill(child, signal);
                                         }});
        ASSERT_TRUE(result.signal == signal || result.exitCode == 0) << result.signal << ", " << result.exitCode;
        ended += result.signal != 0 ? 1 : 0;
        EXPECT_EQ(Names(), (Arguments{"in.raw", "out.png"}));
        const std::string content = Content("out.png");
        EXPECT_TRUE(content == picture || (result.signal != 0 && content == kOld)) << content.size() << " bytes";
    }
    EXPECT_GT(ended, 0);
}

TEST_F(Output, SignalWhileATemporaryFileIsThereRemovesIt) {
    for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
        Old("steps.csv");
        Arguments during;
        const SResult result =
            runVekcam({"alc", "--frames", "100000", "--width", "64", "--height", "64", "--csv", Path("steps.csv")},
                      {.outFile = "/dev/null", .meanwhile = [&](pid_t child) {
                           for (int i = 0; i < 10000 && during.size() < 2; ++i) {
                               during = Names();
                               std::this_thread::sleep_for(std::chrono::milliseconds(1));
                           }
                           kill(child, signal);
                           kill(child, signal); // an impatient user
                       }});
        EXPECT_EQ(result.signal, signal);
        ASSERT_EQ(during.size(), 2U);
        EXPECT_TRUE(during[0].starts_with(".vekcam-")) << during[0];
        EXPECT_EQ(Names(), Arguments{"steps.csv"});
        EXPECT_EQ(Content("steps.csv"), kOld);
    }
}

// ---- inputs and outputs that are the same ----

TEST_F(Output, AnInputIsNoOutput) {
    const std::string frame = Write("x.png", {1, 2});
    ASSERT_EQ(symlink("x.png", Path("soft").c_str()), 0);
    ASSERT_EQ(link(frame.c_str(), Path("hard").c_str()), 0);
    const Arguments names = Names();
    const auto run = [&](const std::string& input, const std::string& output, const SStreams& streams = {}) {
        const Arguments arguments = {"convert", input, "-W", "2", "-H", "1", "-f", "mono8", "-o", output};
        SCOPED_TRACE(commandLine(arguments));
        expectOneLine(runVekcam(arguments, streams), 2, "is an input");
        EXPECT_EQ(readFile(frame), (std::vector<std::uint8_t>{1, 2}));
        EXPECT_EQ(Names(), names);
    };
    run(frame, frame);
    run(frame, Path("./x.png"));
    run(frame, Path("soft"));
    run(Path("soft"), frame);
    run(frame, Path("hard"));
    run("-", frame, {.inFile = frame});
    run(frame, "-", {.outFile = frame});
}

TEST_F(Output, NorAreSettingsAndCalibrations) {
    const std::string settings = Path("settings");
    ASSERT_EQ(runVekcam({"settings", "save", settings}).exitCode, 0);
    Arguments small = {"calibrate", "", "--width", "64", "--height", "64", "-o", ""};
    for (const std::string kind : {"dark", "flat"}) {
        small[1] = kind;
        small.back() = Path(kind + ".png");
        ASSERT_EQ(runVekcam(small).exitCode, 0);
    }
    const std::string frame = Write("x.raw", std::vector<std::uint8_t>(64 * 64, 90));
    for (const std::string kind : {"dark", "flat"}) {
        ASSERT_EQ(symlink((kind + ".json").c_str(), Path(kind + "-description.png").c_str()), 0);
    }
    for (const std::string name :
         {"settings", "dark.png", "dark-description.png", "flat.png", "flat-description.png"}) {
        const std::string before = Content(name);
        expectOneLine(runVekcam({"convert",    frame,
                                 "-W",         "64",
                                 "-H",         "64",
                                 "-f",         "raw8",
                                 "-a",         "rggb",
                                 "--settings", settings,
                                 "--noise",    "complex",
                                 "--dark",     Path("dark.png"),
                                 "--shading",  Path("flat.png"),
                                 "-o",         Path(name)}),
                      2, Path(name) + ": is an input");
        EXPECT_EQ(Content(name), before);
    }
}

TEST_F(Output, TwoOutputsAreTwoFiles) {
    ASSERT_EQ(symlink("dark.json", Path("link").c_str()), 0);
    for (const std::string name : {"dark.png", "./dark.png", "dark.json", "link"}) {
        expectOneLine(runVekcam({"calibrate", "dark", "--width", "64", "--height", "64", "-o", Path("dark.png"),
                                 "--raw", Path(name)}),
                      2, Path(name));
        EXPECT_EQ(Names(), Arguments{"link"});
    }
}

// ---- links, permissions, names ----

TEST_F(Output, SymbolicLinksStayAndLeadToTheNewFile) {
    mkdir(Path("folder").c_str(), 0777);
    Old("folder/there.png");
    ASSERT_EQ(symlink("folder/there.png", Path("link").c_str()), 0);
    ASSERT_EQ(symlink(Path("link").c_str(), Path("chain").c_str()), 0);
    ASSERT_EQ(symlink("folder/new.png", Path("dangling").c_str()), 0);
    ASSERT_EQ(symlink("round", Path("round").c_str()), 0);
    ASSERT_EQ(symlink("missing/new.png", Path("nowhere").c_str()), 0);
    for (const std::string name : {"link", "chain", "dangling"}) {
        Old("folder/there.png");
        EXPECT_EQ(runVekcam(Convert(Path(name))).exitCode, 0) << name;
        EXPECT_TRUE(std::filesystem::is_symlink(Path(name))) << name;
        EXPECT_TRUE(Decodes(readFile(Path(name)))) << name;
    }
    EXPECT_EQ(Names("folder"), (Arguments{"new.png", "there.png"}));
    EXPECT_FALSE(std::filesystem::is_symlink(Path("folder/new.png")));
    expectOneLine(runVekcam(Convert(Path("round"))), 1, "symbolic links");
    expectOneLine(runVekcam(Convert(Path("nowhere"))), 1, "No such file");
}

TEST_F(Output, OtherNamesOfAReplacedFileKeepTheOldOne) {
    ASSERT_EQ(link(Old("other.png").c_str(), Path("out.png").c_str()), 0);
    EXPECT_EQ(runVekcam(Convert(Path("out.png"))).exitCode, 0);
    EXPECT_EQ(Content("other.png"), kOld);
    EXPECT_TRUE(Decodes(readFile(Path("out.png"))));
}

TEST_F(Output, PermissionsAreThoseOfTheOldFileOrOfTheMask) {
    chmod(Old("out.png").c_str(), 0604);
    const mode_t mask = umask(027);
    EXPECT_EQ(runVekcam(Convert(Path("out.png"))).exitCode, 0);
    EXPECT_EQ(runVekcam(Convert(Path("new.png"))).exitCode, 0);
    EXPECT_EQ(runVekcam({"settings", "save", Path("settings")}).exitCode, 0);
    umask(mask);
    EXPECT_TRUE(Decodes(readFile(Path("out.png"))));
    EXPECT_EQ(Mode("out.png"), 0604U);
    EXPECT_EQ(Mode("new.png"), 0640U);
    EXPECT_EQ(Mode("settings"), 0640U);
}

TEST_F(Output, OwnerAndGroupAreThoseOfTheOldFile) {
    if (chown(Old("out.png").c_str(), 4321, 8765) != 0) {
        GTEST_SKIP() << "needs the right to give files away";
    }
    EXPECT_EQ(runVekcam(Convert(Path("out.png"))).exitCode, 0);
    struct stat status {};
    ASSERT_EQ(stat(Path("out.png").c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 4321U);
    EXPECT_EQ(status.st_gid, 8765U);
    EXPECT_TRUE(Decodes(readFile(Path("out.png"))));
}

TEST_F(Output, ProtectedFilesAndFoldersAreRefused) {
    chmod(Path("").c_str(), 0777);
    mkdir(Path("closed").c_str(), 0777);
    chmod(Old("out.png").c_str(), 0444);
    chmod(Old("closed/out.png").c_str(), 0666);
    chmod(Path("closed").c_str(), 0555);
    if (!canRunUnprivileged()) {
        GTEST_SKIP() << "no run without privileges";
    }
    const SStreams unprivileged = {.unprivileged = true};
    expectOneLine(runVekcam(Convert(Path("out.png")), unprivileged), 1, "Permission denied");
    expectOneLine(runVekcam(Convert(Path("closed/out.png")), unprivileged), 1, "folder");
    expectOneLine(runVekcam(Convert(Path("closed/new.png")), unprivileged), 1, "folder");
    expectOneLine(runVekcam({"alc", "--csv", Path("closed/steps")}, unprivileged), 1, "folder");
    EXPECT_EQ(Content("out.png"), kOld);
    EXPECT_EQ(Content("closed/out.png"), kOld);
    EXPECT_EQ(Names("closed"), Arguments{"out.png"});
    EXPECT_EQ(Names(), (Arguments{"closed", "in.raw", "out.png"}));
    chmod(Path("closed").c_str(), 0777);
}

TEST_F(Output, NamesAsLongAsTheyMayBeAndRelativeOnes) {
    const std::string longest(255, 'n');
    EXPECT_EQ(runVekcam(Convert(Path(longest))).exitCode, 0);
    EXPECT_TRUE(Decodes(readFile(Path(longest))));
    expectOneLine(runVekcam(Convert(Path(longest + "n"))), 1, "File name too long");
    mkdir(Path("folder").c_str(), 0777);
    for (const std::string name : {"near.png", "../up.png", "./.././dots.png"}) {
        EXPECT_EQ(runVekcam(Convert(name), {.directory = Path("folder")}).exitCode, 0) << name;
        EXPECT_TRUE(Decodes(readFile(Path("folder/" + name)))) << name;
    }
    EXPECT_EQ(Names("folder"), Arguments{"near.png"});
}

// ---- what is no regular file ----

TEST_F(Output, PipesAreWrittenDirectly) {
    ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
    std::vector<std::uint8_t> read;
    std::thread reader([&] { read = readFile(Path("pipe")); });
    EXPECT_EQ(runVekcam(Convert(Path("pipe"))).exitCode, 0);
    reader.join();
    EXPECT_TRUE(Decodes(read));
    EXPECT_TRUE(std::filesystem::is_fifo(Path("pipe")));
}

TEST_F(Output, StandardOutputByItsNames) {
    for (const std::string name : {"-", "/dev/stdout", "/dev/fd/1", "/proc/self/fd/1"}) {
        const SResult piped = runVekcam(Convert(name));
        EXPECT_EQ(piped.exitCode, 0) << piped.err;
        EXPECT_TRUE(Decodes({piped.out.begin(), piped.out.end()})) << name;
        // The file that a shell has opened is the one that gets the picture.
        const std::string file = Write("redirected", {});
        ASSERT_EQ(link(file.c_str(), Path("same").c_str()), 0);
        EXPECT_EQ(runVekcam(Convert(name), {.outFile = file}).exitCode, 0);
        EXPECT_TRUE(Decodes(readFile(Path("same")))) << name;
        std::filesystem::remove(Path("same"));
    }
    EXPECT_EQ(Names(), (Arguments{"in.raw", "redirected"}));
}

TEST_F(Output, DevicesAreWrittenDirectlyAndStay) {
    EXPECT_EQ(runVekcam(Convert("/dev/null")).exitCode, 0);
    expectOneLine(runVekcam(Convert("/dev/full")), 1, "No space left on device");
    ASSERT_EQ(symlink("/dev/full", Path("link").c_str()), 0);
    expectOneLine(runVekcam({"alc", "--frames", "1", "--csv", Path("link")}), 1, "No space left on device");
    for (const std::string path : {"/dev/null", "/dev/full"}) {
        EXPECT_TRUE(std::filesystem::is_character_file(path));
    }
}

TEST_F(Output, LastFrameOfACalibrationToStandardOutputIsAllOfIt) {
    const Arguments arguments = {"calibrate", "dark", "--width",        "64",   "--height",
                                 "64",        "-o",   Path("dark.png"), "--raw"};
    printed(joined({arguments, {Path("dark.raw")}}));
    const std::string frame = printed(joined({arguments, {"-"}}));
    EXPECT_EQ(frame, Content("dark.raw"));
    EXPECT_EQ(frame.size(), 64U * 64U);
}

} // namespace

} // namespace vek::test
