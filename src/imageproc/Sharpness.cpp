// SPDX-License-Identifier: Apache-2.0
#include "imageproc/Sharpness.h"

#include "VekTrgApi.h"
#include "common/Image.h"
#include "common/Memory.h"
#include "common/PixelFormat.h"
#include "common/Saturate.h"
#include "common/Status.h"
#include "imageproc/ColorSpace.h"

#include <algorithm>
#include <cstddef>

namespace vek {

namespace {

constexpr unsigned short kMinDepth = 8;
constexpr unsigned short kMaxDepth = 12;
constexpr unsigned long kWorkBytesPerColumn = 10;

/// What the rows of one image share: kernels, corrections, and the work buffer's rows: three of sums, by row number
/// modulo 3, and two of luma, by row number modulo 2.
template <class T>
struct SSharpener {
    const rows::SColourRows<T>& kernels;
    rows::SSharpening sharpening;
    SImage<T> image;
    unsigned short* work;

    unsigned short* sums(unsigned long y) const { return work + y % 3 * image.width; }
    T* luma(unsigned long y) const {
        // Words first: the rows of luma may be of bytes.
        return reinterpret_cast<T*>(work + 3 * image.width) + y % 2 * image.width;
    }
};

template <class T>
void mSum3Pixels(const rows::SColourRows<T>& kernels, unsigned short* sumRow, const T* row, unsigned long width) {
    kernels.sum3(row, sumRow, width);
}

template <class T>
void TransformBGRToYAndSum(const rows::SColourRows<T>& kernels, const T* pixels, T* yRow, unsigned short* sumRow,
                           unsigned long width, unsigned samplesPerPixel) {
    kernels.luma(pixels, yRow, width, samplesPerPixel, kLumaTables);
    mSum3Pixels(kernels, sumRow, yRow, width);
}

/// Rows 1 .. height-2 in order. prepare(y) makes the sums of a row while it is as it came; sharpen(y) changes it.
template <class T, class Prepare, class Sharpen>
void mvSharpenRows(const SImage<T>& image, Prepare prepare, Sharpen sharpen) {
    prepare(0);
    prepare(1);
    for (unsigned long y = 1; y + 1 < image.height; ++y) {
        prepare(y + 1);
        sharpen(y);
    }
}

template <class T>
bool mbSharpness_Gray(const SSharpener<T>& s) {
    mvSharpenRows(
        s.image, [&](unsigned long y) { mSum3Pixels<T>(s.kernels, s.sums(y), s.image.row(y), s.image.width); },
        [&](unsigned long y) {
            s.kernels.sharpenGrey(s.image.row(y), s.sums(y - 1), s.sums(y + 1), s.image.width, s.sharpening);
        });
    return true;
}

template <class T>
bool mbSharpness_BGR(const SSharpener<T>& s, unsigned samplesPerPixel) {
    mvSharpenRows(
        s.image,
        [&](unsigned long y) {
            TransformBGRToYAndSum<T>(s.kernels, s.image.row(y), s.luma(y), s.sums(y), s.image.width, samplesPerPixel);
        },
        [&](unsigned long y) {
            s.kernels.sharpenColour(s.image.row(y), samplesPerPixel, s.luma(y), s.sums(y - 1), s.sums(y + 1),
                                    s.image.width, s.sharpening);
        });
    return true;
}

} // namespace

/// Entry coring + n is n x gain / 100, rounded; the rounding of the single-precision sum belongs to the result.
bool CSharpness::mbUpdateShapnessTable() {
    constexpr unsigned last = 4095;
    const float step = static_cast<float>(mwGain) / 100.0F;
    float accumulator = step;
    mwTable.fill(0);
    for (std::size_t i = std::size_t{mwCoring} + 1; i < mwTable.size(); ++i) {
        // NOLINTNEXTLINE(bugprone-incorrect-roundings): this very rounding, of values that are not negative
        const auto rounded = static_cast<unsigned>(double{accumulator} + 0.5);
        mwTable[i] = static_cast<unsigned short>(std::min(rounded, last));
        accumulator += step;
    }
    for (std::size_t i = 0; i < mRaise8.size(); ++i) {
        mRaise8[i] = static_cast<unsigned char>(mwTable[i]);
        mLower8[i] = saturateTo<unsigned char>(mwTable[i]);
    }
    return true;
}

unsigned long CSharpness::SetMode(unsigned char mode, unsigned short gain, unsigned short coring) {
    mMode = mode;
    mwGain = gain;
    mwCoring = coring;
    // Off keeps the corrections of the last setting.
    if (mode != 0) {
        mbUpdateShapnessTable();
    }
    return kOk;
}

unsigned long CSharpness::GetMode(unsigned char* mode, unsigned short* gain, unsigned short* coring) {
    if (mode == nullptr || gain == nullptr || coring == nullptr) {
        return kInvalid;
    }
    *mode = mMode;
    *gain = mwGain;
    *coring = mwCoring;
    return kOk;
}

template <class T>
unsigned long CSharpness::Process(unsigned long width, unsigned long height, unsigned long lineBytes,
                                  unsigned long pixelFormat, T* image, unsigned short bits) const {
    if (mMode == 0) {
        return kOk;
    }
    if (bits < kMinDepth || bits > kMaxDepth) {
        return kInvalid;
    }
    // An image of no pixels needs no work buffer, however wide it is.
    const bool empty = width == 0 || height == 0;
    const Malloced<void> work(empty ? nullptr : allocateRows(width, kWorkBytesPerColumn));
    if (work == nullptr && !empty) {
        return kNoMemory;
    }
    const bool words = bits > kMinDepth;
    const unsigned samples = isOfWords(pixelFormat) == words ? colourSamples(pixelFormat) : 0;
    if (samples == 0 && !(words ? isGreyOfWords(pixelFormat) : pixelFormat == VEK_DESTINATION_MONO8)) {
        return kInvalid;
    }
    if (width < 3 || height < 3) {
        return kOk;
    }
    if (image == nullptr) {
        return kInvalid;
    }
    const unsigned long rowSamples = std::max(samples, 1U) * width;
    const SSharpener<T> sharpener = {
        rows::colourRows<T>(mRows),
        {mwTable.data(), mRaise8.data(), mRaise8 == mLower8 ? nullptr : mLower8.data(), mwCoring, (1U << bits) - 1},
        {width, height, lineBytesOr<T>(lineBytes, rowSamples), image},
        static_cast<unsigned short*>(work.get())};
    samples == 0 ? mbSharpness_Gray(sharpener) : mbSharpness_BGR(sharpener, samples);
    return kOk;
}

unsigned long CSharpness::ProcessW(unsigned long width, unsigned long height, unsigned long lineBytes,
                                   unsigned long pixelFormat, unsigned short* image, unsigned short bits) {
    return Process(width, height, lineBytes, pixelFormat, image, bits);
}

unsigned long CSharpness::ProcessB(unsigned long width, unsigned long height, unsigned long lineBytes,
                                   unsigned long pixelFormat, unsigned char* image, unsigned short bits) {
    return Process(width, height, lineBytes, pixelFormat, image, bits);
}

} // namespace vek
