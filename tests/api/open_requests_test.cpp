// SPDX-License-Identifier: Apache-2.0
// What the exported functions ask of the driver, seen from outside the shared library.
#include "VekTrgApi.h"
#include "support/FakeDriver.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace vek::test {

TEST(COpenRequests, OpenAsksThreeThingsAndTheRestNothing) {
    CFakeDriver driver;
    const VekCam_Handle handle = VekCam_Open(31);
    ASSERT_NE(handle, nullptr);
    ASSERT_EQ(driver.Log().size(), 3U);
    EXPECT_EQ(driver.Log()[0].number, kGetDescription);
    EXPECT_EQ(driver.Log()[1].number, kGetControl);
    EXPECT_EQ(driver.Log()[1].Id(), kCidGain);
    EXPECT_EQ(driver.Log()[2].number, kGetControl);
    EXPECT_EQ(driver.Log()[2].Id(), kCidExposure);
    for (const SRequest& request : driver.Log()) {
        EXPECT_EQ(request.fd, 31);
    }
    driver.ClearLog();
    unsigned long version = 0;
    EXPECT_EQ(VekCam_GetlibVersion(handle, &version), 1);
    unsigned char src[4] = {1, 2, 3, 4};
    unsigned char dst[16] = {};
    EXPECT_EQ(VekCam_ColorInterpolation(handle, 2, 2, 2, src, dst, 1, 4, 8), 0);
    VekCam_Close(handle);
    EXPECT_TRUE(driver.Log().empty());
}

TEST(COpenRequests, EveryFailureStillGivesAHandle) {
    for (std::size_t n = 0; n < 3; ++n) {
        for (const int error : {EINTR, ENOTTY, EBADF, EIO}) {
            CFakeDriver driver;
            driver.FailNth(n, {-1, error, false});
            const VekCam_Handle handle = VekCam_Open(31);
            EXPECT_NE(handle, nullptr);
            EXPECT_EQ(driver.Log().size(), 3U);
            VekCam_Close(handle);
        }
    }
}

TEST(COpenRequests, HandlesKeepTheirOwnDescriptor) {
    CFakeDriver driver;
    const VekCam_Handle first = VekCam_Open(7);
    const VekCam_Handle second = VekCam_Open(8);
    EXPECT_NE(first, second);
    ASSERT_EQ(driver.Log().size(), 6U);
    EXPECT_EQ(driver.Log()[2].fd, 7);
    EXPECT_EQ(driver.Log()[5].fd, 8);
    VekCam_Close(first);
    VekCam_Close(second);
}

} // namespace vek::test
