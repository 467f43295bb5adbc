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
constexpr std::string_view kTiffPicture = "a TIFF picture";
constexpr SMagic kMagics[] = {
    {"\x89PNG\r\n\x1A\n", "a PNG picture"}, {{"II*\0", 4}, kTiffPicture},
    {{"MM\0*", 4}, kTiffPicture},           {{"II+\0", 4}, kTiffPicture}, // with offsets of 64 bits
    {{"MM\0+", 4}, kTiffPicture},           {"\xFF\xD8\xFF", "a JPEG picture"},
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

/// What a file is that begins like this; empty where it may be a raw one.
std::string_view kindOf(std::span<const std::uint8_t> begin) {
    const std::string_view head(reinterpret_cast<const char*>(begin.data()), begin.size());
    const auto* const magic = std::find_if(std::begin(kMagics), std::end(kMagics),
                                           [&](const SMagic& candidate) { return head.starts_with(candidate.begin); });
    return magic != std::end(kMagics) ? magic->kind : looksLikeText(head) ? "text" : "";
}

/// begin: the bytes at the first frame's place. Throws COtherKind.
void refuseOtherKind(const std::string& name, std::span<const std::uint8_t> begin, bool force) {
    const std::string_view kind = kindOf(begin);
    if (!kind.empty() && !force) {
        throw COtherKind(fmt::format("{}: is {}, no raw frame", name, kind));
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

struct CFrameInput::SFile {
    bool ReadRegular(std::uint64_t frame, std::vector<std::uint8_t>& data) const;
    bool ReadStream(std::uint64_t frame, std::vector<std::uint8_t>& data);
    bool SkipTo(std::uint64_t to);

    /// Where a frame begins, counted from the first one. Numbers beyond every file end near 2^62.
    std::uint64_t Start(std::uint64_t frame) const {
        constexpr std::uint64_t kFarAway = std::uint64_t{1} << 62;
        return frame < kFarAway / size ? frame * size : kFarAway;
    }
    std::uint64_t Behind() const { return present > offset ? present - offset : 0; }
    std::uint64_t Held() const { return Behind() < bytes ? 0 : (Behind() - bytes) / size + 1; }
    std::uint64_t Rest() const { return Behind() - std::min(Behind(), Held() * size); }

    std::string name;         ///< for messages
    std::uint64_t offset = 0; ///< of the first frame
    std::uint64_t size = 0;   ///< from one frame to the next
    std::uint64_t bytes = 0;  ///< of a frame, without the padding behind its last row
    std::uint64_t rowBytes = 0;
    std::uint64_t pitch = 0;
    std::uint32_t height = 0;
    bool bigEndian = false;
    bool force = false;
    CDescriptor file; ///< closed where standard input is read
    int fd = -1;
    bool regular = false;
    off_t position = 0;             ///< standard input may stand in the middle of its file
    std::uint64_t present = 0;      ///< bytes from there on; of a pipe those that were read
    std::vector<std::uint8_t> head; ///< of a pipe's first frame, read to see what it is, and not given out yet
};

bool CFrameInput::SFile::ReadRegular(std::uint64_t frame, std::vector<std::uint8_t>& data) const {
    if (frame >= Held()) {
        return false;
    }
    seek(fd, name, position + static_cast<off_t>(offset + Start(frame)));
    appendPiece(fd, name, data, static_cast<std::size_t>(bytes));
    if (data.size() < bytes) {
        throw CFailure(fmt::format("{}: became shorter while it was read", name));
    }
    return true;
}

/// Reads and drops what lies in front of a place of a pipe, counted from its start.
bool CFrameInput::SFile::SkipTo(std::uint64_t to) {
    std::vector<std::uint8_t> dropped;
    while (present < to) {
        dropped.clear();
        appendPiece(fd, name, dropped, pieceOf(to - present));
        present += dropped.size();
        if (dropped.empty()) {
            return false;
        }
    }
    return true;
}

bool CFrameInput::SFile::ReadStream(std::uint64_t frame, std::vector<std::uint8_t>& data) {
    if (present < offset || (present == offset && head.empty())) {
        if (!SkipTo(offset)) {
            return false;
        }
        appendPiece(fd, name, head, static_cast<std::size_t>(std::min<std::uint64_t>(kHeadBytes, bytes)));
        present += head.size();
        refuseOtherKind(name, head, force);
    }
    if (frame == 0) {
        data.swap(head);
    } else if (!SkipTo(offset + Start(frame))) {
        return false;
    }
    while (data.size() < bytes) {
        const std::size_t before = data.size();
        appendPiece(fd, name, data, pieceOf(bytes - before));
        present += data.size() - before;
        if (data.size() == before) {
            return false;
        }
    }
    return true;
}

CFrameInput::CFrameInput(const SFrameChoice& choice, const STransferFormat& format, std::uint32_t width,
                         std::uint32_t height) {
    checkRows(choice, format, width);
    const bool fromInput = choice.path == "-";
    const std::uint64_t rowBytes = format.RowBytes(width);
    const std::uint64_t pitch = choice.pitch != 0 ? choice.pitch : rowBytes;
    mFile = std::make_unique<SFile>();
    SFile& file = *mFile;
    file.name = fromInput ? "standard input" : choice.path;
    file.offset = choice.offset;
    file.size = pitch * height;
    file.bytes = pitch * (height - 1) + rowBytes;
    file.rowBytes = rowBytes;
    file.pitch = pitch;
    file.height = height;
    file.bigEndian = choice.bigEndian;
    file.force = choice.force;
    file.file = CDescriptor(fromInput ? -1 : open(choice.path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!fromInput && !file.file.IsOpen()) {
        throw CFailure(fmt::format("{}: cannot open: {}", Name(), systemMessage(errno)));
    }
    file.fd = fromInput ? STDIN_FILENO : file.file.Get();
    struct stat status {};
    file.regular = fstat(file.fd, &status) == 0 && S_ISREG(status.st_mode);
    if (file.regular) {
        file.position = std::max<off_t>(lseek(file.fd, 0, SEEK_CUR), 0);
        file.present = static_cast<std::uint64_t>(std::max<off_t>(status.st_size - file.position, 0));
    }
    if (file.regular && file.present > choice.offset) {
        seek(file.fd, Name(), file.position + static_cast<off_t>(choice.offset));
        std::vector<std::uint8_t> head;
        appendPiece(file.fd, Name(), head, kHeadBytes);
        refuseOtherKind(Name(), head, choice.force);
    }
}

CFrameInput::~CFrameInput() = default;

const std::string& CFrameInput::Name() const {
    return mFile->name;
}

bool CFrameInput::IsRegular() const {
    return mFile->regular;
}

std::uint64_t CFrameInput::Held() const {
    return mFile->Held();
}

std::uint64_t CFrameInput::Rest() const {
    return mFile->Rest();
}

std::string CFrameInput::Content() const {
    const std::uint64_t held = Held();
    const std::uint64_t rest = Rest();
    std::string text = fmt::format("{} frame{} of {} bytes", held, held == 1 ? "" : "s", mFile->size);
    if (rest != 0) {
        text += fmt::format(" and {} byte{} more", rest, rest == 1 ? "" : "s");
    }
    return text;
}

std::optional<std::vector<std::uint8_t>> CFrameInput::Read(std::uint64_t frame) {
    std::vector<std::uint8_t> data;
    if (!(mFile->regular ? mFile->ReadRegular(frame, data) : mFile->ReadStream(frame, data))) {
        return std::nullopt;
    }
    straighten(data, mFile->pitch, mFile->rowBytes, mFile->height, mFile->bigEndian);
    return data;
}

void CFrameInput::ThrowMissing(std::uint64_t frame) const {
    if (Held() > 0 && (frame > Held() || Rest() == 0)) {
        throw CFailure(fmt::format("{}: no frame {}: it holds {}, counted from 0", Name(), frame, Content()));
    }
    throw CFailure(fmt::format("{}: too short: {} bytes needed, {} there", Name(),
                               mFile->offset + mFile->Start(frame) + mFile->bytes, mFile->present));
}

std::string wordsComplaint(std::span<const std::uint8_t> bytes, const STransferFormat& format) {
    // More places than hot pixels and faults of a transfer are.
    constexpr std::size_t kFew = 3;
    constexpr std::size_t kFewOf = 1000; // one sample out of these
    if (format.layout != ELayout::Words) {
        return {};
    }
    const unsigned largest = maxSample(format.depth);
    const std::size_t samples = bytes.size() / 2;
    std::size_t beyond = 0;
    for (std::size_t i = 0; i < samples; ++i) {
        beyond += wordAt(bytes, i) > largest ? 1 : 0;
    }
    if (beyond <= std::max(kFew, samples / kFewOf)) {
        return {};
    }
    return fmt::format("{} of {} samples are above {}, the largest of {}: the format may be another", beyond, samples,
                       largest, format.name);
}

bool beginsAsTiff(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return false;
    }
    const CDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::array<std::uint8_t, 4> head{};
    return file.IsOpen() && read(file.Get(), head.data(), head.size()) == static_cast<ssize_t>(head.size()) &&
           kindOf(head) == kTiffPicture;
}

std::vector<std::uint8_t> readFrame(const SFrameChoice& choice, const STransferFormat& format, std::uint32_t width,
                                    std::uint32_t height, const Warn& warn) {
    CFrameInput input(choice, format, width, height);
    const std::uint64_t frame = choice.frame.value_or(0);
    if (input.IsRegular() && frame < input.Held()) {
        // Where every frame of a series is asked for by its number, more of them are no surprise.
        if (input.Rest() != 0) {
            warn(fmt::format("{}: holds {}: its size, format or offset may be another; frame {} is taken", input.Name(),
                             input.Content(), frame));
        } else if (input.Held() > 1 && !choice.frame) {
            warn(fmt::format("{}: holds {}; frame {} is taken", input.Name(), input.Content(), frame));
        }
    }
    std::optional<std::vector<std::uint8_t>> bytes = input.Read(frame);
    if (!bytes) {
        input.ThrowMissing(frame);
    }
    if (const std::string complaint = wordsComplaint(*bytes, format); !complaint.empty()) {
        warn(fmt::format("{}: {}", input.Name(), complaint));
    }
    return *std::move(bytes);
}

} // namespace vek::client
