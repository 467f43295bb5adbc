// SPDX-License-Identifier: Apache-2.0
// NUT and SER files of recorded frames, byte by byte and as other programs read them.
#include "client/Errors.h"
#include "client/recording/FrameSeriesOutput.h"

#include "support/Files.h"
#include "support/Random.h"

#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace vek::test {

namespace {

using client::SFrameMeta;
using client::SRecordingForm;
using Bytes = std::vector<std::uint8_t>;

SFrameMeta metaAt(std::int64_t timeNs) {
    SFrameMeta meta;
    meta.clock = client::ERecordClock::Monotonic;
    meta.timeNs = timeNs;
    meta.wallNs = 1'000'000'000'000'000'000 + timeNs;
    return meta;
}

Bytes textBytes(std::string_view text) {
    return {text.begin(), text.end()};
}

Bytes bytesOf(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

/// A part of a NUT file with its checksum behind it: what is left of the division by x^32 + x^26 + x^23 + x^22 + x^16 +
/// x^12 + x^11 + x^10 + x^8 + x^7 + x^5 + x^4 + x^2 + x + 1, bit by bit.
Bytes checked(const Bytes& part) {
    Bytes dividend = part;
    dividend.insert(dividend.end(), 4, 0);
    constexpr std::uint64_t kDivisor = 0x104C11DB7;
    std::uint64_t left = 0;
    for (const std::uint8_t byte : dividend) {
        for (unsigned bit = 8; bit-- > 0;) {
            left = (left << 1) | ((byte >> bit) & 1U);
            left ^= (left >> 32) != 0 ? kDivisor : 0;
        }
    }
    for (std::size_t i = 0; i < 4; ++i) {
        dividend[part.size() + i] = static_cast<std::uint8_t>(left >> (24 - 8 * i));
    }
    return dividend;
}

/// A short packet.
Bytes checkedPacket(const Bytes& kind, const Bytes& content) {
    return bytesOf({kind, {static_cast<std::uint8_t>(content.size() + 4)}, checked(content)});
}

std::string hexText(const Bytes& bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        constexpr const char* kDigits = "0123456789ABCDEF";
        text += {kDigits[byte >> 4], kDigits[byte & 15], ' '};
    }
    return text;
}

bool isInstalled(const std::string& program) {
    return std::system(("command -v " + program + " >/dev/null 2>&1").c_str()) == 0;
}

/// What a command prints.
std::string printedBy(const std::string& command) {
    std::FILE* const pipe = popen(command.c_str(), "r");
    std::string text;
    for (char piece[4096];;) {
        const std::size_t got = std::fread(piece, 1, sizeof piece, pipe);
        if (got == 0) {
            break;
        }
        text.append(piece, got);
    }
    EXPECT_EQ(pclose(pipe), 0) << command;
    return text;
}

} // namespace

class ClientFrameSeries : public CFileTest {
protected:
    /// Frames of random bytes, with times that are no multiples of each other; writes them and keeps them.
    std::string WriteFrames(const std::string& name, const SRecordingForm& form, unsigned count) {
        Bytes file;
        const client::ByteSink sink = [&](std::span<const std::uint8_t> bytes) {
            file.insert(file.end(), bytes.begin(), bytes.end());
        };
        const auto output =
            name.ends_with(".nut") ? client::nutOutput(form, sink) : client::serOutput(form, {}, count, sink);
        CRandom random(count);
        std::int64_t time = 5'000'000'000;
        mFrames.clear();
        mTimes.clear();
        const std::int64_t first = time;
        for (unsigned i = 0; i < count; ++i) {
            Bytes frame(form.FrameBytes());
            for (std::uint8_t& byte : frame) {
                byte = static_cast<std::uint8_t>(random.Next());
            }
            output->Add(frame, metaAt(time));
            mFrames.insert(mFrames.end(), frame.begin(), frame.end());
            mTimes.push_back(time - first);
            time += 1'234'567 + static_cast<std::int64_t>(random.Next() % 100'000'000);
        }
        output->Finish();
        return Write(name, file);
    }

    Bytes mFrames;
    std::vector<std::int64_t> mTimes; ///< ns since the first
};

