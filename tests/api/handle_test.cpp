// SPDX-License-Identifier: Apache-2.0
// Life of a handle on descriptors that are no camera.
#include "VekTrgApi.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <vector>

extern "C" int vekHeaderWorksInC(void);

namespace vek::test {

namespace {

bool isOpen(int fd) {
    return fcntl(fd, F_GETFD) != -1;
}

/// A handle that works without a camera: one grey pixel.
void expectUsable(VekCam_Handle handle) {
    ASSERT_NE(handle, nullptr);
    const unsigned char src = 7;
    unsigned char dst[4] = {9, 9, 9, 9};
    EXPECT_EQ(VekCam_ColorInterpolation(handle, 1, 1, 1, &src, dst, 0, 4, 8), 0);
    EXPECT_EQ(dst[0], 7);
    EXPECT_EQ(dst[3], 9);
}

} // namespace

TEST(CHandle, DescriptorsThatAreNoneGiveAHandle) {
    for (const int fd : {-1, INT_MIN, INT_MAX, 9999}) {
        const VekCam_Handle handle = VekCam_Open(fd);
        expectUsable(handle);
        VekCam_Close(handle);
    }
}

TEST(CHandle, ClosedDescriptorGivesAHandle) {
    const int fd = open("/dev/null", O_RDWR);
    ASSERT_NE(fd, -1);
    close(fd);
    const VekCam_Handle handle = VekCam_Open(fd);
    expectUsable(handle);
    VekCam_Close(handle);
}

TEST(CHandle, DescriptorStaysOpen) {
    std::FILE* const file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    const int null = open("/dev/null", O_RDWR);
    int pipes[2] = {};
    ASSERT_EQ(pipe(pipes), 0);
    for (const int fd : {fileno(file), null, pipes[0]}) {
        const VekCam_Handle handle = VekCam_Open(fd);
        expectUsable(handle);
        EXPECT_TRUE(isOpen(fd));
        VekCam_Close(handle);
        EXPECT_TRUE(isOpen(fd));
    }
    std::fclose(file);
    close(null);
    close(pipes[0]);
    close(pipes[1]);
}

TEST(CHandle, NoDescriptorIsUsedUp) {
    const int before = dup(0);
    close(before);
    for (int i = 0; i < 100; ++i) {
        VekCam_Close(VekCam_Open(0));
    }
    const int after = dup(0);
    close(after);
    EXPECT_EQ(before, after);
}

TEST(CHandle, HandlesAreIndependent) {
    std::vector<VekCam_Handle> handles;
    for (int i = 0; i < 20; ++i) {
        handles.push_back(VekCam_Open(-1));
        for (std::size_t other = 0; other + 1 < handles.size(); ++other) {
            EXPECT_NE(handles[other], handles.back());
        }
    }
    VekCam_Close(handles[3]);
    expectUsable(handles[4]);
    for (std::size_t i = 0; i < handles.size(); ++i) {
        if (i != 3) {
            VekCam_Close(handles[i]);
        }
    }
}

TEST(CHandle, CloseIgnoresNull) {
    VekCam_Close(nullptr);
}

TEST(CHandle, VersionDoesNotLookAtTheHandle) {
    unsigned long version = 99;
    EXPECT_EQ(VekCam_GetlibVersion(nullptr, &version), 1);
    EXPECT_EQ(version, 2UL);
    version = ~0UL;
    EXPECT_EQ(VekCam_GetlibVersion(reinterpret_cast<VekCam_Handle>(std::uintptr_t{1}), &version), 1);
    EXPECT_EQ(version, 2UL); // all 64 bits are written
    EXPECT_EQ(VekCam_GetlibVersion(nullptr, nullptr), -22);
}

TEST(CHandle, HeaderWorksInC) {
    EXPECT_EQ(vekHeaderWorksInC(), 1);
}

} // namespace vek::test
