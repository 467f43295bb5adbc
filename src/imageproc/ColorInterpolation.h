// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/IColorInterpolation.h"
#include "imageproc/rows/RowTable.h"

namespace vek {

/// Turns raw, mono and YCrCb images into interleaved blue-green-red or grey ones. Holds no state but the row
/// kernels it was made with; never keeps an image pointer.
class CColorInterpolation final : public IColorInterpolation {
public:
    explicit CColorInterpolation(const rows::SRowTable& rows) : mRows(rows) {}

    unsigned long ColorInterporationB(unsigned long width, unsigned long height, unsigned char* src, unsigned char* dst,
                                      unsigned char method, unsigned short colorArray,
                                      unsigned short channels) override;
    unsigned long ColorInterporationW(unsigned long width, unsigned long height, unsigned short* src,
                                      unsigned short* dst, unsigned char method, unsigned short colorArray,
                                      unsigned short channels) override;
    unsigned long ColorInterporationB(unsigned long width, unsigned long height, unsigned long srcPitch,
                                      unsigned char* src, unsigned long dstPitch, unsigned char* dst,
                                      unsigned char method, unsigned short colorArray,
                                      unsigned short channels) override;
    unsigned long ColorInterporationW(unsigned long width, unsigned long height, unsigned long srcPitch,
                                      unsigned short* src, unsigned long dstPitch, unsigned short* dst,
                                      unsigned char method, unsigned short colorArray,
                                      unsigned short channels) override;

private:
    template <class T>
    unsigned long ColorInterporation(unsigned long width, unsigned long height, unsigned long srcPitch, const T* src,
                                     unsigned long dstPitch, T* dst, unsigned char method, unsigned short colorArray,
                                     unsigned short channels) const;
    const rows::SRowTable& mRows;
};

} // namespace vek
