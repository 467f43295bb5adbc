// SPDX-License-Identifier: Apache-2.0
// The setting file through the exported functions, byte for byte: random settings in both directions against the
// model, files in any order and with any numbers, files that are broken, and files that cannot be opened.
#include "settings/SettingFileModel.h"
#include "settings/SettingFiles.h"
#include "support/HandleTest.h"
#include "support/Random.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace vek::test {

namespace {

static_assert(std::is_same_v<decltype(VekCam_WriteSettingFile), int(VekCam_Handle, const char*)>);
static_assert(std::is_same_v<decltype(VekCam_ReadSettingFile), int(VekCam_Handle, const char*)>);

using Depths = std::array<std::uint16_t, 5>;
constexpr Depths kBytes{8, 8, 8, 8, 8};

/// All entries of a channel's curve, beyond its depth as well.
std::vector<std::uint16_t> curveOf(VekCam_Handle handle, unsigned char channel) {
    std::vector<std::uint16_t> table(4096);
    std::uint16_t bits = 12;
    EXPECT_EQ(VekCam_GetGammaMode(handle, channel, nullptr, nullptr, nullptr, nullptr, table.data(), &bits), 0);
    return table;
}
int depthOf(VekCam_Handle handle, unsigned char channel) {
    std::uint16_t bits = 12;
    EXPECT_EQ(VekCam_GetGammaMode(handle, channel, nullptr, nullptr, nullptr, nullptr, nullptr, &bits), 0);
    return bits;
}

class CSettingFileExports : public CHandleTest {
protected:
    /// A call that prints this and leaves no descriptor open.
    template <class Call>
    int Printing(const std::string& text, Call call) {
        const long before = openDescriptors();
        ::testing::internal::CaptureStdout();
        const int status = call();
        EXPECT_EQ(::testing::internal::GetCapturedStdout(), text);
        EXPECT_EQ(openDescriptors(), before);
        return status;
    }
    template <class Call>
    int Quiet(Call call) {
        return Printing("", call);
    }
    int Write() {
        return Quiet([this] { return VekCam_WriteSettingFile(mHandle, mPath.c_str()); });
    }
    /// Reading leaves the file as it is.
    int Read(std::string_view content) {
        setContent(mPath, content);
        const int status = Quiet([this] { return VekCam_ReadSettingFile(mHandle, mPath.c_str()); });
        EXPECT_EQ(contentOf(mPath), content);
        return status;
    }
    /// The same without a look at descriptors and file, for many calls.
    int ReadFast(std::string_view content) {
        setContent(mPath, content);
        return VekCam_ReadSettingFile(mHandle, mPath.c_str());
    }
    /// Refused with the message, by both functions; no descriptor is left open.
    void ExpectCannotOpen(const char* path, const char* message) {
        for (const auto call : {VekCam_WriteSettingFile, VekCam_ReadSettingFile}) {
            const SSettings before = settingsOf(mHandle);
            EXPECT_EQ(Printing(message, [&] { return call(mHandle, path); }), -22);
            EXPECT_EQ(settingsOf(mHandle), before);
        }
    }
    SSettings Randomize() {
        const SSettings settings = randomSettings(mRandom);
        setSettings(mHandle, settings, kBytes);
        return settings;
    }
    /// A number that some width cuts off.
    long AnyNumber() {
        constexpr long ends[] = {
            0,     1,     2,     255,        256,        257,  -1,   -32768, 32767,  32768,       40000,
            65535, 65536, 65537, 4294967296, 4294967297, -129, -256, -40000, -65536, -2147483648, 0x7FFFFFFFFFFFFFFF};
        return mRandom.Below(2) == 0 ? ends[mRandom.Below(std::size(ends))] : static_cast<long>(mRandom.Below(300));
    }

    CTemporaryDirectory mDirectory;
    const std::string mPath = mDirectory.File("settings.txt");
    CRandom mRandom{8};
};

constexpr const char* kMessage = "file open error!!\n";

} // namespace

