// SPDX-License-Identifier: Apache-2.0
// Requests of CVideoNode that have to do with streaming buffers.
#include "sim/node/VideoNode.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace vek::sim {

namespace {

/// The only plane of a buffer, where the multi-planar interface has it in an array of the caller's. Null: none is
/// there.
v4l2_plane* planeOf(const v4l2_buffer& buffer) {
    const bool there = buffer.length >= 1 && buffer.length <= VIDEO_MAX_PLANES && buffer.m.planes != nullptr;
    return there ? buffer.m.planes : nullptr;
}

constexpr std::uint32_t kAbilities = V4L2_BUF_CAP_SUPPORTS_MMAP | V4L2_BUF_CAP_SUPPORTS_ORPHANED_BUFS;

} // namespace

int CVideoNode::AnswerBuffers(NodeFile id, unsigned long request, void* argument) {
    switch (request) {
    case VIDIOC_REQBUFS:
        return RequestBuffers(id, *static_cast<v4l2_requestbuffers*>(argument));
    case VIDIOC_CREATE_BUFS:
        return CreateBuffers(id, *static_cast<v4l2_create_buffers*>(argument));
    case VIDIOC_QUERYBUF:
        return QueryBuffer(*static_cast<v4l2_buffer*>(argument));
    case VIDIOC_PREPARE_BUF:
    case VIDIOC_QBUF:
        return QueueBuffer(id, request == VIDIOC_PREPARE_BUF, *static_cast<v4l2_buffer*>(argument));
    case VIDIOC_DQBUF:
        return DequeueBuffer(id, *static_cast<v4l2_buffer*>(argument));
    case VIDIOC_EXPBUF:
        return ExportBuffer(id, *static_cast<v4l2_exportbuffer*>(argument));
    case VIDIOC_STREAMON:
        return StreamOn(id, *static_cast<const int*>(argument));
    case VIDIOC_STREAMOFF:
        return StreamOff(id, *static_cast<const int*>(argument));
    default:
        return ENOTTY;
    }
}

int CVideoNode::RequestBuffers(NodeFile id, v4l2_requestbuffers& request) {
    if (!IsCapture(request.type)) {
        return EINVAL;
    }
    request.capabilities = kAbilities;
    request.flags = 0;
    std::memset(request.reserved, 0, sizeof(request.reserved));
    if (request.memory != V4L2_MEMORY_MMAP) {
        return EINVAL;
    }
    if (OwnedByOther(id) || mReading || mStreaming) {
        return EBUSY;
    }
    mQueue.Free();
    mAwaitsBuffer = true;
    mOwner.reset();
    if (request.count == 0) {
        return 0;
    }
    request.count = mQueue.Add(std::min(request.count, CBufferQueue::kMostBuffers), mCamera->FrameSize());
    if (request.count == 0) {
        return ENOMEM;
    }
    mOwner = id;
    return 0;
}

int CVideoNode::CreateBuffers(NodeFile id, v4l2_create_buffers& request) {
    if (!IsCapture(request.format.type)) {
        return EINVAL;
    }
    request.capabilities = kAbilities;
    request.flags = 0;
    std::memset(request.reserved, 0, sizeof(request.reserved));
    request.index = mQueue.Count();
    if (request.memory != V4L2_MEMORY_MMAP) {
        return EINVAL;
    }
    const std::size_t length =
        mSetup.multiPlanar ? request.format.fmt.pix_mp.plane_fmt[0].sizeimage : request.format.fmt.pix.sizeimage;
    const bool planes = !mSetup.multiPlanar || request.format.fmt.pix_mp.num_planes == 1;
    if (!planes || length < mCamera->FrameSize()) {
        return EINVAL;
    }
    if (request.count == 0) {
        return 0;
    }
    if (OwnedByOther(id) || mReading) {
        return EBUSY;
    }
    if (mQueue.Count() == CBufferQueue::kMostBuffers) {
        return ENOBUFS;
    }
    request.count = mQueue.Add(std::min(request.count, CBufferQueue::kMostBuffers), length);
    if (request.count == 0) {
        return ENOMEM;
    }
    mOwner = id;
    return 0;
}

CStreamBuffer* CVideoNode::Named(const v4l2_buffer& buffer) const {
    const bool known = IsCapture(buffer.type) && (!mSetup.multiPlanar || planeOf(buffer) != nullptr);
    return known ? mQueue.At(buffer.index) : nullptr;
}

