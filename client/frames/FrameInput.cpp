// SPDX-License-Identifier: Apache-2.0
#include "client/frames/FrameInput.h"

#include "client/files/Descriptor.h"
#include "client/frames/RawFrame.h"
#include "client/pictures/Image.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <utility>

namespace vek::client {

namespace {

// A pipe tells its length only at its end: memory grows with what really came.
constexpr std::size_t kPieceBytes = std::size_t{1} << 20;

/// How files of other kinds begin.
struct SMagic {
    std::string_view begin;
    std::string_view kind;
};
constexpr SMagic kMagics[] = {
    {"\x89PNG\r\n\x1A\n", "a PNG picture"}, {{"II*\0", 4}, "a TIFF picture"},
    {{"MM\0*", 4}, "a TIFF picture"},       {{"II+\0", 4}, "a TIFF picture"}, // with offsets of 64 bits
    {{"MM\0+", 4}, "a TIFF picture"},       {"\xFF\xD8\xFF", "a JPEG picture"},
    {"\x7F\x45LF", "an ELF file"},          {"PK\x03\x04", "a ZIP archive"}};

/// As much of a file as tells its kind.
constexpr std::size_t kHeadBytes = 512;

/// The length of the UTF-8 sequence that text starts with, a cut-off one included; 0 where there is none.
std::size_t sequenceLength(std::string_view text) {
    const auto first = static_cast<unsigned char>(text.front());
    const std::size_t length = first < 0x80   ? 1
                               : first < 0xC2 ? 0
                               : first < 0xE0 ? 2
                               : first < 0xF0 ? 3
                               : first < 0xF5 ? 4
                                              : 0;
    const std::string_view rest = text.substr(0, length).substr(std::min<std::size_t>(length, 1));
    const bool continued = std::all_of(rest.begin(), rest.end(), [](char c) { return (c & 0xC0) == 0x80; });
    return continued ? std::min(length, text.size()) : 0;
}

/// Text has lines, and words of several letters in them. Samples do not: where noise reaches from letters down to the
/// codes of line ends and tabs it meets other control codes as well, and where one of these codes is the upper byte of
/// all words, it is every second byte.
bool looksLikeText(std::string_view head) {
    constexpr std::size_t kFewestLetters = 5;
    std::array<std::size_t, 256> counts{};
    for (std::size_t i = 0; i < head.size();) {
        const std::size_t length = sequenceLength(head.substr(i));
        const auto code = static_cast<unsigned char>(head[i]);
        const bool blank = code == '\t' || code == '\n' || code == '\r';
        if (length == 0 || (code < 0x20 && !blank) || code == 0x7F) {
            return false;
        }
        ++counts[code];
        i += length;
    }
    std::size_t letters = 0;
    for (unsigned char c = 'a'; c <= 'z'; ++c) {
        letters += counts[c] + counts[c - 0x20U] > 0 ? 1 : 0;
    }
    const std::size_t most = head.size() / 5; // of each blank
    return counts['\n'] + counts['\r'] > 0 && letters >= kFewestLetters && counts['\t'] <= most &&
           counts['\n'] <= most && counts['\r'] <= most;
}

/// begin: the bytes at the first frame's place. Throws CFailure.
void refuseOtherKind(const std::string& name, std::span<const std::uint8_t> begin, const SFrameChoice& choice) {
    const std::string_view head(reinterpret_cast<const char*>(begin.data()), begin.size());
    const auto magic = std::find_if(std::begin(kMagics), std::end(kMagics),
                                    [&](const SMagic& candidate) { return head.starts_with(candidate.begin); });
    const std::string_view kind = magic != std::end(kMagics) ? magic->kind : looksLikeText(head) ? "text" : "";
    if (!kind.empty() && !choice.force) {
        throw COtherKind(fmt::format("{}: is {}, no raw frame", name, kind));
    }
}

/// Where a frame lies in a file.
struct SFramePlace {
    std::string name;     ///< of the file, for messages
    std::uint64_t offset; ///< of the first frame
    std::uint64_t size;   ///< from one frame to the next
    std::uint64_t bytes;  ///< of a frame, without the padding behind its last row
    std::uint64_t frame;

