// SPDX-License-Identifier: Apache-2.0
#include "client/recording/RecordingWriter.h"

#include "client/files/Descriptor.h"
#include "client/files/OutputFile.h"
#include "client/files/OutputPath.h"
#include "client/files/TemporaryFile.h"

#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <optional>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace vek::client {

namespace {

/// Bytes that are written at once at least, where enough small frames wait for it, and those that wait at most.
constexpr std::uint64_t kBatchBytes = std::uint64_t{1} << 20;
constexpr std::uint64_t kUsualWaitingBytes = std::uint64_t{16} << 20;
constexpr std::size_t kMostBatch = 256; ///< frames; the system takes 1024 pieces
constexpr unsigned kUsualBuffers = 16;
constexpr std::uint64_t kMostUsualBuffers = 1024;

/// Of index.bin: what is allocated beyond the records is given back in the end, so that recording.json has room on a
/// disk that was filled.
constexpr std::uint64_t kReserveBytes = std::uint64_t{256} << 10;

bool isFull(int error) {
    return error == ENOSPC || error == EDQUOT || error == EFBIG;
}

bool isUnsupported(int error) {
    return error == EOPNOTSUPP || error == ENOSYS || error == EINVAL;
}

/// Names in a folder, "." and ".." apart.
std::vector<std::string> namesIn(const std::string& path) {
    std::vector<std::string> names;
    DIR* const folder = opendir(path.c_str());
    if (folder == nullptr) {
        throw CFailure(fmt::format("{}: cannot read: {}", path, systemMessage(errno)));
    }
    while (const dirent* const entry = readdir(folder)) {
        const std::string_view name = static_cast<const char*>(entry->d_name);
        if (name != "." && name != "..") {
            names.emplace_back(name);
        }
    }
    closedir(folder);
    return names;
}

/// Opens a recording's folder and holds it against other writers.
CDescriptor heldFolder(const std::string& path) {
    CDescriptor folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder.IsOpen()) {
        throw CFailure(fmt::format("{}: cannot open: {}", path, systemMessage(errno)));
    }
    if (flock(folder.Get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        throw CFailure(fmt::format("{}: is being recorded by another program", path));
    }
    return folder;
}

/// Removes the files of a recording; the folder stays.
void emptyFolder(const std::string& path, const CDescriptor& folder) {
    static constexpr std::string_view kTemporary = ".vekcam-"; // of a recording.json that was under way
    const std::vector<std::string> names = namesIn(path);
    const auto* const other = std::find_if(names.data(), names.data() + names.size(), [](const std::string& name) {
        return name != kFramesName && name != kIndexName && name != kRecordingName && !name.starts_with(kTemporary);
    });
    if (other != names.data() + names.size()) {
        throw CFailure(fmt::format("{}: holds {}, which is no part of a recording: it is left alone", path, *other));
    }
    for (const std::string& name : names) {
        if (unlinkat(folder.Get(), name.c_str(), 0) != 0) {
            throw CFailure(fmt::format("{}: cannot be replaced: {}", pathInside(path, name), systemMessage(errno)));
        }
    }
}

CDescriptor madeFolder(const std::string& path, bool force) {
    constexpr mode_t kMode = 0777;
    if (mkdir(path.c_str(), kMode) == 0) {
        return heldFolder(path);
    }
    if (errno != EEXIST) {
        throw CFailure(fmt::format("{}: cannot make the folder: {}", path, systemMessage(errno)));
    }
    if (!force) {
        throw CMisfit(fmt::format("{}: is there already; <force> replaces a recording", path));
    }
    CDescriptor folder = heldFolder(path);
    emptyFolder(path, folder);
    return folder;
}

} // namespace

