// SPDX-License-Identifier: Apache-2.0
#include "client/recording/Recording.h"

#include "client/Errors.h"
#include "client/files/Descriptor.h"
#include "client/files/InputFile.h"
#include "client/files/OutputPath.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <optional>

namespace vek::client {

namespace {

using EKind = SRecordingDamage::EKind;

constexpr std::size_t kMostText = std::size_t{16} << 20; // a profile has tables
constexpr std::size_t kPieceBytes = std::size_t{1} << 20;
static_assert(kPieceBytes % kRecordBytes == 0);

/// Opens a file of a recording; closed where it is not there.
CDescriptor opened(const std::string& path) {
    CDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!file.IsOpen() && errno != ENOENT) {
        throw CFailure(fmt::format("{}: cannot open: {}", path, systemMessage(errno)));
    }
    if (file.IsOpen() && (fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode))) {
        throw CFailure(fmt::format("{}: is no regular file", path));
    }
    return file;
}

std::uint64_t sizeOf(const CDescriptor& file) {
    struct stat status {};
    return file.IsOpen() && fstat(file.Get(), &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

/// Reads as many bytes as there are from a place on. Nothing where the disk fails, with errno.
std::optional<std::size_t> readAt(const CDescriptor& file, std::span<std::uint8_t> to, std::uint64_t at) {
    std::size_t filled = 0;
    while (filled < to.size()) {
        const ssize_t got = pread(file.Get(), to.data() + filled, to.size() - filled, static_cast<off_t>(at + filled));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            return std::nullopt;
        }
        if (got == 0) {
            break;
        }
        filled += static_cast<std::size_t>(got);
    }
    return filled;
}

/// Where the next bytes are that are no hole, from a place on; the size where there are none.
std::uint64_t nextData(const CDescriptor& file, std::uint64_t at, std::uint64_t size) {
    const off_t found = lseek(file.Get(), static_cast<off_t>(at), SEEK_DATA);
    if (found < 0) {
        return errno == ENXIO ? size : at;
    }
    return static_cast<std::uint64_t>(found);
}

/// Adds a record or frame to what is wrong, or to the range in front of it.
void note(std::vector<SRecordingDamage>& damages, EKind kind, std::uint64_t number) {
    const auto found = std::find_if(damages.rbegin(), damages.rend(),
                                    [&](const SRecordingDamage& damage) { return damage.kind == kind; });
    if (found != damages.rend() && found->count > 0 && found->first + found->count == number) {
        ++found->count;
    } else {
        damages.push_back({kind, number, 1});
    }
}

std::optional<EKind> damageOf(ERecordState state) {
    switch (state) {
    case ERecordState::Empty:
        return EKind::Hole;
    case ERecordState::Damaged:
        return EKind::RecordDamaged;
    case ERecordState::Astray:
        return EKind::RecordAstray;
    case ERecordState::Good:
        break;
    }
    return std::nullopt;
}

bool isZero(std::span<const std::uint8_t> bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == 0; });
}

} // namespace

bool isRecording(const std::string& path) {
    return path != "-" && isRegularFile(pathInside(path, std::string(kRecordingName)));
}

std::string damageText(const SRecordingDamage& damage) {
    struct SText {
        EKind kind;
        const char* one;
        const char* many;
    };
    constexpr SText kTexts[] = {
        {EKind::NotEnded, "was not ended in order: frames that were under way are missing", nullptr},
        {EKind::BeingWritten, "is being recorded now", nullptr},
        {EKind::IndexMissing, "index.bin is missing", nullptr},
        {EKind::IndexCut, "index.bin ends inside record {}", nullptr},
        {EKind::IndexShort, "index.bin ends: record {} is missing", "index.bin ends: records {} to {} are missing"},
        {EKind::IndexLong, "index.bin has record {}, which recording.json does not count",
         "index.bin has records {} to {}, which recording.json does not count"},
        {EKind::FramesMissing, "frames.raw is missing", nullptr},
        {EKind::Hole, "frame {} was never written: its record is empty",
         "frames {} to {} were never written: their records are empty"},
        {EKind::RecordDamaged, "record {} of index.bin is damaged", "records {} to {} of index.bin are damaged"},
        {EKind::RecordAstray, "record {} of index.bin is that of another frame",
         "records {} to {} of index.bin are those of other frames"},
        {EKind::RecordUnfit, "record {} of index.bin is of a frame of another size",
         "records {} to {} of index.bin are of frames of another size"},
        {EKind::FrameCut, "frames.raw ends in front of the end of frame {}",
         "frames.raw ends in front of the end of frames {} to {}"},
        {EKind::FrameZero, "frame {} is zeros: its bytes did not reach the disk",
         "frames {} to {} are zeros: their bytes did not reach the disk"},
        {EKind::FrameDamaged, "frame {} is damaged: its checksums are others",
         "frames {} to {} are damaged: their checksums are others"},
        {EKind::FrameUnread, "the disk does not give frame {}", "the disk does not give frames {} to {}"},
    };
    const auto* const text = std::find_if(std::begin(kTexts), std::end(kTexts),
                                          [&](const SText& candidate) { return candidate.kind == damage.kind; });
    const char* const form = damage.count > 1 && text->many != nullptr ? text->many : text->one;
    return fmt::format(fmt::runtime(form), damage.first, damage.first + damage.count - 1);
}

