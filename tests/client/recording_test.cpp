// SPDX-License-Identifier: Apache-2.0
#include "client/recording/Recording.h"
#include "client/recording/RecordingWriter.h"

#include "client/Errors.h"

#include "support/Files.h"
#include "support/Random.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <thread>

namespace vek::test {

using client::CRecording;
using client::CRecordingWriter;
using client::SFrameMeta;
using client::SRecordingForm;
using client::SRecordingSetup;
using EKind = client::SRecordingDamage::EKind;

namespace {

SRecordingForm recordingForm(unsigned format, std::uint32_t width, std::uint32_t height) {
    const STransferFormat& known =
        format >= kChainFormats.front().code ? *chainFormat(format) : *transferFormat(format);
    unsigned short array = VekTransferColorArray(known.code, 0);
    if (known.IsRaw()) {
        array = known.IsMono() ? VEK_COLOR_ARRAY_MONO : VEK_COLOR_ARRAY_GBRG;
    }
    return {&known, width, height, array, 0, 0};
}

/// Bytes of a frame that no other number has.
std::vector<std::uint8_t> numberedFrame(std::size_t size, std::uint64_t number) {
    CRandom random(number + 1);
    std::vector<std::uint8_t> bytes(size);
    for (std::uint8_t& byte : bytes) {
        byte = static_cast<std::uint8_t>(random.Next());
    }
    return bytes;
}

SFrameMeta numberedMeta(std::uint64_t number) {
    SFrameMeta meta;
    meta.position = 2 * number;
    meta.sequence = static_cast<std::uint32_t>(2 * number + 7);
    meta.driverFlags = 0x12000;
    meta.timeNs = static_cast<std::int64_t>(1'000'000 * number + 5);
    meta.clock = client::ERecordClock::Monotonic;
    meta.moment = client::ERecordMoment::StartOfExposure;
    meta.arrivalNs = meta.timeNs + 300;
    meta.wallNs = 1'600'000'000'000'000'000 + meta.timeNs;
    meta.lostBefore = 1;
    meta.exposure = -3;
    meta.gain = number % 2 == 0 ? std::optional<std::int32_t>(17) : std::nullopt;
    meta.exposureNs = 123'456'789'012;
    meta.gainMilliDb = -1500;
    meta.settled = number % 3 == 0;
    return meta;
}

void addFrames(CRecordingWriter& writer, const SRecordingForm& form, std::uint64_t first, std::uint64_t count) {
    for (std::uint64_t i = first; i < first + count; ++i) {
        writer.Add(numberedFrame(form.FrameBytes(), i), numberedMeta(i));
    }
}

void expectFrames(const CRecording& recording, std::uint64_t count) {
    ASSERT_EQ(recording.Count(), count);
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::uint64_t number = recording.Record(i).number;
        const std::vector<std::uint8_t> expected = numberedFrame(recording.Form().FrameBytes(), number);
        const auto frame = recording.Frame(i);
        EXPECT_TRUE(std::equal(frame.begin(), frame.end(), expected.begin(), expected.end())) << number;
        EXPECT_EQ(recording.Meta(i), numberedMeta(number));
    }
}

} // namespace

class ClientRecording : public CFileTest {
protected:
    /// A recording of small frames, ended in order.
    std::string Record(const std::string& name, std::uint64_t count, const SRecordingForm& form = kSmall) const {
        CRecordingWriter writer(Path(name), {.form = form});
        addFrames(writer, form, 0, count);
        EXPECT_EQ(writer.Finish({.tool = "test"}).written, count);
        return Path(name);
    }
    /// Changes bytes of one of its files.
    void Patch(const std::string& file, std::uint64_t at, const std::vector<std::uint8_t>& bytes) const {
        const int fd = open(Path(file).c_str(), O_WRONLY);
        ASSERT_GE(fd, 0);
        EXPECT_EQ(pwrite(fd, bytes.data(), bytes.size(), static_cast<off_t>(at)), ssize(bytes));
        close(fd);
    }
    void Cut(const std::string& file, std::uint64_t size) const {
        EXPECT_EQ(truncate(Path(file).c_str(), static_cast<off_t>(size)), 0);
    }
    static ssize_t ssize(const std::vector<std::uint8_t>& bytes) { return static_cast<ssize_t>(bytes.size()); }
    std::vector<client::SRecordingDamage> Check(const std::string& name) const {
        return CRecording(Path(name)).Check();
    }
    using Damages = std::vector<client::SRecordingDamage>;