void CVideoNode::Describe(const CStreamBuffer& buffer, std::uint32_t index, v4l2_buffer& out) const {
    out.index = index;
    out.memory = V4L2_MEMORY_MMAP;
    out.flags = V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC |
                (mSetup.startOfExposure ? V4L2_BUF_FLAG_TSTAMP_SRC_SOE : V4L2_BUF_FLAG_TSTAMP_SRC_EOF);
    out.flags |= buffer.mappings > 0 ? V4L2_BUF_FLAG_MAPPED : 0U;
    out.flags |= buffer.error ? V4L2_BUF_FLAG_ERROR : 0U;
    switch (buffer.state) {
    case EBufferState::Dequeued:
        break;
    case EBufferState::Prepared:
        out.flags |= V4L2_BUF_FLAG_PREPARED;
        break;
    case EBufferState::Queued:
        out.flags |= V4L2_BUF_FLAG_QUEUED;
        break;
    case EBufferState::Done:
        out.flags |= V4L2_BUF_FLAG_DONE;
        break;
    }
    out.field = V4L2_FIELD_NONE;
    out.timestamp.tv_sec = static_cast<decltype(out.timestamp.tv_sec)>(buffer.time.count() / 1000000000);
    out.timestamp.tv_usec = static_cast<decltype(out.timestamp.tv_usec)>(buffer.time.count() / 1000 % 1000000);
    out.timecode = {};
    out.sequence = buffer.sequence;
    out.reserved2 = 0;
    out.request_fd = 0;
    const std::uint64_t offset = index * kOffsetStep;
    const auto length = static_cast<std::uint32_t>(buffer.Length());
    if (mSetup.multiPlanar) {
        v4l2_plane& plane = out.m.planes[0];
        plane = {};
        plane.bytesused = buffer.bytesUsed;
        plane.length = length;
        plane.m.mem_offset = static_cast<std::uint32_t>(offset);
        out.length = 1;
        out.bytesused = 0;
    } else {
        out.m.offset = static_cast<std::uint32_t>(offset);
        out.length = length;
        out.bytesused = buffer.bytesUsed;
    }
}

int CVideoNode::QueryBuffer(v4l2_buffer& buffer) {
    const CStreamBuffer* const named = Named(buffer);
    if (named == nullptr) {
        return EINVAL;
    }
    Describe(*named, buffer.index, buffer);
    return 0;
}

int CVideoNode::QueueBuffer(NodeFile id, bool prepare, v4l2_buffer& buffer) {
    if (OwnedByOther(id) || mReading) {
        return EBUSY;
    }
    CStreamBuffer* const named = Named(buffer);
    if (named == nullptr || buffer.memory != V4L2_MEMORY_MMAP) {
        return EINVAL;
    }
    if ((buffer.flags & V4L2_BUF_FLAG_REQUEST_FD) != 0) {
        return prepare ? EINVAL : EBADR; // there is no request API
    }
    const bool free = named->state == EBufferState::Dequeued || (!prepare && named->state == EBufferState::Prepared);
    if (!free) {
        return EINVAL;
    }
    // A buffer of an earlier, smaller format.
    if (named->Length() < mCamera->FrameSize()) {
        return EINVAL;
    }
    if (prepare) {
        named->bytesUsed = 0;
        named->sequence = 0;
        named->time = {};
        named->error = false;
        named->state = EBufferState::Prepared;
    } else {
        mQueue.Queue(buffer.index);
        mAwaitsBuffer = false;
    }
    Describe(*named, buffer.index, buffer);
    return 0;
}

int CVideoNode::DequeueBuffer(NodeFile id, v4l2_buffer& buffer) {
    if (OwnedByOther(id) || mReading) {
        return EBUSY;
    }
    if (!IsCapture(buffer.type) || (mSetup.multiPlanar && planeOf(buffer) == nullptr) || !mStreaming) {
        return EINVAL;
    }
    Ask();
    if (!mPlugged || mFiles.at(id).gone) {
        return ENODEV;
    }
    if (!mQueue.HasDone()) {
        return EAGAIN;
    }
    const std::uint32_t index = mQueue.TakeDone();
    Describe(*mQueue.At(index), index, buffer);
    return 0;
}

int CVideoNode::ExportBuffer(NodeFile id, v4l2_exportbuffer& request) {
    if (OwnedByOther(id) || mReading) {
        return EBUSY;
    }
    CStreamBuffer* const buffer = IsCapture(request.type) && request.plane == 0 ? mQueue.At(request.index) : nullptr;
    if (buffer == nullptr || (request.flags & ~static_cast<std::uint32_t>(O_CLOEXEC | O_ACCMODE)) != 0) {
        return EINVAL;
    }
    const int fd = fcntl(buffer->Memory().fd, (request.flags & O_CLOEXEC) != 0 ? F_DUPFD_CLOEXEC : F_DUPFD, 0);
    if (fd < 0) {
        return errno;
    }
    request.fd = fd;
    std::memset(request.reserved, 0, sizeof(request.reserved));
    return 0;
}

int CVideoNode::StreamOn(NodeFile id, int type) {
    if (!IsCapture(static_cast<std::uint32_t>(type))) {
        return EINVAL;
    }
    if (OwnedByOther(id) || mReading) {
        return EBUSY;
    }
    if (mStreaming) {
        return 0;
    }
    if (mQueue.Count() == 0) {
        return EINVAL;
    }
    mStreaming = true;
    BeginStream();
    return 0;
}

int CVideoNode::StreamOff(NodeFile id, int type) {
    if (!IsCapture(static_cast<std::uint32_t>(type))) {
        return EINVAL;
    }
    if (OwnedByOther(id) || mReading) {
        return EBUSY;
    }
    EndStream();
    return 0;
}

} // namespace vek::sim
