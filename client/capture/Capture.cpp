// SPDX-License-Identifier: Apache-2.0
#include "client/capture/Capture.h"

#include "client/camera/CameraInfo.h"
#include "client/capture/Realtime.h"

#include <fmt/format.h>
#include <linux/videodev2.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <csignal>
#include <ctime>
#include <deque>
#include <exception>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace vek::client {

namespace {

using Time = CCapture::Time;

// The two clocks differ by the time that the machine slept, and by what passes between two looks at them.
constexpr Time kSlept = std::chrono::milliseconds(500);

// Between looks for a camera that was unplugged, where /dev tells nothing.
constexpr int kLookMilliseconds = 250;

constexpr std::array<std::uint32_t, kFrameSettings> kControls = {V4L2_CID_EXPOSURE, V4L2_CID_GAIN};

Time wallNow() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

EFrameClock clockOf(std::uint32_t flags) {
    switch (flags & V4L2_BUF_FLAG_TIMESTAMP_MASK) {
    case V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC:
        return EFrameClock::Monotonic;
    case V4L2_BUF_FLAG_TIMESTAMP_COPY:
        return EFrameClock::Copied;
    default:
        return EFrameClock::Unknown;
    }
}

EFrameMoment momentOf(std::uint32_t flags) {
    return (flags & V4L2_BUF_FLAG_TSTAMP_SRC_MASK) == V4L2_BUF_FLAG_TSTAMP_SRC_SOE ? EFrameMoment::StartOfExposure
                                                                                   : EFrameMoment::EndOfFrame;
}

double secondsOf(Time time) {
    return std::chrono::duration<double>(time).count();
}

} // namespace

struct CCapture::SState {
    SState(std::shared_ptr<const ICamera> opened, const SCaptureSetup& asked)
        : setup(asked), camera(std::move(opened)), settings(asked.delays) {
        stream = std::make_unique<CVideoStream>(*camera, Wish());
        format = stream->Format();
        transfer = stream->Transfer();
        buffers = stream->Buffers();
        driverShare = stream->DriverShare();
        share = ReaderShare(*stream);
        for (std::size_t i = 0; i < kFrameSettings; ++i) {
            settings.Begin(static_cast<EFrameSetting>(i), ReadSetting(i));
        }
        waitingSince = monotonicNow();
    }

    /// Frames that wait for readers have buffers of the driver's, or else memory of our own.
    SStreamSetup Wish() const {
        return {setup.format, setup.readers + (setup.policy == EBufferPolicy::Copy ? 0 : setup.queue)};
    }
    static unsigned ReaderShare(const CVideoStream& of) { return of.Buffers() - of.DriverShare(); }

    std::optional<std::int32_t> ReadSetting(std::size_t index) const {
        try {
            return readControl(*camera, kControls[index], "a setting");
        } catch (const CFailure&) {
            return std::nullopt; // the camera does not have it
        }
    }

    // --- The thread that takes frames -----------------------------------------------------------------------------