// Nothing is created, changed or printed.
TEST_F(CSettingFileExports, NullHandle) {
    for (const auto call : {VekCam_WriteSettingFile, VekCam_ReadSettingFile}) {
        EXPECT_EQ(Quiet([&] { return call(nullptr, mPath.c_str()); }), -22);
        EXPECT_EQ(Quiet([&] { return call(nullptr, mDirectory.File("no/file").c_str()); }), -22);
        EXPECT_EQ(Quiet([&] { return call(nullptr, nullptr); }), -22);
        EXPECT_FALSE(std::filesystem::exists(mPath));
    }
    setContent(mPath, "WBMode 3\n");
    for (const auto call : {VekCam_WriteSettingFile, VekCam_ReadSettingFile}) {
        EXPECT_EQ(Quiet([&] { return call(nullptr, mPath.c_str()); }), -22);
        EXPECT_EQ(contentOf(mPath), "WBMode 3\n");
    }
}

TEST_F(CSettingFileExports, FilesThatCannotBeOpened) {
    Randomize();
    ExpectCannotOpen(mDirectory.File("missing/settings.txt").c_str(), kMessage);
    ExpectCannotOpen(mDirectory.File("").c_str(), kMessage); // a directory
    ExpectCannotOpen("", kMessage);
    ExpectCannotOpen(std::string(70000, 'x').c_str(), kMessage);
    ExpectCannotOpen((mDirectory.File("") + std::string(300, 'x')).c_str(), kMessage);
}

// Reading asks for a file that exists, and creates none.
TEST_F(CSettingFileExports, MissingFileIsNotCreated) {
    EXPECT_EQ(Printing(kMessage, [this] { return VekCam_ReadSettingFile(mHandle, mPath.c_str()); }), -22);
    EXPECT_FALSE(std::filesystem::exists(mPath));
}

// A file that cannot be written is not read either.
TEST_F(CSettingFileExports, ReadOnlyFile) {
    setContent(mPath, "WBMode 3\n");
    ASSERT_EQ(chmod(mPath.c_str(), S_IRUSR | S_IRGRP | S_IROTH), 0);
    ASSERT_EQ(chmod(mDirectory.File("").c_str(), 0755), 0);
    // A privileged user may write every file: somebody else asks.
    constexpr uid_t kNobody = 65534;
    const uid_t user = geteuid();
    if (user == 0) {
        ASSERT_EQ(seteuid(kNobody), 0);
    }
    const SSettings before = settingsOf(mHandle);
    ::testing::internal::CaptureStdout();
    const int status = VekCam_ReadSettingFile(mHandle, mPath.c_str());
    const int writeStatus = VekCam_WriteSettingFile(mHandle, mPath.c_str());
    const std::string printed = ::testing::internal::GetCapturedStdout();
    ASSERT_EQ(seteuid(user), 0);
    EXPECT_EQ(status, -22);
    EXPECT_EQ(writeStatus, -22);
    EXPECT_EQ(printed, std::string(kMessage) + kMessage);
    EXPECT_EQ(settingsOf(mHandle), before);
    EXPECT_EQ(contentOf(mPath), "WBMode 3\n");
}

// A null path is refused; whether with the message is open.
TEST_F(CSettingFileExports, NullPath) {
    for (const auto call : {VekCam_WriteSettingFile, VekCam_ReadSettingFile}) {
        const long descriptors = openDescriptors();
        ::testing::internal::CaptureStdout();
        const int status = call(mHandle, nullptr);
        const std::string printed = ::testing::internal::GetCapturedStdout();
        EXPECT_EQ(status, -22);
        EXPECT_TRUE(printed.empty() || printed == kMessage) << printed;
        EXPECT_EQ(openDescriptors(), descriptors);
    }
}

// No descriptor to be had.
TEST_F(CSettingFileExports, NoDescriptorsLeft) {
    setContent(mPath, "WBMode 3\n");
    // Nothing of the fixture is touched meanwhile: a sanitizer's own checks take descriptors.
    VekCam_Handle const handle = mHandle;
    const char* const path = mPath.c_str();
    for (const auto call : {VekCam_WriteSettingFile, VekCam_ReadSettingFile}) {
        rlimit before{};
        ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
        ::testing::internal::CaptureStdout();
        rlimit none = before;
        none.rlim_cur = 3;
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
        const int probe = dup(2);
        const int status = call(handle, path);
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
        const std::string printed = ::testing::internal::GetCapturedStdout();
        if (probe >= 0) {
            close(probe);
            GTEST_SKIP() << "descriptors cannot be limited here";
        }
        EXPECT_EQ(status, -22);
        EXPECT_EQ(printed, kMessage);
    }
    EXPECT_EQ(settingsOf(mHandle), SSettings());
}

