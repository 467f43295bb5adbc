// SPDX-License-Identifier: Apache-2.0
#include "client/capture/VideoStream.h"

#include "client/capture/CameraFailure.h"
#include "client/capture/DriverCall.h"
#include "client/capture/VideoDevice.h"

#include <VekTrgApi.h>

#include <fcntl.h>
#include <fmt/format.h>
#include <linux/dma-buf.h>
#include <linux/videodev2.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <ctime>
#include <exception>
#include <mutex>
#include <vector>

namespace vek::client {

namespace {

// Buffers of a queue that drivers make at most (VIDEO_MAX_FRAME).
constexpr unsigned kMostBuffers = 32;

// The driver's share where it needs no more.
constexpr unsigned kDriverShare = 3;

std::chrono::nanoseconds clockNow(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

std::optional<std::int32_t> controlOf(int fd, std::uint32_t id) {
    v4l2_control value{};
    value.id = id;
    return askDriver(fd, VIDIOC_G_CTRL, &value) == 0 ? std::optional(value.value) : std::nullopt;
}

/// A frame in memory of our own.
class CCopy : public IFrameMemory {
public:
    explicit CCopy(std::size_t size) : mBytes(new std::uint8_t[size]), mSize(size) {}
    std::uint8_t* Data() { return mBytes.get(); }
    std::span<const std::uint8_t> Bytes() const override { return {mBytes.get(), mSize}; }

private:
    std::unique_ptr<std::uint8_t[]> mBytes;
    std::size_t mSize;
};

} // namespace

std::chrono::nanoseconds monotonicNow() {
    return clockNow(CLOCK_MONOTONIC);
}

std::chrono::nanoseconds bootTimeNow() {
    return clockNow(CLOCK_BOOTTIME);
}

CWaker::CWaker() : mEvent(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!mEvent.IsOpen()) {
        throw CFailure("no event descriptor: " + systemMessage(errno));
    }
}

void CWaker::Wake() const {
    eventfd_write(mEvent.Get(), 1);
}

void CWaker::Clear() const {
    eventfd_t value = 0;
    eventfd_read(mEvent.Get(), &value);
}

/// What leases and the stream share.
struct CVideoStream::SCore {
    /// Memory of a buffer as the program sees it.
    struct SMapping {
        void* address = nullptr;
        std::size_t size = 0;
        std::unique_ptr<std::uint8_t[]> own; ///< of read I/O
        CDescriptor dmaBuffer;
        std::uint32_t offset = 0; ///< of the frame in it
        bool lent = false;
        bool filling = false; ///< read I/O: taken, and neither lent nor given back

        std::span<const std::uint8_t> Bytes() const {
            return {static_cast<const std::uint8_t*>(address) + offset, size - offset};
        }
    };

    SCore(const ICamera& camera, const SStreamSetup& setup) : fd(camera.Fd()), name(camera.Name()) {
        AskCapabilities();
        Negotiate(camera, setup.format);
        MakeBuffers(setup.readers);
        Subscribe(V4L2_EVENT_SOURCE_CHANGE, 0);
        Subscribe(V4L2_EVENT_EOS, 0);
        Subscribe(V4L2_EVENT_CTRL, V4L2_CID_EXPOSURE);
        Subscribe(V4L2_EVENT_CTRL, V4L2_CID_GAIN);
    }
    ~SCore() = default;
    SCore(const SCore&) = delete;
    SCore& operator=(const SCore&) = delete;

    /// Frees what the driver gave; nobody reads any more. A lease that has just ended may still hold this object when
    /// the camera is closed.
    void Close() {
        FreeBuffers();
        v4l2_event_subscription all{};
        all.type = V4L2_EVENT_ALL;
        askDriver(fd, VIDIOC_UNSUBSCRIBE_EVENT, &all);
    }

    bool Planes() const { return type == V4L2_BUF_TYPE_VIDEO_CAPTURE_MPLANE; }
    bool Padded() const { return format.pitch != format.format->RowBytes(format.width); }

    [[noreturn]] void Fail(std::string_view what, int error) const {
        if (error == EBUSY) {
            const std::vector<std::string> users = usersOf(fd);
            throw CCameraFailure(
                ECameraFailure::InUse,
                fmt::format("{}: cannot {}: someone else streams from the camera{}", name, what,
                            users.empty() ? std::string() : fmt::format(": {}", fmt::join(users, ", "))));
        }
        throwCameraFailure(name, what, error);
    }

