// SPDX-License-Identifier: Apache-2.0
#include "client/camera/FrameGrabber.h"

#include "client/Errors.h"
#include "client/frames/RawFrame.h"

#include <VekTrgApi.h>

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>

namespace vek::client {

CFrameGrabber::CFrameGrabber(const ICamera& camera, const STransferFormat& format) : mCamera(camera), mFormat(format) {
    setControl(camera, VEK_CID_TRANSFER_FORMAT, static_cast<std::int32_t>(format.code));
    mInfo = readCameraInfo(camera);
    mBytes.resize(frameBytes(format, Width(), Height()));
    if (static_cast<std::uint64_t>(mInfo.rawImageSize) != mBytes.size()) {
        throw CFailure(fmt::format("{}: a frame of {} x {} pixels in {} takes {} bytes, the camera sends {}",
                                   mCamera.Name(), Width(), Height(), format.name, mBytes.size(), mInfo.rawImageSize));
    }
}

std::span<const std::uint8_t> CFrameGrabber::Next() {
    ssize_t got = 0;
    do {
        got = read(mCamera.Fd(), mBytes.data(), mBytes.size());
    } while (got < 0 && errno == EINTR);
    if (got < 0) {
        throw CFailure(fmt::format("{}: cannot read a frame: {}", mCamera.Name(), systemMessage(errno)));
    }
    if (static_cast<std::size_t>(got) != mBytes.size()) {
        throw CFailure(
            fmt::format("{}: incomplete frame: {} bytes needed, {} came", mCamera.Name(), mBytes.size(), got));
    }
    return mBytes;
}

} // namespace vek::client