TEST_F(CSettingFileExports, DefaultsByteForByte) {
    EXPECT_EQ(Write(), 0);
    EXPECT_EQ(contentOf(mPath), modelText(modelLines(SSettings())));
}

// Every setting over its whole range, there and back to another handle, at random depths of the curves.
TEST_F(CSettingFileExports, RandomSettingsThereAndBack) {
    for (int round = 0; round < 100; ++round) {
        const SSettings settings = randomSettings(mRandom);
        Depths depths{};
        for (std::uint16_t& depth : depths) {
            depth = static_cast<std::uint16_t>(mRandom.Below(13));
        }
        setSettings(mHandle, settings, depths);
        ASSERT_EQ(settingsOf(mHandle), settings) << "round " << round;
        ASSERT_EQ(Write(), 0);
        ASSERT_EQ(contentOf(mPath), modelText(modelLines(settings))) << "round " << round;
        ASSERT_EQ(settingsOf(mHandle), settings) << "round " << round;

        VekCam_Handle const other = VekCam_Open(-1);
        ASSERT_EQ(VekCam_ReadSettingFile(other, mPath.c_str()), 0);
        ASSERT_EQ(settingsOf(other), settings) << "round " << round;
        VekCam_Close(other);

        Randomize();
        ASSERT_EQ(Read(contentOf(mPath)), 0);
        ASSERT_EQ(settingsOf(mHandle), settings) << "round " << round;
    }
}

// An earlier file is emptied first, and is itself written: its other names and links to it show the same.
TEST_F(CSettingFileExports, FileItselfIsWritten) {
    const std::string other = mDirectory.File("other");
    const std::string link = mDirectory.File("link");
    setContent(mPath, std::string(100000, 'x'));
    std::filesystem::create_hard_link(mPath, other);
    std::filesystem::create_symlink(mPath, link);
    ASSERT_EQ(chmod(mPath.c_str(), 0640), 0);
    const std::string text = modelText(modelLines(SSettings()));
    EXPECT_EQ(Quiet([&] { return VekCam_WriteSettingFile(mHandle, link.c_str()); }), 0);
    EXPECT_EQ(contentOf(mPath), text);
    EXPECT_EQ(contentOf(other), text);
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    struct stat info {};
    ASSERT_EQ(stat(mPath.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0640U);
    EXPECT_EQ(Quiet([&] { return VekCam_ReadSettingFile(mHandle, link.c_str()); }), 0);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(mDirectory.File("")), {}), 3);
}

// A device that takes nothing.
TEST_F(CSettingFileExports, FullDisk) {
    if (access("/dev/full", W_OK) != 0) {
        GTEST_SKIP() << "no /dev/full";
    }
    EXPECT_EQ(Quiet([&] { return VekCam_WriteSettingFile(mHandle, "/dev/full"); }), -22);
    EXPECT_EQ(Write(), 0);
}

// A file that may not grow so far takes a part, which is an error. A file that may is complete.
TEST_F(CSettingFileExports, FileSizeLimit) {
    const std::string text = modelText(modelLines(SSettings()));
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    // The signal that comes with the limit would end the program, as it would any that does not handle it.
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    for (const std::size_t limit : {std::size_t{0}, std::size_t{1}, std::size_t{100}, text.size() - 1, text.size()}) {
        std::remove(mPath.c_str());
        rlimit small = before;
        small.rlim_cur = limit;
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
        const int status = VekCam_WriteSettingFile(mHandle, mPath.c_str());
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
        EXPECT_EQ(status, limit < text.size() ? -22 : 0) << limit;
        EXPECT_EQ(contentOf(mPath), text.substr(0, limit));
    }
    std::signal(SIGXFSZ, handler);
}

