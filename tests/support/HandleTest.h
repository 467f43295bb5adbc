// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VekTrgApi.h"

#include <gtest/gtest.h>

namespace vek::test {

/// Tests of the exported functions on a handle without a camera.
class CHandleTest : public ::testing::Test {
protected:
    CHandleTest() : mHandle(VekCam_Open(-1)) {}
    ~CHandleTest() override { VekCam_Close(mHandle); }

    VekCam_Handle mHandle;
};

} // namespace vek::test
