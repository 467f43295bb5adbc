// SPDX-License-Identifier: Apache-2.0
// The Video4Linux2 side of the simulated camera's driver: what stands between a descriptor and the camera.
#pragma once

#include "sim/SimulatedDriver.h"
#include "sim/node/BufferQueue.h"
#include "sim/node/ControlTable.h"
#include "sim/node/FaultScript.h"
#include "sim/node/FrameRing.h"
#include "sim/node/NodeEvents.h"
#include "sim/node/NodeTime.h"
#include "sim/node/SentFrames.h"

#include <linux/videodev2.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace vek::sim {

/// What makes the camera send a frame while it streams.
enum class EPace : unsigned char {
    Reader,  ///< somebody who asks for one, by VIDIOC_DQBUF, read or poll, and has handed a buffer in: none is lost
    Free,    ///< the clock: at a steady rate, whether a buffer is there or not
    Trigger, ///< CVideoNode::Trigger
};

struct SNodeSetup {
    EPace pace = EPace::Reader;
    double framesPerSecond = 0;   ///< EPace::Free; 0: as fast as the camera's clocks and its exposure allow
    unsigned controlDelay = 0;    ///< frames sent after exposure or gain was set that do not show it yet
    unsigned ring = 0;            ///< different frames that are made, then sent again and again; 0: each is a new one
    bool multiPlanar = false;     ///< the multi-planar interface, with one plane
    bool startOfExposure = false; ///< timestamps are of the first exposed row, not of the last byte
    std::string card = {};        ///< name of the device, up to 31 characters; empty: the model's
    std::string busInfo = "platform:vekcam-sim"; ///< where it is plugged in, up to 31 characters
    SFaultScript faults = {};
    FrameSource source = {};                       ///< frames of the camera's size in its format; empty: the sensor's
    std::function<NodeTime()> now = &monotonicNow; ///< the clock
};

/// One open file of a node.
using NodeFile = std::uint64_t;

/// A driver's device node: open files, formats, controls, events, streaming. It neither waits nor has threads: who
/// waits asks again when NextDue has come or something else was asked of the node. All operations may be called from
/// several threads.
class CVideoNode {
public:
    CVideoNode(std::shared_ptr<CSimulatedDriver> camera, SNodeSetup setup = {});
    ~CVideoNode();
    CVideoNode(const CVideoNode&) = delete;
    CVideoNode& operator=(const CVideoNode&) = delete;

    const std::shared_ptr<CSimulatedDriver>& Camera() const { return mCamera; }

    // --- What a descriptor reaches. Results are those of system calls: negative errno values for failures. ---------

    /// A new open file, which has a number of the caller's. -ENODEV: unplugged.
    int Open(NodeFile file);
    /// The last descriptor of an open file was closed: what it streams ends, its buffers go.
    void Close(NodeFile file);
    /// Whether the node knows a request; for others -ENOTTY is all that Ioctl does, whatever the argument.
    static bool Knows(unsigned long request);
    /// 0 or a negative errno value. argument: pointers in it are valid here. -EAGAIN where Waits(request): who may wait
    /// asks again later. VIDIOC_EXPBUF leaves a descriptor of this process, which is the caller's.
    int Ioctl(NodeFile file, unsigned long request, void* argument);
    static bool Waits(unsigned long request) { return request == VIDIOC_DQBUF || request == VIDIOC_DQEVENT; }
    /// V4L2 read I/O: a frame, or as much of it as fits; the rest is lost. Bytes, or a negative errno value, -EAGAIN
    /// where a caller that may wait does so.
    long Read(NodeFile file, void* buffer, std::size_t size);
    /// What poll tells, of events and POLLERR and POLLHUP. As with other drivers, waiting for POLLIN where there are no
    /// buffers begins read I/O.
    short Poll(NodeFile file, short events);
    /// A number that grows with every frame and event that comes: what edge-triggered waiting goes by.
    std::uint64_t Arrivals() const;
    /// The memory behind an offset of VIDIOC_QUERYBUF. Nothing: no buffer has it, or it is shorter than length.
    std::optional<SBufferMemory> Memory(std::uint64_t offset, std::size_t length) const;
    /// A program has mapped, or no longer maps, a buffer's memory: V4L2_BUF_FLAG_MAPPED.
    void Mapped(std::uint64_t offset, bool mapped);

    // --- Time ------------------------------------------------------------------------------------------------------

    /// Sends the frames that are due, puts a cable back in.
    void Advance();
    /// When Advance has something to do; nothing: not before something is asked of the node.
    std::optional<NodeTime> NextDue() const;
    /// EPace::Trigger: sends a frame. Without effect while nobody streams.
    void Trigger();

    // --- The truth -------------------------------------------------------------------------------------------------