// The text goes to the file in one piece: whoever reads from a pipe gets all of it at once.
TEST_F(CSettingFileExports, WrittenAtOnce) {
    int ends[2] = {};
    ASSERT_EQ(pipe2(ends, O_DIRECT | O_CLOEXEC), 0); // each write is a packet of its own
    const std::string path = "/dev/fd/" + std::to_string(ends[1]);
    EXPECT_EQ(VekCam_WriteSettingFile(mHandle, path.c_str()), 0);
    char packet[4096] = {};
    const ssize_t length = read(ends[0], packet, sizeof packet);
    EXPECT_EQ(std::string(packet, length > 0 ? static_cast<std::size_t>(length) : 0),
              modelText(modelLines(SSettings())));
    close(ends[0]);
    close(ends[1]);
}

// What is no regular file cannot be opened for reading: it may have no end, or no beginning.
TEST_F(CSettingFileExports, NoRegularFile) {
    const std::string fifo = mDirectory.File("fifo");
    const std::string link = mDirectory.File("link");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::filesystem::create_symlink(fifo, link);
    const SSettings before = Randomize();
    for (const std::string& path : {fifo, link, std::string("/dev/zero"), std::string("/dev/null"),
                                    std::string("/dev/full"), std::string("/dev/tty"), mDirectory.File("")}) {
        EXPECT_EQ(Printing(kMessage, [&] { return VekCam_ReadSettingFile(mHandle, path.c_str()); }), -22) << path;
        EXPECT_EQ(settingsOf(mHandle), before) << path;
    }
}

// A file is read up to 1 MB: what stands behind is not there.
TEST_F(CSettingFileExports, LongFiles) {
    constexpr std::size_t kMost = 1048576;
    SSettings settings = Randomize();
    const std::string last = "WBGainB 78\n";
    for (const std::size_t start : {kMost - last.size(), kMost}) {
        std::string content = "WBGainR 77\n";
        content.resize(start, '\n');
        content += last;
        settings.wbGain[0] = 77;
        settings.wbGain[3] = start < kMost ? 78 : settings.wbGain[3];
        EXPECT_EQ(Read(content), 0);
        EXPECT_EQ(settingsOf(mHandle), settings) << start;
        settings = Randomize();
    }
}

// Every key alone: its setting changes, the others stay.
TEST_F(CSettingFileExports, EveryKeyAlone) {
    const std::vector<SettingLine> keys = modelLines(SSettings());
    ASSERT_EQ(keys.size(), 43U);
    for (int round = 0; round < 8; ++round) {
        for (const SettingLine& key : keys) {
            SSettings settings = Randomize();
            const std::vector<SettingLine> file{{key.first, AnyNumber()}};
            const int status = modelApply(&settings, file);
            ASSERT_EQ(ReadFast(modelText(file)), status) << modelText(file);
            ASSERT_EQ(settingsOf(mHandle), settings) << modelText(file);
        }
    }
}

// Any keys in any order, several times and unknown ones between them, with numbers that do not fit, and with settings
// that a stage refuses: the ones before it are applied.
TEST_F(CSettingFileExports, RandomFiles) {
    const std::vector<SettingLine> keys = modelLines(SSettings());
    constexpr const char* unknown[] = {"wbmode",   "WBModes",  "WBMod",           "xWBMode", "GammaMode",
                                       "Gamma",    "GammaG",   "WBMode=",         "#",       "42",
                                       "Contrast", "ALCMode:", "SharpnessCoringX"};
    int refused = 0;
    for (int round = 0; round < 1500; ++round) {
        SSettings settings = round % 3 == 0 ? Randomize() : settingsOf(mHandle);
        std::vector<SettingLine> file;
        const std::uint64_t count = mRandom.Below(60);
        for (std::uint64_t i = 0; i < count; ++i) {
            file.emplace_back(mRandom.Below(10) == 0 ? unknown[mRandom.Below(std::size(unknown))]
                                                     : keys[mRandom.Below(keys.size())].first,
                              AnyNumber());
            const bool mode =
                file.back().first.find("GammaMode") == 0 || file.back().first.find("HueSaturationMode") == 0;
            if (mode && mRandom.Below(8) != 0) {
                file.back().second = static_cast<long>(mRandom.Below(2));
            }
        }
        const int status = modelApply(&settings, file);
        refused += status != 0 ? 1 : 0;
        ASSERT_EQ(ReadFast(modelText(file)), status) << "round " << round << '\n' << modelText(file);
        ASSERT_EQ(settingsOf(mHandle), settings) << "round " << round << '\n' << modelText(file);
    }
    EXPECT_GT(refused, 100);
    EXPECT_LT(refused, 1400);
}

