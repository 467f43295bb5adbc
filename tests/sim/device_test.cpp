// SPDX-License-Identifier: Apache-2.0
// The interposer: calls of ioctl and read in this very program.
#include "sim/SimulatedDevice.h"

#include "VekTrgApi.h"

#include <gtest/gtest.h>
#include <linux/videodev2.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <sys/ioctl.h>
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
    EXPECT_EQ(openSimulatedCamera(nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(Device, ManyThreadsMayUseIt) {
    std::vector<std::thread> threads;
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

} // namespace
