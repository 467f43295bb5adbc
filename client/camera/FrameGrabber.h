// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/camera/CameraInfo.h"

#include "formats/TransferFormats.h"

#include <cstdint>
#include <span>
#include <vector>

namespace vek::client {

/// Takes frames from a camera by read, in one unpacked transfer format.
class CFrameGrabber {
public:
    /// Sets the transfer format. The camera and the format outlive the grabber. Throws CFailure when the camera refuses
    /// the format or its frames have another size.
    CFrameGrabber(const ICamera& camera, const STransferFormat& format);

    /// The bytes of the next frame; they stay until the one after it is taken. Throws CFailure.
    std::span<const std::uint8_t> Next();
    /// The bytes of the frame that was taken last.
    std::span<const std::uint8_t> Bytes() const { return mBytes; }

    std::uint32_t Width() const { return static_cast<std::uint32_t>(mInfo.width); }
    std::uint32_t Height() const { return static_cast<std::uint32_t>(mInfo.height); }
    const STransferFormat& Format() const { return mFormat; }
    /// The sensor's, enum VekColorArray: the camera has it of a mono format, too.
    unsigned short ColorArray() const { return static_cast<unsigned short>(mInfo.colorArray); }

private:
    const ICamera& mCamera;
    const STransferFormat& mFormat;
    SCameraInfo mInfo;
    std::vector<std::uint8_t> mBytes;
};

} // namespace vek::client