    /// Of the frame, counted from the first one. Numbers beyond every file end near 2^62.
    std::uint64_t Start() const {
        constexpr std::uint64_t kFarAway = std::uint64_t{1} << 62;
        return frame < kFarAway / size ? frame * size : kFarAway;
    }
    std::uint64_t HeldIn(std::uint64_t present) const {
        const std::uint64_t behind = BehindOffset(present);
        return behind < bytes ? 0 : (behind - bytes) / size + 1;
    }
    std::uint64_t RestOf(std::uint64_t present) const {
        const std::uint64_t behind = BehindOffset(present);
        return behind - std::min(behind, HeldIn(present) * size);
    }

private:
    std::uint64_t BehindOffset(std::uint64_t present) const { return present > offset ? present - offset : 0; }
};

/// "3 frames", "1 frame and 5 bytes more".
std::string contentText(const SFramePlace& place, std::uint64_t present) {
    const std::uint64_t held = place.HeldIn(present);
    const std::uint64_t rest = place.RestOf(present);
    std::string text = fmt::format("{} frame{} of {} bytes", held, held == 1 ? "" : "s", place.size);
    if (rest != 0) {
        text += fmt::format(" and {} byte{} more", rest, rest == 1 ? "" : "s");
    }
    return text;
}

/// present: bytes of the file.
[[noreturn]] void throwTooShort(const SFramePlace& place, std::uint64_t present) {
    const std::uint64_t held = place.HeldIn(present);
    if (held > 0 && (place.frame > held || place.RestOf(present) == 0)) {
        throw CFailure(fmt::format("{}: no frame {}: it holds {}, counted from 0", place.name, place.frame,
                                   contentText(place, present)));
    }
    throw CFailure(fmt::format("{}: too short: {} bytes needed, {} there", place.name,
                               place.offset + place.Start() + place.bytes, present));
}

using Warn = std::function<void(std::string)>;

/// Where every frame of a series is asked for by its number, more of them are no surprise.
void warnOfContent(const SFramePlace& place, std::uint64_t present, bool asked, const Warn& warn) {
    if (place.RestOf(present) != 0) {
        warn(fmt::format("{}: holds {}: its size, format or offset may be another; frame {} is taken", place.name,
                         contentText(place, present), place.frame));
    } else if (place.HeldIn(present) > 1 && !asked) {
        warn(fmt::format("{}: holds {}; frame {} is taken", place.name, contentText(place, present), place.frame));
    }
}

/// Appends up to count bytes to data; fewer only at the end of the file.
void appendPiece(int fd, const std::string& name, std::vector<std::uint8_t>& data, std::size_t count) {
    const std::size_t wanted = data.size() + count;
    std::size_t filled = data.size();
    data.resize(wanted);
    while (filled < wanted) {
        const ssize_t got = read(fd, data.data() + filled, wanted - filled);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            throw CFailure(fmt::format("{}: cannot read: {}", name, systemMessage(errno)));
        }
        if (got == 0) {
            break;
        }
        filled += static_cast<std::size_t>(got);
    }
    data.resize(filled);
}

std::size_t pieceOf(std::uint64_t left) {
    return static_cast<std::size_t>(std::min<std::uint64_t>(left, kPieceBytes));
}

void seek(int fd, const std::string& name, off_t place) {
    if (lseek(fd, place, SEEK_SET) < 0) {
        throw CFailure(fmt::format("{}: cannot read: {}", name, systemMessage(errno)));
    }
}

std::vector<std::uint8_t> readRegular(int fd, const SFramePlace& place, const SFrameChoice& choice, const Warn& warn) {
    struct stat status {};
    fstat(fd, &status);
    // Standard input may stand in the middle of its file.
    const off_t position = std::max<off_t>(lseek(fd, 0, SEEK_CUR), 0);
    const auto present = static_cast<std::uint64_t>(std::max<off_t>(status.st_size - position, 0));
    std::vector<std::uint8_t> data;
    if (present > place.offset) {
        seek(fd, place.name, position + static_cast<off_t>(place.offset));
        appendPiece(fd, place.name, data, kHeadBytes);
        refuseOtherKind(place.name, data, choice);
    }
    if (place.frame >= place.HeldIn(present)) {
        throwTooShort(place, present);
    }
    warnOfContent(place, present, choice.frame.has_value(), warn);
    const std::uint64_t start = place.offset + place.Start();
    seek(fd, place.name, position + static_cast<off_t>(start));
    data.clear();
    appendPiece(fd, place.name, data, static_cast<std::size_t>(place.bytes));
    if (data.size() < place.bytes) {
        throwTooShort(place, start + data.size());
    }
    return data;
}

/// Reads and drops what lies between two places of a pipe, counted from its start.
void skipTo(int fd, const SFramePlace& place, std::uint64_t from, std::uint64_t to) {
    std::vector<std::uint8_t> dropped;
    for (std::uint64_t at = from; at < to; at += dropped.size()) {
        dropped.clear();
        appendPiece(fd, place.name, dropped, pieceOf(to - at));
        if (dropped.empty()) {
            throwTooShort(place, at);
        }
    }
}

/// How many frames a pipe holds shows at its end only, which may never come.
std::vector<std::uint8_t> readStream(int fd, const SFramePlace& place, const SFrameChoice& choice) {
    skipTo(fd, place, 0, place.offset);
    std::vector<std::uint8_t> data;
    appendPiece(fd, place.name, data, static_cast<std::size_t>(std::min<std::uint64_t>(kHeadBytes, place.bytes)));
    refuseOtherKind(place.name, data, choice);
    const std::uint64_t start = place.offset + place.Start();
    if (place.frame > 0) {
        skipTo(fd, place, place.offset + data.size(), start);
        data.clear();
    }
    while (data.size() < place.bytes) {
        const std::size_t before = data.size();
        appendPiece(fd, place.name, data, pieceOf(place.bytes - before));
        if (data.size() == before) {
            throwTooShort(place, start + before);
        }
    }
    return data;
}

/// Tells when words are too large for the format in more places than hot pixels and faults of a transfer are.
void warnOfWords(const std::string& name, std::span<const std::uint8_t> bytes, const STransferFormat& format,
                 const Warn& warn) {
    constexpr std::size_t kFew = 3;
    constexpr std::size_t kFewOf = 1000; // one sample out of these
    if (format.layout != ELayout::Words) {
        return;
    }
    const unsigned largest = maxSample(format.depth);
    const std::size_t samples = bytes.size() / 2;
    std::size_t beyond = 0;
    for (std::size_t i = 0; i < samples; ++i) {
        beyond += wordAt(bytes, i) > largest ? 1 : 0;
    }
    if (beyond > std::max(kFew, samples / kFewOf)) {
        warn(fmt::format("{}: {} of {} samples are above {}, the largest of {}: the format may be another", name,
                         beyond, samples, largest, format.name));
    }
}

/// Throws CMisfit.
void checkRows(const SFrameChoice& choice, const STransferFormat& format, std::uint32_t width) {
    if (choice.pitch != 0 && choice.pitch < format.RowBytes(width)) {
        throw CMisfit(fmt::format("<src-stride> {} is less than a row, {} bytes of format {}", choice.pitch,
                                  format.RowBytes(width), format.name));
    }
    if (choice.bigEndian && format.layout != ELayout::Words) {
        throw CMisfit(fmt::format("<byte-order> needs samples in words: format {} has none", format.name));
    }
}

/// Moves the rows together and turns words round.
void straighten(std::vector<std::uint8_t>& bytes, std::uint64_t pitch, std::uint64_t rowBytes, std::uint32_t height,
                bool bigEndian) {
    for (std::uint64_t y = 1; y < height && pitch != rowBytes; ++y) {
        const auto row = bytes.begin() + static_cast<std::ptrdiff_t>(y * pitch);
        std::copy_n(row, rowBytes, bytes.begin() + static_cast<std::ptrdiff_t>(y * rowBytes));
    }
    bytes.resize(rowBytes * height);
    for (std::size_t i = 0; i < bytes.size() && bigEndian; i += 2) {
        std::swap(bytes[i], bytes[i + 1]);
    }
}

} // namespace

std::vector<std::uint8_t> readFrame(const SFrameChoice& choice, const STransferFormat& format, std::uint32_t width,
                                    std::uint32_t height, const Warn& warn) {
    checkRows(choice, format, width);
    const bool fromInput = choice.path == "-";
    const std::uint64_t rowBytes = format.RowBytes(width);
    const std::uint64_t pitch = choice.pitch != 0 ? choice.pitch : rowBytes;
    const SFramePlace place = {fromInput ? "standard input" : choice.path, choice.offset, pitch * height,
                               pitch * (height - 1) + rowBytes, choice.frame.value_or(0)};
    const CDescriptor file(fromInput ? -1 : open(choice.path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!fromInput && !file.IsOpen()) {
        throw CFailure(fmt::format("{}: cannot open: {}", place.name, systemMessage(errno)));
    }
    const int fd = fromInput ? STDIN_FILENO : file.Get();
    struct stat status {};
    const bool regular = fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
    std::vector<std::uint8_t> bytes = regular ? readRegular(fd, place, choice, warn) : readStream(fd, place, choice);
    straighten(bytes, pitch, rowBytes, height, choice.bigEndian);
    warnOfWords(place.name, bytes, format, warn);
    return bytes;
}

} // namespace vek::client
