// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/camera/Camera.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vek::client {

/// What a camera is known by when it was unplugged and came back, under another name perhaps.
struct SCameraIdentity {
    std::string card;
    std::string busInfo; ///< where it is plugged in
    std::string serial;  ///< of the USB device, from sysfs; empty where there is none
    bool operator==(const SCameraIdentity&) const = default;

    /// Whether it is the same camera: by its serial number where both have one, else by card and place.
    bool IsSame(const SCameraIdentity& other) const;
};

/// A Video4Linux2 node that frames are taken from, whatever camera it is.
class CVideoDevice : public ICamera {
public:
    /// Throws CFailure, CCameraFailure where it cannot be opened or is no capture device.
    explicit CVideoDevice(const std::string& path);

    int Fd() const override { return mDevice.Get(); }
    const std::string& Name() const override { return mName; }
    const SCameraIdentity& Identity() const { return mIdentity; }

private:
    std::string mName;
    CDescriptor mDevice;
    SCameraIdentity mIdentity;
};

/// Opens the camera that has an identity: at path, or at the node of /dev/video* that it came back as. Null where it is
/// not there.
std::shared_ptr<const ICamera> reopened(const std::string& path, const SCameraIdentity& identity);

/// Who has a device's node open, of the processes that this user may look into, this one apart: "ffmpeg (1234)".
std::vector<std::string> usersOf(int fd);

} // namespace vek::client
