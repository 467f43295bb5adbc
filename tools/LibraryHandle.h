// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Image.h"

#include <VekTrgApi.h>

namespace vek::tools {

/// Owns a handle of the library; the descriptor stays the caller's.
class CLibraryHandle {
public:
    /// fd: an open camera, or -1 for a handle that only works on images. Throws CFailure when memory runs out.
    explicit CLibraryHandle(int fd);
    ~CLibraryHandle();
    CLibraryHandle(const CLibraryHandle&) = delete;
    CLibraryHandle& operator=(const CLibraryHandle&) = delete;

    VekCam_Handle Get() const { return mHandle; }

    /// Demosaics a frame with VekCam_ColorInterpolation, at the frame's depth: grey for a mono frame and for
    /// VEK_DEMOSAIC_MONO, else colour. What the method leaves open in an odd height's last row is copied from the
    /// row above. Throws CFailure when the library refuses.
    SImage Demosaic(const SRawFrame& frame, unsigned char method) const;

private:
    VekCam_Handle mHandle;
};

/// Smallest width and height that a method takes for a colour array.
constexpr std::uint32_t smallestSide(unsigned short colorArray, unsigned method) {
    const bool cells = method == VEK_DEMOSAIC_NEAREST_NEIGHBOR || method == VEK_DEMOSAIC_BILINEAR_SIMPLE;
    return colorArray != VEK_COLOR_ARRAY_MONO && cells ? 2 : 1;
}

/// The library's version number.
unsigned long libraryVersion();

} // namespace vek::tools
