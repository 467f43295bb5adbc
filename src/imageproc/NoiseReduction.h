// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Memory.h"
#include "imageproc/INoiseReduction.h"
#include "imageproc/rows/RowTable.h"

namespace vek {

/// Median of n values, which it sorts in descending order; the mean of the two middle ones, cut off, for an even n.
template <class T>
T mGetCenterValue(T* values, int n);
/// The smaller (larger) one of the first value and the median of all n.
template <class T>
T mGetCenterValueSmaller(T* values, int n);
template <class T>
T mGetCenterValueLarger(T* values, int n);

/// Noise reduction. Owns the stored dark frame; never keeps an image pointer. Each call of the easy or the complex
/// filter allocates one buffer of the image's size.
class CNoiseReduction final : public INoiseReduction {
public:
    explicit CNoiseReduction(const rows::SRowTable& rows) : mRows(rows) {}

    unsigned long NRProcB(unsigned long width, unsigned long height, unsigned long linePitch, unsigned short colorArray,
                          unsigned char* image, unsigned short bitsPerPixel, unsigned long mode) override;
    unsigned long NRProcW(unsigned long width, unsigned long height, unsigned long linePitch, unsigned short colorArray,
                          unsigned short* image, unsigned short bitsPerPixel, unsigned long mode) override;

private:
    template <class T>
    unsigned long Run(unsigned long width, unsigned long height, unsigned long linePitch, unsigned short colorArray,
                      T* image, unsigned short bitsPerPixel, unsigned long mode);
    template <class T>
    unsigned long mEasyNR(int width, int height, unsigned long linePitch, unsigned short colorArray, T* image) const;
    template <class T>
    unsigned long mEasyNR_XGGY(unsigned long width, unsigned long height, unsigned long linePitch, T* image,
                               T* snapshot) const;
    template <class T>
    unsigned long mEasyNR_GXYG(unsigned long width, unsigned long height, unsigned long linePitch, T* image,
                               T* snapshot) const;
    template <class T>
    unsigned long mEasyNR_MONO(unsigned long width, unsigned long height, unsigned long linePitch, T* image,
                               T* snapshot) const;
    template <class T>
    unsigned long mDarkCL(unsigned long width, unsigned long height, unsigned long linePitch, unsigned short colorArray,
                          const T* image);
    template <class T>
    unsigned long mComplexNR(unsigned long width, unsigned long height, unsigned long linePitch,
                             unsigned short colorArray, T* image, unsigned short bitsPerPixel) const;
    template <class T>
    void mMedianFilterClippedPixel(unsigned long width, unsigned long height, unsigned long linePitch,
                                   unsigned short colorArray, const T* liveRow, T* image, T threshold,
                                   unsigned long y) const;
    void FreeDarkImageBuffer();

    const rows::SRowTable& mRows;
    Malloced<unsigned char> mpDarkImage;
    unsigned long mDarkImageSize = 0; ///< bytes
    unsigned long mDarkMode = 0;
    unsigned long mDarkWidth = 0;
    unsigned long mDarkHeight = 0;
    unsigned long mDarkColorArray = 0;
    unsigned long mDarkLinePitch = 0;
};

} // namespace vek