    void AskCapabilities() {
        v4l2_capability capability{};
        if (const int error = askDriver(fd, VIDIOC_QUERYCAP, &capability); error != 0) {
            if (error == ENOTTY || error == EINVAL) {
                throw CFailure(name + ": no Video4Linux2 device");
            }
            Fail("ask for its capabilities", error);
        }
        const std::uint32_t can =
            (capability.capabilities & V4L2_CAP_DEVICE_CAPS) != 0 ? capability.device_caps : capability.capabilities;
        if ((can & (V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_VIDEO_CAPTURE_MPLANE)) == 0) {
            throw CFailure(name + ": takes no frames: it is another kind of video device");
        }
        type = (can & V4L2_CAP_VIDEO_CAPTURE) != 0 ? V4L2_BUF_TYPE_VIDEO_CAPTURE : V4L2_BUF_TYPE_VIDEO_CAPTURE_MPLANE;
        if ((can & (V4L2_CAP_STREAMING | V4L2_CAP_READWRITE)) == 0) {
            throw CFailure(name + ": has neither mapped buffers nor read");
        }
        transfer = (can & V4L2_CAP_STREAMING) != 0 ? ETransfer::Mapped : ETransfer::Read;
    }

    v4l2_format Current() const {
        v4l2_format current{};
        current.type = type;
        if (const int error = askDriver(fd, VIDIOC_G_FMT, &current); error != 0) {
            Fail("ask for its format", error);
        }
        return current;
    }

    /// Has the camera send frames of a format: by the trigger cameras' control, else as any driver.
    void SetFormat(const STransferFormat& wished) {
        v4l2_control transferFormat{};
        transferFormat.id = VEK_CID_TRANSFER_FORMAT;
        transferFormat.value = static_cast<std::int32_t>(wished.code);
        const int error = askDriver(fd, VIDIOC_S_CTRL, &transferFormat);
        if (error == 0) {
            return;
        }
        if (error == EBUSY) {
            Fail("set the transfer format", error);
        }
        if (error == ERANGE) {
            throw CBadArguments(fmt::format("{}: does not send {}", name, wished.name));
        }
        v4l2_format request = Current();
        const std::uint32_t now = Planes() ? request.fmt.pix_mp.pixelformat : request.fmt.pix.pixelformat;
        const std::optional<SFourCcMeaning> meaning = meaningOf(now);
        const auto array = meaning ? meaning->colorArray : static_cast<unsigned short>(VEK_COLOR_ARRAY_MONO);
        const std::optional<std::uint32_t> fourCc = fourCcOf(wished, array);
        if (!fourCc) {
            throw CBadArguments(fmt::format("{}: does not send {}", name, wished.name));
        }
        if (Planes()) {
            request.fmt.pix_mp.pixelformat = *fourCc;
            request.fmt.pix_mp.plane_fmt[0] = {};
        } else {
            request.fmt.pix.pixelformat = *fourCc;
            request.fmt.pix.bytesperline = 0;
            request.fmt.pix.sizeimage = 0;
        }
        if (const int refusal = askDriver(fd, VIDIOC_S_FMT, &request); refusal != 0 && refusal != EINVAL) {
            Fail("set the format", refusal);
        }
    }

