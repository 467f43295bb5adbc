// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/files/Descriptor.h"

#include <string>

namespace vek::client {

/// An open camera, whatever stands behind it: what it answers to ioctl and read is all that client/ knows of it. A
/// front end hands in cameras of its own, simulated ones for example.
class ICamera {
public:
    virtual ~ICamera() = default;

    /// The descriptor, which stays the camera's.
    virtual int Fd() const = 0;
    /// For messages and printed texts.
    virtual const std::string& Name() const = 0;
};

/// Whether opening a device and reading its frames wait while it is not ready, or return at once.
enum class EUnready : unsigned char { Wait, Return };

/// A Video4Linux2 node.
class CDeviceCamera : public ICamera {
public:
    /// Throws CFailure when it cannot be opened or is no trigger camera.
    explicit CDeviceCamera(const std::string& path, EUnready unready = EUnready::Wait);

    int Fd() const override { return mDevice.Get(); }
    const std::string& Name() const override { return mName; }

private:
    std::string mName;
    CDescriptor mDevice;
};

} // namespace vek::client
