// SPDX-License-Identifier: Apache-2.0
#include "client/Errors.h"
#include "client/names/Names.h"
#include "client/recording/ByteOrder.h"
#include "client/recording/FrameSeriesOutput.h"

#include "formats/ColorArrays.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <optional>
#include <string_view>
#include <vector>

namespace vek::client {

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::string_view kNutFileId("nut/multimedia container\0", 25);
// Kinds of packets, by the eight bytes that they begin with.
constexpr std::uint64_t kMain = 0x4E4D7A561F5F04AD;
constexpr std::uint64_t kStream = 0x4E5311405BF2F9DB;
constexpr std::uint64_t kSyncpoint = 0x4E4BE4ADEECA4569;
constexpr std::uint64_t kIndex = 0x4E58DD672F23E64E;
constexpr std::uint64_t kInfo = 0x4E49AB68B596BA78;

// Flags of a frame.
constexpr std::uint64_t kFlagKey = 1;
constexpr std::uint64_t kFlagCodedPts = 8;
constexpr std::uint64_t kFlagSizeMsb = 32;
constexpr std::uint64_t kFlagChecksum = 64;
constexpr std::uint64_t kFlagInvalid = 8192;

constexpr std::uint64_t kNutVersion = 3;
constexpr std::uint64_t kMaxDistance = 65536;
constexpr std::uint64_t kTicksPerSecond = 1'000'000'000;
constexpr unsigned kMsbPtsShift = 7;
constexpr std::uint64_t kLongPacket = 4096; ///< those that are longer have a checksum of their header
constexpr std::uint8_t kFrameCode = 1;      ///< the one code that the main header gives a meaning

/// CRC-32 as NUT has it: the polynomial 0x04C11DB7, highest bit first, from 0 on.
std::uint32_t nutCrc(std::span<const std::uint8_t> bytes) {
    static const auto table = [] {
        std::array<std::uint32_t, 256> made{};
        for (std::uint32_t i = 0; i < made.size(); ++i) {
            std::uint32_t value = i << 24;
            for (int bit = 0; bit < 8; ++bit) {
                value = (value << 1) ^ ((value >> 31) != 0 ? 0x04C11DB7U : 0U);
            }
            made[i] = value;
        }
        return made;
    }();
    std::uint32_t crc = 0;
    for (const std::uint8_t byte : bytes) {
        crc = (crc << 8) ^ table[(crc >> 24) ^ byte];
    }
    return crc;
}

/// A number in groups of 7 bits, the highest first; all but the last byte have their highest bit set.
void appendNumber(Bytes& to, std::uint64_t value) {
    int shift = 63;
    while (shift > 0 && value >> shift == 0) {
        shift -= 7;
    }
    for (; shift > 0; shift -= 7) {
        to.push_back(static_cast<std::uint8_t>(0x80 | ((value >> shift) & 0x7F)));
    }
    to.push_back(static_cast<std::uint8_t>(value & 0x7F));
}

/// The same with a sign.
void appendSigned(Bytes& to, std::int64_t value) {
    appendNumber(to, value > 0 ? 2 * static_cast<std::uint64_t>(value) - 1 : 2 * static_cast<std::uint64_t>(-value));
}

void appendText(Bytes& to, std::string_view text) {
    appendNumber(to, text.size());
    to.insert(to.end(), text.begin(), text.end());
}

/// A packet around its content.
Bytes packet(std::uint64_t kind, const Bytes& content) {
    Bytes bytes;
    appendBig(bytes, kind, 8);
    const std::uint64_t length = content.size() + 4;
    appendNumber(bytes, length);
    if (length > kLongPacket) {
        appendBig(bytes, nutCrc(bytes), 4);
    }
    bytes.insert(bytes.end(), content.begin(), content.end());
    appendBig(bytes, nutCrc(content), 4);
    return bytes;
}

/// What raw video calls frames: four bytes.
std::string rawVideoName(const SRecordingForm& form) {
    const STransferFormat& format = *form.format;
    const auto code = [](std::initializer_list<int> characters) {
        return std::string(characters.begin(), characters.end());
    };
    const bool words = format.layout == ELayout::Words;
    if (format.IsRaw() && (words || format.layout == ELayout::Bytes)) {
        if (!isBayer(form.colorArray)) {
            return words ? code({'Y', '1', 0, format.depth}) : "Y800";
        }
        // The first row's colours, in 8 or 16 bits. There are no codes for depths between.
        std::string_view row = "RG";
        switch (form.colorArray) {
        case VEK_COLOR_ARRAY_GRBG:
            row = "GR";
            break;
        case VEK_COLOR_ARRAY_GBRG:
            row = "GB";
            break;
        case VEK_COLOR_ARRAY_BGGR:
            row = "BG";
            break;
        default:
            break;
        }
        return code({0xBA, row[0], row[1], words ? 16 : 8});
    }
    switch (format.code) {
    case VEK_TRANSFER_BGR8:
        return code({'B', 'G', 'R', 24});
    case VEK_TRANSFER_BGR10:
        return code({'B', 'R', 'A', 64});
    case VEK_TRANSFER_YCRCB422:
    case VEK_TRANSFER_YCRCB422_BT709:
        if (form.width % 2 == 0) {
            return "YUY2";
        }
        throw CBadArguments("a NUT file has rows of whole groups of pixels: the width is odd");
    default:
        break;
    }
    throw CBadArguments(fmt::format("a NUT file holds raw video, which has no name for format {}", format.name));
}

Bytes mainHeader() {
    Bytes content;
    for (const std::uint64_t value : {kNutVersion, std::uint64_t{1} /* streams */, kMaxDistance,
                                      std::uint64_t{1} /* time bases */, std::uint64_t{1}, kTicksPerSecond}) {
        appendNumber(content, value);
    }
    // Codes of frames: 0 means nothing, 1 a frame whose header tells all, the rest nothing; 'N', which packets begin
    // with, counts by itself.
    const auto codes = [&](std::uint64_t flags, std::uint64_t count) {
        constexpr std::uint64_t kFields = 6;
        appendNumber(content, flags);
        appendNumber(content, kFields);
        appendSigned(content, 0); // pts
        for (const std::uint64_t value : {std::uint64_t{1} /* size counts by */, std::uint64_t{0} /* stream */,
                                          std::uint64_t{0} /* size */, std::uint64_t{0} /* reserved */, count}) {
            appendNumber(content, value);
        }
    };
    codes(kFlagInvalid, 1);
    codes(kFlagKey | kFlagCodedPts | kFlagSizeMsb | kFlagChecksum, 1);
    codes(kFlagInvalid, 253);
    appendNumber(content, 0); // headers that frames leave out
    return packet(kMain, content);
}

Bytes streamHeader(const SRecordingForm& form, const std::string& fourCc) {
    Bytes content;
    appendNumber(content, 0); // stream
    appendNumber(content, 0); // video
    appendText(content, fourCc);
    for (const std::uint64_t value :
         {std::uint64_t{0} /* time base */, std::uint64_t{kMsbPtsShift}, kTicksPerSecond /* longest step */,
          std::uint64_t{0} /* decode delay */, std::uint64_t{0} /* flags */}) {
        appendNumber(content, value);
    }
    appendText(content, ""); // of the codec
    for (const std::uint64_t value : {std::uint64_t{form.width}, std::uint64_t{form.height}, std::uint64_t{1},
                                      std::uint64_t{1} /* square pixels */, std::uint64_t{0} /* colour space */}) {
        appendNumber(content, value);
    }
    return packet(kStream, content);
}

/// What a NUT file tells beside the frames, for the whole file.
Bytes infoPacket(const SRecordingForm& form) {
    Bytes content;
    constexpr std::int64_t kUtf8 = -1;
    appendNumber(content, 0); // all streams
    appendSigned(content, 0); // no chapter
    appendNumber(content, 0); // its start
    appendNumber(content, 0); // its length
    const std::string text =
        fmt::format("{} {} x {}, {} bit", form.format->name, form.width, form.height, form.format->depth);
    appendNumber(content, 1);
    appendText(content, "Description");
    appendSigned(content, kUtf8);
    appendText(content, text);
    return packet(kInfo, content);
}

class CNutOutput : public IFrameSeriesOutput {
public:
    CNutOutput(const SRecordingForm& form, ByteSink sink) : mSink(std::move(sink)) {
        const std::string fourCc = rawVideoName(form);
        Send({reinterpret_cast<const std::uint8_t*>(kNutFileId.data()), kNutFileId.size()});
        Send(mainHeader());
        Send(streamHeader(form, fourCc));
        Send(infoPacket(form));
    }