    void Negotiate(const ICamera& camera, const STransferFormat* wished) {
        if (wished != nullptr) {
            SetFormat(*wished);
        }
        const v4l2_format current = Current();
        if (Planes()) {
            const v4l2_pix_format_mplane& pixels = current.fmt.pix_mp;
            if (pixels.num_planes != 1) {
                throw CFailure(fmt::format("{}: sends frames in {} planes of memory; one is taken", camera.Name(),
                                           int{pixels.num_planes}));
            }
            format.width = pixels.width;
            format.height = pixels.height;
            format.fourCc = pixels.pixelformat;
            format.pitch = pixels.plane_fmt[0].bytesperline;
            format.imageBytes = pixels.plane_fmt[0].sizeimage;
        } else {
            const v4l2_pix_format& pixels = current.fmt.pix;
            format.width = pixels.width;
            format.height = pixels.height;
            format.fourCc = pixels.pixelformat;
            format.pitch = pixels.bytesperline;
            format.imageBytes = pixels.sizeimage;
        }
        const std::optional<std::int32_t> code = controlOf(fd, VEK_CID_TRANSFER_FORMAT);
        const std::optional<std::int32_t> array = controlOf(fd, VEK_CID_COLOR_ARRAY);
        if (code && array) {
            // A pixel format may stand for several transfer formats; the camera's control tells which one it is.
            format.format = transferFormat(static_cast<unsigned long>(*code));
            if (format.format != nullptr) {
                const auto sensor = static_cast<unsigned short>(*array);
                format.colorArray = format.format->IsMono() ? static_cast<unsigned short>(VEK_COLOR_ARRAY_MONO)
                                                            : format.format->ColorArrayOf(sensor);
            }
        } else if (const std::optional<SFourCcMeaning> meaning = meaningOf(format.fourCc)) {
            format.format = meaning->format;
            format.colorArray = meaning->colorArray;
            // Samples of a grey picture are those of a raw frame without colours.
            if (wished != nullptr && fourCcOf(*wished, format.colorArray) == format.fourCc) {
                format.format = wished;
            }
        }
        if (format.format == nullptr) {
            throw CFailure(fmt::format("{}: sends {} (0x{:08x}), which is no format that frames are taken in", name,
                                       fourCcText(format.fourCc), format.fourCc));
        }
        if (wished != nullptr && format.format != wished) {
            throw CBadArguments(fmt::format("{}: does not send {}, but {}", name, wished->name, format.format->name));
        }
        const unsigned long rowBytes = format.format->RowBytes(format.width);
        format.pitch = format.pitch == 0 ? static_cast<std::uint32_t>(rowBytes) : format.pitch;
        if (format.width == 0 || format.height == 0 || format.pitch < rowBytes || format.imageBytes < Needed()) {
            throw CFailure(fmt::format("{}: rows of {} bytes and frames of {} are too short for {} x {} pixels in {}",
                                       name, format.pitch, format.imageBytes, format.width, format.height,
                                       format.format->name));
        }
    }

    /// Bytes of a whole frame in the driver's buffer; the padding behind the last row may be missing.
    std::uint64_t Needed() const {
        return std::uint64_t{format.pitch} * (format.height - 1) + format.format->RowBytes(format.width);
    }

    void MakeBuffers(unsigned readers) {
        if (transfer == ETransfer::Mapped) {
            const auto least =
                static_cast<unsigned>(std::max(controlOf(fd, V4L2_CID_MIN_BUFFERS_FOR_CAPTURE).value_or(0), 0));
            share = std::min(std::max(kDriverShare, least + 1), kMostBuffers - 1);
            const int error = Request(std::min(share + readers, kMostBuffers));
            if (error == 0) {
                try {
                    MapAll();
                } catch (...) {
                    FreeBuffers();
                    throw;
                }
                return;
            }
            if (error != EINVAL || !CanRead()) {
                Fail("make buffers", error);
            }
            transfer = ETransfer::Read; // the driver has other kinds of memory only
        }
        share = 1;
        mappings.resize(share + readers);
        for (SMapping& mapping : mappings) {
            mapping.size = format.imageBytes;
            mapping.own = std::make_unique<std::uint8_t[]>(mapping.size);
            mapping.address = mapping.own.get();
        }
    }

    bool CanRead() const {
        v4l2_capability capability{};
        askDriver(fd, VIDIOC_QUERYCAP, &capability);
        return (capability.device_caps & V4L2_CAP_READWRITE) != 0;
    }

    /// Asks for so many buffers; 0 frees them. Returns errno.
    int Request(unsigned count) {
        v4l2_requestbuffers request{};
        request.count = count;
        request.type = type;
        request.memory = V4L2_MEMORY_MMAP;
        const int error = askDriver(fd, VIDIOC_REQBUFS, &request);
        if (error == 0 && count > 0) {
            if (request.count <= share) {
                const unsigned given = request.count;
                request.count = 0;
                askDriver(fd, VIDIOC_REQBUFS, &request);
                throw CFailure(fmt::format("{}: the driver makes {} buffers; it needs {}, and one is for a reader",
                                           name, given, share));
            }
            mappings.resize(request.count);
        }
        return error;
    }