    static const SRecordingForm kSmall;
};

const SRecordingForm ClientRecording::kSmall = recordingForm(VEK_TRANSFER_RAW8, 60, 50);

TEST_F(ClientRecording, EveryFormatComesBack) {
    std::vector<unsigned> codes;
    for (const STransferFormat& format : kTransferFormats) {
        codes.push_back(format.code);
    }
    for (const STransferFormat& format : kChainFormats) {
        codes.push_back(format.code);
    }
    for (const unsigned code : codes) {
        const SRecordingForm form = recordingForm(code, 64, 33);
        const std::string path = Record(std::to_string(code) + ".vrec", 5, form);
        const CRecording recording(path);
        EXPECT_EQ(recording.Form(), form);
        EXPECT_TRUE(recording.Text().complete);
        EXPECT_EQ(recording.Text().frames, 5U);
        EXPECT_EQ(recording.Check(), Damages{});
        expectFrames(recording, 5);
        EXPECT_EQ(recording.Read(4), numberedFrame(form.FrameBytes(), 4));
        EXPECT_EQ(readFile(path + "/frames.raw").size(), 5 * form.Stride());
        EXPECT_EQ(readFile(path + "/index.bin").size(), 5 * client::kRecordBytes);
    }
}

TEST_F(ClientRecording, FramesOfWholeBlocksFollowEachOther) {
    const SRecordingForm form = recordingForm(VEK_TRANSFER_RAW16, 64, 64);
    EXPECT_EQ(form.Stride(), form.FrameBytes());
    EXPECT_EQ(form.Stride(), 8192U);
    std::vector<std::uint8_t> expected = numberedFrame(8192, 0);
    const std::vector<std::uint8_t> second = numberedFrame(8192, 1);
    expected.insert(expected.end(), second.begin(), second.end());
    EXPECT_EQ(readFile(Record("run.vrec", 2, form) + "/frames.raw"), expected);
}

TEST_F(ClientRecording, ARecordIsLaidOutAsThePageSays) {
    client::SFrameRecord record;
    record.number = 0x0102030405060708;
    record.bytes = 3000;
    record.sums = {0xA1B2C3D4, 0x1122334455667788};
    record.meta = numberedMeta(2);
    const std::vector<std::uint8_t> expected = {
        'V',  'E',  'C',  '1',  15,   0,    0,    0, // mark; flags: all four settings are known, not settled
        8,    7,    6,    5,    4,    3,    2,    1,    4, 0, 0, 0, 0, 0, 0, 0, // number, position
        11,   0,    0,    0,    0,    0x20, 1,    0,                            // sequence, flags of the driver
        0x85, 0x84, 0x1E, 0,    0,    0,    0,    0,                            // time stamp
        0xB1, 0x85, 0x1E, 0,    0,    0,    0,    0,                            // arrival
        0x85, 0x84, 0xBE, 0xD8, 0x85, 0x57, 0x34, 0x16,                         // time since 1970
        1,    0,    0,    0,    1,    1,    0,    0,                            // lost before it, clock, moment
        0xFD, 0xFF, 0xFF, 0xFF, 17,   0,    0,    0,                            // exposure, gain
        0x14, 0x1A, 0x99, 0xBE, 0x1C, 0,    0,    0,                            // exposure, ns
        0x24, 0xFA, 0xFF, 0xFF, 0,    0,    0,    0,                            // gain, 0.001 dB
        0xB8, 0x0B, 0,    0,    0,    0,    0,    0,                            // bytes
        0x88, 0x77, 0x66, 0x55, 0x44, 0x33, 0x22, 0x11,                         // hash
        0xD4, 0xC3, 0xB2, 0xA1, 0,    0,    0,    0,    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}; // CRC of the frame
    const client::RecordBytes bytes = client::recordBytes(record);
    EXPECT_EQ(std::vector<std::uint8_t>(bytes.begin(), bytes.end() - 4), expected);
    client::SFrameRecord again;
    EXPECT_EQ(client::readRecord(bytes, record.number, again), client::ERecordState::Good);
    EXPECT_EQ(again, record);
    EXPECT_EQ(client::readRecord(bytes, 0, again), client::ERecordState::Astray);
    EXPECT_EQ(client::readRecord(client::RecordBytes{}, 0, again), client::ERecordState::Empty);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        client::RecordBytes changed = bytes;
        changed[i] ^= 0x10;
        EXPECT_EQ(client::readRecord(changed, record.number, again), client::ERecordState::Damaged) << i;
    }
}

