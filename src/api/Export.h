// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VekTrgApi.h"
#include "api/VekTrgCamera.h"
#include "common/Status.h"

#include <new>

namespace vek {

// An image of bytes or of words, as an export's depth argument tells.
inline unsigned char* bytes(void* image) {
    return static_cast<unsigned char*>(image);
}
inline unsigned short* words(void* image) {
    return static_cast<unsigned short*>(image);
}

/// Runs the body of an export: VEK_EINVAL for a null handle, else what body makes of the camera. Nothing that body
/// throws gets out.
template <class Body>
int runExport(VekCam_Handle handle, Body body) noexcept {
    if (handle == nullptr) {
        return VEK_EINVAL;
    }
    try {
        return body(*handle);
    } catch (const std::bad_alloc&) {
        return VEK_ENOMEM;
    } catch (...) {
        return VEK_EINVAL;
    }
}

/// The same for an export that writes one value: VEK_EINVAL for a null output, too.
template <class T, class Body>
int runValueExport(VekCam_Handle handle, const T* output, Body body) noexcept {
    return runExport(
        handle, [&](CVekTrgCamera& camera) { return output != nullptr ? static_cast<int>(body(camera)) : VEK_EINVAL; });
}

} // namespace vek
