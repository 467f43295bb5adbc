// SPDX-License-Identifier: Apache-2.0
#include "client/stages/LibraryHandle.h"

#include "client/Errors.h"
#include "client/stages/LibraryRows.h"

#include <fmt/format.h>

#include <algorithm>

namespace vek::client {

namespace {

/// The bilinear method never writes the third colour of an odd height's last row (an even one, so it starts the
/// colour array's cell); the row above has it.
void closeLastRow(SImage& image, unsigned short colorArray) {
    const std::size_t rowSamples = image.RowSamples();
    std::uint16_t* const last = image.samples.data() + rowSamples * (image.height - 1);
    for (std::size_t i = isRedRow(phaseSlots(colorArray), image.height - 1) ? 2 : 0; i < rowSamples; i += 3) {
        last[i] = last[i - rowSamples];
    }
}

void requireFormat(int status, const char* function, const STransferFormat& format, std::uint32_t width,
                   std::uint32_t height) {
    if (status != VEK_OK) {
        throw CFailure(
            fmt::format("{} refused the frame ({} x {}, format {}): {}", function, width, height, format.name, status));
    }
}

/// YCrCb rows that the library decodes to their end.
struct SWholeGroups {
    std::uint32_t width = 0; ///< pixels
    std::vector<std::uint8_t> bytes;
};

/// Completes the last group of each row with the bytes of the group before, and adds a copy of it to 4:1:1: the library
/// writes the last pixel of a group that is cut off to the front of the row, and leaves out the last four pixels of
/// 4:1:1.
SWholeGroups wholeGroups(std::span<const std::uint8_t> bytes, const STransferFormat& format, std::uint32_t width,
                         std::uint32_t height) {
    constexpr std::uint8_t noChroma = 128;
    const unsigned pixels = format.groupPixels;
    const std::size_t groupBytes = format.groupBytes;
    const std::size_t groups = (width + pixels - 1) / pixels + (pixels == 4 ? 1U : 0U);
    const std::size_t sourceBytes = format.RowBytes(width);
    SWholeGroups whole{static_cast<std::uint32_t>(groups * pixels), {}};
    whole.bytes.reserve(groups * groupBytes * height);
    for (std::size_t y = 0; y < height; ++y) {
        const auto row = bytes.subspan(y * sourceBytes, sourceBytes);
        whole.bytes.insert(whole.bytes.end(), row.begin(), row.end());
        for (std::size_t i = sourceBytes; i < groups * groupBytes; ++i) {
            whole.bytes.push_back(i < groupBytes ? noChroma : whole.bytes[whole.bytes.size() - groupBytes]);
        }
    }
    return whole;
}

/// The left part of an image.
SImage leftColumns(const SImage& image, std::uint32_t width) {
    SImage left{width, image.height, image.channels, image.depth, {}};
    left.samples.reserve(left.RowSamples() * left.height);
    for (std::size_t y = 0; y < image.height; ++y) {
        const auto row = image.samples.begin() + static_cast<std::ptrdiff_t>(y * image.RowSamples());
        left.samples.insert(left.samples.end(), row, row + static_cast<std::ptrdiff_t>(left.RowSamples()));
    }
    return left;
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
    const bool gray = method == VEK_DEMOSAIC_MONO || frame.colorArray == VEK_COLOR_ARRAY_MONO;
    const bool bytes = frame.depth == 8;
    const unsigned long format = bytes ? (gray ? VEK_DESTINATION_MONO8 : VEK_DESTINATION_BGR24)
                                       : (gray ? VEK_DESTINATION_MONO12 : VEK_DESTINATION_BGR48);
    SImage image{frame.width, frame.height, static_cast<unsigned short>(gray ? 1 : 3), frame.depth, {}};

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
    if (!gray && method == VEK_DEMOSAIC_BILINEAR_SIMPLE && frame.height % 2 != 0) {
        closeLastRow(image, frame.colorArray);
    }
    return image;
}

SImage CLibraryHandle::Picture(std::span<const std::uint8_t> bytes, const STransferFormat& format, std::uint32_t width,
                               std::uint32_t height, bool gray) const {
    const unsigned long destination = gray ? VEK_DESTINATION_MONO8 : VEK_DESTINATION_BGR24;
    SImage image{width, height, static_cast<unsigned short>(gray ? 1 : 3), 8, {}};
    if (format.layout == ELayout::Bgr) {
        std::vector<std::uint8_t> output(image.RowSamples() * height);
        requireFormat(VekCam_ConvYUVOrBGRToBGRImage(mHandle, width, height, format.code, bytes.data(), destination,
                                                    output.data()),
                      "VekCam_ConvYUVOrBGRToBGRImage", format, width, height);
        takeLibraryRows(output, image, image.RowSamples());
        return image;
    }
    const SWholeGroups whole = wholeGroups(bytes, format, width, height);
    image.width = whole.width;
    std::vector<std::uint8_t> output(paddedRowSamples<std::uint8_t>(image) * height);
    const unsigned char method = gray ? VEK_DEMOSAIC_MONO : VEK_DEMOSAIC_BILINEAR_SIMPLE;
    requireFormat(VekCam_ColorInterpolation(mHandle, whole.width, height, VekTransferColorArray(format.code, 0),
                                            whole.bytes.data(), output.data(), method, destination, 8),
                  "VekCam_ColorInterpolation", format, width, height);
    takeLibraryRows(output, image);
    return leftColumns(image, width);
}

unsigned long libraryVersion() {
    unsigned long version = 0;
    VekCam_GetlibVersion(nullptr, &version);
    return version;
}

} // namespace vek::client