    void Run() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, nullptr);
        try {
            if (setup.realtime) {
                becomeRealtime();
            }
            Begin();
            while (!ending) {
                try {
                    Step();
                } catch (const CCameraFailure& failure) {
                    if (failure.Kind() != ECameraFailure::Unplugged || !setup.reopen) {
                        throw;
                    }
                    Reconnect();
                }
            }
        } catch (...) {
            const std::scoped_lock lock(mutex);
            error = std::current_exception();
        }
        const std::scoped_lock lock(mutex);
        done = true;
        changed.notify_all();
    }

    void Begin() {
        {
            const std::scoped_lock lock(mutex);
            sequence.Begin();
            slept = bootTimeNow() - monotonicNow();
            waitingSince = monotonicNow();
        }
        stream->Start();
    }

    EFrameTurn Turn() {
        const unsigned lent = stream->Lent();
        const std::scoped_lock lock(mutex);
        const auto waiting = static_cast<unsigned>(queue.size());
        const auto droppable = static_cast<unsigned>(
            std::count_if(queue.begin(), queue.end(), [](const SWaiting& frame) { return !frame.copied; }));
        return turnOf(setup.policy, share, lent, waiting, droppable, setup.queue);
    }

    /// What to do about the next frame. Where nothing: readers wake the wait.
    EFrameTurn TurnOrWake() {
        EFrameTurn turn = Turn();
        if (turn == EFrameTurn::Leave) {
            stream->SetReturned(&waker);
            leaving = true;
            turn = Turn(); // one may have come back in between
        }
        return turn;
    }

    void Step() {
        const EFrameTurn turn = TurnOrWake();
        const bool frames = turn != EFrameTurn::Leave;
        std::optional<Time> deadline;
        if (frames) {
            const std::scoped_lock lock(mutex);
            if (lastMoment) {
                deadline = Time(0); // what the driver still has of before
            } else if (setup.timeout) {
                deadline = std::max(waitingSince, patientSince) + *setup.timeout;
            }
        }
        const EReady ready = stream->Wait(deadline, waker, frames);
        if (leaving) {
            leaving = false;
            patientSince = monotonicNow();
            stream->SetReturned(nullptr);
        }
        SeeSleep();
        switch (ready) {
        case EReady::Frame:
            if (const std::optional<SFilledBuffer> filled = stream->Take()) {
                Sort(*filled, Turn());
            }
            break;
        case EReady::Event:
            while (const std::optional<SStreamEvent> event = stream->TakeEvent()) {
                Hear(*event);
            }
            break;
        case EReady::Deadline:
            if (!lastMoment) {
                TimeOut();
            }
            EndByCamera();
            break;
        case EReady::Woken:
            break;
        }
    }

    [[noreturn]] void TimeOut() {
        const std::scoped_lock lock(mutex);
        ++counts.timeouts;
        throw CCameraFailure(ECameraFailure::NoFrame, fmt::format("{}: no frame came for {:.3g} s{}", camera->Name(),
                                                                  secondsOf(monotonicNow() - waitingSince),
                                                                  unplugged ? ": the camera is unplugged" : ""));
    }

    /// All frames of before the camera's event are taken.
    void EndByCamera() {
        ending = true;
        if (!endOfStream) {
            throw CCameraFailure(ECameraFailure::FormatChanged,
                                 camera->Name() + ": the camera sends frames of another form from now on");
        }
    }

    void SeeSleep() {
        const Time now = bootTimeNow() - monotonicNow();
        const std::scoped_lock lock(mutex);
        if (now - slept > kSlept) {
            ++counts.interruptions;
        }
        slept = now;
    }

    void Hear(const SStreamEvent& event) {
        if (event.kind != SStreamEvent::EKind::Control) {
            const std::scoped_lock lock(mutex);
            endOfStream = event.kind == SStreamEvent::EKind::EndOfStream;
            lastMoment = event.time;
        } else {
            const auto* const found = std::find(kControls.begin(), kControls.end(), event.control);
            if (found != kControls.end()) {
                Note(static_cast<EFrameSetting>(found - kControls.begin()), event.value, event.time);
            }
        }
    }

    /// A frame that came. The first part of its account is here, the rest where it is taken or dropped.
    void Sort(const SFilledBuffer& filled, EFrameTurn turn) {
        const Time now = monotonicNow();
        const EFrameClock clock = stream->Transfer() == ETransfer::Read ? EFrameClock::Unknown : clockOf(filled.flags);
        const bool timed = clock != EFrameClock::Unknown && filled.timestamp.count() != 0;
        std::unique_lock lock(mutex);
        const CSequence::SStep step =
            sequence.Next(filled.sequence, clock == EFrameClock::Monotonic && timed ? filled.timestamp : now);
        counts.lost += step.lost;
        counts.suspected += step.suspected;
        counts.jumps += step.wentBack ? 1 : 0;
        counts.sequenceCounts = counts.sequenceCounts && sequence.Counts();
        waitingSince = now;
        if (lastMoment && timed && filled.timestamp >= std::chrono::floor<std::chrono::microseconds>(*lastMoment)) {
            ++counts.left; // sent after the camera's event
            lock.unlock();
            EndByCamera();
            return;
        }
        const bool flagged = (filled.flags & V4L2_BUF_FLAG_ERROR) != 0;
        if (flagged || !stream->IsWhole(filled)) {
            ++(flagged ? counts.flagged : counts.shortFrames);
            lock.unlock();
            stream->GiveBack(filled.index);
            return;
        }
        SWaiting waiting;
        SCapturedFrame& frame = waiting.frame;
        frame.position = step.position;
        frame.sequence = filled.sequence;
        frame.flags = filled.flags;
        frame.clock = clock;
        frame.moment = momentOf(filled.flags);
        frame.arrival = now;
        frame.timestamp = timed ? filled.timestamp : now;
        frame.wall = wallNow() - (clock == EFrameClock::Monotonic && timed ? now - filled.timestamp : Time(0));
        frame.settings = settings.Of(step.position, clock == EFrameClock::Monotonic && timed ? filled.timestamp : now);
        waiting.changes = changes;
        waiting.camera = cameras;
        std::optional<SWaiting> oldest; // ends behind the lock
        if (turn == EFrameTurn::DropNewest || turn == EFrameTurn::Leave) {
            ++counts.dropped;
            lock.unlock();
            stream->GiveBack(filled.index);
            return;
        }
        if (turn == EFrameTurn::DropOldest) {
            const auto first =
                std::find_if(queue.begin(), queue.end(), [](const SWaiting& held) { return !held.copied; });
            if (first != queue.end()) {
                oldest = std::move(*first);
                queue.erase(first);
                ++counts.dropped;
            }
        }
        lock.unlock();
        waiting.copied = turn == EFrameTurn::Copy || stream->NeedsCopy();
        waiting.memory = waiting.copied ? stream->Copy(filled.index) : stream->Lend(filled.index);
        lock.lock();
        queue.push_back(std::move(waiting));
        lock.unlock();
        changed.notify_one();
    }

    // --- A camera that was unplugged ------------------------------------------------------------------------------

    void Reconnect() {
        {
            const std::scoped_lock lock(mutex);
            ++counts.interruptions;
            unplugged = true;
        }
        stream->Stop();
        retired.push_back({camera, std::move(stream)});
        const CDescriptor notes(inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
        if (notes.IsOpen()) {
            inotify_add_watch(notes.Get(), "/dev", IN_CREATE | IN_ATTRIB | IN_MOVED_TO);
        }
        while (!ending) {
            std::erase_if(retired, [](const SRetired& old) { return old.stream->Lent() == 0; });
            if (TryAgain()) {
                return;
            }
            WaitForDevices(notes.Get());
            if (setup.timeout && monotonicNow() >= waitingSince + *setup.timeout) {
                TimeOut();
            }
        }
    }

    bool TryAgain() {
        std::shared_ptr<const ICamera> back = setup.reopen();
        if (back == nullptr) {
            return false;
        }
        try {
            SStreamSetup wish = Wish();
            wish.format = format.format;
            stream = std::make_unique<CVideoStream>(*back, wish);
            const SVideoFormat& now = stream->Format();
            if (now.width != format.width || now.height != format.height || now.colorArray != format.colorArray) {
                throw CCameraFailure(ECameraFailure::FormatChanged,
                                     fmt::format("{}: came back with frames of {} x {} pixels, not {} x {}",
                                                 back->Name(), now.width, now.height, format.width, format.height));
            }
            Restore(*back);
            Begin();
        } catch (const CCameraFailure& failure) {
            if (failure.Kind() == ECameraFailure::FormatChanged) {
                throw;
            }
            stream.reset();
            return false; // gone again, or not ready yet
        }
        const std::scoped_lock lock(mutex);
        share = ReaderShare(*stream);
        camera = std::move(back);
        ++cameras;
        unplugged = false;
        return true;
    }

    /// A camera that was without power has forgotten what was set.
    void Restore(const ICamera& back) {
        SFrameSettings before;
        {
            const std::scoped_lock lock(mutex);
            settings.Restart();
            before = settings.Of(0, Time(0));
        }
        try {
            setExposureAndGain(back, before.Exposure(), before.Gain());
        } catch (const CFailure&) {
            throw CCameraFailure(ECameraFailure::Unplugged, back.Name() + ": gone again");
        }
    }

    void WaitForDevices(int notes) const {
        std::array<pollfd, 2> waiting{{{waker.Fd(), POLLIN, 0}, {notes, POLLIN, 0}}};
        poll(waiting.data(), waiting.size(), kLookMilliseconds);
        waker.Clear();
        std::array<char, 4096> events{};
        while (notes >= 0 && read(notes, events.data(), events.size()) > 0) {
        }
    }

    // --- Readers --------------------------------------------------------------------------------------------------

    void Note(EFrameSetting setting, std::int32_t value, Time time) {
        const std::scoped_lock lock(mutex);
        settings.Set(setting, value, time);
        ++changes;
    }

    std::optional<CFrameLease> Next(std::optional<Time> until) {
        std::unique_lock lock(mutex);
        if (!runner.joinable() && !done && !ending) {
            runner = std::jthread([this] { Run(); });
        }
        const auto ready = [this] { return stopping || !queue.empty() || done; };
        if (until) {
            const Time rest = *until - monotonicNow();
            if (!changed.wait_for(lock, std::max(rest, Time(0)), ready)) {
                return std::nullopt;
            }
        } else {
            changed.wait(lock, ready);
        }
        if (stopping) {
            return std::nullopt;
        }
        if (queue.empty()) {
            if (error) {
                std::rethrow_exception(error);
            }
            return std::nullopt;
        }
        SWaiting next = std::move(queue.front());
        queue.pop_front();
        if (next.camera == cameraSeen && delivered) {
            next.frame.lostBefore = next.frame.position - *delivered - 1;
        }
        delivered = next.frame.position;
        cameraSeen = next.camera;
        next.frame.number = counts.delivered++;
        counts.copied += next.copied ? 1 : 0;
        next.frame.settings.settled = next.frame.settings.settled && next.changes == changes;
        lock.unlock();
        waker.Wake();
        return CFrameLease(std::move(next.memory), next.frame);
    }

    SCaptureCounts Stop() {
        {
            const std::scoped_lock lock(mutex);
            stopping = true;
            ending = true;
        }
        waker.Wake();
        changed.notify_all();
        if (runner.joinable()) {
            runner.join();
        }
        std::deque<SWaiting> held;
        {
            const std::scoped_lock lock(mutex);
            done = true;
            if (stopped) {
                return counts;
            }
            stopped = true;
            counts.left += queue.size();
            held = std::move(queue);
            queue.clear();
        }
        if (stream != nullptr) {
            CountRest();
            stream->Stop();
        }
        return counts;
    }

    /// What the driver has filled and nobody takes any more.
    void CountRest() {
        for (const SFilledBuffer& filled : stream->Untaken()) {
            const CSequence::SStep step = sequence.Next(filled.sequence, std::nullopt);
            counts.lost += step.lost;
            counts.jumps += step.wentBack ? 1 : 0;
            const bool flagged = (filled.flags & V4L2_BUF_FLAG_ERROR) != 0;
            ++(flagged ? counts.flagged : !stream->IsWhole(filled) ? counts.shortFrames : counts.left);
        }
    }

    struct SWaiting {
        SCapturedFrame frame;
        std::shared_ptr<const IFrameMemory> memory;
        bool copied = false;
        std::uint64_t changes = 0; ///< of settings, when it was taken
        unsigned camera = 0;
    };
    struct SRetired {
        std::shared_ptr<const ICamera> camera;
        std::unique_ptr<CVideoStream> stream;
    };

    const SCaptureSetup setup;
    CWaker waker;
    std::atomic<bool> ending{false};
    bool leaving = false; ///< frames wait in the driver

    // The streams and their cameras, in the order in which they may end: a stream before its camera.
    std::shared_ptr<const ICamera> camera;
    std::vector<SRetired> retired; ///< readers may hold frames of these
    std::unique_ptr<CVideoStream> stream;
    SVideoFormat format;
    ETransfer transfer = ETransfer::Mapped;
    unsigned buffers = 0;
    unsigned driverShare = 0;
    unsigned share = 1;
    Time patientSince{}; ///< when a wait for readers ended
    Time slept{};

    mutable std::mutex mutex;
    std::condition_variable changed;
    std::deque<SWaiting> queue;
    SCaptureCounts counts;
    CSequence sequence;
    CSettingsInForce settings;
    std::uint64_t changes = 0;
    unsigned cameras = 0; ///< that came back
    unsigned cameraSeen = 0;
    std::optional<std::uint64_t> delivered; ///< position of the last one
    Time waitingSince{};
    bool unplugged = false;
    std::optional<Time> lastMoment; ///< of an event: frames that were sent later are none of the stream
    bool endOfStream = false;       ///< that was the event
    bool stopping = false;          ///< Next returns nothing
    bool stopped = false;
    bool done = false; ///< the thread has ended
    std::exception_ptr error;

    std::jthread runner; ///< ends before all else
};