TEST_F(ClientRecording, SumsAreThoseThatOthersCompute) {
    const std::string text = "123456789";
    const client::SFrameSums sums = client::sumsOf({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    EXPECT_EQ(sums.crc, 0xCBF43926U);                        // zlib.crc32(b"123456789")
    EXPECT_EQ(client::sumsOf({}).hash, 0x2D06800538D394C2U); // XXH3 of nothing
    const std::vector<std::uint8_t> large = numberedFrame(300'001, 0);
    client::CFrameSummer summer;
    summer.Add(std::span(large).first(12345));
    summer.Add(std::span(large).subspan(12345));
    EXPECT_EQ(summer.Sums(), client::sumsOf(large));
}

TEST_F(ClientRecording, PaddingOfRowsIsKeptInTheFileAndLeftOutOfFrames) {
    SRecordingForm form = recordingForm(VEK_TRANSFER_RAW8, 3, 2);
    form.pitch = 5;
    CRecordingWriter writer(Path("run.vrec"), {.form = form});
    writer.Add(std::vector<std::uint8_t>{1, 2, 3, 9, 9, 4, 5, 6, 9, 9}, {});
    writer.Finish({});
    const CRecording recording(Path("run.vrec"));
    EXPECT_EQ(recording.Form(), form);
    EXPECT_EQ(recording.Frame(0).size(), 10U);
    EXPECT_EQ(recording.Read(0), (std::vector<std::uint8_t>{1, 2, 3, 4, 5, 6}));
}

TEST_F(ClientRecording, AFileSystemWithoutDirectWritesIsNoObstacle) {
    for (const bool direct : {false, true}) {
        CRecordingWriter writer(Path(std::to_string(direct)), {.form = kSmall, .direct = direct});
        addFrames(writer, kSmall, 0, 40);
        const client::SRecordingCounts counts = writer.Finish({});
        EXPECT_EQ(counts.written, 40U);
        EXPECT_EQ(counts.waiting + counts.refused + counts.failed, 0U);
        EXPECT_TRUE(direct || !counts.direct);
        EXPECT_EQ(Check(std::to_string(direct)), Damages{});
    }
}

TEST_F(ClientRecording, ATargetThatIsThereIsLeftAlone) {
    const std::string path = Record("run.vrec", 3);
    EXPECT_THROW(CRecordingWriter(path, {.form = kSmall}), client::CMisfit);
    EXPECT_EQ(Check("run.vrec"), Damages{});
    {
        CRecordingWriter writer(path, {.form = kSmall, .force = true});
        // Nobody else may write it meanwhile.
        EXPECT_THROW(CRecordingWriter(path, {.form = kSmall, .force = true}), client::CFailure);
        EXPECT_EQ(Check("run.vrec"), (Damages{{EKind::BeingWritten}}));
        addFrames(writer, kSmall, 0, 1);
        writer.Finish({});
    }
    expectFrames(CRecording(path), 1);
    WriteText("run.vrec/notes.txt", "mine");
    EXPECT_THROW(CRecordingWriter(path, {.form = kSmall, .force = true}), client::CFailure);
    EXPECT_EQ(Names("run.vrec"), (std::vector<std::string>{"frames.raw", "index.bin", "notes.txt", "recording.json"}));
    const std::string file = WriteText("file", "");
    EXPECT_THROW(CRecordingWriter(file, {.form = kSmall, .force = true}), client::CFailure);
    EXPECT_THROW(CRecordingWriter(Path("none/run.vrec"), {.form = kSmall}), client::CFailure);
}

TEST_F(ClientRecording, NoFrameIsARecordingToo) {
    const CRecording recording(Record("run.vrec", 0));
    EXPECT_EQ(recording.Count(), 0U);
    EXPECT_EQ(recording.Check(), Damages{});
}

TEST_F(ClientRecording, AFullQueueIsCountedWhereNobodyWaits) {
    SRecordingForm form = recordingForm(VEK_TRANSFER_RAW8, 2048, 2048);
    CRecordingWriter writer(Path("run.vrec"), {.form = form, .buffers = 2, .writers = 1});
    const std::vector<std::uint8_t> frame = numberedFrame(form.FrameBytes(), 0);
    std::uint64_t taken = 0;
    for (int i = 0; i < 30; ++i) {
        taken += writer.TryAdd(frame, numberedMeta(0)) ? 1 : 0;
    }
    const client::SRecordingCounts counts = writer.Finish({});
    EXPECT_EQ(counts.written, taken);
    EXPECT_EQ(counts.refused, 30 - taken);
    EXPECT_LE(counts.mostWaiting, 2U);
    EXPECT_EQ(Check("run.vrec"), Damages{});
}

TEST_F(ClientRecording, WhatIsMissingIsTold) {
    const std::string path = Record("run.vrec", 6);
    const std::uint64_t stride = kSmall.Stride();
    Patch("run.vrec/index.bin", 2 * client::kRecordBytes, std::vector<std::uint8_t>(client::kRecordBytes)); // a hole
    Patch("run.vrec/index.bin", 3 * client::kRecordBytes + 40, {0xEE});
    Patch("run.vrec/frames.raw", 1 * stride, std::vector<std::uint8_t>(stride)); // zeros
    Patch("run.vrec/frames.raw", 4 * stride + 2999, {static_cast<std::uint8_t>(~numberedFrame(3000, 4)[2999])});
    Cut("run.vrec/frames.raw", 5 * stride + 2999);
    const Damages opened = {{EKind::Hole, 2, 1}, {EKind::RecordDamaged, 3, 1}, {EKind::FrameCut, 5, 1}};
    const CRecording recording(path);
    EXPECT_EQ(recording.Damages(), opened);
    EXPECT_EQ(recording.Count(), 3U); // 0, 1 and 4
    Damages all = opened;
    all.push_back({EKind::FrameZero, 1, 1});
    all.push_back({EKind::FrameDamaged, 4, 1});
    EXPECT_EQ(recording.Check(), all);
    EXPECT_EQ(recording.Read(0), numberedFrame(3000, 0));
    EXPECT_THROW(static_cast<void>(recording.Read(1)), client::CFailure);
    EXPECT_THROW(static_cast<void>(recording.Read(2)), client::CFailure);
    EXPECT_EQ(client::damageText({EKind::Hole, 2, 1}), "frame 2 was never written: its record is empty");
    EXPECT_EQ(client::damageText({EKind::Hole, 2, 3}), "frames 2 to 4 were never written: their records are empty");
}

TEST_F(ClientRecording, ShortFilesAreTold) {
    Record("cut.vrec", 6);
    Cut("cut.vrec/index.bin", 4 * client::kRecordBytes + 100);
    EXPECT_EQ(Check("cut.vrec"), (Damages{{EKind::IndexCut, 4}, {EKind::IndexShort, 4, 2}}));
    expectFrames(CRecording(Path("cut.vrec")), 4);
    Cut("cut.vrec/index.bin", 0);
    EXPECT_EQ(Check("cut.vrec"), (Damages{{EKind::IndexShort, 0, 6}}));
    unlink(Path("cut.vrec/index.bin").c_str());
    EXPECT_EQ(Check("cut.vrec"), (Damages{{EKind::IndexMissing}}));

    Record("frames.vrec", 6);
    Cut("frames.vrec/frames.raw", 0);
    EXPECT_EQ(Check("frames.vrec"), (Damages{{EKind::FrameCut, 0, 6}}));
    unlink(Path("frames.vrec/frames.raw").c_str());
    EXPECT_EQ(Check("frames.vrec"), (Damages{{EKind::FramesMissing}, {EKind::FrameCut, 0, 6}}));

    Record("long.vrec", 6);
    Patch("long.vrec/index.bin", 6 * client::kRecordBytes, std::vector<std::uint8_t>(5, 1));
    EXPECT_EQ(Check("long.vrec"), (Damages{{EKind::IndexCut, 6}}));
    const auto record = client::recordBytes({.number = 1U << 20, .bytes = 3000});
    Patch("long.vrec/index.bin", (1U << 20) * client::kRecordBytes, {record.begin(), record.end()});
    const Damages damages = Check("long.vrec");
    ASSERT_EQ(damages.size(), 4U);
    EXPECT_EQ(damages[0], (client::SRecordingDamage{EKind::RecordDamaged, 6, 1}));
    EXPECT_EQ(damages[1], (client::SRecordingDamage{EKind::Hole, 7, (1U << 20) - 7}));
    EXPECT_EQ(damages[2], (client::SRecordingDamage{EKind::FrameCut, 1U << 20, 1}));
    EXPECT_EQ(damages[3].kind, EKind::IndexLong);
}

TEST_F(ClientRecording, OtherFoldersAreNone) {
    EXPECT_FALSE(client::isRecording(Path("none")));
    EXPECT_FALSE(client::isRecording(Path("")));
    EXPECT_FALSE(client::isRecording("-"));
    EXPECT_THROW(CRecording(Path("none")), client::CFailure);
    const std::string path = Record("run.vrec", 1);
    for (const char* const text :
         {"", "[]", "{}", "{\"recording\": 2}", "null", "{\"recording\": 1, \"width\": 99999999999999999999}"}) {
        WriteText("run.vrec/recording.json", text);
        EXPECT_THROW(CRecording{path}, client::CFailure) << text;
    }
    unlink((path + "/recording.json").c_str());
    EXPECT_EQ(mkfifo((path + "/recording.json").c_str(), 0600), 0);
    EXPECT_THROW(CRecording{path}, client::CFailure);
}

TEST_F(ClientRecording, ValuesOutOfRangeAreRefused) {
    const std::string path = Record("run.vrec", 1);
    const std::string good = Content("run.vrec/recording.json");
    const auto with = [&](const std::string& member, const std::string& value) {
        const std::size_t at = good.find("\"" + member + "\": ") + member.size() + 4;
        return good.substr(0, at) + value + good.substr(good.find_first_of(",\n", at));
    };
    for (const auto& [member, value] :
         std::initializer_list<std::pair<const char*, const char*>>{{"width", "0"},
                                                                    {"width", "65536"},
                                                                    {"width", "-1"},
                                                                    {"width", "1.5"},
                                                                    {"width", "\"60\""},
                                                                    {"height", "4000000000"},
                                                                    {"format", "\"raw99\""},
                                                                    {"format", "null"},
                                                                    {"colorArray", "\"xyz\""},
                                                                    {"colorArray", "null"},
                                                                    {"pitch", "1"},
                                                                    {"pitch", "99999999999"},
                                                                    {"stride", "3000"},
                                                                    {"stride", "0"},
                                                                    {"frameBytes", "1"},
                                                                    {"frames", "-1"},
                                                                    {"frames", "18446744073709551615"},
                                                                    {"complete", "1"},
                                                                    {"fourcc", "\"\""},
                                                                    {"profile", "3"},
                                                                    {"account", "\"\""},
                                                                    {"recording", "2"}}) {
        WriteText("run.vrec/recording.json", with(member, value));
        EXPECT_THROW(CRecording{path}, client::CFailure) << member << ": " << value;
    }
    // The largest frames that a text can tell of: nothing of that size is allocated.
    WriteText("run.vrec/recording.json",
              R"({"recording": 1, "complete": true, "frames": 1099511627776, "width": 65535, "height": 65535,
                 "format": "bgr10", "pitch": 1073741824, "frameBytes": 70367670435840, "stride": 70367670435840})");
    const Damages damages = CRecording(path).Damages();
    ASSERT_EQ(damages.size(), 2U);
    EXPECT_EQ(damages[0].kind, EKind::RecordUnfit);
    EXPECT_EQ(damages[1], (client::SRecordingDamage{EKind::IndexShort, 1, 1099511627775}));
}

TEST_F(ClientRecording, NotesComeBack) {
    client::SRecordingNotes notes;
    notes.tool = "vekcam";
    notes.device = {{"name", "/dev/video0"}};
    notes.profile = {{"width", 60}};
    notes.account = {{"sent", 12}};
    notes.clock = "monotonic";
    notes.started = "2026-01-01T00:00:00Z";
    notes.ended = "2026-01-01T00:00:01Z";
    notes.why = "the number of frames was reached";
    SRecordingForm form = kSmall;
    for (const std::uint32_t fourCc : {0x32314752U, 0xB2314752U, 0U}) {
        form.fourCc = fourCc;
        const client::SRecordingText text = client::parsedRecording(client::recordingText({form, notes, true, 3}));
        EXPECT_EQ(text.form, form);
        EXPECT_EQ(text.notes.device, notes.device);
        EXPECT_EQ(text.notes.profile, notes.profile);
        EXPECT_EQ(text.notes.account, notes.account);
        EXPECT_EQ(text.notes.why, notes.why);
        EXPECT_EQ(text.notes.started + text.notes.ended, notes.started + notes.ended);
    }
}

/// Records until it is killed.
[[noreturn]] void recordForEver(const std::string& path, const SRecordingForm& form) {
    try {
        CRecordingWriter writer(path, {.form = form, .allocationStep = 1U << 20});
        for (std::uint64_t i = 0;; ++i) {
            addFrames(writer, form, i, 1);
        }
    } catch (const std::exception&) {
        _exit(1);
    }
}

TEST_F(ClientRecording, FramesOutliveAKilledProgram) {
    CRandom random(99);
    // A busy machine may leave some rounds without a frame.
    constexpr std::uint64_t kEnough = 100;
    std::uint64_t kept = 0;
    for (int round = 0; round < 60 || (kept <= kEnough && round < 600); ++round) {
        const SRecordingForm form = recordingForm(VEK_TRANSFER_RAW8, round % 2 == 0 ? 60 : 500, 50);
        const std::string name = std::to_string(round);
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            recordForEver(Path(name), form);
        }
        usleep(static_cast<useconds_t>(random.Next() % 25'000));
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status));
        if (!client::isRecording(Path(name))) {
            continue;
        }
        const CRecording recording(Path(name));
        EXPECT_FALSE(recording.Text().complete);
        expectFrames(recording, recording.Count());
        kept += recording.Count();
        for (const client::SRecordingDamage& damage : recording.Check()) {
            EXPECT_TRUE(damage.kind == EKind::NotEnded || damage.kind == EKind::Hole ||
                        damage.kind == EKind::IndexMissing || damage.kind == EKind::FramesMissing)
                << client::damageText(damage);
        }
    }
    EXPECT_GT(kept, kEnough);
}

TEST_F(ClientRecording, AFileThatMayNotGrowEndsTheRecordingInOrder) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{1'000'000, 1'000'000};
        setrlimit(RLIMIT_FSIZE, &limit);
        bool full = false;
        CRecordingWriter writer(Path("run.vrec"), {.form = kSmall});
        try {
            addFrames(writer, kSmall, 0, 1000);
            writer.Flush();
        } catch (const client::CDiskFull&) {
            full = true;
        }
        const client::SRecordingCounts counts = writer.Finish({});
        _exit(full && counts.written == 1'000'000 / 4096 ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(Check("run.vrec"), Damages{});
    EXPECT_TRUE(CRecording(Path("run.vrec")).Text().complete);
    expectFrames(CRecording(Path("run.vrec")), 1'000'000 / 4096);
}

TEST_F(ClientRecording, AFullDiskEndsTheRecordingInOrder) {
    const std::string disk = Path("disk");
    ASSERT_EQ(mkdir(disk.c_str(), 0700), 0);
    if (mount("none", disk.c_str(), "tmpfs", 0, "size=2m") != 0) {
        GTEST_SKIP() << "no file system can be mounted here";
    }
    for (const SRecordingForm& form : {kSmall, recordingForm(VEK_TRANSFER_RAW8, 700, 700)}) {
        const std::string path = disk + "/run.vrec";
        {
            CRecordingWriter writer(path, {.form = form, .force = true});
            EXPECT_THROW(
                {
                    addFrames(writer, form, 0, 1000);
                    writer.Flush();
                },
                client::CDiskFull);
            const client::SRecordingCounts counts = writer.Finish({.why = "the disk is full"});
            EXPECT_GT(counts.written, 1'000'000 / form.Stride());
            EXPECT_GT(counts.failed, 0U);
            expectFrames(CRecording(path), counts.written);
        }
        EXPECT_EQ(Check("disk/run.vrec"), Damages{});
        EXPECT_EQ(CRecording(path).Text().notes.why, "the disk is full");
    }
    EXPECT_THROW(CRecordingWriter(disk + "/large", {.form = recordingForm(VEK_TRANSFER_RAW8, 2000, 2000)}),
                 client::CDiskFull);
    EXPECT_FALSE(std::filesystem::exists(disk + "/large"));
    umount2(disk.c_str(), MNT_DETACH);
}

} // namespace vek::test
