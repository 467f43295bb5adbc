// SPDX-License-Identifier: Apache-2.0
#include "imageproc/PixelList.h"

#include <algorithm>

namespace vek {

namespace {

/// Marks a slot of the camera as unused.
constexpr unsigned short kNowhere = 65535;

} // namespace

CPixelList::CPixelList(int capacity) : mCapacity(static_cast<unsigned>(std::max(capacity, 0))) {
    mPixels.reserve(mCapacity);
}

void CPixelList::Add(unsigned long x, unsigned long y, unsigned short value) {
    if (!IsFull()) {
        mPixels.push_back({x, y, value});
        mMinValue = std::min(mMinValue, value);
        return;
    }
    if (value <= mMinValue) {
        return;
    }
    const auto first = mPixels.begin();
    const auto end = mPixels.end();
    const auto evicted =
        std::find_if(first, end, [this](const SPixelCandidate& pixel) { return pixel.value <= mMinValue; });
    if (evicted == end) {
        return; // a list without capacity
    }
    std::move(evicted + 1, end, evicted);
    end[-1] = {x, y, value};
    mMinValue = std::min_element(first, end, [](const SPixelCandidate& a, const SPixelCandidate& b) {
                    return a.value < b.value;
                })->value;
}

SDefectPosition CPixelList::PositionForSlot(unsigned short slot) const {
    if (slot >= mPixels.size()) {
        return {kNowhere, kNowhere};
    }
    return {static_cast<unsigned short>(mPixels[slot].x), static_cast<unsigned short>(mPixels[slot].y)};
}

void CPixelList::AddBrightest(unsigned long width, unsigned long height, const unsigned char* image, int threshold) {
    if (width == 0) {
        return; // height may be endless
    }
    for (unsigned long y = 0; y < height; ++y) {
        const unsigned char* const row = image + y * width;
        for (unsigned long x = 0; x < width; ++x) {
            if (row[x] >= threshold && (!IsFull() || mMinValue < row[x])) {
                Add(x, y, row[x]);
            }
        }
    }
}

} // namespace vek
