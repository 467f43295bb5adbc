// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Memory.h"
#include "imageproc/IMultiROIImage.h"

#include <vector>

namespace vek {

/// A covered interval of one axis: first sensor pixel or row, and how many.
struct SOFFSET_AND_SIZE {
    unsigned long offset;
    unsigned long size;
};

/// The covered intervals of one axis, sorted and disjoint; neighbours are not merged.
class CManageOffset {
public:
    /// Adds offset .. offset+size-1.
    void SetEffectiveRegion(unsigned long offset, unsigned long size);
    /// How far a covered position moves toward 0 when the gaps are squeezed out; 0 for a position in no interval.
    unsigned long GetOffset(unsigned long position) const;
    /// Covered pixels or rows.
    unsigned long GetSize() const { return mTotalSize; }
    void Reset();
    void UpdateSize();

    const std::vector<SOFFSET_AND_SIZE>& Intervals() const { return mIntervals; }

private:
    std::vector<SOFFSET_AND_SIZE> mIntervals;
    unsigned long mTotalSize = 0;
};

/// One region of interest on the sensor.
class CROIInfo {
public:
    CROIInfo(unsigned long offsetX, unsigned long offsetY, unsigned long width, unsigned long height)
        : mOffset{offsetX, offsetY}, mSize{width, height} {}
    unsigned long GetOffset(int axis) const { return mOffset[axis]; }
    unsigned long GetSize(int axis) const { return mSize[axis]; }

private:
    unsigned long mOffset[2];
    unsigned long mSize[2];
};

/// Multi-ROI assembly. Owns the layout and the combining image; never keeps a frame's pointer.
class CMultiROIImage final : public IMultiROIImage {
public:
    bool UpdateROIInfo(IRegionInfo* region, unsigned int alignment) override;
    unsigned long GetROICount() override;
    void* GetEachROIData(unsigned int index, void* data, unsigned long dataSize, unsigned long pixelFormat,
                         unsigned int* offsetX, unsigned int* offsetY, unsigned int* width, unsigned int* height,
                         unsigned int* pitch) override;
    void* AddImageData(unsigned long frameID, void* data, unsigned long dataSize, unsigned long pixelFormat) override;
    void* AddImageData(unsigned long frameID, void* roiData, unsigned long roiDataSize, unsigned long pixelFormat,
                       unsigned long offsetX, unsigned long offsetY, unsigned long width, unsigned long height,
                       unsigned long roiPitch) override;
    unsigned long GetCombiningImageSize(int axis) override;
    unsigned long GetCombiningImageLinePitch() override;
    void ClearInsideImageBuffer() override;

    /// Bytes of a row of pixels, rounded up to a multiple of alignment, and extra ones.
    static unsigned long GetLinePitch(unsigned long pixelFormat, unsigned int pixels, unsigned int alignment,
                                      unsigned int extra);

private:
    void CheckROISetting(IRegionInfo* region);
    unsigned char* GetBuffer(unsigned int pixelFormat);
    void DeleteBuffer();

    std::vector<CROIInfo> mROIInfo; ///< in the camera's order
    unsigned long mBufferSize = 0;  ///< bytes
    Malloced<unsigned char> mBuffer;
    CManageOffset mOffset[2]; ///< covered columns, covered rows
    unsigned long mCombiningPitch = 0;
    unsigned int mPixelFormat = 0;
    unsigned long mFrameID = 0;
    unsigned long mReceivedCount = 0; ///< blocks of that frame
    unsigned int mPitchAlignment = 1;
    unsigned int mMultiROIType = 0;
};

} // namespace vek
