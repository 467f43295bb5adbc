// SPDX-License-Identifier: Apache-2.0
// Open files, time and what is sent; the requests are in NodeRequests.cpp and NodeBuffers.cpp.
#include "sim/node/VideoNode.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <utility>

namespace vek::sim {

namespace {

// A clock that is so many frames late was not looked at: the camera stood still, and lost nothing.
constexpr int kMostFramesLate = 4;
constexpr std::size_t kReadFrames = 2; // that wait for read

} // namespace

CVideoNode::CVideoNode(std::shared_ptr<CSimulatedDriver> camera, SNodeSetup setup)
    : mCamera(std::move(camera)), mSetup(std::move(setup)),
      mType(mSetup.multiPlanar ? V4L2_BUF_TYPE_VIDEO_CAPTURE_MPLANE : V4L2_BUF_TYPE_VIDEO_CAPTURE),
      mControls(nodeControls(mCamera->Model(), mCamera->ExposureValue())), mRing(*mCamera, mSetup.ring, mSetup.source) {
}

CVideoNode::~CVideoNode() = default;

int CVideoNode::Open(NodeFile file) {
    const std::lock_guard<std::mutex> lock(mMutex);
    if (!mPlugged) {
        return -ENODEV;
    }
    mFiles[file];
    return 0;
}

void CVideoNode::Close(NodeFile file) {
    const std::lock_guard<std::mutex> lock(mMutex);
    Release(file);
    mFiles.erase(file);
}

void CVideoNode::Release(NodeFile id) {
    if (mOwner == id) {
        EndStream();
        mQueue.Free();
        mReading = false;
        mReadable.clear();
        mOwner.reset();
    }
}

bool CVideoNode::IsPlugged() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return mPlugged;
}

void CVideoNode::Pull() {
    if (mOwner) {
        Release(*mOwner);
    }
    for (auto& [id, file] : mFiles) {
        file.gone = true;
    }
    mPlugged = false;
    ++mArrivals;
}

void CVideoNode::Unplug() {
    const std::lock_guard<std::mutex> lock(mMutex);
    mReplug.reset();
    Pull();
}

void CVideoNode::Replug() {
    const std::lock_guard<std::mutex> lock(mMutex);
    mReplug.reset();
    mPlugged = true;
}

SSentCounts CVideoNode::Counts() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return mCounts;
}

void CVideoNode::SetLog(std::function<void(const SSentFrame&)> log) {
    const std::lock_guard<std::mutex> lock(mMutex);
    mLog = std::move(log);
}

std::uint64_t CVideoNode::Arrivals() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return mArrivals;
}

// --- Time ------------------------------------------------------------------------------------------------------------

NodeTime CVideoNode::Period() const {
    const double seconds = mSetup.framesPerSecond > 0 ? 1.0 / mSetup.framesPerSecond : mCamera->FramePeriod();
    return NodeTime(std::max<std::int64_t>(std::llround(seconds * 1e9), 1));
}

void CVideoNode::BeginStream() {
    mSequence = 0;
    mSettings.clear();
    // What takes long is done before the clock runs.
    mRing.Prepare(mCounts.sent, {mCamera->ExposureValue(), mCamera->GainValue()}, mPattern);
    if (mSetup.pace == EPace::Free) {
        mDue = mSetup.now() + Period();
    }
}

void CVideoNode::EndStream() {
    mStreaming = false;
    mDue.reset();
    mCounts.left += mQueue.DoneCount() + mReadable.size();
    mReadable.clear();
    mQueue.Cancel();
    mAwaitsBuffer = true;
}

void CVideoNode::Advance() {
    const std::lock_guard<std::mutex> lock(mMutex);
    SendDue();
}

void CVideoNode::SendDue() {
    const NodeTime now = mSetup.now();
    if (mReplug && *mReplug <= now) {
        mReplug.reset();
        mPlugged = true;
    }
    while (mDue && *mDue <= now) {
        const NodeTime due = *mDue;
        const NodeTime period = Period();
        mDue = now - due > kMostFramesLate * period ? now + period : due + period;
        Send(due);
        if (mDue && mStalledUntil > *mDue) {
            mDue = mStalledUntil;
        }
    }
}

std::optional<NodeTime> CVideoNode::NextDue() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    std::optional<NodeTime> next = mReplug;
    if (mDue && (!next || *mDue < *next)) {
        next = mDue;
    }
    // A reader that waits for the end of a stall.
    if (mSetup.pace == EPace::Reader && mStalledUntil > mSetup.now() && (!next || mStalledUntil < *next)) {
        next = mStalledUntil;
    }
    return next;
}

