// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vek {

class IDeliveredFrame;
class IMultiROIImage;
class IRegionInfo;

/// Where decoding puts an image and its size; each may be null.
struct SDecodedImage {
    unsigned char** image;
    unsigned long* width;
    unsigned long* height;
    unsigned long* pitch; ///< bytes
};

/// Learns the layout of the regions, and finds one of them in a delivered frame, or all of them in one image; see
/// VekCam_DecodingCombinedMultiROI. The image lies in the frame or in the module. 0 or -22.
unsigned long decodeMultiROI(IMultiROIImage& module, IRegionInfo& regions, IDeliveredFrame& delivered,
                             unsigned long roiSelector, unsigned char* frame, const SDecodedImage& output);

} // namespace vek
