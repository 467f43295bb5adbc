// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/frames/RawFrame.h"
#include "client/names/Names.h"
#include "client/pictures/Image.h"
#include "formats/ColorArrays.h"
#include "formats/DemosaicMethods.h"

#include <VekTrgApi.h>

#include <cstdint>
#include <span>

namespace vek::client {

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

    /// Makes a picture of 8 bits of a frame whose colours the camera has made, of YCrCb with VekCam_ColorInterpolation,
    /// of blue-green-red with VekCam_ConvYUVOrBGRToBGRImage. gray: luma, or green. Every pixel gets its colour, also
    /// those at the end of a row that the library leaves out. bytes: frameBytes of them. Throws CFailure when the
    /// library refuses.
    SImage Picture(std::span<const std::uint8_t> bytes, const STransferFormat& format, std::uint32_t width,
                   std::uint32_t height, bool gray) const;

private:
    VekCam_Handle mHandle;
};

/// Smallest width and height that a method takes for a colour array.
constexpr std::uint32_t smallestSide(unsigned short colorArray, unsigned method) {
    if (!isBayer(colorArray)) {
        return 1;
    }
    for (const SDemosaicMethod& known : kChainMethods) {
        if (known.code == method) {
            return known.minSize;
        }
    }
    return 1;
}

/// The library's version number.
unsigned long libraryVersion();

} // namespace vek::client