void CVideoNode::Trigger() {
    const std::lock_guard<std::mutex> lock(mMutex);
    if (mSetup.pace == EPace::Trigger && (mStreaming || mReading)) {
        Send(mSetup.now());
    }
}

void CVideoNode::Ask() {
    SendDue();
    // Frames that get lost on the way are followed by others until one arrives, or a stall or the end of all begins.
    while (mSetup.pace == EPace::Reader && mSetup.now() >= mStalledUntil &&
           ((mStreaming && mQueue.HasQueued() && !mQueue.HasDone()) || (mReading && mReadable.empty()))) {
        Send(mSetup.now());
    }
}

// --- Sending ---------------------------------------------------------------------------------------------------------

SFrameSettings CVideoNode::TakenWith() {
    const SFrameSettings now{mCamera->ExposureValue(), mCamera->GainValue()};
    if (mSettings.empty()) {
        mSettings.assign(mSetup.controlDelay, now); // nothing was under way when the stream began
    }
    mSettings.push_back(now);
    const SFrameSettings settings = mSettings.front();
    mSettings.pop_front();
    return settings;
}

bool CVideoNode::ApplyFaults(SFrameFault& damage) {
    // damage.kind: Sequence stands for none.
    damage.kind = EFault::Sequence;
    const auto [first, last] = mSetup.faults.frames.equal_range(mCounts.sent);
    for (auto fault = first; fault != last; ++fault) {
        const SFrameFault& what = fault->second;
        switch (what.kind) {
        case EFault::Lose:
        case EFault::Flag:
        case EFault::Short:
            damage = what;
            break;
        case EFault::Sequence:
            mSequence = what.value;
            break;
        case EFault::EndOfStream:
        case EFault::SourceChange: {
            v4l2_event event{};
            event.type = what.kind == EFault::EndOfStream ? V4L2_EVENT_EOS : V4L2_EVENT_SOURCE_CHANGE;
            event.u.src_change.changes = what.kind == EFault::EndOfStream ? 0 : V4L2_EVENT_SRC_CH_RESOLUTION;
            Announce(0, false, event);
            break;
        }
        case EFault::Stall: {
            const NodeTime until = mSetup.now() + *what.time;
            mSetup.faults.frames.erase(fault);
            mStalledUntil = until;
            return false;
        }
        case EFault::Unplug:
            if (what.time) {
                mReplug = mSetup.now() + *what.time;
            }
            mSetup.faults.frames.erase(fault);
            Pull();
            return false;
        }
    }
    return true;
}

void CVideoNode::Send(NodeTime time) {
    SFrameFault damage;
    if (!ApplyFaults(damage)) {
        return;
    }
    SSentFrame sent;
    sent.number = mCounts.sent++;
    sent.sequence = mSequence++;
    sent.time = time;
    const SFrameSettings settings = TakenWith();
    sent.exposure = settings.exposure;
    sent.gain = settings.gain;
    const bool room = mReading ? mReadable.size() < kReadFrames : mQueue.HasQueued();
    if (damage.kind == EFault::Lose) {
        sent.fate = EFate::Lost;
        ++mCounts.lost;
    } else if (!room) {
        sent.fate = EFate::NoBuffer;
        ++mCounts.noBuffer;
    } else {
        if (mSetup.startOfExposure) {
            time -= Period();
        }
        const SRingFrame& frame = mRing.Frame(sent.number, settings, mPattern);
        sent.content = frame.content;
        sent.fate = Deliver(frame, damage, time, sent.bytes);
        ++(sent.fate == EFate::Whole     ? mCounts.whole
           : sent.fate == EFate::Flagged ? mCounts.flagged
                                         : mCounts.shortFrames);
        ++mArrivals;
    }
    sent.time = time;
    if (mLog) {
        mLog(sent);
    }
}

EFate CVideoNode::Deliver(const SRingFrame& frame, const SFrameFault& damage, NodeTime time,
                          std::span<const std::uint8_t>& sent) {
    std::size_t bytes = frame.bytes.size();
    if (damage.kind == EFault::Short) {
        bytes = std::min<std::size_t>(bytes, damage.value);
    }
    bytes = std::min(bytes, mCamera->FrameLimit().value_or(bytes));
    EFate fate = damage.kind == EFault::Flag ? EFate::Flagged : EFate::Whole;
    if (mReading) {
        mReadable.emplace_back(frame.bytes.begin(), frame.bytes.begin() + static_cast<std::ptrdiff_t>(bytes));
        sent = mReadable.back();
    } else {
        CStreamBuffer& buffer = mQueue.NextQueued();
        bytes = std::min(bytes, buffer.Length());
        std::memcpy(buffer.Bytes().data(), frame.bytes.data(), bytes);
        buffer.bytesUsed = static_cast<std::uint32_t>(bytes);
        buffer.sequence = mSequence - 1;
        buffer.time = time;
        buffer.error = fate == EFate::Flagged;
        sent = buffer.Bytes().first(bytes);
        mQueue.Finish();
    }
    return fate == EFate::Whole && bytes < frame.bytes.size() ? EFate::Short : fate;
}