struct CRecordingWriter::SState {
    /// Memory that direct I/O takes, zeros at first.
    class CAlignedMemory {
    public:
        /// Large pages where the system has them: direct writes look up each page.
        explicit CAlignedMemory(std::size_t bytes) : mBytes(bytes + kLargePage) {
            mMemory = mmap(nullptr, mBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
            if (mMemory == MAP_FAILED) {
                throw std::bad_alloc();
            }
            void* aligned = mMemory;
            std::size_t space = mBytes;
            mData = static_cast<std::uint8_t*>(std::align(kLargePage, bytes, aligned, space));
            madvise(mData, bytes, MADV_HUGEPAGE);
            // All of it is there before the first frame comes.
            for (std::size_t at = 0; at < bytes; at += kFrameAlignment) {
                mData[at] = 0;
            }
        }
        ~CAlignedMemory() { munmap(mMemory, mBytes); }
        CAlignedMemory(const CAlignedMemory&) = delete;
        CAlignedMemory& operator=(const CAlignedMemory&) = delete;

        std::uint8_t* Data() const { return mData; }

    private:
        static constexpr std::size_t kLargePage = std::size_t{2} << 20;

        void* mMemory;
        std::size_t mBytes;
        std::uint8_t* mData;
    };

    /// A frame on its way.
    struct SJob {
        std::uint8_t* memory;
        SFrameRecord record;
    };

    SState(std::string folderPath, const SRecordingSetup& setup);

    std::string PathOf(std::string_view name) const { return pathInside(path, std::string(name)); }
    CDescriptor Make(std::string_view name, int flags) const;
    void WriteText(bool complete, std::uint64_t frames) const;
    [[noreturn]] static void Throw(const std::string& what, int error);

    // Of the caller.
    void Take(std::unique_lock<std::mutex>& lock, std::span<const std::uint8_t> bytes, const SFrameMeta& meta);
    void RequireNoFailure() const;

    // Of the writers.
    void Work();
    std::vector<SJob> TakeBatch();
    std::size_t WriteBatch(std::span<SJob> batch);
    std::uint64_t Allocate(std::uint64_t wanted);
    bool Grow(std::uint64_t count);
    void WriteFrames(std::vector<iovec> pieces, std::uint64_t at);
    void WriteIndex(std::span<const std::uint8_t> bytes, std::uint64_t at) const;

    std::string path;
    SRecordingForm form;
    SRecordingNotes notes;
    std::uint64_t frameBytes;
    std::uint64_t stride;
    CDescriptor folder;
    CDescriptor frames;
    CDescriptor index;
    unsigned buffers;
    std::optional<CAlignedMemory> memory;

    mutable std::mutex mutex;
    std::condition_variable wake;  ///< writers: there is work, or none will come
    std::condition_variable moved; ///< the caller: a buffer is free, or all is done
    std::vector<std::uint8_t*> free;
    std::deque<SJob> waiting;
    unsigned working = 0; ///< frames that writers have
    bool ending = false;
    std::uint64_t next = 0;
    std::uint64_t behindLast = 0; ///< number behind that of the last frame written
    SRecordingCounts counts;
    std::string failure; ///< the first one
    bool full = false;

    std::mutex allocating;
    std::uint64_t allocated = 0; ///< frames
    std::uint64_t step;          ///< frames that are allocated at once; less when the disk gets full
    int fullError = ENOSPC;      ///< why step has become less
    bool allocates = true;       ///< the file system can do it

