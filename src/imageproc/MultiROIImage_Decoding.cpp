// SPDX-License-Identifier: Apache-2.0
#include "imageproc/MultiROIImage_Decoding.h"

#include "VekTrgApi.h"
#include "common/Status.h"
#include "imageproc/IDeliveredFrame.h"
#include "imageproc/IMultiROIImage.h"
#include "imageproc/IRegionInfo.h"

#include <cstdint>
#include <cstring>

namespace vek {

namespace {

void store(unsigned long* output, unsigned long value) {
    if (output != nullptr) {
        *output = value;
    }
}

/// A 32-bit number: the upper half of the output stays the caller's.
void storeLow(unsigned long* output, unsigned int value) {
    if (output != nullptr) {
        std::memcpy(output, &value, sizeof value);
    }
}

/// The whole frame, which is a plain image.
void decodePlain(IDeliveredFrame& delivered, unsigned char* frame, const SDecodedImage& output) {
    if (output.image != nullptr) {
        *output.image = frame;
    }
    const unsigned long width = delivered.GetFrameWidth();
    store(output.width, width);
    store(output.height, delivered.GetFrameHeight());
    store(output.pitch, width * delivered.GetFrameBitsPerPixel() >> 3);
}

void decodeRegion(IMultiROIImage& module, unsigned int region, unsigned char* frame, unsigned long size,
                  unsigned long format, const SDecodedImage& output) {
    unsigned int width = 0;
    unsigned int height = 0;
    unsigned int pitch = 0;
    *output.image = static_cast<unsigned char*>(
        module.GetEachROIData(region, frame, size, format, nullptr, nullptr, &width, &height, &pitch));
    if (width != 0) { // the region lies in the frame, which may be null
        storeLow(output.width, width);
        storeLow(output.height, height);
        storeLow(output.pitch, pitch);
    }
}

/// Whether a frame of blocks holds one at least: without a frame there is nothing to copy from.
bool holdsBlock(IMultiROIImage& module, unsigned int count, unsigned long size, unsigned long format) {
    constexpr unsigned long endless = ~0UL;
    for (unsigned int region = 0; region < count; ++region) {
        unsigned int width = 0;
        unsigned int height = 0;
        unsigned int pitch = 0;
        module.GetEachROIData(region, nullptr, endless, format, nullptr, nullptr, &width, &height, &pitch);
        const unsigned long block = static_cast<unsigned long>(height) * pitch;
        if (block != 0 && block <= size) {
            return true;
        }
    }
    return false;
}

} // namespace

unsigned long decodeMultiROI(IMultiROIImage& module, IRegionInfo& regions, IDeliveredFrame& delivered,
                             unsigned long roiSelector, unsigned char* frame, const SDecodedImage& output) {
    module.UpdateROIInfo(&regions, 1);
    const auto count = static_cast<std::uint32_t>(module.GetROICount());
    const auto size = static_cast<std::uint32_t>(delivered.GetFrameSize());
    if (count == 0 || size == 0) {
        return kInvalid;
    }
    const unsigned long format = delivered.GetFramePixelFormat();
    const bool all = roiSelector == VEK_COMBINING_IMAGE;
    if (!all && roiSelector >= count) {
        return kInvalid;
    }
    if (count == 1) {
        decodePlain(delivered, frame, output);
        return kOk;
    }
    if (output.image == nullptr) {
        return kOk;
    }
    if (!all) {
        decodeRegion(module, static_cast<unsigned int>(roiSelector), frame, size, format, output);
        return kOk;
    }
    if (frame == nullptr && regions.GetMultiROIType() != kROIsCombined && holdsBlock(module, count, size, format)) {
        return kInvalid;
    }
    module.ClearInsideImageBuffer();
    *output.image = static_cast<unsigned char*>(module.AddImageData(0, frame, size, format));
    store(output.width, module.GetCombiningImageSize(0));
    store(output.height, module.GetCombiningImageSize(1));
    store(output.pitch, module.GetCombiningImageLinePitch());
    return kOk;
}

} // namespace vek
