// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/camera/Camera.h"
#include "client/capture/FrameLease.h"
#include "client/capture/VideoFormat.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vek::client {

/// An event that can be waited for together with frames: a descriptor that becomes readable.
class CWaker {
public:
    /// Throws CFailure.
    CWaker();
    int Fd() const { return mEvent.Get(); }
    /// May be called on any thread, and by signal handlers. Stays until it is cleared.
    void Wake() const;
    void Clear() const;

private:
    CDescriptor mEvent;
};

struct SStreamSetup {
    const STransferFormat* format = nullptr; ///< null: what the camera is set to
    unsigned readers = 4;                    ///< buffers that readers may hold at once, 1 and more
};

/// How frames come from the driver.
enum class ETransfer : unsigned char { Mapped, Read };

/// A frame that the driver filled.
struct SFilledBuffer {
    unsigned index = 0;
    std::uint32_t bytes = 0; ///< as the driver says
    std::uint32_t sequence = 0;
    std::uint32_t flags = 0;
    std::chrono::nanoseconds timestamp{};
};

/// What a driver told beside frames.
struct SStreamEvent {
    enum class EKind : unsigned char { Control, SourceChange, EndOfStream } kind = EKind::Control;
    std::uint32_t control = 0; ///< V4L2_CID_...
    std::int32_t value = 0;
    std::chrono::nanoseconds time{}; ///< CLOCK_MONOTONIC
};

enum class EReady : unsigned char { Frame, Event, Woken, Deadline };

/// The driver's side of a capture: format, buffers, streaming, events. Single- and multi-planar cameras with one plane
/// of memory. One thread takes frames; any thread may give them back.
class CVideoStream {
public:
    using Time = std::chrono::nanoseconds; ///< CLOCK_MONOTONIC

    /// Agrees on a format and has the driver make buffers. camera: outlives the stream; the leases of its frames may
    /// not. Throws CFailure, CCameraFailure, CBadArguments for a format that the camera does not send.
    CVideoStream(const ICamera& camera, const SStreamSetup& setup);
    /// Ends streaming and waits until the last lease has ended.
    ~CVideoStream();
    CVideoStream(const CVideoStream&) = delete;
    CVideoStream& operator=(const CVideoStream&) = delete;

    const SVideoFormat& Format() const;
    ETransfer Transfer() const;
    unsigned Buffers() const;
    /// Buffers that the driver always keeps: 3, or one more than it needs at least.
    unsigned DriverShare() const;

    /// Throws CCameraFailure.
    void Start();
    /// Ends streaming; buffers that readers hold stay theirs.
    void Stop();

    /// Waits for a frame, an event or a waker without using the processor. deadline: nothing waits for ever. frames:
    /// false where only events and the waker count. Throws CCameraFailure.
    EReady Wait(std::optional<Time> deadline, const CWaker& waker, bool frames = true);
    /// Takes a frame from the driver; nothing: there is none now. Throws CCameraFailure.
    std::optional<SFilledBuffer> Take();
    /// Whether it holds all bytes of a frame.
    bool IsWhole(const SFilledBuffer& filled) const;
    /// Whether rows have padding, so that frames are read from copies.
    bool NeedsCopy() const;
    /// Frames that the driver has filled and that nobody has taken, in their order.
    std::vector<SFilledBuffer> Untaken() const;
    /// Takes an event; nothing: there is none.
    std::optional<SStreamEvent> TakeEvent();
    /// Hands a buffer back to the driver that no reader got. Throws CCameraFailure.
    void GiveBack(unsigned index);
    /// A lease of a frame's memory; the buffer goes back when the last one ends.
    std::shared_ptr<const IFrameMemory> Lend(unsigned index);
    /// The same of a copy of it, without padding; the buffer goes back at once.
    std::shared_ptr<const IFrameMemory> Copy(unsigned index);
    /// Buffers that readers hold.
    unsigned Lent() const;
    /// Woken whenever a reader gave one back.
    void SetReturned(const CWaker* waker);

private:
    struct SCore;
    class CMemory;

    std::shared_ptr<SCore> mCore;
};

/// Now on CLOCK_MONOTONIC, and on CLOCK_BOOTTIME, which goes on while the machine sleeps.
std::chrono::nanoseconds monotonicNow();
std::chrono::nanoseconds bootTimeNow();

} // namespace vek::client