    void Add(std::span<const std::uint8_t> bytes, const SFrameMeta& meta) override {
        const std::uint64_t pts = PtsOf(meta);
        SendSyncpoint(pts);
        Bytes header = {kFrameCode};
        appendNumber(header, pts + (std::uint64_t{1} << kMsbPtsShift));
        appendNumber(header, bytes.size());
        appendBig(header, nutCrc(header), 4);
        Send(header);
        Send(bytes);
    }

    void Finish() override {
        if (!mSyncpoints.empty()) {
            Send(IndexPacket());
        }
    }

private:
    struct SSyncpoint {
        std::uint64_t at;
        std::uint64_t pts;
    };

    void Send(std::span<const std::uint8_t> bytes) {
        mSink(bytes);
        mAt += bytes.size();
    }

    /// Nanoseconds since the first frame; they rise, whatever the clock did.
    std::uint64_t PtsOf(const SFrameMeta& meta) {
        const std::int64_t time = timeOf(meta);
        if (mSyncpoints.empty()) {
            mFirst = time;
            return 0;
        }
        const std::uint64_t since =
            time > mFirst ? static_cast<std::uint64_t>(time) - static_cast<std::uint64_t>(mFirst) : 0;
        constexpr std::uint64_t kMost = std::uint64_t{1} << 62;
        return std::max(std::min(since, kMost), mSyncpoints.back().pts + 1);
    }