void CVideoNode::Announce(NodeFile source, bool bySource, const v4l2_event& event) {
    v4l2_event stamped = event;
    const NodeTime now = mSetup.now();
    stamped.timestamp.tv_sec = static_cast<decltype(stamped.timestamp.tv_sec)>(now.count() / 1000000000);
    stamped.timestamp.tv_nsec = static_cast<decltype(stamped.timestamp.tv_nsec)>(now.count() % 1000000000);
    for (auto& [id, file] : mFiles) {
        if (file.events.Wants(event.type, event.id, bySource && id == source)) {
            file.events.Put(stamped);
            ++mArrivals;
        }
    }
}

// --- Read I/O and poll -----------------------------------------------------------------------------------------------

long CVideoNode::Read(NodeFile file, void* buffer, std::size_t size) {
    const std::lock_guard<std::mutex> lock(mMutex);
    const auto found = mFiles.find(file);
    if (found == mFiles.end() || found->second.gone) {
        return -ENODEV;
    }
    if (const int error = mCamera->ReadFault()) {
        return -error;
    }
    if (OwnedByOther(file) || mQueue.Count() > 0) {
        return -EBUSY;
    }
    if (buffer == nullptr) {
        return -EFAULT;
    }
    if (!mReading) {
        mReading = true;
        mOwner = file;
        BeginStream();
    }
    Ask();
    if (mFiles.at(file).gone) {
        return -ENODEV;
    }
    if (mReadable.empty()) {
        return -EAGAIN;
    }
    const std::vector<std::uint8_t> frame = std::move(mReadable.front());
    mReadable.pop_front();
    const std::size_t count = std::min(size, frame.size());
    std::memcpy(buffer, frame.data(), count);
    return static_cast<long>(count);
}

short CVideoNode::Poll(NodeFile file, short events) {
    const std::lock_guard<std::mutex> lock(mMutex);
    const auto found = mFiles.find(file);
    const auto masked = [events](int bits) { return static_cast<short>(bits & (events | POLLERR | POLLHUP)); };
    if (found == mFiles.end() || found->second.gone) {
        return masked(POLLERR | POLLHUP | POLLPRI);
    }
    const bool forFrames = (events & (POLLIN | POLLRDNORM)) != 0;
    if (forFrames && mQueue.Count() == 0 && !mReading && !mOwner) {
        mReading = true;
        mOwner = file;
        BeginStream();
    }
    if (forFrames) {
        Ask();
    }
    if (found->second.gone) {
        return masked(POLLERR | POLLHUP | POLLPRI);
    }
    int bits = found->second.events.Pending() ? POLLPRI : 0;
    if (forFrames) {
        if (mReading) {
            bits |= mReadable.empty() ? 0 : POLLIN | POLLRDNORM;
        } else if (!mStreaming || mAwaitsBuffer) {
            bits |= POLLERR;
        } else if (mQueue.HasDone()) {
            bits |= POLLIN | POLLRDNORM;
        }
    }
    return masked(bits);
}

std::optional<SBufferMemory> CVideoNode::Memory(std::uint64_t offset, std::size_t length) const {
    const std::lock_guard<std::mutex> lock(mMutex);
    CStreamBuffer* const buffer =
        offset % kOffsetStep == 0 ? mQueue.At(static_cast<std::uint32_t>(offset / kOffsetStep)) : nullptr;
    if (buffer == nullptr || buffer->Memory().size < length) {
        return std::nullopt;
    }
    return buffer->Memory();
}

void CVideoNode::Mapped(std::uint64_t offset, bool mapped) {
    const std::lock_guard<std::mutex> lock(mMutex);
    if (CStreamBuffer* const buffer = mQueue.At(static_cast<std::uint32_t>(offset / kOffsetStep))) {
        if (mapped) {
            ++buffer->mappings;
        } else if (buffer->mappings > 0) {
            --buffer->mappings;
        }
    }
}

} // namespace vek::sim
