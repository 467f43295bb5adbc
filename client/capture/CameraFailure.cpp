// SPDX-License-Identifier: Apache-2.0
#include "client/capture/CameraFailure.h"

#include <fmt/format.h>

#include <cerrno>

namespace vek::client {

void throwCameraFailure(const std::string& camera, std::string_view what, int error) {
    const auto fail = [&](ECameraFailure kind, std::string_view why) {
        throw CCameraFailure(kind, fmt::format("{}: cannot {}: {}", camera, what, why));
    };
    switch (error) {
    case EINTR:
        fail(ECameraFailure::Interrupted, "a signal came in between");
        break;
    case EAGAIN:
        fail(ECameraFailure::NoFrame, "no frame is there");
        break;
    case EIO:
        fail(ECameraFailure::Transfer, "the driver reports that the transfer failed");
        break;
    case ENODEV:
    case ENXIO:
        fail(ECameraFailure::Unplugged, "the camera is not there any more");
        break;
    case EBUSY:
        fail(ECameraFailure::InUse, "someone else streams from the camera");
        break;
    case ENOSPC:
        fail(ECameraFailure::NoBandwidth,
             "the bus has no bandwidth left; fewer bits, smaller frames or another port need less");
        break;
    default:
        break;
    }
    throw CFailure(fmt::format("{}: cannot {}: {}", camera, what, systemMessage(error)));
}

} // namespace vek::client