// Each place where a file can be refused: the stages before it have changed, it and those behind it have not.
TEST_F(CSettingFileExports, EveryRefusal) {
    const SettingLine refusals[] = {{"GammaModeY", 3},         {"GammaModeR", 254}, {"GammaModeGr", 128},
                                    {"GammaModeGb", 4},        {"GammaModeB", 17},  {"HueSaturationMode", 2},
                                    {"HueSaturationMode", 255}};
    for (const SettingLine& refusal : refusals) {
        SSettings settings;
        VekCam_Close(mHandle);
        mHandle = VekCam_Open(-1);
        std::vector<SettingLine> file = modelLines(randomSettings(mRandom));
        file.push_back(refusal);
        ASSERT_EQ(modelApply(&settings, file), -22);
        EXPECT_EQ(Read(modelText(file)), -22);
        EXPECT_EQ(settingsOf(mHandle), settings) << refusal.first;
        EXPECT_NE(settingsOf(mHandle), SSettings());
    }
    for (const char* const channel : {"Y", "R", "Gr", "Gb", "B"}) {
        for (const long mode : {1L, 2L}) {
            SSettings settings = Randomize();
            const std::vector<SettingLine> file{{std::string("GammaMode") + channel, mode},
                                                {std::string("Gamma") + channel, 0},
                                                {"WBMode", 77},
                                                {"SharpnessGain", 1234}};
            ASSERT_EQ(modelApply(&settings, file), -22);
            EXPECT_EQ(Read(modelText(file)), -22);
            EXPECT_EQ(settingsOf(mHandle), settings) << channel;
        }
    }
}

// Blanks of every kind and number, several keys on a line, signs, leading zeros, and no newline at the end.
TEST_F(CSettingFileExports, Layout) {
    const std::pair<const char*, unsigned char> files[] = {{"WBMode 5\n", 5},
                                                           {"WBMode 5", 5},
                                                           {"WBMode 5\r\n", 5},
                                                           {"\n\n  WBMode \t 5 \n\n", 5},
                                                           {"WBMode\n5\n", 5},
                                                           {"WBMode\n\n\n5", 5},
                                                           {"WBMode +5\n", 5},
                                                           {"WBMode 0005\n", 5},
                                                           {"WBMode 010\n", 10},
                                                           {"WBMode -251\n", 5},
                                                           {"WBMode 5\nWBMode 6\n", 6},
                                                           {"WBMode 6\nWBMode 5\n", 5},
                                                           {"WBGainR 1 WBMode 5", 5},
                                                           {"x y z WBMode 5\n", 5},
                                                           {"WBMode 5 6 7 8\n", 5},
                                                           {"# a comment\nWBMode 5\n", 5},
                                                           {"WBMode 5garbage\n", 5},
                                                           {"WBMode 5.75\n", 5},
                                                           {"WBMode 0x5\n", 0},
                                                           {"\v\fWBMode\v5\f", 5},
                                                           {"x -\nWBMode 5\n", 5},
                                                           {"x + WBMode 5\n", 5},
                                                           {"5 WBMode 5\n", 5},
                                                           {"1\n2\n3\nWBMode 5\n", 5},
                                                           {"\xEF\xBB\xBFx 1\nWBMode 5\n", 5}};
    for (const auto& [content, mode] : files) {
        VekCam_SetWhiteBalanceMode(mHandle, 200);
        EXPECT_EQ(Read(content), 0) << content;
        EXPECT_EQ(int{settingsOf(mHandle).wbMode}, int{mode}) << content;
    }
}

