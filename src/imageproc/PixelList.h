// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <vector>

namespace vek {

/// A pixel that may be defective.
struct SPixelCandidate {
    unsigned long x;
    unsigned long y;
    unsigned short value;
};

/// A position in a slot of the camera's defect correction.
struct SDefectPosition {
    unsigned short x;
    unsigned short y;
};

/// The brightest pixels of a frame, as many as fit, in the order of their arrival.
class CPixelList {
public:
    /// Throws std::bad_alloc.
    explicit CPixelList(int capacity);

    /// Appends while there is room. A full list takes a value above its smallest one only, in place of the earliest
    /// entry that holds the smallest; the entries behind that one move up.
    void Add(unsigned long x, unsigned long y, unsigned short value);

    /// Adds the pixels of threshold and above, row by row. image: bytes, rows without padding; not read without pixels.
    void AddBrightest(unsigned long width, unsigned long height, const unsigned char* image, int threshold);

    int GetCount() const { return static_cast<int>(mPixels.size()); }
    bool IsFull() const { return mPixels.size() >= mCapacity; }
    /// Smallest value in the list; 65535 in an empty one.
    unsigned short GetMinValue() const { return mMinValue; }
    /// Entry index < GetCount(), not checked.
    SPixelCandidate GetPixelValue(int index) const { return mPixels[static_cast<unsigned>(index)]; }
    /// What a slot of the camera gets: the low 16 bits of the entry of that index, 65535, 65535 behind the last one.
    SDefectPosition PositionForSlot(unsigned short slot) const;

private:
    std::vector<SPixelCandidate> mPixels;
    std::size_t mCapacity;
    unsigned short mMinValue = 65535;
};

} // namespace vek
