// SPDX-License-Identifier: Apache-2.0
// The device node: what Video4Linux2 says of buffers, formats, controls and events, and what becomes of frames.
#include "sim/node/VideoNode.h"

#include "VekTrgApi.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/videodev2.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace vek::sim;
using namespace std::chrono_literals;

constexpr std::uint32_t kType = V4L2_BUF_TYPE_VIDEO_CAPTURE;
constexpr NodeFile kFile = 1;
constexpr NodeFile kOther = 2;

std::shared_ptr<CSimulatedDriver> smallDriver(const char* model = "clock-vga") {
    SSensorConfig config = CSimulatedDriver::DefaultSensor(findCameraModel(model));
    config.width = 16;
    config.height = 8;
    return std::make_shared<CSimulatedDriver>(findCameraModel(model), config);
}

/// A node with one open file and a clock that the test moves.
class Node : public ::testing::Test {
protected:
    void SetUp() override { Make({}); }

    void Make(SNodeSetup setup, const char* model = "clock-vga") {
        setup.now = [this] { return mNow; };
        mNode = std::make_unique<CVideoNode>(smallDriver(model), std::move(setup));
        ASSERT_EQ(mNode->Open(kFile), 0);
        mNode->SetLog([this](const SSentFrame& frame) {
            mSent.push_back(frame);
            mBytes.emplace_back(frame.bytes.begin(), frame.bytes.end());
        });
    }

    int Do(unsigned long request, void* argument, NodeFile file = kFile) {
        return mNode->Ioctl(file, request, argument);
    }

    unsigned Request(unsigned count, NodeFile file = kFile) {
        v4l2_requestbuffers request{};
        request.count = count;
        request.type = kType;
        request.memory = V4L2_MEMORY_MMAP;
        EXPECT_EQ(Do(VIDIOC_REQBUFS, &request, file), 0);
        return request.count;
    }

    static v4l2_buffer Buffer(std::uint32_t index = 0) {
        v4l2_buffer buffer{};
        buffer.index = index;
        buffer.type = kType;
        buffer.memory = V4L2_MEMORY_MMAP;
        return buffer;
    }

    int Queue(std::uint32_t index) {
        v4l2_buffer buffer = Buffer(index);
        return Do(VIDIOC_QBUF, &buffer);
    }

    /// 0 or the negative errno value.
    int Dequeue(v4l2_buffer& buffer) {
        buffer = Buffer();
        return Do(VIDIOC_DQBUF, &buffer);
    }

    int Stream(bool on, NodeFile file = kFile) {
        int type = kType;
        return Do(on ? VIDIOC_STREAMON : VIDIOC_STREAMOFF, &type, file);
    }

    /// Buffers are there and queued, and frames come.
    void Begin(unsigned buffers) {
        ASSERT_EQ(Request(buffers), buffers);
        for (unsigned i = 0; i < buffers; ++i) {
            ASSERT_EQ(Queue(i), 0);
        }
        ASSERT_EQ(Stream(true), 0);
    }

    void Pass(NodeTime time) {
        mNow += time;
        mNode->Advance();
    }

    int Set(std::uint32_t id, std::int32_t value, NodeFile file = kFile) {
        v4l2_control control{id, value};
        return Do(VIDIOC_S_CTRL, &control, file);
    }

    NodeTime mNow = 100s;
    std::unique_ptr<CVideoNode> mNode;
    std::vector<SSentFrame> mSent;
    std::vector<std::vector<std::uint8_t>> mBytes;
};

SNodeSetup freeRunning(double rate = 100) {
    SNodeSetup setup;
    setup.pace = EPace::Free;
    setup.framesPerSecond = rate;
    return setup;
}

SNodeSetup withFaults(SNodeSetup setup, const char* script) {
    setup.faults = parseFaultScript(script);
    return setup;
}

// --- Buffers ---------------------------------------------------------------------------------------------------------

TEST_F(Node, FramesGoThroughTheBuffersInOrder) {
    Begin(3);
    for (std::uint32_t i = 0; i < 10; ++i) {
        v4l2_buffer buffer{};
        ASSERT_EQ(Dequeue(buffer), 0);
        EXPECT_EQ(buffer.index, i % 3);
        EXPECT_EQ(buffer.sequence, i);
        EXPECT_EQ(buffer.bytesused, 16U * 8U * 2U);
        EXPECT_EQ(buffer.flags, V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC | V4L2_BUF_FLAG_TSTAMP_SRC_EOF);
        EXPECT_EQ(buffer.timestamp.tv_sec, 100);
        EXPECT_EQ(buffer.field, static_cast<std::uint32_t>(V4L2_FIELD_NONE));
        ASSERT_EQ(Queue(buffer.index), 0);
    }
    EXPECT_EQ(mNode->Counts(), (SSentCounts{.sent = 10, .whole = 10}));
}