    /// A buffer's record, with its one plane.
    struct SRecord {
        v4l2_buffer buffer{};
        v4l2_plane plane{};
    };
    void Prepare(SRecord& record, unsigned index) const {
        record.buffer = {};
        record.plane = {};
        record.buffer.type = type;
        record.buffer.memory = V4L2_MEMORY_MMAP;
        record.buffer.index = index;
        if (Planes()) {
            record.buffer.m.planes = &record.plane;
            record.buffer.length = 1;
        }
    }

    void MapAll() {
        SRecord record;
        for (unsigned i = 0; i < mappings.size(); ++i) {
            Prepare(record, i);
            if (const int error = askDriver(fd, VIDIOC_QUERYBUF, &record.buffer); error != 0) {
                Fail("ask for a buffer", error);
            }
            const std::size_t size = Planes() ? record.plane.length : record.buffer.length;
            const auto offset = static_cast<off_t>(Planes() ? record.plane.m.mem_offset : record.buffer.m.offset);
            if (size < Needed()) {
                throw CFailure(
                    fmt::format("{}: buffers of {} bytes are too short for frames of {}", name, size, Needed()));
            }
            void* const address = mmap(nullptr, size, PROT_READ, MAP_SHARED, fd, offset);
            if (address == MAP_FAILED) {
                Fail("map a buffer", errno);
            }
            mappings[i].address = address;
            mappings[i].size = size;
        }
        for (unsigned i = 0; i < mappings.size(); ++i) {
            v4l2_exportbuffer request{};
            request.type = type;
            request.index = i;
            request.flags = O_RDONLY | O_CLOEXEC;
            if (askDriver(fd, VIDIOC_EXPBUF, &request) != 0) {
                break; // the driver does not have it: its own mapping is coherent
            }
            mappings[i].dmaBuffer = CDescriptor(request.fd);
        }
    }

    void FreeBuffers() {
        if (transfer != ETransfer::Mapped || mappings.empty()) {
            return;
        }
        for (const SMapping& mapping : mappings) {
            if (mapping.address != nullptr) {
                munmap(mapping.address, mapping.size);
            }
        }
        mappings.clear();
        Request(0);
    }

    void Subscribe(std::uint32_t event, std::uint32_t id) const {
        v4l2_event_subscription subscription{};
        subscription.type = event;
        subscription.id = id;
        askDriver(fd, VIDIOC_SUBSCRIBE_EVENT, &subscription); // drivers without events go without
    }

    /// Around reads by the processor, where the memory has a descriptor that knows of caches.
    void Sync(unsigned index, std::uint64_t flags) {
        const CDescriptor& buffer = mappings[index].dmaBuffer;
        if (!buffer.IsOpen() || !synchronizes) {
            return;
        }
        dma_buf_sync sync{};
        sync.flags = flags | DMA_BUF_SYNC_READ;
        const int error = askDriver(buffer.Get(), DMA_BUF_IOCTL_SYNC, &sync);
        synchronizes = error == 0;
    }

    /// What the driver says of a frame.
    SFilledBuffer Filled(const SRecord& record) const {
        const v4l2_buffer& buffer = record.buffer;
        const std::uint32_t used = Planes() ? record.plane.bytesused : buffer.bytesused;
        const std::uint32_t offset = Planes() ? std::min(record.plane.data_offset, used) : 0;
        SFilledBuffer filled;
        filled.index = buffer.index;
        filled.bytes = static_cast<std::uint32_t>(std::min<std::size_t>(used, mappings[buffer.index].size)) - offset;
        filled.sequence = buffer.sequence;
        filled.flags = buffer.flags;
        filled.timestamp =
            std::chrono::seconds(buffer.timestamp.tv_sec) + std::chrono::microseconds(buffer.timestamp.tv_usec);
        return filled;
    }

    int Queue(unsigned index) const {
        SRecord record;
        Prepare(record, index);
        return askDriver(fd, VIDIOC_QBUF, &record.buffer);
    }

    /// A buffer that is nobody's goes to the driver; errno. The mutex is held.
    int Return(unsigned index) {
        SMapping& mapping = mappings[index];
        mapping.filling = false;
        if (transfer == ETransfer::Read || !streaming) {
            return 0;
        }
        return Queue(index);
    }

