// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/Errors.h"

namespace vek::client {

/// Why a camera's frames do not come. Front ends have a message and an exit code for each.
enum class ECameraFailure : unsigned char {
    Interrupted,   ///< a signal ended the wait (EINTR)
    NoFrame,       ///< none came until the deadline (EAGAIN)
    Transfer,      ///< the driver cannot transfer them (EIO)
    Unplugged,     ///< the camera is gone (ENODEV)
    InUse,         ///< someone else streams (EBUSY)
    NoBandwidth,   ///< the bus has no room for them (ENOSPC)
    FormatChanged, ///< it sends others than were agreed on (V4L2_EVENT_SOURCE_CHANGE)
    StreamEnded    ///< it sends no more (V4L2_EVENT_EOS)
};

class CCameraFailure : public CFailure {
public:
    CCameraFailure(ECameraFailure kind, const std::string& message) : CFailure(message), mKind(kind) {}
    ECameraFailure Kind() const { return mKind; }

private:
    ECameraFailure mKind;
};

/// Throws what errno's value means where frames are taken: CCameraFailure for the kinds above, else CFailure. camera:
/// its name; what: was to be done, in words ("start streaming").
[[noreturn]] void throwCameraFailure(const std::string& camera, std::string_view what, int error);

} // namespace vek::client