struct CRecording::SFiles {
    std::string path;
    SRecordingText text;
    CDescriptor frames;
    std::uint64_t framesSize = 0;
    std::vector<SFrameRecord> records;
    std::vector<SRecordingDamage> damages;

    std::once_flag mapping;
    const std::uint8_t* mapped = nullptr;
    int mapError = 0;

    std::string PathOf(std::string_view name) const { return pathInside(path, std::string(name)); }
    void ReadText();
    void ReadIndex();
    bool IsBeingWritten() const;
    /// Sets records to those of a piece of the index, from a number on.
    void TakeRecords(std::span<const std::uint8_t> piece, std::uint64_t number);
    void TakeRecord(std::span<const std::uint8_t, kRecordBytes> bytes, std::uint64_t number);
    void Map();
    std::optional<EKind> DamageOf(const SFrameRecord& record, std::vector<std::uint8_t>& piece) const;

    std::uint64_t behindLast = 0; ///< number behind that of the last record that is not empty
};

void CRecording::SFiles::ReadText() {
    const std::string name = PathOf(kRecordingName);
    const std::string content = readWholeFile(name, kMostText, "recording");
    try {
        text = parsedRecording(content);
    } catch (const CFailure& failure) {
        throw CFailure(fmt::format("{}: {}", name, failure.what()));
    }
}