TEST_F(ClientFrameSeries, NutIsWrittenAsItsDescriptionSays) {
    Bytes file;
    const SRecordingForm form{transferFormat(VEK_TRANSFER_MONO8), 2, 1, VEK_COLOR_ARRAY_MONO, 0, 0};
    const auto output = client::nutOutput(
        form, [&](std::span<const std::uint8_t> bytes) { file.insert(file.end(), bytes.begin(), bytes.end()); });
    output->Add(Bytes{0xAA, 0xBB}, metaAt(1000));
    output->Add(Bytes{0xCC, 0xDD}, metaAt(1300));
    output->Finish();
    const Bytes expected = bytesOf({
        textBytes({"nut/multimedia container\0", 25}),
        // Main header: version 3, 1 stream, syncpoints at most 65536 bytes apart, 1 time base 1/10^9
        checkedPacket({'N', 'M', 0x7A, 0x56, 0x1F, 0x5F, 0x04, 0xAD},
                      bytesOf({{3, 1, 0x84, 0x80, 0, 1, 1, 0x83, 0xDC, 0xEB, 0x94, 0},
                               {0xC0, 0, 6, 0, 1, 0, 0, 0, 1},          // code 0: invalid
                               {0x69, 6, 0, 1, 0, 0, 0, 1},             // code 1: key frame, coded pts, size, checksum
                               {0xC0, 0, 6, 0, 1, 0, 0, 0, 0x81, 0x7D}, // 253 more and 'N': invalid
                               {0}})),                                  // no headers left out
        // Stream 0: video, "Y800", time base 0, pts of 7 bits, at most 10^9 ticks, no delay, no flags, no codec data,
        // 2 x 1, square pixels, no colour space
        checkedPacket({'N', 'S', 0x11, 0x40, 0x5B, 0xF2, 0xF9, 0xDB},
                      {0, 0, 4, 'Y', '8', '0', '0', 0, 7, 0x83, 0xDC, 0xEB, 0x94, 0, 0, 0, 0, 2, 1, 1, 1, 0}),
        // Of the whole file: one text
        checkedPacket(
            {'N', 'I', 0xAB, 0x68, 0xB5, 0x96, 0xBA, 0x78},
            bytesOf({{0, 0, 0, 0, 1, 11}, textBytes("Description"), {2, 18}, textBytes("mono8 2 x 1, 8 bit")})),
        // Syncpoint at 0, none before; frame: pts 0 + 128, 2 bytes
        checkedPacket({'N', 'K', 0xE4, 0xAD, 0xEE, 0xCA, 0x45, 0x69}, {0, 0}),
        checked({1, 0x81, 0, 2}),
        {0xAA, 0xBB},
        // Syncpoint at 300 ns, the one before 25 bytes in front; frame: pts 300 + 128
        checkedPacket({'N', 'K', 0xE4, 0xAD, 0xEE, 0xCA, 0x45, 0x69}, {0x82, 0x2C, 1}),
        checked({1, 0x83, 0x2C, 2}),
        {0xCC, 0xDD},
        // Index: last pts 300, 2 syncpoints, behind byte 16 x 10 and 16 x 1 further; no key frame in front of the first
        // one, one behind it, with pts 0; 28 bytes
        checkedPacket({'N', 'X', 0xDD, 0x67, 0x2F, 0x23, 0xE6, 0x4E},
                      {0x82, 0x2C, 2, 10, 1, 5, 1, 0, 0, 0, 0, 0, 0, 0, 28}),
    });
    EXPECT_EQ(hexText(file), hexText(expected));
}