// Keys are compared letter for letter.
TEST_F(CSettingFileExports, KeysThatAreAlmostRight) {
    const SSettings settings = Randomize();
    for (const char* const content : {"wbmode 5\n",
                                      "WBMODE 5\n",
                                      "WBMod 5\n",
                                      "WBModeX 5\n",
                                      "_WBMode 5\n",
                                      "WBMode: 5\n",
                                      "WBMode=5\n",
                                      "WBMode,5\n",
                                      "\"WBMode\" 5\n",
                                      "WB Mode 5\n",
                                      "WBMode5\n",
                                      "Gamma 5\n",
                                      "GammaModeG 1\n",
                                      "WBGain 5\n",
                                      "GammaModeyY 7\n",
                                      "\xEF\xBB\xBFWBMode 5\n",
                                      "ALCmode 5\nALCLEVEL 5\n",
                                      "StartLevel 5\nSuppression 5\n",
                                      "",
                                      "\n",
                                      " ",
                                      "\n\n\n"}) {
        EXPECT_EQ(Read(content), 0) << content;
        EXPECT_EQ(settingsOf(mHandle), settings) << content;
    }
}

// A key without a number, anywhere: what it does to its own setting is open, the others are as the file has them.
TEST_F(CSettingFileExports, KeysWithoutNumbers) {
    for (const char* const content :
         {"WBGainR 77\nWBMode", "WBGainR 77\nWBMode\n", "WBMode\nWBGainR 77\n", "WBMode WBGainR 77",
          "WBMode x WBGainR 77\n", "WBMode -\nWBGainR 77\n", "WBMode\n\n-x\nWBGainR 77"}) {
        SSettings settings = Randomize();
        settings.wbGain[0] = 77;
        EXPECT_EQ(Read(content), 0) << content;
        settings.wbMode = settingsOf(mHandle).wbMode;
        EXPECT_EQ(settingsOf(mHandle), settings) << content;
    }
}

// Numbers beyond 64 bits: their own setting is open, the others are as the file has them.
TEST_F(CSettingFileExports, HugeNumbers) {
    for (const std::string& number :
         {std::string("9223372036854775808"), std::string("-9223372036854775809"), std::string("18446744073709551616"),
          std::string(500, '9'), "-" + std::string(5000, '9'), std::string(300000, '1'),
          std::string(300000, '0') + "7"}) {
        SSettings settings = Randomize();
        settings.highSlope = 5;
        settings.wbGain[3] = 66;
        EXPECT_EQ(Read("SuppressionHigh 5\nWBMode " + number + "\nWBGainB 66\n"), 0);
        settings.wbMode = settingsOf(mHandle).wbMode;
        EXPECT_EQ(settingsOf(mHandle), settings) << number.substr(0, 30);
    }
}

// Words of every length about and beyond a key's: none of their pieces is a key, and keys around them apply.
TEST_F(CSettingFileExports, LongKeys) {
    std::vector<std::size_t> lengths;
    for (std::size_t length = 20; length <= 300; ++length) {
        lengths.push_back(length);
    }
    lengths.insert(lengths.end(), {1023, 1024, 1025, 4095, 4096, 4097, 65535, 65536, 65537, 1000000});
    for (const std::size_t length : lengths) {
        SSettings settings = Randomize();
        settings.wbGain[0] = 77;
        settings.wbGain[3] = 78;
        ASSERT_EQ(ReadFast("WBGainR 77\n" + std::string(length, 'k') + " 5\nWBGainB 78\n"), 0);
        ASSERT_EQ(settingsOf(mHandle), settings) << length;
        ASSERT_EQ(ReadFast("WBGainR 77 " + std::string(length, 'k') + "\nWBGainB 78\n" + std::string(length, 'z')), 0);
        ASSERT_EQ(settingsOf(mHandle), settings) << length;
    }
}

// A long word that ends, or begins, like a key is not that key.
TEST_F(CSettingFileExports, LongKeysThatEndLikeKeys) {
    for (std::size_t length = 1; length <= 400; ++length) {
        const SSettings settings = Randomize();
        ASSERT_EQ(ReadFast(std::string(length, 'k') + "WBMode " + std::to_string(settings.wbMode ^ 1) + "\n"), 0);
        ASSERT_EQ(settingsOf(mHandle), settings) << length;
        ASSERT_EQ(ReadFast("WBMode" + std::string(length, 'k') + " " + std::to_string(settings.wbMode ^ 1) + "\n"), 0);
        ASSERT_EQ(settingsOf(mHandle), settings) << length;
    }
}