    /// The last lease of a buffer has ended.
    void Release(unsigned index) {
        const CWaker* waker = nullptr;
        {
            const std::scoped_lock lock(mutex);
            Sync(index, DMA_BUF_SYNC_END);
            mappings[index].lent = false;
            --lent;
            const int error = Return(index);
            returnError = returnError == 0 ? error : returnError;
            waker = returned;
            if (waker != nullptr) {
                waker->Wake();
            }
            allBack.notify_all();
        }
    }

    const int fd;
    const std::string name;
    std::uint32_t type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    ETransfer transfer = ETransfer::Mapped;
    SVideoFormat format;
    unsigned share = kDriverShare;
    std::vector<SMapping> mappings;
    std::uint32_t readSequence = 0;
    bool pollFailed = false;
    bool eventsFirst = true;
    bool endOfStream = false; ///< told by DQBUF, not yet by TakeEvent

    std::mutex mutex;
    std::condition_variable allBack;
    bool streaming = false;
    bool synchronizes = true;
    unsigned lent = 0;
    int returnError = 0; ///< a reader's buffer could not be queued
    const CWaker* returned = nullptr;
};

/// A buffer of the driver that readers hold.
class CVideoStream::CMemory : public IFrameMemory {
public:
    CMemory(std::shared_ptr<SCore> core, unsigned index) : mCore(std::move(core)), mIndex(index) {}
    ~CMemory() override { mCore->Release(mIndex); }
    CMemory(const CMemory&) = delete;
    CMemory& operator=(const CMemory&) = delete;

