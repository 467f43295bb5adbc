// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "chain/Plan.h"
#include "common/Image.h"

#include <cstring>

namespace vek {

/// Some rows of an intermediate image, which move on through it from top to bottom.
///
///   image    . . . . [ first ........ end ) . . . .      Keep(y) drops rows in front of y and makes room behind end;
///   memory           0 ............. rows                who fills the next rows tells by Grow
template <class T>
class CRowWindow {
public:
    /// A part of a work area, for rows of so many samples.
    CRowWindow(void* work, const SWorkPart& part, unsigned long width, unsigned long height)
        : mImage{width, height, part.pitch, reinterpret_cast<T*>(static_cast<unsigned char*>(work) + part.offset)} {}
    /// All of an image: rows stay where they are.
    explicit CRowWindow(const SImage<T>& image) : mImage(image), mIsWhole(true) {}

    /// Rows from first to end-1 are there.
    unsigned long First() const { return mFirst; }
    unsigned long End() const { return mEnd; }

    /// Drops the rows in front of y, or all of them where y is not among or right behind them: y is the next one then.
    void Keep(unsigned long y) {
        if (y < mFirst || y > mEnd) {
            mEnd = y;
        } else if (!mIsWhole && y != mFirst && y != mEnd) {
            std::memmove(mImage.data, View().Row(y), (mEnd - y) * mImage.pitch);
        }
        mFirst = y;
    }
    void Grow(unsigned long end) { mEnd = end; }

    SImage<T> View() const {
        SImage<T> view = mImage;
        view.top = mIsWhole ? 0 : mFirst;
        return view;
    }
    SImage<const T> Const() const { return View(); }

private:
    SImage<T> mImage;
    bool mIsWhole = false;
    unsigned long mFirst = 0;
    unsigned long mEnd = 0;
};

} // namespace vek