TEST_F(Node, MemoryHoldsWhatWasSent) {
    Begin(2);
    v4l2_buffer buffer{};
    ASSERT_EQ(Dequeue(buffer), 0);
    const auto memory = mNode->Memory(buffer.m.offset, buffer.length);
    ASSERT_TRUE(memory);
    std::vector<std::uint8_t> bytes(buffer.bytesused);
    ASSERT_EQ(pread(memory->fd, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
    EXPECT_EQ(bytes, mBytes.at(0));
    EXPECT_FALSE(mNode->Memory(buffer.m.offset + 1, buffer.length));
    EXPECT_FALSE(mNode->Memory(2 * kOffsetStep, buffer.length));
    EXPECT_FALSE(mNode->Memory(buffer.m.offset, memory->size + 1));
}

TEST_F(Node, BuffersTellWhereTheyAre) {
    Request(2);
    const auto flagsOf = [&](std::uint32_t index) {
        v4l2_buffer buffer = Buffer(index);
        EXPECT_EQ(Do(VIDIOC_QUERYBUF, &buffer), 0);
        return buffer.flags & (V4L2_BUF_FLAG_QUEUED | V4L2_BUF_FLAG_DONE | V4L2_BUF_FLAG_PREPARED |
                               V4L2_BUF_FLAG_MAPPED | V4L2_BUF_FLAG_ERROR);
    };
    EXPECT_EQ(flagsOf(0), 0U);
    v4l2_buffer buffer = Buffer(0);
    EXPECT_EQ(Do(VIDIOC_PREPARE_BUF, &buffer), 0);
    EXPECT_EQ(Do(VIDIOC_PREPARE_BUF, &buffer), -EINVAL);
    EXPECT_EQ(flagsOf(0), static_cast<std::uint32_t>(V4L2_BUF_FLAG_PREPARED));
    EXPECT_EQ(Queue(0), 0);
    EXPECT_EQ(Queue(0), -EINVAL);
    EXPECT_EQ(flagsOf(0), static_cast<std::uint32_t>(V4L2_BUF_FLAG_QUEUED));
    mNode->Mapped(kOffsetStep, true);
    EXPECT_EQ(flagsOf(1), static_cast<std::uint32_t>(V4L2_BUF_FLAG_MAPPED));
    mNode->Mapped(kOffsetStep, false);
    EXPECT_EQ(flagsOf(1), 0U);
    ASSERT_EQ(Stream(true), 0);
    EXPECT_EQ(mNode->Poll(kFile, POLLIN), POLLIN);
    EXPECT_EQ(flagsOf(0), static_cast<std::uint32_t>(V4L2_BUF_FLAG_DONE));
    ASSERT_EQ(Stream(false), 0);
    EXPECT_EQ(flagsOf(0), 0U);
    EXPECT_EQ(mNode->Counts().left, 1U);
}

TEST_F(Node, BufferRequestsAreRefused) {
    v4l2_requestbuffers request{};
    request.count = 2;
    request.type = V4L2_BUF_TYPE_VIDEO_OUTPUT;
    request.memory = V4L2_MEMORY_MMAP;
    EXPECT_EQ(Do(VIDIOC_REQBUFS, &request), -EINVAL);
    request.type = kType;
    request.memory = V4L2_MEMORY_USERPTR;
    EXPECT_EQ(Do(VIDIOC_REQBUFS, &request), -EINVAL);
    EXPECT_EQ(Stream(true), -EINVAL);
    EXPECT_EQ(Request(100), 32U);
    v4l2_buffer buffer = Buffer(32);
    EXPECT_EQ(Do(VIDIOC_QUERYBUF, &buffer), -EINVAL);
    EXPECT_EQ(Do(VIDIOC_QBUF, &buffer), -EINVAL);
    buffer = Buffer();
    buffer.type = V4L2_BUF_TYPE_VIDEO_OUTPUT;
    EXPECT_EQ(Do(VIDIOC_QUERYBUF, &buffer), -EINVAL);
    EXPECT_EQ(Do(VIDIOC_DQBUF, &buffer), -EINVAL);
    buffer = Buffer();
    EXPECT_EQ(Do(VIDIOC_DQBUF, &buffer), -EINVAL) << "nothing streams";
    buffer.flags = V4L2_BUF_FLAG_REQUEST_FD;
    EXPECT_EQ(Do(VIDIOC_QBUF, &buffer), -EBADR);
    ASSERT_EQ(mNode->Open(kOther), 0);
    request.memory = V4L2_MEMORY_MMAP;
    EXPECT_EQ(Do(VIDIOC_REQBUFS, &request, kOther), -EBUSY);
    EXPECT_EQ(Stream(true, kOther), -EBUSY);
    mNode->Close(kFile);
    EXPECT_EQ(Do(VIDIOC_REQBUFS, &request, kOther), 0);
}

TEST_F(Node, StreamingHoldsTheBuffers) {
    Begin(2);
    v4l2_requestbuffers request{};
    request.type = kType;
    request.memory = V4L2_MEMORY_MMAP;
    EXPECT_EQ(Do(VIDIOC_REQBUFS, &request), -EBUSY);
    EXPECT_EQ(Stream(true), 0);
    EXPECT_EQ(Stream(false), 0);
    EXPECT_EQ(Stream(false), 0);
    EXPECT_EQ(Do(VIDIOC_REQBUFS, &request), 0);
}

TEST_F(Node, LargerBuffersCanBeAdded) {
    Request(1);
    v4l2_create_buffers request{};
    request.count = 2;
    request.memory = V4L2_MEMORY_MMAP;
    request.format.type = kType;
    request.format.fmt.pix.sizeimage = 255;
    EXPECT_EQ(Do(VIDIOC_CREATE_BUFS, &request), -EINVAL);
    request.format.fmt.pix.sizeimage = 1000;
    EXPECT_EQ(Do(VIDIOC_CREATE_BUFS, &request), 0);
    EXPECT_EQ(request.index, 1U);
    EXPECT_EQ(request.count, 2U);
    v4l2_buffer buffer = Buffer(2);
    EXPECT_EQ(Do(VIDIOC_QUERYBUF, &buffer), 0);
    EXPECT_EQ(buffer.length, 1000U);
    request.count = 40;
    EXPECT_EQ(Do(VIDIOC_CREATE_BUFS, &request), 0);
    EXPECT_EQ(request.count, 29U);
    EXPECT_EQ(Do(VIDIOC_CREATE_BUFS, &request), -ENOBUFS);
}

TEST_F(Node, ExportedBuffersAreTheSameMemory) {
    Begin(1);
    v4l2_exportbuffer request{};
    request.type = kType;
    request.flags = O_CLOEXEC | O_RDONLY;
    ASSERT_EQ(Do(VIDIOC_EXPBUF, &request), 0);
    v4l2_buffer buffer{};
    ASSERT_EQ(Dequeue(buffer), 0);
    std::vector<std::uint8_t> bytes(buffer.bytesused);
    EXPECT_EQ(pread(request.fd, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
    EXPECT_EQ(bytes, mBytes.at(0));
    close(request.fd);
    request.index = 1;
    EXPECT_EQ(Do(VIDIOC_EXPBUF, &request), -EINVAL);
    request.index = 0;
    request.plane = 1;
    EXPECT_EQ(Do(VIDIOC_EXPBUF, &request), -EINVAL);
}

TEST_F(Node, MultiPlanarBuffersHaveOnePlane) {
    SNodeSetup setup;
    setup.multiPlanar = true;
    Make(std::move(setup));
    constexpr std::uint32_t kPlanes = V4L2_BUF_TYPE_VIDEO_CAPTURE_MPLANE;
    v4l2_capability capability{};
    ASSERT_EQ(Do(VIDIOC_QUERYCAP, &capability), 0);
    EXPECT_NE(capability.device_caps & V4L2_CAP_VIDEO_CAPTURE_MPLANE, 0U);
    EXPECT_EQ(capability.device_caps & V4L2_CAP_VIDEO_CAPTURE, 0U);
    v4l2_format format{};
    format.type = kType;
    EXPECT_EQ(Do(VIDIOC_G_FMT, &format), -EINVAL);
    format.type = kPlanes;
    ASSERT_EQ(Do(VIDIOC_G_FMT, &format), 0);
    EXPECT_EQ(format.fmt.pix_mp.num_planes, 1U);
    EXPECT_EQ(format.fmt.pix_mp.plane_fmt[0].sizeimage, 256U);
    v4l2_requestbuffers request{};
    request.count = 1;
    request.type = kPlanes;
    request.memory = V4L2_MEMORY_MMAP;
    ASSERT_EQ(Do(VIDIOC_REQBUFS, &request), 0);
    v4l2_plane plane{};
    v4l2_buffer buffer = Buffer();
    buffer.type = kPlanes;
    EXPECT_EQ(Do(VIDIOC_QBUF, &buffer), -EINVAL) << "no array of planes";
    buffer.m.planes = &plane;
    buffer.length = 1;
    ASSERT_EQ(Do(VIDIOC_QBUF, &buffer), 0);
    int type = kPlanes;
    ASSERT_EQ(Do(VIDIOC_STREAMON, &type), 0);
    ASSERT_EQ(Do(VIDIOC_DQBUF, &buffer), 0);
    EXPECT_EQ(plane.bytesused, 256U);
    EXPECT_EQ(plane.length, 256U);
    EXPECT_EQ(buffer.length, 1U);
}

// --- Read I/O --------------------------------------------------------------------------------------------------------

TEST_F(Node, ReadCopiesWhatFits) {
    std::vector<std::uint8_t> bytes(300, 0xEE);
    EXPECT_EQ(mNode->Read(kFile, bytes.data(), bytes.size()), 256);
    EXPECT_EQ(std::vector(bytes.begin(), bytes.begin() + 256), mBytes.at(0));
    EXPECT_EQ(bytes[256], 0xEE);
    bytes.assign(300, 0xEE);
    EXPECT_EQ(mNode->Read(kFile, bytes.data(), 5), 5);
    EXPECT_EQ(bytes[5], 0xEE);
    EXPECT_EQ(mNode->Camera()->FrameNumber(), 2U) << "the rest of a frame is lost";
    mNode->Camera()->TruncateFrames(7);
    EXPECT_EQ(mNode->Read(kFile, bytes.data(), bytes.size()), 7);
    mNode->Camera()->TruncateFrames(std::nullopt);
    mNode->Camera()->FailReads(EAGAIN);
    EXPECT_EQ(mNode->Read(kFile, bytes.data(), bytes.size()), -EAGAIN);
    EXPECT_EQ(mNode->Camera()->FrameNumber(), 3U);
    mNode->Camera()->FailReads(0);
    EXPECT_EQ(mNode->Read(kFile, nullptr, 5), -EFAULT);
    EXPECT_EQ(mNode->Read(kFile, bytes.data(), bytes.size()), 256);
    EXPECT_EQ(mNode->Counts(), (SSentCounts{.sent = 4, .whole = 3, .shortFrames = 1}));
}

TEST_F(Node, ReadAndBuffersExcludeEachOther) {
    std::uint8_t byte = 0;
    EXPECT_EQ(mNode->Read(kFile, &byte, 1), 1);
    v4l2_requestbuffers request{};
    request.count = 1;
    request.type = kType;
    request.memory = V4L2_MEMORY_MMAP;
    EXPECT_EQ(Do(VIDIOC_REQBUFS, &request), -EBUSY);
    ASSERT_EQ(mNode->Open(kOther), 0);
    EXPECT_EQ(mNode->Read(kOther, &byte, 1), -EBUSY);
    mNode->Close(kFile);
    EXPECT_EQ(Do(VIDIOC_REQBUFS, &request, kOther), 0);
    EXPECT_EQ(mNode->Read(kOther, &byte, 1), -EBUSY);
}

// --- Poll ------------------------------------------------------------------------------------------------------------

TEST_F(Node, PollTellsExactly) {
    Make(freeRunning());
    Request(2);
    EXPECT_EQ(mNode->Poll(kFile, POLLIN), POLLERR) << "not streaming";
    EXPECT_EQ(mNode->Poll(kFile, POLLPRI), 0) << "no event, and nobody asked for frames";
    ASSERT_EQ(Stream(true), 0);
    EXPECT_EQ(mNode->Poll(kFile, POLLIN), POLLERR) << "no buffer was handed in";
    ASSERT_EQ(Queue(0), 0);
    EXPECT_EQ(mNode->Poll(kFile, POLLIN), 0);
    Pass(10ms);
    EXPECT_EQ(mNode->Poll(kFile, POLLIN | POLLRDNORM | POLLPRI), POLLIN | POLLRDNORM);
    v4l2_buffer buffer{};
    ASSERT_EQ(Dequeue(buffer), 0);
    EXPECT_EQ(mNode->Poll(kFile, POLLIN), 0);
    EXPECT_EQ(Dequeue(buffer), -EAGAIN);
    EXPECT_EQ(Stream(false), 0);
    EXPECT_EQ(Dequeue(buffer), -EINVAL);
    EXPECT_EQ(mNode->Poll(kFile, POLLIN), POLLERR);
}

TEST_F(Node, PollBeginsReadingWhereNoBuffersAre) {
    EXPECT_EQ(mNode->Poll(kFile, POLLPRI), 0);
    EXPECT_EQ(mNode->Counts().sent, 0U);
    EXPECT_EQ(mNode->Poll(kFile, POLLIN), POLLIN);
    std::uint8_t byte = 0;
    EXPECT_EQ(mNode->Read(kFile, &byte, 1), 1);
    EXPECT_EQ(mNode->Counts().sent, 1U);
}

// --- Time ------------------------------------------------------------------------------------------------------------

TEST_F(Node, TheClockSendsWhetherABufferIsThereOrNot) {
    Make(freeRunning());
    Begin(2);
    EXPECT_EQ(mNode->NextDue(), mNow + 10ms);
    Pass(40ms);
    EXPECT_EQ(mNode->Counts(), (SSentCounts{.sent = 4, .whole = 2, .noBuffer = 2}));
    v4l2_buffer buffer{};
    ASSERT_EQ(Dequeue(buffer), 0);
    EXPECT_EQ(buffer.sequence, 0U);
    EXPECT_EQ(buffer.timestamp.tv_usec, 10000);
    ASSERT_EQ(Queue(buffer.index), 0);
    Pass(10ms);
    ASSERT_EQ(Dequeue(buffer), 0);
    EXPECT_EQ(buffer.sequence, 1U);
    ASSERT_EQ(Dequeue(buffer), 0);
    EXPECT_EQ(buffer.sequence, 4U) << "frames 2 and 3 found no buffer";
    EXPECT_EQ(buffer.timestamp.tv_usec, 50000);
    EXPECT_EQ(Stream(false), 0);
    EXPECT_EQ(mNode->NextDue(), std::nullopt);
    EXPECT_EQ(Queue(0), 0);
    EXPECT_EQ(Stream(true), 0);
    Pass(10ms);
    ASSERT_EQ(Dequeue(buffer), 0);
    EXPECT_EQ(buffer.sequence, 0U) << "a new stream";
}

TEST_F(Node, AClockThatWasNotLookedAtLosesNothing) {
    Make(freeRunning());
    Begin(2);
    Pass(1s);
    EXPECT_EQ(mNode->Counts().sent, 1U);
    EXPECT_EQ(mNode->NextDue(), mNow + 10ms);
}

TEST_F(Node, TriggersSendAFrameEach) {
    SNodeSetup setup;
    setup.pace = EPace::Trigger;
    Make(std::move(setup));
    mNode->Trigger();
    Begin(2);
    v4l2_buffer buffer{};
    EXPECT_EQ(Dequeue(buffer), -EAGAIN);
    mNode->Trigger();
    EXPECT_EQ(Dequeue(buffer), 0);
    EXPECT_EQ(Dequeue(buffer), -EAGAIN);
    EXPECT_EQ(mNode->Counts().sent, 1U);
}

TEST_F(Node, TimestampsMayBeOfTheFirstRow) {
    SNodeSetup setup = freeRunning();
    setup.startOfExposure = true;
    Make(std::move(setup));
    Begin(1);
    Pass(10ms);
    v4l2_buffer buffer{};
    ASSERT_EQ(Dequeue(buffer), 0);
    EXPECT_EQ(buffer.flags & V4L2_BUF_FLAG_TSTAMP_SRC_MASK, static_cast<std::uint32_t>(V4L2_BUF_FLAG_TSTAMP_SRC_SOE));
    EXPECT_EQ(buffer.timestamp.tv_usec, 0);
}

class ControlDelay : public Node, public ::testing::WithParamInterface<unsigned> {};

TEST_P(ControlDelay, SoManyFramesShowTheOldSetting) {
    SNodeSetup setup;
    setup.controlDelay = GetParam();
    Make(std::move(setup));
    ASSERT_EQ(Set(V4L2_CID_GAIN, 5), 0);
    Begin(1);
    const auto take = [&] {
        v4l2_buffer buffer{};
        EXPECT_EQ(Dequeue(buffer), 0);
        EXPECT_EQ(Queue(buffer.index), 0);
    };
    take();
    take();
    ASSERT_EQ(Set(V4L2_CID_GAIN, 50), 0);
    for (unsigned i = 0; i < GetParam() + 2; ++i) {
        take();
    }
    for (std::size_t i = 0; i < mSent.size(); ++i) {
        EXPECT_EQ(mSent[i].gain, i < 2 + GetParam() ? 5 : 50) << "frame " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Frames, ControlDelay, ::testing::Values(0U, 1U, 2U, 5U));

TEST_F(Node, FramesOfARingComeAgain) {
    SNodeSetup setup;
    setup.ring = 2;
    Make(std::move(setup));
    Begin(1);
    const auto take = [&] {
        v4l2_buffer buffer{};
        EXPECT_EQ(Dequeue(buffer), 0);
        EXPECT_EQ(Queue(buffer.index), 0);
        return mBytes.back();
    };
    const std::vector<std::uint8_t> first = take();
    const std::vector<std::uint8_t> second = take();
    EXPECT_NE(first, second);
    EXPECT_EQ(take(), first);
    EXPECT_EQ(mSent[2].content, mSent[0].content);
    ASSERT_EQ(Set(V4L2_CID_GAIN, 100), 0);
    EXPECT_NE(take(), second);
    mNode->Camera()->SetLensCap(true);
    EXPECT_NE(take(), first);
    EXPECT_EQ(mNode->Counts().sent, 5U);
}

TEST_F(Node, FramesMayComeFromElsewhere) {
    SNodeSetup setup;
    setup.source = [](std::uint64_t number) {
        return std::vector<std::uint8_t>(256, static_cast<std::uint8_t>(number));
    };
    Make(std::move(setup));
    Begin(1);
    v4l2_buffer buffer{};
    ASSERT_EQ(Dequeue(buffer), 0);
    ASSERT_EQ(Queue(0), 0);
    ASSERT_EQ(Dequeue(buffer), 0);
    EXPECT_EQ(mBytes.at(1), std::vector<std::uint8_t>(256, 1));
}

TEST_F(Node, TheCounterPatternCounts) {
    ASSERT_EQ(Set(V4L2_CID_TEST_PATTERN, 1), 0);
    EXPECT_EQ(Set(V4L2_CID_TEST_PATTERN, 2), -ERANGE);
    Begin(1);
    v4l2_buffer buffer{};
    ASSERT_EQ(Dequeue(buffer), 0);
    ASSERT_EQ(Queue(0), 0);
    ASSERT_EQ(Dequeue(buffer), 0);
    for (std::size_t i = 0; i < 256; ++i) {
        ASSERT_EQ(mBytes[0][i], i);
        ASSERT_EQ(mBytes[1][i], (i + 1) % 256);
    }
}

// --- Faults ----------------------------------------------------------------------------------------------------------

TEST_F(Node, FramesAreLostFlaggedAndCutShort) {
    Make(withFaults({}, "frame 1 lose 2\nframe 4 flag\nframe 5 short 10\nframe 6 short 999\n"));
    Begin(4);
    struct SSeen {
        std::uint32_t sequence;
        bool error;
        std::uint32_t bytes;
        bool operator==(const SSeen&) const = default;
    };
    std::vector<SSeen> seen;
    for (int i = 0; i < 6; ++i) {
        v4l2_buffer buffer{};
        ASSERT_EQ(Dequeue(buffer), 0);
        seen.push_back({buffer.sequence, (buffer.flags & V4L2_BUF_FLAG_ERROR) != 0, buffer.bytesused});
        ASSERT_EQ(Queue(buffer.index), 0);
    }
    EXPECT_EQ(seen,
              (std::vector<SSeen>{
                  {0, false, 256}, {3, false, 256}, {4, true, 256}, {5, false, 10}, {6, false, 256}, {7, false, 256}}));
    EXPECT_EQ(mNode->Counts(), (SSentCounts{.sent = 8, .whole = 4, .flagged = 1, .shortFrames = 1, .lost = 2}));
}

TEST_F(Node, SequenceNumbersJump) {
    Make(withFaults({}, "frame 1 sequence 4294967295"));
    Begin(1);
    v4l2_buffer buffer{};
    const auto next = [&] {
        EXPECT_EQ(Dequeue(buffer), 0);
        EXPECT_EQ(Queue(0), 0);
        return buffer.sequence;
    };
    EXPECT_EQ(next(), 0U);
    EXPECT_EQ(next(), 4294967295U);
    EXPECT_EQ(next(), 0U);
}

TEST_F(Node, StallsDelayAndLoseNothing) {
    Make(withFaults({}, "frame 1 stall 500"));
    Begin(2);
    v4l2_buffer buffer{};
    ASSERT_EQ(Dequeue(buffer), 0);
    EXPECT_EQ(Dequeue(buffer), -EAGAIN);
    EXPECT_EQ(mNode->NextDue(), mNow + 500ms);
    Pass(499ms);
    EXPECT_EQ(Dequeue(buffer), -EAGAIN);
    Pass(1ms);
    EXPECT_EQ(Dequeue(buffer), 0);
    EXPECT_EQ(buffer.sequence, 1U);

    Make(withFaults(freeRunning(), "frame 1 stall 500"));
    Begin(2);
    Pass(20ms);
    EXPECT_EQ(mNode->Counts().sent, 1U);
    EXPECT_EQ(mNode->NextDue(), mNow + 500ms);
    Pass(500ms);
    EXPECT_EQ(mNode->Counts().sent, 2U);
    EXPECT_EQ(mNode->NextDue(), mNow + 10ms);
}

TEST_F(Node, TheCableIsPulledAndPutBackIn) {
    Make(withFaults({}, "frame 1 unplug 200"));
    Begin(2);
    v4l2_buffer buffer{};
    ASSERT_EQ(Dequeue(buffer), 0);
    EXPECT_EQ(Dequeue(buffer), -ENODEV);
    EXPECT_EQ(mNode->Poll(kFile, POLLIN | POLLPRI), POLLERR | POLLHUP | POLLPRI);
    EXPECT_EQ(Queue(0), -ENODEV);
    EXPECT_EQ(mNode->Open(kOther), -ENODEV);
    EXPECT_EQ(mNode->NextDue(), mNow + 200ms);
    Pass(200ms);
    EXPECT_TRUE(mNode->IsPlugged());
    EXPECT_EQ(Queue(0), -ENODEV) << "that file is of the camera that went";
    EXPECT_EQ(mNode->Open(kOther), 0);
    EXPECT_EQ(Request(2, kOther), 2U);
    EXPECT_EQ(mNode->Counts().sent, 1U);
}

TEST_F(Node, RequestsFail) {
    Make(withFaults({}, "request 2 EIO"));
    v4l2_capability capability{};
    EXPECT_EQ(Do(VIDIOC_QUERYCAP, &capability), 0);
    EXPECT_EQ(Do(VIDIOC_QUERYCAP, &capability), -EIO);
    EXPECT_EQ(Do(VIDIOC_QUERYCAP, &capability), 0);
    mNode->Camera()->FailRequest(1, EBUSY);
    EXPECT_EQ(Do(VIDIOC_QUERYCAP, &capability), -EBUSY);
    EXPECT_EQ(mNode->Camera()->Requests().back().error, EBUSY);
}

TEST(FaultScript, IsReadLineByLine) {
    const SFaultScript script = parseFaultScript("# a comment\n\n frame 3 lose 2 # here, too\n"
                                                 "frame 9 unplug\nframe 9 eos\nrequest 4 ENOSPC\r\n");
    EXPECT_EQ(script.frames.size(), 4U);
    EXPECT_EQ(script.frames.count(4), 1U);
    EXPECT_EQ(script.frames.find(9)->second, (SFrameFault{EFault::Unplug, 0, std::nullopt}));
    EXPECT_EQ(script.requests, (std::map<std::uint64_t, int>{{4, ENOSPC}}));
}

TEST(FaultScript, SaysWhatIsWrongWhere) {
    const auto complaint = [](const char* text) {
        try {
            parseFaultScript(text);
        } catch (const std::invalid_argument& error) {
            return std::string(error.what());
        }
        return std::string("nothing");
    };
    EXPECT_EQ(complaint("frame 1 lose\nframes 2 lose"), "line 2: \"frames\": a line begins with frame or request");
    EXPECT_EQ(complaint("frame"), "line 1: number of the frame is missing");
    EXPECT_EQ(complaint("frame 1 burn"),
              "line 1: \"burn\" is none of: lose, flag, short, stall, sequence, unplug, eos, source-change");
    EXPECT_EQ(complaint("frame 1 eos now"), "line 1: nothing is expected behind \"eos\"");
    EXPECT_EQ(complaint("request 0 EIO"), "line 1: number of the request: \"0\" is out of range: 1 to "
                                          "18446744073709551615 is needed");
    EXPECT_EQ(complaint("request 1 EFOO"), "line 1: \"EFOO\" is none of: EAGAIN, EBUSY, EFAULT, EINTR, EINVAL, EIO, "
                                           "ENODEV, ENOMEM, ENOSPC, EPIPE, ERANGE, ETIMEDOUT");
}

// --- Formats ---------------------------------------------------------------------------------------------------------

TEST_F(Node, FormatsAreTheCamerasTransferFormats) {
    Make({}, "global-5m");
    std::set<std::uint32_t> codes;
    v4l2_fmtdesc description{};
    description.type = kType;
    for (; Do(VIDIOC_ENUM_FMT, &description) == 0; ++description.index) {
        EXPECT_TRUE(codes.insert(description.pixelformat).second);
        v4l2_format format{};
        format.type = kType;
        format.fmt.pix.width = 16;
        format.fmt.pix.height = 8;
        format.fmt.pix.pixelformat = description.pixelformat;
        ASSERT_EQ(Do(VIDIOC_S_FMT, &format), 0);
        EXPECT_EQ(format.fmt.pix.pixelformat, description.pixelformat);
        EXPECT_EQ(format.fmt.pix.sizeimage, mNode->Camera()->FrameSize());
        EXPECT_EQ(format.fmt.pix.priv, V4L2_PIX_FMT_PRIV_MAGIC);
    }
    EXPECT_EQ(codes.size(), 20U) << "YCrCb formats that share a code differ by their encoding";
    EXPECT_EQ(codes.count(V4L2_PIX_FMT_SRGGB12), 1U);
    mNode->Camera()->SetTransferFormat(2);
    v4l2_format format{};
    format.type = kType;
    ASSERT_EQ(Do(VIDIOC_G_FMT, &format), 0);
    EXPECT_EQ(format.fmt.pix.pixelformat, static_cast<std::uint32_t>(v4l2_fourcc('V', 'K', '0', '2')));
    format.type = V4L2_BUF_TYPE_VIDEO_OUTPUT;
    EXPECT_EQ(Do(VIDIOC_G_FMT, &format), -EINVAL);
}

TEST_F(Node, EncodingChoosesAmongFormatsOfOneCode) {
    v4l2_format format{};
    format.type = kType;
    format.fmt.pix.pixelformat = V4L2_PIX_FMT_YUYV;
    format.fmt.pix.ycbcr_enc = V4L2_YCBCR_ENC_709;
    ASSERT_EQ(Do(VIDIOC_S_FMT, &format), 0);
    EXPECT_EQ(mNode->Camera()->TransferFormat(), static_cast<unsigned long>(VEK_TRANSFER_YCRCB422_BT709));
    EXPECT_EQ(format.fmt.pix.quantization, static_cast<std::uint32_t>(V4L2_QUANTIZATION_LIM_RANGE));
    format.fmt.pix.ycbcr_enc = V4L2_YCBCR_ENC_601;
    ASSERT_EQ(Do(VIDIOC_S_FMT, &format), 0);
    EXPECT_EQ(mNode->Camera()->TransferFormat(), static_cast<unsigned long>(VEK_TRANSFER_YCRCB422));
    EXPECT_EQ(format.fmt.pix.quantization, static_cast<std::uint32_t>(V4L2_QUANTIZATION_FULL_RANGE));
}

TEST_F(Node, UnknownFormatsBecomeTheCurrentOne) {
    v4l2_format format{};
    format.type = kType;
    format.fmt.pix.pixelformat = V4L2_PIX_FMT_MJPEG;
    format.fmt.pix.width = 8;
    format.fmt.pix.height = 4;
    ASSERT_EQ(Do(VIDIOC_TRY_FMT, &format), 0);
    EXPECT_EQ(format.fmt.pix.pixelformat, static_cast<std::uint32_t>(V4L2_PIX_FMT_Y10));
    EXPECT_EQ(format.fmt.pix.width, 8U) << "a binned size";
    EXPECT_EQ(mNode->Camera()->Width(), 16U);
    ASSERT_EQ(Do(VIDIOC_S_FMT, &format), 0);
    EXPECT_EQ(mNode->Camera()->Width(), 8U);
    Request(1);
    format.fmt.pix.width = 16;
    format.fmt.pix.height = 8;
    EXPECT_EQ(Do(VIDIOC_S_FMT, &format), -EBUSY);
    EXPECT_EQ(Set(VEK_CID_TRANSFER_FORMAT, VEK_TRANSFER_RAW8), -EBUSY);
    EXPECT_EQ(Set(VEK_CID_TRANSFER_FORMAT, VEK_TRANSFER_RAW10), 0) << "no change";
}

TEST_F(Node, RegionsAreACrop) {
    Make({}, "global-1m");
    v4l2_selection selection{};
    selection.type = kType;
    selection.target = V4L2_SEL_TGT_CROP_BOUNDS;
    ASSERT_EQ(Do(VIDIOC_G_SELECTION, &selection), 0);
    EXPECT_EQ(selection.r.width, 16U);
    selection.target = V4L2_SEL_TGT_CROP;
    selection.r = {3, 1, 7, 5};
    ASSERT_EQ(Do(VIDIOC_S_SELECTION, &selection), 0);
    EXPECT_EQ(selection.r.left, 2) << "whole cells of the colour array";
    EXPECT_EQ(selection.r.top, 0);
    EXPECT_EQ(selection.r.width, 6U);
    EXPECT_EQ(selection.r.height, 4U);
    EXPECT_EQ(mNode->Camera()->Width(), 6U);
    selection.r = {0, 0, 17, 8};
    selection.flags = V4L2_SEL_FLAG_GE;
    EXPECT_EQ(Do(VIDIOC_S_SELECTION, &selection), -ERANGE);
    EXPECT_EQ(mNode->Camera()->Width(), 6U);
    selection.target = V4L2_SEL_TGT_COMPOSE;
    EXPECT_EQ(Do(VIDIOC_G_SELECTION, &selection), -EINVAL);
}

TEST_F(Node, RatesAreSetAsIntervals) {
    Make(freeRunning(50));
    v4l2_streamparm parameters{};
    parameters.type = kType;
    ASSERT_EQ(Do(VIDIOC_G_PARM, &parameters), 0);
    EXPECT_EQ(parameters.parm.capture.timeperframe.numerator, 1U);
    EXPECT_EQ(parameters.parm.capture.timeperframe.denominator, 50U);
    parameters.parm.capture.timeperframe = {1, 200};
    ASSERT_EQ(Do(VIDIOC_S_PARM, &parameters), 0);
    Begin(1);
    EXPECT_EQ(mNode->NextDue(), mNow + 5ms);
    parameters.parm.capture.timeperframe = {0, 0};
    ASSERT_EQ(Do(VIDIOC_S_PARM, &parameters), 0);
    const double seconds = static_cast<double>(parameters.parm.capture.timeperframe.numerator) /
                           parameters.parm.capture.timeperframe.denominator;
    EXPECT_NEAR(seconds, mNode->Camera()->FramePeriod(), 1e-6) << "the camera's own";
}

// --- Controls, priorities, events ------------------------------------------------------------------------------------

TEST_F(Node, ControlsAreListedInOrder) {
    std::vector<std::uint32_t> ids;
    v4l2_query_ext_ctrl query{};
    query.id = V4L2_CTRL_FLAG_NEXT_CTRL;
    while (Do(VIDIOC_QUERY_EXT_CTRL, &query) == 0) {
        ids.push_back(query.id);
        v4l2_queryctrl old{};
        old.id = query.id;
        EXPECT_EQ(Do(VIDIOC_QUERYCTRL, &old), 0);
        EXPECT_STREQ(reinterpret_cast<const char*>(old.name), query.name);
        query.id |= V4L2_CTRL_FLAG_NEXT_CTRL;
    }
    EXPECT_EQ(ids, (std::vector<std::uint32_t>{V4L2_CID_USER_CLASS, V4L2_CID_EXPOSURE, V4L2_CID_GAIN,
                                               V4L2_CID_MIN_BUFFERS_FOR_CAPTURE, V4L2_CID_IMAGE_PROC_CLASS,
                                               V4L2_CID_TEST_PATTERN}));
    v4l2_querymenu menu{};
    menu.id = V4L2_CID_TEST_PATTERN;
    menu.index = 1;
    ASSERT_EQ(Do(VIDIOC_QUERYMENU, &menu), 0);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(menu.name)), "Counter");
    menu.index = 2;
    EXPECT_EQ(Do(VIDIOC_QUERYMENU, &menu), -EINVAL);
    menu.id = V4L2_CID_GAIN;
    EXPECT_EQ(Do(VIDIOC_QUERYMENU, &menu), -EINVAL);
}

TEST_F(Node, ExtendedControlsAreAllOrNone) {
    v4l2_ext_control list[2]{};
    list[0].id = V4L2_CID_GAIN;
    list[0].value = 9;
    list[1].id = V4L2_CID_EXPOSURE;
    list[1].value = -1;
    v4l2_ext_controls controls{};
    controls.count = 2;
    controls.controls = list;
    EXPECT_EQ(Do(VIDIOC_S_EXT_CTRLS, &controls), -ERANGE);
    EXPECT_EQ(controls.error_idx, 2U) << "nothing was set";
    EXPECT_NE(mNode->Camera()->GainValue(), 9);
    EXPECT_EQ(Do(VIDIOC_TRY_EXT_CTRLS, &controls), -ERANGE);
    EXPECT_EQ(controls.error_idx, 1U);
    list[1].value = 77;
    EXPECT_EQ(Do(VIDIOC_S_EXT_CTRLS, &controls), 0);
    EXPECT_EQ(mNode->Camera()->ExposureValue(), 77U);
    controls.which = V4L2_CTRL_WHICH_DEF_VAL;
    EXPECT_EQ(Do(VIDIOC_G_EXT_CTRLS, &controls), 0);
    EXPECT_EQ(list[0].value, 18) << "gain after power-on";
    controls.which = V4L2_CTRL_CLASS_IMAGE_PROC;
    EXPECT_EQ(Do(VIDIOC_G_EXT_CTRLS, &controls), -EINVAL) << "another class";
    controls.count = 0;
    EXPECT_EQ(Do(VIDIOC_G_EXT_CTRLS, &controls), 0);
    controls.which = V4L2_CTRL_CLASS_MPEG;
    EXPECT_EQ(Do(VIDIOC_G_EXT_CTRLS, &controls), -EINVAL);
}

TEST_F(Node, ReadOnlyControlsStayAsTheyAre) {
    v4l2_control control{V4L2_CID_MIN_BUFFERS_FOR_CAPTURE, 9};
    EXPECT_EQ(Do(VIDIOC_S_CTRL, &control), -EACCES);
    EXPECT_EQ(Do(VIDIOC_G_CTRL, &control), 0);
    EXPECT_EQ(control.value, 2);
    control.id = V4L2_CID_USER_CLASS;
    EXPECT_EQ(Do(VIDIOC_G_CTRL, &control), -EACCES);
    control.id = V4L2_CID_BRIGHTNESS;
    EXPECT_EQ(Do(VIDIOC_G_CTRL, &control), -EINVAL);
}

TEST_F(Node, ChangesAreToldToOthers) {
    ASSERT_EQ(mNode->Open(kOther), 0);
    v4l2_event_subscription subscription{};
    subscription.type = V4L2_EVENT_CTRL;
    subscription.id = V4L2_CID_GAIN;
    EXPECT_EQ(Do(VIDIOC_SUBSCRIBE_EVENT, &subscription), 0);
    subscription.flags = V4L2_EVENT_SUB_FL_SEND_INITIAL;
    EXPECT_EQ(Do(VIDIOC_SUBSCRIBE_EVENT, &subscription, kOther), 0);
    v4l2_event event{};
    EXPECT_EQ(Do(VIDIOC_DQEVENT, &event), -EAGAIN);
    EXPECT_EQ(mNode->Poll(kOther, POLLPRI), POLLPRI);
    ASSERT_EQ(Do(VIDIOC_DQEVENT, &event, kOther), 0);
    EXPECT_EQ(event.u.ctrl.value, 18);
    EXPECT_EQ(event.u.ctrl.maximum, 255);
    ASSERT_EQ(Set(V4L2_CID_GAIN, 30), 0);
    ASSERT_EQ(Set(V4L2_CID_GAIN, 31), 0);
    EXPECT_EQ(mNode->Poll(kFile, POLLPRI), 0) << "it knows what it did itself";
    ASSERT_EQ(Do(VIDIOC_DQEVENT, &event, kOther), 0);
    EXPECT_EQ(event.u.ctrl.value, 31);
    EXPECT_EQ(event.pending, 0U);
    EXPECT_EQ(event.sequence, 2U);
    ASSERT_EQ(Set(V4L2_CID_GAIN, 31), 0);
    EXPECT_EQ(Do(VIDIOC_DQEVENT, &event, kOther), -EAGAIN) << "no change";
    subscription.type = V4L2_EVENT_ALL;
    EXPECT_EQ(Do(VIDIOC_SUBSCRIBE_EVENT, &subscription), -EINVAL);
    EXPECT_EQ(Do(VIDIOC_UNSUBSCRIBE_EVENT, &subscription, kOther), 0);
    ASSERT_EQ(Set(V4L2_CID_GAIN, 32), 0);
    EXPECT_EQ(Do(VIDIOC_DQEVENT, &event, kOther), -EAGAIN);
}

TEST_F(Node, ScriptsSendEvents) {
    Make(withFaults({}, "frame 0 source-change\nframe 1 eos"));
    v4l2_event_subscription subscription{};
    subscription.type = V4L2_EVENT_EOS;
    ASSERT_EQ(Do(VIDIOC_SUBSCRIBE_EVENT, &subscription), 0);
    subscription.type = V4L2_EVENT_SOURCE_CHANGE;
    ASSERT_EQ(Do(VIDIOC_SUBSCRIBE_EVENT, &subscription), 0);
    Begin(1);
    v4l2_buffer buffer{};
    v4l2_event event{};
    ASSERT_EQ(Dequeue(buffer), 0);
    ASSERT_EQ(Do(VIDIOC_DQEVENT, &event), 0);
    EXPECT_EQ(event.type, static_cast<std::uint32_t>(V4L2_EVENT_SOURCE_CHANGE));
    EXPECT_EQ(event.u.src_change.changes, static_cast<std::uint32_t>(V4L2_EVENT_SRC_CH_RESOLUTION));
    ASSERT_EQ(Queue(0), 0);
    ASSERT_EQ(Dequeue(buffer), 0);
    ASSERT_EQ(Do(VIDIOC_DQEVENT, &event), 0);
    EXPECT_EQ(event.type, static_cast<std::uint32_t>(V4L2_EVENT_EOS));
}

TEST_F(Node, HigherPriorityKeepsOthersOut) {
    ASSERT_EQ(mNode->Open(kOther), 0);
    std::uint32_t priority = V4L2_PRIORITY_RECORD;
    ASSERT_EQ(Do(VIDIOC_S_PRIORITY, &priority, kOther), 0);
    priority = 0;
    ASSERT_EQ(Do(VIDIOC_G_PRIORITY, &priority), 0);
    EXPECT_EQ(priority, static_cast<std::uint32_t>(V4L2_PRIORITY_RECORD));
    EXPECT_EQ(Set(V4L2_CID_GAIN, 1), -EBUSY);
    EXPECT_EQ(Set(V4L2_CID_GAIN, 1, kOther), 0);
    mNode->Close(kOther);
    EXPECT_EQ(Set(V4L2_CID_GAIN, 2), 0);
    priority = 77;
    EXPECT_EQ(Do(VIDIOC_S_PRIORITY, &priority), -EINVAL);
}

TEST_F(Node, UnknownRequestsAreRefusedBeforeTheirArgumentIsLookedAt) {
    EXPECT_FALSE(CVideoNode::Knows(VIDIOC_G_STD));
    EXPECT_EQ(Do(VIDIOC_G_STD, nullptr), -ENOTTY);
    EXPECT_EQ(Do(0xFFFFFFFF00000000UL | VIDIOC_QUERYCAP, nullptr), -EFAULT);
    EXPECT_TRUE(CVideoNode::Knows(VIDIOC_QUERYCAP));
}

} // namespace
