// SPDX-License-Identifier: Apache-2.0
#include "client/frames/DngOutput.h"
#include "client/frames/FrameFiles.h"

#include "support/Files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <thread>

namespace vek::test {

namespace {

using Strings = std::vector<std::string>;

class ClientFrameFiles : public CFileTest {
protected:
    /// The first byte of each frame of 2 x 2 bytes, its file's name, its index there and its number.
    Strings Frames(const Strings& paths, const client::SFrameSteps& steps = {},
                   const client::SFrameChoice& reading = {}) {
        mWarnings.clear();
        mForms.clear();
        client::CFrameFiles files(
            paths, steps, reading,
            [this](const std::string& path) {
                mForms.push_back(path);
                return client::SRawForm{transferFormat(VEK_TRANSFER_RAW8), 2, 2, VEK_COLOR_ARRAY_RGGB};
            },
            [this](const std::string& warning) { mWarnings.push_back(warning); });
        mCount = files.Count();
        Strings frames;
        while (const auto frame = files.Next()) {
            const std::string name = frame->path.substr(frame->path.rfind('/') + 1);
            frames.push_back(std::to_string(frame->frame.bytes[0]) + " " + name + " " + std::to_string(frame->index) +
                             " " + std::to_string(frame->number));
        }
        EXPECT_FALSE(files.Next());
        EXPECT_EQ(mCount.value_or(frames.size()), frames.size());
        return frames;
    }

    /// A file of frames whose first bytes are these.
    std::string WriteFrames(const std::string& name, const std::vector<std::uint8_t>& firsts) const {
        std::vector<std::uint8_t> bytes;
        for (const std::uint8_t first : firsts) {
            bytes.insert(bytes.end(), {first, 0, 0, 0});
        }
        return Write(name, bytes);
    }

    std::string Failure(const Strings& paths, const client::SFrameSteps& steps = {}) {
        try {
            Frames(paths, steps);
        } catch (const client::CFailure& failure) {
            return failure.what();
        }
        return "";
    }