    SSentCounts Counts() const;
    /// Called for each frame as it is sent, while the node is locked. May be empty.
    void SetLog(std::function<void(const SSentFrame&)> log);
    /// The cable is pulled: ENODEV, POLLERR and POLLHUP for files that are open, until they are closed; no other can be
    /// opened until it is put back in.
    void Unplug();
    void Replug();
    bool IsPlugged() const;

private:
    struct SFile {
        CNodeEvents events;
        std::uint32_t priority = V4L2_PRIORITY_DEFAULT;
        bool gone = false; ///< the camera was unplugged under it
    };

    // All of these expect the mutex to be held.
    int Answer(SFile& file, NodeFile id, unsigned long request, void* argument);
    int AnswerBuffers(NodeFile id, unsigned long request, void* argument);
    int Capability(v4l2_capability& capability) const;
    int EnumFormat(v4l2_fmtdesc& description) const;
    int Format(unsigned long request, v4l2_format& format);
    int EnumSize(v4l2_frmsizeenum& size) const;
    int EnumInterval(v4l2_frmivalenum& interval) const;
    int Parameters(bool set, v4l2_streamparm& parameters);
    int Selection(bool set, v4l2_selection& selection);
    int LegacyCrop(unsigned long request, void* argument);
    int Control(NodeFile id, bool set, v4l2_control& control);
    int Value(v4l2_control& control) const;
    int ApplyControl(NodeFile source, const v4l2_control& control);
    int ExtendedControls(NodeFile id, unsigned long request, v4l2_ext_controls& controls);
    int CheckExtended(unsigned long request, v4l2_ext_controls& controls) const;
    int Menu(v4l2_querymenu& menu) const;
    int Subscribe(SFile& file, const v4l2_event_subscription& subscription);
    static int SetPriority(SFile& file, std::uint32_t priority);
    std::uint32_t HighestPriority() const;
    int RequestBuffers(NodeFile id, v4l2_requestbuffers& request);
    int CreateBuffers(NodeFile id, v4l2_create_buffers& request);
    int ExportBuffer(NodeFile id, v4l2_exportbuffer& request);
    int QueueBuffer(NodeFile id, bool prepare, v4l2_buffer& buffer);
    int DequeueBuffer(NodeFile id, v4l2_buffer& buffer);
    int QueryBuffer(v4l2_buffer& buffer);
    int StreamOn(NodeFile id, int type);
    int StreamOff(NodeFile id, int type);
    CStreamBuffer* Named(const v4l2_buffer& buffer) const;
    void Describe(const CStreamBuffer& buffer, std::uint32_t index, v4l2_buffer& out) const;

    bool IsCapture(std::uint32_t type) const { return type == mType; }
    bool OwnedByOther(NodeFile id) const { return mOwner && *mOwner != id; }
    void FillFormat(v4l2_format& format, unsigned long transferFormat, unsigned width, unsigned height) const;
    std::vector<std::pair<unsigned, unsigned>> Sizes() const;
    void SetSize(unsigned width, unsigned height);
    NodeTime Period() const;
    SFrameSettings TakenWith();
    void Release(NodeFile id);
    void EndStream();
    void BeginStream();
    void Ask();
    void SendDue();
    void Send(NodeTime time);
    bool ApplyFaults(SFrameFault& damage);
    EFate Deliver(const SRingFrame& frame, const SFrameFault& damage, NodeTime time,
                  std::span<const std::uint8_t>& sent);
    void Announce(NodeFile source, bool bySource, const v4l2_event& event);
    void AnnounceValue(NodeFile source, std::uint32_t id, std::int32_t value);
    void Pull();

    mutable std::mutex mMutex;
    const std::shared_ptr<CSimulatedDriver> mCamera;
    SNodeSetup mSetup;
    const std::uint32_t mType;
    std::vector<SNodeControl> mControls;
    CFrameRing mRing;

    std::map<NodeFile, SFile> mFiles;
    std::optional<NodeFile> mOwner; ///< of the buffers, or of read I/O
    bool mReading = false;          ///< read I/O has begun
    bool mStreaming = false;
    bool mAwaitsBuffer = true; ///< none was handed in since the queue was empty
    bool mPlugged = true;
    CBufferQueue mQueue;
    std::deque<std::vector<std::uint8_t>> mReadable; ///< frames for read
    EPattern mPattern = EPattern::Sensor;

    std::optional<NodeTime> mDue;    ///< of the next frame
    std::optional<NodeTime> mReplug; ///< when the cable is put back in
    NodeTime mStalledUntil{};
    std::uint32_t mSequence = 0;
    std::deque<SFrameSettings> mSettings; ///< in front: what the next frame shows
    SSentCounts mCounts;
    std::uint64_t mArrivals = 0;
    std::uint64_t mRequests = 0;
    std::function<void(const SSentFrame&)> mLog;
};

} // namespace vek::sim
