// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vek {

/// What the decoding of multi-ROI frames sees of the frames that the camera delivers now. Each call asks the camera.
class IDeliveredFrame {
public:
    virtual unsigned long GetFrameSize() = 0;        ///< bytes
    virtual unsigned long GetFramePixelFormat() = 0; ///< GenICam pixel format, 0 for none
    virtual unsigned long GetFrameWidth() = 0;       ///< pixels
    virtual unsigned long GetFrameHeight() = 0;      ///< rows
    /// Bits of one pixel in the transfer buffer; 0 for packed and unknown formats.
    virtual unsigned char GetFrameBitsPerPixel() = 0;

protected:
    ~IDeliveredFrame() = default;
};

} // namespace vek
