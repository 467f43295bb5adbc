// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vek {

class IRegionInfo;

/// Assembly of the regions of a multi-ROI frame into the combining image: the sensor area that some region covers, with
/// the columns and rows that none covers squeezed out. pixelFormat: GenICam pixel format, whose bits 16 to 23 are the
/// bits per pixel. Axis 0 is horizontal, 1 vertical.
class IMultiROIImage {
public:
    /// Learns the layout and drops the buffer. Null: no regions. alignment: of the combining image's rows, bytes.
    /// False.
    virtual bool UpdateROIInfo(IRegionInfo* region, unsigned int alignment) = 0;
    /// Enabled regions.
    virtual unsigned long GetROICount() = 0;
    /// Where region index begins in a delivered frame, and its place and size; null, and no output written, where the
    /// frame does not hold it. Of null data the place and size alone. Each output may be null.
    virtual void* GetEachROIData(unsigned int index, void* data, unsigned long dataSize, unsigned long pixelFormat,
                                 unsigned int* offsetX, unsigned int* offsetY, unsigned int* width,
                                 unsigned int* height, unsigned int* pitch) = 0;
    /// A delivered frame; the combining image once it is complete, else null. Blocks that end beyond dataSize are
    /// passed over. A frame that the camera has combined is given back as it is.
    virtual void* AddImageData(unsigned long frameID, void* data, unsigned long dataSize,
                               unsigned long pixelFormat) = 0;
    /// The block of one region; the combining image once as many blocks as there are regions have come with one
    /// frameID, else null. roiPitch: bytes, 0: rows without padding. A block that does not lie in the combining
    /// image counts, but is not copied; nor is null data, for which the result is null.
    virtual void* AddImageData(unsigned long frameID, void* roiData, unsigned long roiDataSize,
                               unsigned long pixelFormat, unsigned long offsetX, unsigned long offsetY,
                               unsigned long width, unsigned long height, unsigned long roiPitch) = 0;
    /// Pixels or rows.
    virtual unsigned long GetCombiningImageSize(int axis) = 0;
    virtual unsigned long GetCombiningImageLinePitch() = 0;
    virtual void ClearInsideImageBuffer() = 0;

protected:
    ~IMultiROIImage() = default;
};

} // namespace vek