TEST_F(ClientFrameSeries, SerIsWrittenAsItsDescriptionSays) {
    Bytes file;
    const SRecordingForm form{transferFormat(VEK_TRANSFER_RAW12), 2, 1, VEK_COLOR_ARRAY_GBRG, 0, 0};
    const auto output =
        client::serOutput(form, {.device = {{"name", "cam"}}}, 2, [&](std::span<const std::uint8_t> bytes) {
            file.insert(file.end(), bytes.begin(), bytes.end());
        });
    output->Add(Bytes{0x34, 0x02, 0xFF, 0x0F}, metaAt(0));
    output->Add(Bytes{1, 2, 3, 4}, metaAt(12'345'678'900));
    output->Finish();
    Bytes texts(120);
    texts[40] = 'c';
    texts[41] = 'a';
    texts[42] = 'm';
    // 2001-09-09 01:46:40 UTC in 100 ns since 0001-01-01: 631 355 968 000 000 000
    const Bytes first = {0x00, 0x80, 0x76, 0x67, 0xE8, 0x06, 0xC3, 0x08};
    const Bytes second = {0x15, 0x4D, 0xD2, 0x6E, 0xE8, 0x06, 0xC3, 0x08};
    EXPECT_EQ(file, bytesOf({textBytes("LUCAM-RECORDER"),
                             {0, 0, 0, 0, 10, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 1, 0, 0, 0, 12, 0, 0, 0, 2, 0, 0, 0},
                             texts,
                             first,
                             first,
                             {0x34, 0x02, 0xFF, 0x0F, 1, 2, 3, 4},
                             first,
                             second}));
}

TEST_F(ClientFrameSeries, FramesWithoutANameAreRefused) {
    const client::ByteSink sink = [](std::span<const std::uint8_t>) {};
    for (const unsigned code : {VEK_TRANSFER_YCRCB444, VEK_TRANSFER_YCRCB411, VEK_TRANSFER_RAW10_PACKED}) {
        const SRecordingForm form{transferFormat(code), 8, 2, VEK_COLOR_ARRAY_RGGB, 0, 0};
        EXPECT_THROW(client::nutOutput(form, sink), client::CBadArguments);
        EXPECT_THROW(client::serOutput(form, {}, 1, sink), client::CBadArguments);
    }
    const SRecordingForm odd{transferFormat(VEK_TRANSFER_YCRCB422), 7, 2, VEK_COLOR_ARRAY_YCRCB422, 0, 0};
    EXPECT_THROW(client::nutOutput(odd, sink), client::CBadArguments);
    const SRecordingForm form{transferFormat(VEK_TRANSFER_RAW8), 8, 2, VEK_COLOR_ARRAY_RGGB, 0, 0};
    EXPECT_THROW(client::serOutput(form, {}, 3'000'000'000, sink), client::CBadArguments);
}

TEST_F(ClientFrameSeries, OtherProgramsReadNut) {
    if (!isInstalled("ffmpeg") || !isInstalled("ffprobe")) {
        GTEST_SKIP() << "no ffmpeg here";
    }
    const std::vector<unsigned> counts = {1, 2, 3, 40};
    struct SCase {
        unsigned format;
        unsigned short array;
        const char* pixels;
    };
    for (const SCase& one : {SCase{VEK_TRANSFER_RAW8, VEK_COLOR_ARRAY_RGGB, "bayer_rggb8"},
                             SCase{VEK_TRANSFER_RAW8, VEK_COLOR_ARRAY_BGGR, "bayer_bggr8"},
                             SCase{VEK_TRANSFER_RAW12, VEK_COLOR_ARRAY_GRBG, "bayer_grbg16le"},
                             SCase{VEK_TRANSFER_RAW16, VEK_COLOR_ARRAY_GBRG, "bayer_gbrg16le"},
                             SCase{VEK_TRANSFER_MONO8, VEK_COLOR_ARRAY_MONO, "gray"},
                             SCase{VEK_TRANSFER_MONO10, VEK_COLOR_ARRAY_MONO, "gray10le"},
                             SCase{VEK_TRANSFER_MONO12, VEK_COLOR_ARRAY_MONO, "gray12le"},
                             SCase{VEK_TRANSFER_MONO14, VEK_COLOR_ARRAY_MONO, "gray14le"},
                             SCase{VEK_TRANSFER_MONO16, VEK_COLOR_ARRAY_MONO, "gray16le"},
                             SCase{VEK_TRANSFER_BGR8, VEK_COLOR_ARRAY_MONO, "bgr24"},
                             SCase{VEK_TRANSFER_BGR10, VEK_COLOR_ARRAY_MONO, "bgra64le"},
                             SCase{VEK_TRANSFER_YCRCB422, VEK_COLOR_ARRAY_MONO, "yuyv422"}}) {
        const SRecordingForm form{transferFormat(one.format), 66, 44, one.array, 0, 0};
        for (const unsigned count : one.format == VEK_TRANSFER_RAW8 ? counts : std::vector{9U}) {
            const std::string path = WriteFrames("run.nut", form, count);
            const std::string pixels = printedBy("ffprobe -v error -show_entries stream=pix_fmt -of csv=p=0 " + path);
            EXPECT_EQ(pixels, std::string(one.pixels) + "\n");
            std::string times;
            for (const std::int64_t time : mTimes) {
                times += std::to_string(time) + "\n";
            }
            const std::string noise = Path("noise.txt");
            EXPECT_EQ(printedBy("ffprobe -v warning -show_entries packet=pts -of csv=p=0 " + path + " 2>" + noise),
                      times);
            EXPECT_EQ(printedBy("ffmpeg -v warning -i " + path + " -c copy -f rawvideo - 2>>" + noise),
                      std::string(mFrames.begin(), mFrames.end()));
            EXPECT_EQ(printedBy("ffmpeg -v warning -i " + path + " -fps_mode passthrough -f rawvideo - 2>>" + noise),
                      std::string(mFrames.begin(), mFrames.end()));
            EXPECT_EQ(Content("noise.txt"), "") << one.pixels << count;
        }
    }
}

TEST_F(ClientFrameSeries, OtherProgramsReadSer) {
    if (!isInstalled("ffmpeg")) {
        GTEST_SKIP() << "no ffmpeg here";
    }
    for (const unsigned code : {VEK_TRANSFER_RAW8, VEK_TRANSFER_RAW12, VEK_TRANSFER_RAW16}) {
        const SRecordingForm form{transferFormat(code), 66, 44, VEK_COLOR_ARRAY_GRBG, 0, 0};
        const std::string path = WriteFrames("run.ser", form, 7);
        const std::string expected(mFrames.begin(), mFrames.end());
        // Some programs read what stands behind the frames as another one.
        EXPECT_EQ(printedBy("ffmpeg -v error -i " + path + " -c copy -f rawvideo - 2>&1").substr(0, expected.size()),
                  expected);
    }
}

} // namespace vek::test