// Every byte but blanks, in files without order: read to the end, and keys behind it apply.
TEST_F(CSettingFileExports, BinaryFiles) {
    for (int round = 0; round < 300; ++round) {
        std::string content(mRandom.Below(5000), '\0');
        const std::uint64_t kind = mRandom.Below(3);
        for (char& c : content) {
            c = static_cast<char>(kind == 0   ? mRandom.Next()
                                  : kind == 1 ? 1 + mRandom.Below(255)
                                              : 32 + mRandom.Below(95));
        }
        SSettings settings = Randomize();
        settings.wbMode = 99;
        settings.sharpnessCoring = 98;
        ASSERT_EQ(ReadFast("WBMode 99\n" + content + "\nSharpnessCoring 98\n"), 0) << "round " << round;
        ASSERT_EQ(settingsOf(mHandle), settings) << "round " << round;
    }
}

// Whole files with bytes changed, taken away and put in: any result, but no fault, and a status that is known.
TEST_F(CSettingFileExports, DamagedFiles) {
    const long descriptors = openDescriptors();
    for (int round = 0; round < 1000; ++round) {
        std::string content = modelText(modelLines(randomSettings(mRandom)));
        const std::uint64_t damages = 1 + mRandom.Below(20);
        for (std::uint64_t i = 0; i < damages; ++i) {
            const std::size_t at = mRandom.Below(content.size() + 1);
            switch (mRandom.Below(4)) {
            case 0:
                content.replace(at, 1, 1, static_cast<char>(mRandom.Next()));
                break;
            case 1:
                content.erase(at, 1 + mRandom.Below(5));
                break;
            case 2:
                content.insert(at, std::string(mRandom.Below(200), static_cast<char>(mRandom.Next())));
                break;
            default:
                content.resize(at);
                break;
            }
        }
        const int status = ReadFast(content);
        ASSERT_TRUE(status == 0 || status == -22) << status;
        ASSERT_EQ(openDescriptors(), descriptors);
    }
}

// 100 MB on one line, in one word of null bytes: read to the end in a moment.
TEST_F(CSettingFileExports, OneHugeFile) {
    constexpr std::size_t kSize = 100UL << 20;
    const std::string last = "\nWBGainB 78\n";
    setContent(mPath, "WBGainR 77\n");
    ASSERT_EQ(truncate(mPath.c_str(), static_cast<off_t>(kSize)), 0);
    {
        std::ofstream file(mPath, std::ios::binary | std::ios::app);
        file << last;
    }
    ASSERT_EQ(std::filesystem::file_size(mPath), kSize + last.size());
    SSettings settings = Randomize();
    settings.wbGain[0] = 77; // the last line stands too far behind
    EXPECT_EQ(Quiet([this] { return VekCam_ReadSettingFile(mHandle, mPath.c_str()); }), 0);
    EXPECT_EQ(settingsOf(mHandle), settings);
}

// Curves keep the depth that the handle has them at, whatever the depth was when the file was written; two handles with
// the same past, one of which is set by hand, have the same curves, entries beyond the depth included.
TEST_F(CSettingFileExports, CurvesKeepTheirDepth) {
    VekCam_Handle const byHand = VekCam_Open(-1);
    for (int round = 0; round < 60; ++round) {
        Depths depths{};
        for (std::uint16_t& depth : depths) {
            depth = static_cast<std::uint16_t>(mRandom.Below(13));
        }
        const SSettings past = randomSettings(mRandom);
        setSettings(mHandle, past, depths);
        setSettings(byHand, past, depths);
        const SSettings settings = randomSettings(mRandom);
        for (unsigned char channel = 0; channel < 5; ++channel) {
            const SGammaLines& curve = settings.gamma[channel];
            if (curve.mode != 255) {
                ASSERT_EQ(VekCam_SetGammaMode(byHand, channel, curve.mode, curve.gamma, curve.brightness,
                                              curve.contrast, nullptr, depths[channel]),
                          0);
            }
        }
        ASSERT_EQ(ReadFast(modelText(modelLines(settings))), 0);
        ASSERT_EQ(settingsOf(mHandle), settings);
        for (unsigned char channel = 0; channel < 5; ++channel) {
            ASSERT_EQ(depthOf(mHandle, channel), depths[channel]) << "round " << round;
            ASSERT_EQ(curveOf(mHandle, channel), curveOf(byHand, channel))
                << "round " << round << ", channel " << int{channel} << ", mode " << int{settings.gamma[channel].mode}
                << ", " << depths[channel] << " bits";
        }
    }
    VekCam_Close(byHand);
}

