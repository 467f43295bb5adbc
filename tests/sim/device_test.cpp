// SPDX-License-Identifier: Apache-2.0
// The interposer: calls of ioctl, read, mmap and poll in this very program.
#include "sim/SimulatedDevice.h"

#include "VekTrgApi.h"

#include <gtest/gtest.h>
#include <linux/videodev2.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <termios.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using namespace vek::sim;

class Device : public ::testing::Test {
protected:
    void SetUp() override {
        SSensorConfig config = CSimulatedDriver::DefaultSensor(findCameraModel("clock-vga"));
        config.width = 16;
        config.height = 8;
        mDriver = std::make_shared<CSimulatedDriver>(findCameraModel("clock-vga"), config);
        mFd = openSimulatedCamera(mDriver);
        ASSERT_GE(mFd, 0);
    }
    void TearDown() override { closeSimulatedCamera(mFd); }

    /// The request is one that every kernel and every emulator knows, on a file that is no terminal.
    void ExpectKernelSays(int descriptor, int error) const {
        const std::size_t before = mDriver->Requests().size();
        termios settings{};
        errno = 0;
        EXPECT_EQ(ioctl(descriptor, TCGETS, &settings), -1);
        EXPECT_EQ(errno, error);
        EXPECT_EQ(mDriver->Requests().size(), before) << "the driver was asked";
    }

    std::shared_ptr<CSimulatedDriver> mDriver;
    int mFd = -1;
};

TEST_F(Device, IoctlReachesTheDriver) {
    v4l2_control control{V4L2_CID_GAIN, 99};
    errno = 4711;
    EXPECT_EQ(ioctl(mFd, VIDIOC_S_CTRL, &control), 0);
    EXPECT_EQ(errno, 4711);
    EXPECT_EQ(mDriver->GainValue(), 99);
    control.value = 256;
    EXPECT_EQ(ioctl(mFd, VIDIOC_S_CTRL, &control), -1);
    EXPECT_EQ(errno, ERANGE);
    EXPECT_EQ(mDriver->Requests().size(), 2U);
}

TEST_F(Device, ReadTakesAFrame) {
    std::vector<std::uint8_t> frame(1000);
    EXPECT_EQ(read(mFd, frame.data(), frame.size()), 16 * 8 * 2);
    EXPECT_EQ(read(mFd, frame.data(), 10), 10);
    EXPECT_EQ(mDriver->FrameNumber(), 2U);
    mDriver->FailReads(EIO);
    EXPECT_EQ(read(mFd, frame.data(), frame.size()), -1);
    EXPECT_EQ(errno, EIO);
    mDriver->Unplug();
    EXPECT_EQ(read(mFd, frame.data(), frame.size()), -1);
    EXPECT_EQ(errno, ENODEV);
}

TEST_F(Device, OtherDescriptorsBelongToTheKernel) {
    std::FILE* file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    ExpectKernelSays(fileno(file), ENOTTY);
    ASSERT_EQ(write(fileno(file), "abc", 3), 3);
    ASSERT_EQ(lseek(fileno(file), 0, SEEK_SET), 0);
    std::array<char, 8> text{};
    EXPECT_EQ(read(fileno(file), text.data(), text.size()), 3);
    EXPECT_EQ(text[2], 'c');
    std::fclose(file);
    ExpectKernelSays(-1, EBADF);
    EXPECT_EQ(read(-1, text.data(), text.size()), -1);
    EXPECT_EQ(errno, EBADF);
    int pipes[2];
    ASSERT_EQ(pipe(pipes), 0);
    ASSERT_EQ(write(pipes[1], "xyz", 3), 3);
    int available = 0;
    EXPECT_EQ(ioctl(pipes[0], FIONREAD, &available), 0);
    EXPECT_EQ(available, 3);
    close(pipes[0]);
    close(pipes[1]);
    EXPECT_TRUE(mDriver->Requests().empty());
}

TEST_F(Device, CamerasHaveTheirOwnDescriptors) {
    const auto other = std::make_shared<CSimulatedDriver>("global-3m");
    const int otherFd = openSimulatedCamera(other);
    ASSERT_NE(otherFd, mFd);
    v4l2_control control{VEK_CID_IMAGE_WIDTH, 0};
    EXPECT_EQ(ioctl(otherFd, VIDIOC_G_CTRL, &control), 0);
    EXPECT_EQ(control.value, 2048);
    EXPECT_EQ(ioctl(mFd, VIDIOC_G_CTRL, &control), 0);
    EXPECT_EQ(control.value, 16);
    EXPECT_EQ(closeSimulatedCamera(otherFd), 0);
}