/// A writer holds the folder.
bool CRecording::SFiles::IsBeingWritten() const {
    const CDescriptor folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return folder.IsOpen() && flock(folder.Get(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

void CRecording::SFiles::TakeRecord(std::span<const std::uint8_t, kRecordBytes> bytes, std::uint64_t number) {
    SFrameRecord record;
    const ERecordState state = readRecord(bytes, number, record);
    if (state == ERecordState::Empty) {
        return;
    }
    // Empty ones count as missing in front of others alone: behind them the index was only allocated.
    if (behindLast < number) {
        damages.push_back({EKind::Hole, behindLast, number - behindLast});
    }
    behindLast = number + 1;
    if (const std::optional<EKind> damage = damageOf(state)) {
        note(damages, *damage, number);
    } else if (record.bytes != text.form.FrameBytes()) {
        note(damages, EKind::RecordUnfit, number);
    } else if (const std::uint64_t places = framesSize / text.form.Stride();
               number > places || (number == places && framesSize % text.form.Stride() < record.bytes)) {
        note(damages, EKind::FrameCut, number);
    } else {
        records.push_back(record);
    }
}

void CRecording::SFiles::TakeRecords(std::span<const std::uint8_t> piece, std::uint64_t number) {
    for (; piece.size() >= kRecordBytes; piece = piece.subspan(kRecordBytes)) {
        TakeRecord(piece.first<kRecordBytes>(), number++);
    }
}

void CRecording::SFiles::ReadIndex() {
    const std::string name = PathOf(kIndexName);
    const CDescriptor index = opened(name);
    if (!index.IsOpen()) {
        damages.push_back({EKind::IndexMissing});
        return;
    }
    const std::uint64_t size = sizeOf(index);
    std::vector<std::uint8_t> piece(static_cast<std::size_t>(std::min<std::uint64_t>(size, kPieceBytes)));
    std::uint64_t at = 0;
    while (size - at >= kRecordBytes) {
        at = std::max(at, nextData(index, at, size) / kRecordBytes * kRecordBytes);
        const std::optional<std::size_t> got = readAt(index, piece, at);
        if (!got) {
            throw CFailure(fmt::format("{}: cannot read: {}", name, systemMessage(errno)));
        }
        if (*got < kRecordBytes) {
            break;
        }
        const std::size_t whole = *got / kRecordBytes * kRecordBytes;
        TakeRecords(std::span(piece).first(whole), at / kRecordBytes);
        at += whole;
    }
    if (size % kRecordBytes != 0 && behindLast == size / kRecordBytes) {
        damages.push_back({EKind::IndexCut, size / kRecordBytes});
    }
    if (text.complete && behindLast < text.frames) {
        damages.push_back({EKind::IndexShort, behindLast, text.frames - behindLast});
    }
    if (text.complete && behindLast > text.frames) {
        damages.push_back({EKind::IndexLong, text.frames, behindLast - text.frames});
    }
}

void CRecording::SFiles::Map() {
    std::call_once(mapping, [this] {
        void* const memory = mmap(nullptr, framesSize, PROT_READ, MAP_SHARED, frames.Get(), 0);
        if (memory == MAP_FAILED) {
            mapError = errno;
        } else {
            mapped = static_cast<const std::uint8_t*>(memory);
        }
    });
    if (mapped == nullptr) {
        throw CFailure(fmt::format("{}: cannot be mapped: {}", PathOf(kFramesName), systemMessage(mapError)));
    }
}

/// Reads a frame and tells what is wrong with it. piece: memory to read with.
std::optional<SRecordingDamage::EKind> CRecording::SFiles::DamageOf(const SFrameRecord& record,
                                                                    std::vector<std::uint8_t>& piece) const {
    CFrameSummer summer;
    bool zero = true;
    for (std::uint64_t done = 0; done < record.bytes;) {
        piece.resize(static_cast<std::size_t>(std::min<std::uint64_t>(record.bytes - done, kPieceBytes)));
        const std::optional<std::size_t> got = readAt(frames, piece, record.number * text.form.Stride() + done);
        if (!got) {
            return EKind::FrameUnread;
        }
        if (*got < piece.size()) {
            return EKind::FrameCut;
        }
        summer.Add(piece);
        zero = zero && isZero(piece);
        done += piece.size();
    }
    if (summer.Sums() == record.sums) {
        return std::nullopt;
    }
    return zero ? EKind::FrameZero : EKind::FrameDamaged;
}

CRecording::CRecording(const std::string& path) : mFiles(std::make_unique<SFiles>()) {
    SFiles& files = *mFiles;
    files.path = path;
    if (!isRecording(path)) {
        throw CFailure(fmt::format("{}: is no recording: there is no folder with a {}", path, kRecordingName));
    }
    const bool beingWritten = files.IsBeingWritten();
    files.ReadText();
    if (!files.text.complete) {
        files.damages.push_back({beingWritten ? EKind::BeingWritten : EKind::NotEnded});
    }
    files.frames = opened(files.PathOf(kFramesName));
    if (!files.frames.IsOpen()) {
        files.damages.push_back({EKind::FramesMissing});
    }
    files.framesSize = sizeOf(files.frames);
    files.ReadIndex();
}

CRecording::~CRecording() {
    if (mFiles->mapped != nullptr) {
        munmap(const_cast<std::uint8_t*>(mFiles->mapped), mFiles->framesSize);
    }
}

const std::string& CRecording::Path() const {
    return mFiles->path;
}

const SRecordingForm& CRecording::Form() const {
    return mFiles->text.form;
}

const SRecordingText& CRecording::Text() const {
    return mFiles->text;
}

const std::vector<SRecordingDamage>& CRecording::Damages() const {
    return mFiles->damages;
}

std::uint64_t CRecording::Count() const {
    return mFiles->records.size();
}

const SFrameMeta& CRecording::Meta(std::uint64_t i) const {
    return Record(i).meta;
}

const SFrameRecord& CRecording::Record(std::uint64_t i) const {
    return mFiles->records.at(i);
}

std::span<const std::uint8_t> CRecording::Frame(std::uint64_t i) const {
    mFiles->Map();
    const SFrameRecord& record = Record(i);
    return {mFiles->mapped + record.number * Form().Stride(), static_cast<std::size_t>(record.bytes)};
}

std::vector<std::uint8_t> CRecording::Read(std::uint64_t i) const {
    const SFrameRecord& record = Record(i);
    const SRecordingForm& form = Form();
    const auto refuse = [&](EKind kind) {
        throw CFailure(fmt::format("{}: {}", Path(), damageText({kind, record.number, 1})));
    };
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(record.bytes));
    const std::optional<std::size_t> got = readAt(mFiles->frames, bytes, record.number * form.Stride());
    if (!got) {
        refuse(EKind::FrameUnread);
    }
    if (*got < bytes.size()) {
        refuse(EKind::FrameCut);
    }
    if (crc32Of(bytes) != record.sums.crc) {
        refuse(isZero(bytes) ? EKind::FrameZero : EKind::FrameDamaged);
    }
    const std::size_t rowBytes = form.format->RowBytes(form.width);
    if (form.PitchBytes() != rowBytes) {
        for (std::size_t y = 1; y < form.height; ++y) {
            std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(y * form.PitchBytes()), rowBytes,
                        bytes.begin() + static_cast<std::ptrdiff_t>(y * rowBytes));
        }
        bytes.resize(rowBytes * form.height);
    }
    return bytes;
}

std::vector<SRecordingDamage> CRecording::Check(const std::function<void()>& step) const {
    std::vector<SRecordingDamage> damages = mFiles->damages;
    std::vector<std::uint8_t> piece;
    for (const SFrameRecord& record : mFiles->records) {
        if (const std::optional<EKind> damage = mFiles->DamageOf(record, piece)) {
            note(damages, *damage, record.number);
        }
        if (step != nullptr) {
            step();
        }
    }
    return damages;
}

} // namespace vek::client