    Strings mWarnings;
    Strings mForms; ///< paths that were asked for
    std::optional<std::uint64_t> mCount;
};

TEST_F(ClientFrameFiles, AllFramesOfAllFilesInOrder) {
    const Strings paths = {WriteFrames("a.raw", {1, 2}), WriteFrames("b.raw", {3}), WriteFrames("c.raw", {4, 5, 6})};
    EXPECT_EQ(Frames(paths),
              (Strings{"1 a.raw 0 0", "2 a.raw 1 1", "3 b.raw 0 2", "4 c.raw 0 3", "5 c.raw 1 4", "6 c.raw 2 5"}));
    EXPECT_EQ(mCount, 6U);
    EXPECT_EQ(mForms, paths);
    EXPECT_EQ(mWarnings, Strings{});
    EXPECT_EQ(Frames({paths[1], paths[0], paths[1]}),
              (Strings{"3 b.raw 0 0", "1 a.raw 0 1", "2 a.raw 1 2", "3 b.raw 0 3"}));
}

TEST_F(ClientFrameFiles, StepsGoOverTheWholeSeries) {
    const Strings paths = {WriteFrames("a.raw", {0, 1, 2}), WriteFrames("b.raw", {3}), WriteFrames("c.raw", {4, 5, 6})};
    const auto firsts = [&](const std::string& steps) {
        std::string text;
        for (const std::string& frame : Frames(paths, client::parsedFrameSteps(steps).value())) {
            text += frame.substr(0, 1);
        }
        return text;
    };
    EXPECT_EQ(firsts("2:"), "23456");
    EXPECT_EQ(firsts(":2"), "012");
    EXPECT_EQ(firsts("1:5:2"), "135");
    EXPECT_EQ(firsts("::4"), "04");
    EXPECT_EQ(firsts("::5"), "05");
    EXPECT_EQ(firsts("3"), "3");
    EXPECT_EQ(firsts("6:900"), "6");
    EXPECT_EQ(firsts("0::900"), "0");
    EXPECT_EQ(Failure(paths, {7}), "the files: no frame 7: 7 frames are there, counted from 0");
    EXPECT_EQ(Failure({paths[1]}, {1}), paths[1] + ": no frame 1: 1 frame is there, counted from 0");
}

TEST_F(ClientFrameFiles, StepsAsText) {
    using client::SFrameSteps;
    EXPECT_EQ(client::parsedFrameSteps("10:"), (SFrameSteps{10, {}, 1}));
    EXPECT_EQ(client::parsedFrameSteps(":200"), (SFrameSteps{0, 200, 1}));
    EXPECT_EQ(client::parsedFrameSteps("1:9:2"), (SFrameSteps{1, 9, 2}));
    EXPECT_EQ(client::parsedFrameSteps(":"), (SFrameSteps{}));
    EXPECT_EQ(client::parsedFrameSteps("0010"), (SFrameSteps{10, 10, 1}));
    for (const char* const text : {"", "a", "-1", "1:2:0", "5:4", "1:2:3:4", "1 :2", "1:2:", "+1", "0x1", "1.5",
                                   "1000000001", "99999999999999999999"}) {
        EXPECT_EQ(client::parsedFrameSteps(text).has_value(), std::string(text) == "1:2:") << text;
    }
}

TEST_F(ClientFrameFiles, PatternsAreSortedNaturally) {
    for (const char* const name : {"f10.raw", "f9.raw", "f1.raw", "f010.raw", "g2.raw", "f1b.raw", "[x].raw"}) {
        WriteFrames(name, {1});
    }
    const auto expanded = [&](const Strings& names) {
        Strings paths;
        for (const std::string& name : names) {
            paths.push_back(name == "-" ? name : Path(name));
        }
        Strings result;
        for (const std::string& path : client::expandedPaths(paths)) {
            result.push_back(path.substr(path.rfind('/') + 1));
        }
        return result;
    };
    EXPECT_EQ(expanded({"f*.raw"}), (Strings{"f1.raw", "f1b.raw", "f9.raw", "f010.raw", "f10.raw"}));
    EXPECT_EQ(expanded({"g2.raw", "f?.raw", "-"}), (Strings{"g2.raw", "f1.raw", "f9.raw", "-"}));
    EXPECT_EQ(expanded({"[x].raw"}), Strings{"[x].raw"});
    EXPECT_EQ(expanded({"none.raw"}), Strings{"none.raw"});
    EXPECT_THROW(expanded({"none*.raw"}), client::CFailure);
    EXPECT_TRUE(client::comesNaturallyBefore("a2", "a10"));
    EXPECT_FALSE(client::comesNaturallyBefore("a10", "a2"));
    EXPECT_FALSE(client::comesNaturallyBefore("a", "a"));
    EXPECT_TRUE(client::comesNaturallyBefore("a2b9", "a2b10"));
    EXPECT_NE(client::comesNaturallyBefore("a01", "a1"), client::comesNaturallyBefore("a1", "a01"));
}

TEST_F(ClientFrameFiles, WhatIsOddIsToldOnce) {
    const std::string rest = Write("rest.raw", {1, 0, 0, 0, 2});
    EXPECT_EQ(Frames({rest, rest}), (Strings{"1 rest.raw 0 0", "1 rest.raw 0 1"}));
    EXPECT_EQ(mWarnings.size(), 2U);
    EXPECT_EQ(mWarnings[0],
              rest + ": holds 1 frame of 4 bytes and 1 byte more: its size, format or offset may be another");
    EXPECT_EQ(Failure({Write("short.raw", {1, 2, 3})}), Path("short.raw") + ": too short: 4 bytes needed, 3 there");
    EXPECT_EQ(Failure({Path("none.raw")}), Path("none.raw") + ": cannot open: No such file or directory");
    EXPECT_EQ(Failure({Write("a.zip", {'P', 'K', 3, 4})}), Path("a.zip") + ": is a ZIP archive, no raw frame");
    EXPECT_THROW(Frames({"-", "-"}), client::CBadArguments);

    const std::string words = Write("words.raw", std::vector<std::uint8_t>(24, 0xFF));
    Strings warnings;
    client::CFrameFiles files(
        {words}, {}, {},
        [](const std::string&) {
            return client::SRawForm{transferFormat(VEK_TRANSFER_RAW12), 2, 2, 2};
        },
        [&](const std::string& warning) { warnings.push_back(warning); });
    while (files.Next()) {
    }
    EXPECT_EQ(warnings, Strings{words + ": frame 0: 4 of 4 samples are above 4095, the largest of raw12: the format "
                                        "may be another"});
}

TEST_F(ClientFrameFiles, OffsetAndPaddingAreThoseOfEveryFile) {
    const std::string padded = Write("padded.raw", {9, 9, 1, 2, 0, 3, 4, 0, 5, 6, 0, 7, 8});
    EXPECT_EQ(Frames({padded, padded}, {}, {.path = "", .offset = 2, .pitch = 3}),
              (Strings{"1 padded.raw 0 0", "5 padded.raw 1 1", "1 padded.raw 0 2", "5 padded.raw 1 3"}));
}

TEST_F(ClientFrameFiles, DngFilesAreFramesAmongOthers) {
    client::SDngFrame dng;
    dng.width = dng.height = 2;
    dng.colorArray = VEK_COLOR_ARRAY_RGGB;
    dng.bits = 8;
    dng.bytes = {77, 0, 0, 0};
    client::COutputFiles files;
    client::writeDng(files.Open(Path("b.dng")), dng);
    files.Publish();
    std::filesystem::copy(Path("b.dng"), Path("b.tmp"));
    EXPECT_EQ(Frames({WriteFrames("a.raw", {1}), Path("b.dng"), Path("b.tmp")}),
              (Strings{"1 a.raw 0 0", "77 b.dng 0 1", "77 b.tmp 0 2"}));
    EXPECT_EQ(mForms, Strings{Path("a.raw")});
    EXPECT_EQ(Failure({Write("c.tif", {'I', 'I', '*', 0, 0, 0, 0, 0})}).find(Path("c.tif")), 0U);
}

TEST_F(ClientFrameFiles, PipesEndWhenTheyEnd) {
    const std::string fifo = Path("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const auto piped = [&](const std::vector<std::uint8_t>& bytes, const client::SFrameSteps& steps) {
        std::jthread writer([&] {
            const int fd = open(fifo.c_str(), O_WRONLY | O_CLOEXEC);
            EXPECT_EQ(write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
            close(fd);
        });
        return Frames({fifo, WriteFrames("a.raw", {50})}, steps);
    };
    EXPECT_EQ(piped({1, 0, 0, 0, 2, 0, 0, 0}, {}), (Strings{"1 fifo 0 0", "2 fifo 1 1", "50 a.raw 0 2"}));
    EXPECT_FALSE(mCount);
    EXPECT_EQ(mWarnings, Strings{});
    EXPECT_EQ(piped({1, 0, 0, 0, 2, 0, 0, 0, 3}, {}), (Strings{"1 fifo 0 0", "2 fifo 1 1", "50 a.raw 0 2"}));
    EXPECT_EQ(mWarnings, Strings{fifo + ": ends inside a frame: it held 2 frames of 4 bytes and 1 byte more"});
    EXPECT_EQ(piped({1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0}, {1, {}, 2}), (Strings{"2 fifo 1 1", "50 a.raw 0 3"}));
    EXPECT_THROW(piped({1, 0, 0, 0}, {5}), client::CFailure);
    EXPECT_THROW(piped({1, 0}, {}), client::CFailure);
}

} // namespace

} // namespace vek::test