TEST_F(Device, DuplicatesAreTheSameCamera) {
    const int duplicate = dup(mFd);
    ASSERT_GE(duplicate, 0);
    v4l2_control control{VEK_CID_IMAGE_WIDTH, 0};
    EXPECT_EQ(ioctl(duplicate, VIDIOC_G_CTRL, &control), 0);
    EXPECT_EQ(control.value, 16);
    EXPECT_EQ(closeSimulatedCamera(mFd), 0);
    ExpectKernelSays(duplicate, ENOTTY);
    close(duplicate);
}

TEST_F(Device, AReusedNumberIsNotTheCamera) {
    close(mFd); // behind the table's back
    const int reused = open("/dev/null", O_RDWR | O_CLOEXEC);
    ASSERT_EQ(reused, mFd);
    ExpectKernelSays(reused, ENOTTY);
    EXPECT_EQ(closeSimulatedCamera(reused), -1);
    EXPECT_EQ(errno, EBADF);
    close(reused);
}

TEST_F(Device, ClosedDescriptorIsGone) {
    EXPECT_EQ(closeSimulatedCamera(mFd), 0);
    ExpectKernelSays(mFd, EBADF);
    EXPECT_EQ(closeSimulatedCamera(mFd), -1);
    EXPECT_EQ(openSimulatedCamera(std::shared_ptr<CSimulatedDriver>()), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(Device, ManyThreadsMayUseIt) {
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this, i] {
            for (int n = 0; n < 50; ++n) {
                v4l2_control control{V4L2_CID_GAIN, i};
                EXPECT_EQ(ioctl(mFd, VIDIOC_S_CTRL, &control), 0);
                std::array<std::uint8_t, 32> part{};
                EXPECT_EQ(read(mFd, part.data(), part.size()), 32);
                const int other = openSimulatedCamera(mDriver);
                EXPECT_GE(other, 0);
                EXPECT_EQ(closeSimulatedCamera(other), 0);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(mDriver->Requests().size(), 200U);
    EXPECT_EQ(mDriver->FrameNumber(), 200U);
}

// --- Streaming -------------------------------------------------------------------------------------------------------

/// A camera with another setup, opened as often as the test likes.
class StreamingDevice : public Device {
protected:
    int Open(SNodeSetup setup) {
        mNode = std::make_shared<CVideoNode>(mDriver, std::move(setup));
        mStream = openSimulatedCamera(mNode);
        return mStream;
    }
    void TearDown() override {
        if (mStream >= 0) {
            closeSimulatedCamera(mStream);
        }
        Device::TearDown();
    }

    void Begin(unsigned buffers) const {
        v4l2_requestbuffers request{};
        request.count = buffers;
        request.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        request.memory = V4L2_MEMORY_MMAP;
        ASSERT_EQ(ioctl(mStream, VIDIOC_REQBUFS, &request), 0);
        for (std::uint32_t i = 0; i < buffers; ++i) {
            v4l2_buffer buffer = Buffer(i);
            ASSERT_EQ(ioctl(mStream, VIDIOC_QBUF, &buffer), 0);
        }
        int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        ASSERT_EQ(ioctl(mStream, VIDIOC_STREAMON, &type), 0);
    }

    static v4l2_buffer Buffer(std::uint32_t index) {
        v4l2_buffer buffer{};
        buffer.index = index;
        buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        buffer.memory = V4L2_MEMORY_MMAP;
        return buffer;
    }

    std::shared_ptr<CVideoNode> mNode;
    int mStream = -1;
};

SNodeSetup paced(double rate) {
    SNodeSetup setup;
    setup.pace = EPace::Free;
    setup.framesPerSecond = rate;
    return setup;
}

SNodeSetup triggered() {
    SNodeSetup setup;
    setup.pace = EPace::Trigger;
    return setup;
}

TEST_F(StreamingDevice, FramesComeThroughMappedBuffers) {
    ASSERT_GE(Open(paced(500)), 0);
    std::vector<std::uint8_t> sent;
    mNode->SetLog([&](const SSentFrame& frame) {
        if (frame.fate == EFate::Whole) { // those behind it find no buffer
            sent.assign(frame.bytes.begin(), frame.bytes.end());
        }
    });
    Begin(1);
    v4l2_buffer buffer = Buffer(0);
    ASSERT_EQ(ioctl(mStream, VIDIOC_QUERYBUF, &buffer), 0);
    EXPECT_EQ(mmap(nullptr, buffer.length, PROT_READ, MAP_PRIVATE, mStream, buffer.m.offset), MAP_FAILED);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(mmap(nullptr, buffer.length, PROT_WRITE, MAP_SHARED, mStream, buffer.m.offset), MAP_FAILED);
    EXPECT_EQ(mmap(nullptr, buffer.length, PROT_READ, MAP_SHARED, mStream, 4096), MAP_FAILED);
    void* const mapped = mmap(nullptr, buffer.length, PROT_READ, MAP_SHARED, mStream, buffer.m.offset);
    ASSERT_NE(mapped, MAP_FAILED);
    ASSERT_EQ(ioctl(mStream, VIDIOC_QUERYBUF, &buffer), 0);
    EXPECT_NE(buffer.flags & V4L2_BUF_FLAG_MAPPED, 0U);
    pollfd waiting{mStream, POLLIN, 0};
    EXPECT_EQ(poll(&waiting, 1, 5000), 1);
    EXPECT_EQ(waiting.revents, POLLIN);
    ASSERT_EQ(ioctl(mStream, VIDIOC_DQBUF, &buffer), 0);
    const auto* const bytes = static_cast<const std::uint8_t*>(mapped);
    EXPECT_EQ(std::vector(bytes, bytes + buffer.bytesused), sent);
    EXPECT_EQ(munmap(mapped, buffer.length), 0);
    ASSERT_EQ(ioctl(mStream, VIDIOC_QUERYBUF, &buffer), 0);
    EXPECT_EQ(buffer.flags & V4L2_BUF_FLAG_MAPPED, 0U);
}

TEST_F(StreamingDevice, PollWithoutDescriptorsIsTheKernels) {
    pollfd* volatile none = nullptr; // out of sight of the compiler, which knows that poll wants descriptors
    errno = 0;
    EXPECT_EQ(poll(none, 1, 0), -1);
    EXPECT_EQ(errno, EFAULT);
    EXPECT_EQ(poll(none, 0, 0), 0);
}

TEST_F(StreamingDevice, PollWaitsForCamerasAndOthersAtOnce) {
    ASSERT_GE(Open(triggered()), 0);
    Begin(2);
    int pipes[2];
    ASSERT_EQ(pipe(pipes), 0);
    std::array<pollfd, 3> waiting = {pollfd{mStream, POLLIN, 0}, pollfd{pipes[0], POLLIN, 0}, pollfd{-1, POLLIN, 0}};
    EXPECT_EQ(poll(waiting.data(), waiting.size(), 20), 0);
    ASSERT_EQ(write(pipes[1], "x", 1), 1);
    EXPECT_EQ(poll(waiting.data(), waiting.size(), -1), 1);
    EXPECT_EQ(waiting[0].revents, 0);
    EXPECT_EQ(waiting[1].revents, POLLIN);
    mNode->Trigger();
    const timespec second{1, 0};
    EXPECT_EQ(ppoll(waiting.data(), waiting.size(), &second, nullptr), 2);
    EXPECT_EQ(waiting[0].revents, POLLIN);
    close(pipes[0]);
    close(pipes[1]);
}

TEST_F(StreamingDevice, WhoMayNotWaitIsToldSo) {
    ASSERT_GE(Open(triggered()), 0);
    ASSERT_EQ(fcntl(mStream, F_SETFL, O_NONBLOCK), 0);
    Begin(1);
    v4l2_buffer buffer = Buffer(0);
    EXPECT_EQ(ioctl(mStream, VIDIOC_DQBUF, &buffer), -1);
    EXPECT_EQ(errno, EAGAIN);
}

TEST_F(StreamingDevice, WaitingEndsWhenTheStreamDoes) {
    ASSERT_GE(Open(triggered()), 0);
    Begin(1);
    int error = 0;
    std::thread waits([&] {
        v4l2_buffer buffer = Buffer(0);
        error = ioctl(mStream, VIDIOC_DQBUF, &buffer) == 0 ? 0 : errno;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    EXPECT_EQ(ioctl(mStream, VIDIOC_STREAMOFF, &type), 0);
    waits.join();
    EXPECT_EQ(error, EINVAL);
}

TEST_F(StreamingDevice, WaitingEndsAtASignal) {
    ASSERT_GE(Open(triggered()), 0);
    Begin(1);
    struct sigaction action {};
    action.sa_handler = [](int) {};
    struct sigaction before {};
    ASSERT_EQ(sigaction(SIGALRM, &action, &before), 0);
    alarm(1);
    v4l2_buffer buffer = Buffer(0);
    EXPECT_EQ(ioctl(mStream, VIDIOC_DQBUF, &buffer), -1);
    EXPECT_EQ(errno, EINTR);
    EXPECT_EQ(sigaction(SIGALRM, &before, nullptr), 0);
}

TEST_F(StreamingDevice, ACameraHasSeveralOpenFiles) {
    ASSERT_GE(Open(triggered()), 0);
    const int second = openSimulatedCamera(mNode);
    ASSERT_GE(second, 0);
    Begin(1);
    int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    EXPECT_EQ(ioctl(second, VIDIOC_STREAMON, &type), -1);
    EXPECT_EQ(errno, EBUSY);
    EXPECT_EQ(closeSimulatedCamera(second), 0);
    mNode->Unplug();
    EXPECT_EQ(openSimulatedCamera(mNode), -1);
    EXPECT_EQ(errno, ENODEV);
}

} // namespace