CCapture::CCapture(std::shared_ptr<const ICamera> camera, const SCaptureSetup& setup)
    : mState(std::make_unique<SState>(std::move(camera), setup)) {}

CCapture::~CCapture() {
    mState->Stop();
}

const SVideoFormat& CCapture::Format() const {
    return mState->format;
}

ETransfer CCapture::Transfer() const {
    return mState->transfer;
}

unsigned CCapture::Buffers() const {
    return mState->buffers;
}

unsigned CCapture::DriverShare() const {
    return mState->driverShare;
}

std::optional<CFrameLease> CCapture::Next(std::optional<Time> until) {
    return mState->Next(until);
}

void CCapture::End() {
    {
        const std::scoped_lock lock(mState->mutex);
        mState->stopping = true;
        mState->ending = true;
    }
    mState->waker.Wake();
    mState->changed.notify_all();
}

bool CCapture::Ended() const {
    const std::scoped_lock lock(mState->mutex);
    return mState->stopping || (mState->done && mState->queue.empty());
}

bool CCapture::SawEndOfStream() const {
    const std::scoped_lock lock(mState->mutex);
    return mState->endOfStream;
}

SCaptureCounts CCapture::Stop() {
    return mState->Stop();
}

SCaptureState CCapture::State() const {
    const std::scoped_lock lock(mState->mutex);
    return {mState->counts, mState->waitingSince, mState->sequence.Interval(), mState->unplugged};
}

void CCapture::Set(EFrameSetting setting, std::int32_t value) {
    setControl(*Camera(), kControls[static_cast<std::size_t>(setting)], value);
    mState->Note(setting, value, monotonicNow());
}

void CCapture::NoteSet(EFrameSetting setting, std::int32_t value) {
    mState->Note(setting, value, monotonicNow());
}

std::shared_ptr<const ICamera> CCapture::Camera() const {
    const std::scoped_lock lock(mState->mutex);
    return mState->camera;
}

} // namespace vek::client
