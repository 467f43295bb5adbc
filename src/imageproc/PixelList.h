// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

namespace vek {

/// A pixel that may be defective.
struct SPIXEL_CANDIDATE {
    unsigned long x;
    unsigned long y;
    unsigned short value;
};

/// The brightest pixels of a frame, as many as fit, in the order of their arrival. Owns its entries.
class CPixelList {
public:
    /// Throws std::bad_alloc.
    explicit CPixelList(int capacity);

    /// Appends while there is room. A full list takes a value above its smallest one only, in place of the earliest
    /// entry that holds the smallest; the entries behind that one move up.
    void Add(unsigned long x, unsigned long y, unsigned short value);

    /// Adds the pixels of threshold and above, row by row. image: bytes, rows without padding; not read without pixels.
    void AddBrightest(unsigned long width, unsigned long height, const unsigned char* image, int threshold);

    int GetCount() const { return mCount; }
    bool IsFull() const { return mCount >= mCapacity; }
    /// Smallest value in the list; 65535 in an empty one.
    unsigned short GetMinValue() const { return mMinValue; }
    /// Entry index < GetCount(), not checked.
    SPIXEL_CANDIDATE GetPixelValue(int index) const { return mpPixels[static_cast<unsigned>(index)]; }

private:
    std::unique_ptr<SPIXEL_CANDIDATE[]> mpPixels;
    int mCapacity;
    int mCount = 0;
    unsigned short mMinValue = 65535;
};

} // namespace vek