// A caller's table is not in the file: reading one's own file back, or one in which a curve becomes a table, changes no
// entry, and images come out the same.
TEST_F(CSettingFileExports, TablesAreKept) {
    for (const std::uint16_t bits : {std::uint16_t{8}, std::uint16_t{10}, std::uint16_t{12}}) {
        SSettings settings;
        settings.gamma.fill({255, 100, 0, 0});
        settings.gamma[2] = {1, 220, 10, 20};
        settings.gamma[4] = {2, 45, -10, 5};
        setSettings(mHandle, settings, {bits, bits, bits, bits, bits});
        std::vector<std::vector<std::uint16_t>> curves;
        for (unsigned char channel = 0; channel < 5; ++channel) {
            curves.push_back(curveOf(mHandle, channel));
        }
        std::vector<std::uint16_t> words(4096);
        for (std::size_t i = 0; i < words.size(); ++i) {
            words[i] = static_cast<std::uint16_t>(bits > 8 ? i : i % 256 + i % 256 * 256);
        }
        std::vector<std::uint16_t> before = words;
        ASSERT_EQ(VekCam_RawColorGamma(mHandle, bits > 8 ? 64 : 128, 64, 3, before.data(), bits), 0);

        ASSERT_EQ(Write(), 0);
        ASSERT_EQ(Read(contentOf(mPath)), 0);
        EXPECT_EQ(settingsOf(mHandle), settings);
        ASSERT_EQ(Read("GammaModeGr 255\nGammaModeB 255\n"), 0);
        settings.gamma.fill({255, 100, 0, 0});
        EXPECT_EQ(settingsOf(mHandle), settings);
        for (unsigned char channel = 0; channel < 5; ++channel) {
            EXPECT_EQ(curveOf(mHandle, channel), curves[channel]) << int{channel};
            EXPECT_EQ(depthOf(mHandle, channel), bits);
        }
        std::vector<std::uint16_t> after = words;
        ASSERT_EQ(VekCam_RawColorGamma(mHandle, bits > 8 ? 64 : 128, 64, 3, after.data(), bits), 0);
        EXPECT_EQ(after, before);
    }
}

// What is read takes effect in images, too: a file stands for the setting functions.
TEST_F(CSettingFileExports, ImagesFollow) {
    VekCam_Handle const byHand = VekCam_Open(-1);
    for (int round = 0; round < 40; ++round) {
        SSettings settings = randomSettings(mRandom);
        settings.wbMode = 1;
        for (SGammaLines& curve : settings.gamma) {
            curve.mode = curve.mode == 255 ? 0 : curve.mode;
            curve = curve.mode == 0 ? SGammaLines() : curve;
        }
        setSettings(byHand, settings, kBytes);
        ASSERT_EQ(ReadFast(modelText(modelLines(settings))), 0);
        std::array<std::vector<unsigned char>, 2> images;
        images[0].resize(48 * 8);
        fillSamples(images[0].data(), images[0].size(), Pattern::Random, 8, mRandom);
        images[1] = images[0];
        VekCam_Handle const handles[] = {mHandle, byHand};
        for (int i = 0; i < 2; ++i) {
            unsigned char* const image = images[static_cast<std::size_t>(i)].data();
            ASSERT_EQ(VekCam_WhiteBalance(handles[i], 48, 8, 48, 2, image, 8), 0);
            ASSERT_EQ(VekCam_RawColorGamma(handles[i], 48, 8, 2, image, 8), 0);
            ASSERT_EQ(VekCam_BGRGamma(handles[i], 16, 8, VEK_DESTINATION_BGR24, image, 8), 0);
            ASSERT_EQ(VekCam_HueSaturationColorMatrix(handles[i], 16, 8, VEK_DESTINATION_BGR24, image, 8), 0);
            ASSERT_EQ(VekCam_Sharpness(handles[i], 16, 8, VEK_DESTINATION_BGR24, image, 8), 0);
        }
        ASSERT_EQ(images[0], images[1]) << "round " << round;
    }
    VekCam_Close(byHand);
}

} // namespace vek::test