    void SendSyncpoint(std::uint64_t pts) {
        Bytes content;
        appendNumber(content, pts);
        appendNumber(content, mSyncpoints.empty() ? 0 : (mAt - mSyncpoints.back().at) / kUnit);
        mSyncpoints.push_back({mAt, pts});
        Send(packet(kSyncpoint, content));
    }

    /// Where syncpoints are and the key frames between one and the next, each of which has one frame; that of the last
    /// syncpoint is not in it.
    Bytes IndexPacket() const {
        Bytes content;
        appendNumber(content, mSyncpoints.back().pts);
        appendNumber(content, mSyncpoints.size());
        std::uint64_t before = 0;
        for (const SSyncpoint& syncpoint : mSyncpoints) {
            appendNumber(content, syncpoint.at / kUnit - before);
            before = syncpoint.at / kUnit;
        }
        const auto run = [&](bool flag, std::uint64_t count) {
            appendNumber(content, 4 * count + (flag ? 2 : 0) + 1); // and one that is not like them
        };
        run(false, 1);
        std::uint64_t beforePts = ~std::uint64_t{0}; // -1
        for (std::size_t i = 0; i + 1 < mSyncpoints.size(); ++i) {
            if (i == 1) {
                run(true, mSyncpoints.size() - 2);
            }
            appendNumber(content, mSyncpoints[i].pts - beforePts);
            beforePts = mSyncpoints[i].pts;
        }
        // The length of the packet is in front of its checksum, and itself a part of it.
        Bytes sized = content;
        appendBig(sized, 0, 8);
        const std::size_t length = packet(kIndex, sized).size();
        appendBig(content, length, 8);
        return packet(kIndex, content);
    }

    static constexpr std::uint64_t kUnit = 16; ///< of places of syncpoints

    ByteSink mSink;
    std::uint64_t mAt = 0;
    std::int64_t mFirst = 0;
    std::vector<SSyncpoint> mSyncpoints;
};

} // namespace

std::int64_t timeOf(const SFrameMeta& meta) {
    return meta.clock == ERecordClock::Unknown ? meta.arrivalNs : meta.timeNs;
}

bool isNutName(const std::string& path) {
    return isName(std::filesystem::path(path).extension().string(), ".nut");
}

std::unique_ptr<IFrameSeriesOutput> nutOutput(const SRecordingForm& form, ByteSink sink) {
    return std::make_unique<CNutOutput>(form, std::move(sink));
}

} // namespace vek::client
