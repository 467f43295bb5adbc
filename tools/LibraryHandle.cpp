// SPDX-License-Identifier: Apache-2.0
#include "LibraryHandle.h"

#include "Errors.h"
#include "LibraryRows.h"
#include "Names.h"

#include <fmt/format.h>

namespace vek::tools {

namespace {

/// The bilinear method never writes the third colour of an odd height's last row (an even one, so it starts the
/// colour array's cell); the row above has it.
void closeLastRow(SImage& image, unsigned short colorArray) {
    const bool redRow = colorArray == VEK_COLOR_ARRAY_RGGB || colorArray == VEK_COLOR_ARRAY_GRBG;
    const std::size_t rowSamples = image.rowSamples();
    std::uint16_t* const last = image.samples.data() + rowSamples * (image.height - 1);
    for (std::size_t i = redRow ? 2 : 0; i < rowSamples; i += 3) {
        last[i] = last[i - rowSamples];
    }
}

} // namespace

CLibraryHandle::CLibraryHandle(int fd) : mHandle(VekCam_Open(fd)) {
    if (mHandle == nullptr) {
        throw CFailure("the library gave no handle: not enough memory");
    }
}

CLibraryHandle::~CLibraryHandle() {
    VekCam_Close(mHandle);
}

SImage CLibraryHandle::Demosaic(const SRawFrame& frame, unsigned char method) const {
    const bool grey = method == VEK_DEMOSAIC_MONO || frame.colorArray == VEK_COLOR_ARRAY_MONO;
    const bool bytes = frame.depth == 8;
    const unsigned long format = bytes ? (grey ? VEK_DESTINATION_MONO8 : VEK_DESTINATION_BGR24)
                                       : (grey ? VEK_DESTINATION_MONO12 : VEK_DESTINATION_BGR48);
    SImage image{frame.width, frame.height, static_cast<unsigned short>(grey ? 1 : 3), frame.depth, {}};

    std::visit(
        [&]<class T>(const std::vector<T>& samples) {
            std::vector<T> output(paddedRowSamples<T>(image) * image.height);
            const int status = VekCam_ColorInterpolation(mHandle, frame.width, frame.height, frame.colorArray,
                                                         samples.data(), output.data(), method, format, frame.depth);
            if (status != VEK_OK) {
                throw CFailure(fmt::format("the library refused the frame ({} x {}, colour array {}, method {}): {}",
                                           frame.width, frame.height, colorArrayName(frame.colorArray),
                                           methodName(method), status));
            }
            takeLibraryRows(output, image);
        },
        frame.samples);
    if (!grey && method == VEK_DEMOSAIC_BILINEAR_SIMPLE && frame.height % 2 != 0) {
        closeLastRow(image, frame.colorArray);
    }
    return image;
}

unsigned long libraryVersion() {
    unsigned long version = 0;
    VekCam_GetlibVersion(nullptr, &version);
    return version;
}

} // namespace vek::tools