    std::vector<std::thread> threads;
};

CRecordingWriter::SState::SState(std::string folderPath, const SRecordingSetup& setup)
    : path(std::move(folderPath)), form(setup.form), notes(setup.notes), frameBytes(form.FrameBytes()),
      stride(form.Stride()), folder(madeFolder(path, setup.force)),
      buffers(setup.buffers != 0 ? std::max(setup.buffers, 2U)
                                 : static_cast<unsigned>(std::clamp<std::uint64_t>(kUsualWaitingBytes / stride,
                                                                                   kUsualBuffers, kMostUsualBuffers))),
      step(std::max<std::uint64_t>((setup.allocationStep + stride - 1) / stride, 1)) {
    try {
        WriteText(false, 0);
        frames = Make(kFramesName, setup.direct ? O_DIRECT : 0);
        index = Make(kIndexName, 0);
        counts.direct = setup.direct && (fcntl(frames.Get(), F_GETFL) & O_DIRECT) != 0;
        if (Allocate(1) == 0) {
            Throw(fmt::format("{}: no room for a frame", PathOf(kFramesName)), fullError);
        }
        memory.emplace(buffers * stride);
        for (unsigned i = 0; i < buffers; ++i) {
            free.push_back(memory->Data() + i * stride);
        }
        const CSignalsBlocked blocked;
        for (unsigned i = 0; i < std::max(setup.writers, 1U); ++i) {
            threads.emplace_back([this] { Work(); });
        }
    } catch (...) {
        // Nothing was recorded: what is there is of no use.
        for (const std::string_view name : {kFramesName, kIndexName, kRecordingName}) {
            unlinkat(folder.Get(), std::string(name).c_str(), 0);
        }
        rmdir(path.c_str());
        throw;
    }
}

void CRecordingWriter::SState::Throw(const std::string& what, int error) {
    const std::string message = fmt::format("{}: {}", what, systemMessage(error));
    if (isFull(error)) {
        throw CDiskFull(message);
    }
    throw CFailure(message);
}

CDescriptor CRecordingWriter::SState::Make(std::string_view name, int flags) const {
    constexpr mode_t kMode = 0666;
    constexpr int kUsual = O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC;
    const std::string text(name);
    CDescriptor file(openat(folder.Get(), text.c_str(), kUsual | flags, kMode));
    if (!file.IsOpen() && errno == EINVAL && flags != 0) {
        // Where direct I/O is refused, the file may have been made all the same.
        file = CDescriptor(openat(folder.Get(), text.c_str(), (kUsual & ~O_EXCL) | O_NOFOLLOW, kMode));
    }
    if (!file.IsOpen()) {
        Throw(fmt::format("{}: cannot be made", PathOf(name)), errno);
    }
    return file;
}

void CRecordingWriter::SState::WriteText(bool complete, std::uint64_t count) const {
    writeText(PathOf(kRecordingName), recordingText({form, notes, complete, count}));
}

void CRecordingWriter::SState::RequireNoFailure() const {
    if (failure.empty()) {
        return;
    }
    if (full) {
        throw CDiskFull(failure);
    }
    throw CFailure(failure);
}

/// There is a free buffer. The lock is held again in the end.
void CRecordingWriter::SState::Take(std::unique_lock<std::mutex>& lock, std::span<const std::uint8_t> bytes,
                                    const SFrameMeta& meta) {
    SJob job{free.back(), {}};
    free.pop_back();
    job.record.number = next++;
    job.record.bytes = frameBytes;
    job.record.meta = meta;
    lock.unlock();
    // Behind the frame the buffer has zeros from the beginning on.
    std::memcpy(job.memory, bytes.data(), frameBytes);
    lock.lock();
    waiting.push_back(job);
    counts.mostWaiting = std::max(counts.mostWaiting, static_cast<unsigned>(waiting.size()) + working);
    wake.notify_one();
}

void CRecordingWriter::SState::Work() {
    while (true) {
        std::vector<SJob> batch = TakeBatch();
        if (batch.empty()) {
            return;
        }
        std::string complaint;
        bool wasFull = false;
        std::size_t written = 0;
        try {
            written = WriteBatch(batch);
            if (written < batch.size()) {
                Throw(fmt::format("{}: no room for another frame", PathOf(kFramesName)), fullError);
            }
        } catch (const CDiskFull& failed) {
            complaint = failed.what();
            wasFull = true;
        } catch (const std::exception& failed) {
            complaint = failed.what();
        }
        const std::scoped_lock lock(mutex);
        if (written > 0) {
            counts.written += written;
            counts.bytes += written * frameBytes;
            behindLast = std::max(behindLast, batch[written - 1].record.number + 1);
        }
        counts.failed += batch.size() - written;
        if (failure.empty() && !complaint.empty()) {
            failure = std::move(complaint);
            full = wasFull;
        }
        for (const SJob& job : batch) {
            free.push_back(job.memory);
        }
        working -= static_cast<unsigned>(batch.size());
        moved.notify_all();
    }
}

/// Frames that follow each other; nothing in the end.
std::vector<CRecordingWriter::SState::SJob> CRecordingWriter::SState::TakeBatch() {
    std::unique_lock lock(mutex);
    wake.wait(lock, [this] { return ending || !waiting.empty(); });
    // What waits is shared among the writers.
    const std::size_t share = std::max<std::size_t>(waiting.size() / std::max<std::size_t>(threads.size(), 1), 1);
    const std::size_t most = std::min(std::max<std::size_t>(kBatchBytes / stride, 1), kMostBatch);
    const std::size_t count = std::min({share, most, waiting.size()});
    std::vector<SJob> batch(waiting.begin(), waiting.begin() + static_cast<std::ptrdiff_t>(count));
    waiting.erase(waiting.begin(), waiting.begin() + static_cast<std::ptrdiff_t>(count));
    working += static_cast<unsigned>(count);
    return batch;
}

/// Writes the frames at the beginning of a batch that there is room for, and their records; returns how many.
std::size_t CRecordingWriter::SState::WriteBatch(std::span<SJob> batch) {
    const std::uint64_t first = batch.front().record.number;
    const std::uint64_t room = Allocate(first + batch.size());
    if (room <= first) {
        return 0;
    }
    batch = batch.first(static_cast<std::size_t>(room - first));
    std::vector<iovec> pieces;
    std::vector<std::uint8_t> records;
    for (SJob& job : batch) {
        job.record.sums = sumsOf({job.memory, frameBytes});
        const RecordBytes bytes = recordBytes(job.record);
        records.insert(records.end(), bytes.begin(), bytes.end());
        pieces.push_back({job.memory, stride});
    }
    WriteFrames(std::move(pieces), first * stride);
    WriteIndex(records, first * kRecordBytes);
    return batch.size();
}

/// Sees that there is room for so many frames, and for some more: writers do not wait for each other then. Returns for
/// how many of those wanted there is.
std::uint64_t CRecordingWriter::SState::Allocate(std::uint64_t wanted) {
    const std::scoped_lock lock(allocating);
    while (allocates && allocated < wanted + buffers && step > 0) {
        if (!Grow(allocated + step)) {
            fullError = errno;
            step /= 2;
        }
    }
    return allocates ? std::min(allocated, wanted) : wanted;
}

/// False where the disk is full; errno tells how.
bool CRecordingWriter::SState::Grow(std::uint64_t count) {
    const auto allocate = [&](const CDescriptor& file, std::uint64_t from, std::uint64_t to) {
        int status = 0;
        do {
            status = fallocate(file.Get(), 0, static_cast<off_t>(from), static_cast<off_t>(to - from));
        } while (status != 0 && errno == EINTR);
        return status == 0;
    };
    const auto indexBytes = [](std::uint64_t records) { return records * kRecordBytes + kReserveBytes; };
    if (allocate(frames, allocated * stride, count * stride) && allocate(index, 0, indexBytes(count))) {
        allocated = count;
        return true;
    }
    const int error = errno;
    allocates = !isUnsupported(error); // writes beyond the end make the file longer as well
    if (allocates && !isFull(error)) {
        Throw(fmt::format("{}: cannot be allocated", PathOf(kFramesName)), error);
    }
    // What one of them got, the other may need. Nothing was written there yet.
    const std::uint64_t indexRoom = allocated == 0 ? 0 : indexBytes(allocated);
    if (ftruncate(frames.Get(), static_cast<off_t>(allocated * stride)) != 0 ||
        ftruncate(index.Get(), static_cast<off_t>(indexRoom)) != 0) {
        Throw(fmt::format("{}: cannot be cut off", path), errno);
    }
    errno = error;
    return false;
}

void CRecordingWriter::SState::WriteFrames(std::vector<iovec> pieces, std::uint64_t at) {
    std::size_t piece = 0;
    while (piece < pieces.size()) {
        const ssize_t wrote =
            pwritev(frames.Get(), &pieces[piece], static_cast<int>(pieces.size() - piece), static_cast<off_t>(at));
        if (wrote < 0 && errno == EINTR) {
            continue;
        }
        const int flags = wrote < 0 && errno == EINVAL ? fcntl(frames.Get(), F_GETFL) : 0;
        if ((flags & O_DIRECT) != 0) {
            // Opened, but not taken: blocks are larger, or the file system has no direct I/O after all.
            fcntl(frames.Get(), F_SETFL, flags & ~O_DIRECT);
            const std::scoped_lock lock(mutex);
            counts.direct = false;
            continue;
        }
        if (wrote <= 0) {
            Throw(fmt::format("{}: cannot write", PathOf(kFramesName)), wrote < 0 ? errno : ENOSPC);
        }
        at += static_cast<std::uint64_t>(wrote);
        // Direct I/O goes on where a block begins, as all pieces do.
        auto left = static_cast<std::size_t>(wrote);
        while (left > 0) {
            iovec& now = pieces[piece];
            const std::size_t part = std::min(left, now.iov_len);
            now.iov_base = static_cast<std::uint8_t*>(now.iov_base) + part;
            now.iov_len -= part;
            left -= part;
            piece += now.iov_len == 0 ? 1 : 0;
        }
    }
}

void CRecordingWriter::SState::WriteIndex(std::span<const std::uint8_t> bytes, std::uint64_t at) const {
    while (!bytes.empty()) {
        const ssize_t wrote = pwrite(index.Get(), bytes.data(), bytes.size(), static_cast<off_t>(at));
        if (wrote < 0 && errno == EINTR) {
            continue;
        }
        if (wrote <= 0) {
            Throw(fmt::format("{}: cannot write", PathOf(kIndexName)), wrote < 0 ? errno : ENOSPC);
        }
        at += static_cast<std::uint64_t>(wrote);
        bytes = bytes.subspan(static_cast<std::size_t>(wrote));
    }
}

CRecordingWriter::CRecordingWriter(const std::string& path, const SRecordingSetup& setup)
    : mState(std::make_unique<SState>(path, setup)) {}

CRecordingWriter::~CRecordingWriter() {
    {
        const std::scoped_lock lock(mState->mutex);
        mState->ending = true;
        mState->wake.notify_all();
    }
    for (std::thread& thread : mState->threads) {
        thread.join();
    }
}

void CRecordingWriter::Add(std::span<const std::uint8_t> bytes, const SFrameMeta& meta) {
    std::unique_lock lock(mState->mutex);
    mState->moved.wait(lock, [this] { return !mState->free.empty() || !mState->failure.empty(); });
    mState->RequireNoFailure();
    mState->Take(lock, bytes, meta);
}

bool CRecordingWriter::TryAdd(std::span<const std::uint8_t> bytes, const SFrameMeta& meta) {
    std::unique_lock lock(mState->mutex);
    mState->RequireNoFailure();
    if (mState->free.empty()) {
        ++mState->counts.refused;
        return false;
    }
    mState->Take(lock, bytes, meta);
    return true;
}

SRecordingCounts CRecordingWriter::Counts() const {
    const std::scoped_lock lock(mState->mutex);
    SRecordingCounts counts = mState->counts;
    counts.waiting = mState->waiting.size() + mState->working;
    return counts;
}

void CRecordingWriter::Flush() {
    std::unique_lock lock(mState->mutex);
    mState->moved.wait(lock, [this] { return mState->waiting.empty() && mState->working == 0; });
    mState->RequireNoFailure();
}

SRecordingCounts CRecordingWriter::Finish(const SRecordingNotes& notes) {
    SState& state = *mState;
    {
        std::unique_lock lock(state.mutex);
        state.moved.wait(lock, [&] { return state.waiting.empty() && state.working == 0; });
    }
    const auto cut = [&](const CDescriptor& file, std::string_view name, std::uint64_t bytes) {
        if (ftruncate(file.Get(), static_cast<off_t>(bytes)) != 0 || fdatasync(file.Get()) != 0) {
            SState::Throw(fmt::format("{}: cannot be ended", state.PathOf(name)), errno);
        }
    };
    cut(state.index, kIndexName, state.behindLast * kRecordBytes);
    cut(state.frames, kFramesName, state.behindLast * state.stride);
    state.notes = notes;
    state.WriteText(true, state.behindLast);
    return Counts();
}

} // namespace vek::client
