// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VekTrgApi.h"
#include "support/CameraValues.h"

namespace vek::test {

/// A handle on a camera that reports values. What opening it asked is forgotten.
class COpenHandle {
public:
    static constexpr int kFd = 4;

    explicit COpenHandle(const SCameraValues& values) {
        report(values, &mDriver);
        mHandle = VekCam_Open(kFd);
        mDriver.ClearLog();
    }
    ~COpenHandle() { VekCam_Close(mHandle); }
    COpenHandle(const COpenHandle&) = delete;
    COpenHandle& operator=(const COpenHandle&) = delete;
    operator VekCam_Handle() const { return mHandle; }
    CFakeDriver& Driver() { return mDriver; }
    const CFakeDriver& Driver() const { return mDriver; }

private:
    CFakeDriver mDriver;
    VekCam_Handle mHandle = nullptr;
};

} // namespace vek::test
