// SPDX-License-Identifier: Apache-2.0
#include "imageproc/MultiROIImage.h"

#include "imageproc/IRegionInfo.h"

#include <cstdint>
#include <cstring>
#include <limits>

namespace vek {

namespace {

constexpr int kHorizontal = 0;
constexpr int kVertical = 1;

void write(unsigned int* output, unsigned long value) {
    if (output != nullptr) {
        *output = static_cast<unsigned int>(value);
    }
}

/// Null stays null.
void* offsetBy(void* data, unsigned long offset) {
    return data != nullptr ? static_cast<unsigned char*>(data) + offset : nullptr;
}

/// The block of a region in a frame that holds the blocks back to back.
struct SBlock {
    unsigned long rowBytes;
    unsigned long size;
    bool fits; ///< ends within the frame

    SBlock(const CROIInfo& region, unsigned long pixelFormat, unsigned long start, unsigned long dataSize)
        : rowBytes(
              CMultiROIImage::GetLinePitch(pixelFormat, static_cast<unsigned int>(region.GetSize(kHorizontal)), 1, 0)),
          size(0), fits(false) {
        unsigned long end = 0;
        fits = !__builtin_mul_overflow(region.GetSize(kVertical), rowBytes, &size) &&
               !__builtin_add_overflow(start, size, &end) && end <= dataSize;
    }
};

} // namespace

void CManageOffset::Reset() {
    mIntervals.clear();
    mTotalSize = 0;
}

void CManageOffset::UpdateSize() {
    mTotalSize = 0;
    for (const SOFFSET_AND_SIZE& interval : mIntervals) {
        mTotalSize += interval.size;
    }
}

void CManageOffset::SetEffectiveRegion(unsigned long offset, unsigned long size) {
    auto at = mIntervals.begin();
    while (at != mIntervals.end()) {
        const unsigned long start = at->offset;
        const unsigned long end = at->offset + at->size;
        if (offset >= end) {
            ++at;
        } else if (offset >= start) {
            // The covered part drops out.
            if (offset + size <= end) {
                break;
            }
            size = offset + size - end;
            offset = end;
            ++at;
        } else {
            // The part in front of the interval goes in; what reaches beyond the interval goes on behind it.
            const unsigned long piece = offset + size > start ? start - offset : size;
            at = mIntervals.insert(at, {offset, piece});
            if (piece == size || offset + size <= end) {
                break;
            }
            size = offset + size - end;
            offset = end;
            at = mIntervals.begin();
            continue;
        }
        if (at == mIntervals.end()) {
            at = mIntervals.insert(at, {offset, size});
            break;
        }
    }
    if (mIntervals.empty()) {
        mIntervals.push_back({offset, size});
    }
    UpdateSize();
}

unsigned long CManageOffset::GetOffset(unsigned long position) const {
    unsigned long before = 0;
    for (const SOFFSET_AND_SIZE& interval : mIntervals) {
        if (position >= interval.offset && position < interval.offset + interval.size) {
            return interval.offset - before;
        }
        before += interval.size;
    }
    return 0;
}

unsigned long CMultiROIImage::GetLinePitch(unsigned long pixelFormat, unsigned int pixels, unsigned int alignment,
                                           unsigned int extra) {
    const unsigned long bits = pixelFormat >> 16 & 0xFF;
    unsigned long bytes = (pixels * bits + 7) >> 3;
    if (alignment > 1) {
        bytes = (bytes + alignment - 1) / alignment * alignment;
    }
    return bytes + extra;
}

void CMultiROIImage::DeleteBuffer() {
    mBuffer.reset();
    mBufferSize = 0;
    mPixelFormat = 0;
}

void CMultiROIImage::CheckROISetting(IRegionInfo* region) {
    try {
        const unsigned int slots = region->GetMaxROICount();
        mMultiROIType = static_cast<unsigned int>(region->GetMultiROIType());
        for (unsigned int i = 0; i < slots; ++i) {
            unsigned int enabled = 0;
            unsigned int offsetX = 0;
            unsigned int offsetY = 0;
            unsigned int width = 0;
            unsigned int height = 0;
            region->GetROIInfo(i, &enabled, &offsetX, &offsetY, &width, &height);
            if (enabled != 0 && width != 0 && height != 0) {
                mROIInfo.emplace_back(offsetX, offsetY, width, height);
            }
        }
    } catch (...) {
        // The regions found so far stand.
    }
}

bool CMultiROIImage::UpdateROIInfo(IRegionInfo* region, unsigned int alignment) {
    mROIInfo.clear();
    DeleteBuffer();
    mPitchAlignment = alignment;
    if (region != nullptr) {
        CheckROISetting(region);
    }
    for (const int axis : {kHorizontal, kVertical}) {
        mOffset[axis].Reset();
        for (const CROIInfo& roi : mROIInfo) {
            mOffset[axis].SetEffectiveRegion(roi.GetOffset(axis), roi.GetSize(axis));
        }
    }
    return false;
}

unsigned long CMultiROIImage::GetROICount() {
    return mROIInfo.size();
}

unsigned long CMultiROIImage::GetCombiningImageSize(int axis) {
    return mOffset[axis].GetSize();
}

unsigned long CMultiROIImage::GetCombiningImageLinePitch() {
    return mCombiningPitch;
}

void CMultiROIImage::ClearInsideImageBuffer() {
    if (mBuffer != nullptr) {
        std::memset(mBuffer.get(), 0, mBufferSize);
    }
}

unsigned char* CMultiROIImage::GetBuffer(unsigned int pixelFormat) {
    if (mBuffer != nullptr && mPixelFormat == pixelFormat) {
        return mBuffer.get();
    }
    DeleteBuffer();
    const unsigned long width = GetCombiningImageSize(kHorizontal);
    mCombiningPitch = GetLinePitch(pixelFormat, static_cast<unsigned int>(width), mPitchAlignment, 0);
    unsigned long size = 0;
    // A row of pixels that end within a byte may start one byte late: the last row then reaches one byte further.
    if (width > std::numeric_limits<unsigned int>::max() ||
        __builtin_mul_overflow(GetCombiningImageSize(kVertical), mCombiningPitch, &size) || size >= PTRDIFF_MAX) {
        return nullptr;
    }
    ++size;
    mBuffer.reset(static_cast<unsigned char*>(std::calloc(size, 1)));
    if (mBuffer != nullptr) {
        mBufferSize = size;
        mPixelFormat = pixelFormat;
    }
    return mBuffer.get();
}

void* CMultiROIImage::AddImageData(unsigned long frameID, void* roiData, unsigned long /*roiDataSize*/,
                                   unsigned long pixelFormat, unsigned long offsetX, unsigned long offsetY,
                                   unsigned long width, unsigned long height, unsigned long roiPitch) {
    unsigned char* const buffer = GetBuffer(static_cast<unsigned int>(pixelFormat));
    if (buffer == nullptr) {
        return nullptr;
    }
    // A block counts whatever it holds.
    if (frameID != mFrameID) {
        mFrameID = frameID;
        mReceivedCount = 0;
    }
    ++mReceivedCount;
    const unsigned long x = offsetX - mOffset[kHorizontal].GetOffset(offsetX);
    const unsigned long y = offsetY - mOffset[kVertical].GetOffset(offsetY);
    const unsigned long combinedWidth = GetCombiningImageSize(kHorizontal);
    const unsigned long combinedHeight = GetCombiningImageSize(kVertical);
    const bool inside =
        x <= combinedWidth && width <= combinedWidth - x && y <= combinedHeight && height <= combinedHeight - y;
    const unsigned long rowBytes = GetLinePitch(pixelFormat, static_cast<unsigned int>(width), 1, 0);
    const bool pixels = inside && height != 0 && rowBytes != 0;
    if (pixels && roiData == nullptr) {
        return nullptr;
    }
    if (pixels) {
        const unsigned long step = roiPitch != 0 ? roiPitch : rowBytes;
        const auto* src = static_cast<const unsigned char*>(roiData);
        unsigned char* dst =
            buffer + y * mCombiningPitch + GetLinePitch(pixelFormat, static_cast<unsigned int>(x), 1, 0);
        for (unsigned long row = 0; row < height; ++row) {
            std::memcpy(dst + row * mCombiningPitch, src + row * step, rowBytes);
        }
    }
    return mReceivedCount >= mROIInfo.size() ? buffer : nullptr;
}

void* CMultiROIImage::AddImageData(unsigned long frameID, void* data, unsigned long dataSize,
                                   unsigned long pixelFormat) {
    if (mMultiROIType == kROIsCombined) {
        DeleteBuffer(); // it would not fit the pitch any more
        mPixelFormat = static_cast<unsigned int>(pixelFormat);
        mCombiningPitch = GetLinePitch(pixelFormat, static_cast<unsigned int>(GetCombiningImageSize(kHorizontal)),
                                       mPitchAlignment, 0);
        return data;
    }
    void* result = nullptr;
    unsigned long start = 0;
    for (const CROIInfo& roi : mROIInfo) {
        const SBlock block(roi, pixelFormat, start, dataSize);
        if (!block.fits) {
            continue; // a later, smaller one may still be there
        }
        result = AddImageData(frameID, offsetBy(data, start), block.size, pixelFormat, roi.GetOffset(kHorizontal),
                              roi.GetOffset(kVertical), roi.GetSize(kHorizontal), roi.GetSize(kVertical), 0);
        start += block.size;
    }
    return result;
}

void* CMultiROIImage::GetEachROIData(unsigned int index, void* data, unsigned long dataSize, unsigned long pixelFormat,
                                     unsigned int* offsetX, unsigned int* offsetY, unsigned int* width,
                                     unsigned int* height, unsigned int* pitch) {
    if (index >= mROIInfo.size()) {
        return nullptr;
    }
    unsigned long start = 0;
    unsigned long rowBytes = 0; // from row to row
    if (mMultiROIType == kROIsCombined) {
        // Bands of regions with the same offset, side by side in the order of the list.
        rowBytes = GetLinePitch(pixelFormat, static_cast<unsigned int>(GetCombiningImageSize(kHorizontal)), 1, 0);
        unsigned long bandRow = 0;
        unsigned long column = 0;
        for (unsigned int i = 1; i <= index; ++i) {
            const CROIInfo& last = mROIInfo[i - 1];
            if (mROIInfo[i].GetOffset(kVertical) != last.GetOffset(kVertical)) {
                bandRow += last.GetSize(kVertical);
                column = 0;
            } else {
                column += last.GetSize(kHorizontal);
            }
        }
        start = GetLinePitch(pixelFormat, static_cast<unsigned int>(column), 1, 0) + bandRow * rowBytes;
    } else {
        for (unsigned int i = 0; i <= index; ++i) {
            const SBlock block(mROIInfo[i], pixelFormat, start, dataSize);
            if (!block.fits) {
                return nullptr;
            }
            rowBytes = block.rowBytes;
            start += i < index ? block.size : 0;
        }
    }
    const CROIInfo& roi = mROIInfo[index];
    write(offsetX, roi.GetOffset(kHorizontal));
    write(offsetY, roi.GetOffset(kVertical));
    write(width, roi.GetSize(kHorizontal));
    write(height, roi.GetSize(kVertical));
    write(pitch, rowBytes);
    return offsetBy(data, start);
}

} // namespace vek