    std::span<const std::uint8_t> Bytes() const override {
        return mCore->mappings[mIndex].Bytes().first(mCore->format.FrameBytes());
    }
    int DmaBuffer() const override { return mCore->mappings[mIndex].dmaBuffer.Get(); }

private:
    std::shared_ptr<SCore> mCore;
    unsigned mIndex;
};

CVideoStream::CVideoStream(const ICamera& camera, const SStreamSetup& setup)
    : mCore(std::make_shared<SCore>(camera, setup)) {}

CVideoStream::~CVideoStream() {
    try {
        Stop();
        std::unique_lock lock(mCore->mutex);
        mCore->allBack.wait(lock, [this] { return mCore->lent == 0; });
        mCore->Close();
    } catch (const std::exception&) { // of locks that the system does not give: the descriptor's end frees the buffers
        return;
    }
}

const SVideoFormat& CVideoStream::Format() const {
    return mCore->format;
}

ETransfer CVideoStream::Transfer() const {
    return mCore->transfer;
}

unsigned CVideoStream::Buffers() const {
    return static_cast<unsigned>(mCore->mappings.size());
}

unsigned CVideoStream::DriverShare() const {
    return mCore->share;
}

void CVideoStream::Start() {
    const std::scoped_lock lock(mCore->mutex);
    if (mCore->streaming) {
        return;
    }
    mCore->returnError = 0;
    mCore->readSequence = 0;
    if (mCore->transfer == ETransfer::Mapped) {
        for (unsigned i = 0; i < mCore->mappings.size(); ++i) {
            if (mCore->mappings[i].lent) {
                continue;
            }
            if (const int error = mCore->Queue(i); error != 0) {
                mCore->Fail("queue a buffer", error);
            }
        }
        auto type = static_cast<int>(mCore->type);
        if (const int error = askDriver(mCore->fd, VIDIOC_STREAMON, &type); error != 0) {
            askDriver(mCore->fd, VIDIOC_STREAMOFF, &type); // the buffers are ours again
            mCore->Fail("start streaming", error);
        }
    }
    mCore->streaming = true;
}

void CVideoStream::Stop() {
    const std::scoped_lock lock(mCore->mutex);
    if (mCore->streaming && mCore->transfer == ETransfer::Mapped) {
        auto type = static_cast<int>(mCore->type);
        askDriver(mCore->fd, VIDIOC_STREAMOFF, &type);
    }
    mCore->streaming = false;
}

EReady CVideoStream::Wait(std::optional<Time> deadline, const CWaker& waker, bool frames) {
    SCore& core = *mCore;
    if (core.endOfStream) {
        return EReady::Event;
    }
    for (;;) {
        std::array<pollfd, 2> waiting{};
        waiting[0] = {core.fd, static_cast<short>(POLLPRI | (frames ? POLLIN : 0)), 0};
        waiting[1] = {waker.Fd(), POLLIN, 0};
        timespec left{};
        if (deadline) {
            const Time rest = std::max(*deadline - monotonicNow(), Time(0));
            const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(rest);
            left = {seconds.count(), (rest - seconds).count()};
        }
        const int ready = ppoll(waiting.data(), waiting.size(), deadline ? &left : nullptr, nullptr);
        if (ready < 0) {
            core.Fail("wait for a frame", errno);
        }
        if (ready == 0) {
            return EReady::Deadline;
        }
        if (waiting[1].revents != 0) {
            waker.Clear();
            return EReady::Woken;
        }
        const short found = waiting[0].revents;
        if ((found & POLLNVAL) != 0) {
            core.Fail("wait for a frame", EBADF);
        }
        // A camera that is gone has everything set.
        const bool event = (found & (POLLPRI | POLLHUP)) == POLLPRI;
        const bool frame = (found & POLLIN) != 0;
        // In turn where both are there: neither keeps the other one waiting for ever.
        core.eventsFirst = !core.eventsFirst;
        if (event && (core.eventsFirst || !frame)) {
            return EReady::Event;
        }
        core.pollFailed = !frame && (found & (POLLERR | POLLHUP)) != 0;
        if (core.pollFailed && !frames) {
            static_cast<void>(Take()); // tells why
        }
        return EReady::Frame;
    }
}

std::optional<SFilledBuffer> CVideoStream::Take() {
    SCore& core = *mCore;
    {
        const std::scoped_lock lock(core.mutex);
        if (const int error = std::exchange(core.returnError, 0); error != 0) {
            core.Fail("queue a buffer", error);
        }
    }
    if (!core.pollFailed) {
        // A descriptor may wait by itself; nobody asked for that.
        pollfd now{core.fd, POLLIN, 0};
        if (poll(&now, 1, 0) == 0) {
            return std::nullopt;
        }
    }
    SFilledBuffer filled;
    if (core.transfer == ETransfer::Read) {
        const auto free = std::find_if(core.mappings.begin(), core.mappings.end(), [&](const SCore::SMapping& mapping) {
            const std::scoped_lock lock(core.mutex);
            return !mapping.lent && !mapping.filling;
        });
        if (free == core.mappings.end()) {
            return std::nullopt;
        }
        const ssize_t got = read(core.fd, free->own.get(), free->size);
        if (got < 0) {
            if (errno == EAGAIN || errno == EINTR) {
                return std::nullopt;
            }
            core.Fail("read a frame", errno);
        }
        filled.index = static_cast<unsigned>(free - core.mappings.begin());
        filled.bytes = static_cast<std::uint32_t>(got);
        filled.sequence = core.readSequence++;
        free->filling = true;
        return filled;
    }
    SCore::SRecord record;
    core.Prepare(record, 0);
    if (const int error = askDriver(core.fd, VIDIOC_DQBUF, &record.buffer); error != 0) {
        if (error == EPIPE) {
            core.endOfStream = true;
            return std::nullopt;
        }
        if (error != EAGAIN) {
            core.Fail("take a frame", error);
        }
        if (core.pollFailed) {
            v4l2_capability capability{};
            const int gone = askDriver(core.fd, VIDIOC_QUERYCAP, &capability);
            core.Fail("take a frame", gone != 0 ? gone : EIO);
        }
        return std::nullopt;
    }
    const v4l2_buffer& buffer = record.buffer;
    if (buffer.index >= core.mappings.size()) {
        throw CCameraFailure(ECameraFailure::Transfer,
                             core.name + ": the driver filled a buffer that it does not have");
    }
    const std::uint32_t offset = core.Planes() ? std::min(record.plane.data_offset, record.plane.bytesused) : 0;
    SCore::SMapping& mapping = core.mappings[buffer.index];
    mapping.offset = mapping.size - offset >= core.Needed() ? offset : 0;
    return core.Filled(record);
}

std::vector<SFilledBuffer> CVideoStream::Untaken() const {
    std::vector<SFilledBuffer> untaken;
    SCore::SRecord record;
    for (unsigned i = 0; mCore->transfer == ETransfer::Mapped && i < mCore->mappings.size(); ++i) {
        mCore->Prepare(record, i);
        // Taking them would make room, and cameras that wait for room would send more.
        if (askDriver(mCore->fd, VIDIOC_QUERYBUF, &record.buffer) == 0 &&
            (record.buffer.flags & V4L2_BUF_FLAG_DONE) != 0) {
            untaken.push_back(mCore->Filled(record));
        }
    }
    std::sort(untaken.begin(), untaken.end(), [](const SFilledBuffer& a, const SFilledBuffer& b) {
        return static_cast<std::int32_t>(a.sequence - b.sequence) < 0; // numbers go round
    });
    return untaken;
}

bool CVideoStream::IsWhole(const SFilledBuffer& filled) const {
    return filled.bytes >= mCore->Needed();
}

bool CVideoStream::NeedsCopy() const {
    return mCore->Padded();
}

std::optional<SStreamEvent> CVideoStream::TakeEvent() {
    SStreamEvent event;
    if (std::exchange(mCore->endOfStream, false)) {
        event.kind = SStreamEvent::EKind::EndOfStream;
        event.time = monotonicNow();
        return event;
    }
    for (;;) {
        v4l2_event told{};
        // There may be none: DQEVENT waits on descriptors that do.
        pollfd now{mCore->fd, POLLPRI, 0};
        if (poll(&now, 1, 0) <= 0 || (now.revents & POLLPRI) == 0) {
            return std::nullopt;
        }
        if (const int error = askDriver(mCore->fd, VIDIOC_DQEVENT, &told); error != 0) {
            if (error != EAGAIN && error != ENOENT) {
                mCore->Fail("take an event", error);
            }
            return std::nullopt;
        }
        event.time = std::chrono::seconds(told.timestamp.tv_sec) + std::chrono::nanoseconds(told.timestamp.tv_nsec);
        switch (told.type) {
        case V4L2_EVENT_EOS:
            event.kind = SStreamEvent::EKind::EndOfStream;
            return event;
        case V4L2_EVENT_SOURCE_CHANGE:
            event.kind = SStreamEvent::EKind::SourceChange;
            return event;
        case V4L2_EVENT_CTRL:
            if ((told.u.ctrl.changes & V4L2_EVENT_CTRL_CH_VALUE) == 0) {
                continue;
            }
            event.kind = SStreamEvent::EKind::Control;
            event.control = told.id;
            event.value = told.u.ctrl.value;
            return event;
        default:
            continue;
        }
    }
}

void CVideoStream::GiveBack(unsigned index) {
    const std::scoped_lock lock(mCore->mutex);
    if (const int error = mCore->Return(index); error != 0) {
        mCore->Fail("queue a buffer", error);
    }
}

std::shared_ptr<const IFrameMemory> CVideoStream::Lend(unsigned index) {
    {
        const std::scoped_lock lock(mCore->mutex);
        mCore->mappings[index].filling = false;
        mCore->mappings[index].lent = true;
        ++mCore->lent;
        mCore->Sync(index, DMA_BUF_SYNC_START);
    }
    return std::make_shared<CMemory>(mCore, index);
}

std::shared_ptr<const IFrameMemory> CVideoStream::Copy(unsigned index) {
    const SVideoFormat& format = mCore->format;
    const std::size_t rowBytes = format.format->RowBytes(format.width);
    auto copy = std::make_shared<CCopy>(format.FrameBytes());
    {
        const std::scoped_lock lock(mCore->mutex);
        mCore->Sync(index, DMA_BUF_SYNC_START);
        const std::uint8_t* const from = mCore->mappings[index].Bytes().data();
        for (std::size_t row = 0; row < format.height; ++row) {
            std::memcpy(copy->Data() + row * rowBytes, from + row * format.pitch, rowBytes);
        }
        mCore->Sync(index, DMA_BUF_SYNC_END);
    }
    GiveBack(index);
    return copy;
}

unsigned CVideoStream::Lent() const {
    const std::scoped_lock lock(mCore->mutex);
    return mCore->lent;
}

void CVideoStream::SetReturned(const CWaker* waker) {
    const std::scoped_lock lock(mCore->mutex);
    mCore->returned = waker;
}

} // namespace vek::client
