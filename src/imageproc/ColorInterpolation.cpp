// SPDX-License-Identifier: Apache-2.0
#include "imageproc/ColorInterpolation.h"

#include "VekTrgApi.h"
#include "common/Image.h"
#include "common/Status.h"
#include "imageproc/ColorInterpolation_YCbCr.h"

#include <algorithm>
#include <cstring>

namespace vek {

namespace {

using rows::BayerRow;

/// A source and a destination image. Pitches in bytes; the images do not overlap.
template <class T>
struct SImagePair {
    unsigned long width;
    unsigned long height;
    const T* src;
    T* dst;
    unsigned short channels;
    unsigned long srcPitch;
    unsigned long dstPitch;

    const T* srcRow(unsigned long y) const { return rowAt(src, y, srcPitch); }
    T* dstRow(unsigned long y) const { return rowAt(dst, y, dstPitch); }
    std::size_t layout() const { return rows::pixelLayout(channels); }
    bool hasPixels() const { return width != 0 && height != 0; }
    bool hasBuffers() const { return src != nullptr && dst != nullptr; }
};

/// The kinds of a Bayer phase's even and odd rows.
struct SPhase {
    BayerRow row[2];

    constexpr std::size_t kind(unsigned long y) const { return static_cast<std::size_t>(row[y % 2]); }
};
constexpr SPhase kRGGB = {{BayerRow::RG, BayerRow::GB}};
constexpr SPhase kGRBG = {{BayerRow::GR, BayerRow::BG}};
constexpr SPhase kGBRG = {{BayerRow::GB, BayerRow::RG}};
constexpr SPhase kBGGR = {{BayerRow::BG, BayerRow::GR}};

/// The rows of an image of one phase. The family's entry has checked the image.
template <class T>
using PhaseWorker = void (*)(const rows::SDemosaicRows<T>& kernels, const SImagePair<T>& image);

/// The rows of an image of one of two phases; redFirst: red stands in the upper row of the top left cell.
template <class T>
using BlockWorker = void (*)(const rows::SDemosaicRows<T>& kernels, const SImagePair<T>& image, bool redFirst);
template <class T, BlockWorker<T> Worker, bool RedFirst>
void mvWithFlag(const rows::SDemosaicRows<T>& kernels, const SImagePair<T>& image) {
    Worker(kernels, image, RedFirst);
}

/// What the family entries share: refuses colour arrays that are not Bayer, pixels of other than 3 or 4 samples,
/// images of fewer than minSize rows or columns and null images; else runs the phase's worker.
/// workers: by colour array, RGGB first.
template <class T>
unsigned long mulRunFamily(const rows::SDemosaicRows<T>& kernels, const SImagePair<T>& image, unsigned short colorArray,
                           unsigned long minSize, const PhaseWorker<T> (&workers)[4]) {
    if (colorArray < VEK_COLOR_ARRAY_RGGB || colorArray > VEK_COLOR_ARRAY_BGGR) {
        return kInvalid;
    }
    if (image.channels != 3 && image.channels != 4) {
        return kInvalid;
    }
    if (!image.hasPixels()) {
        return kOk;
    }
    if (image.width < minSize || image.height < minSize || !image.hasBuffers()) {
        return kInvalid;
    }
    workers[colorArray - VEK_COLOR_ARRAY_RGGB](kernels, image);
    return kOk;
}

// ---- None ----

template <class T, SPhase Phase>
void mvNone(const rows::SDemosaicRows<T>& kernels, const SImagePair<T>& image) {
    for (unsigned long y = 0; y < image.height; ++y) {
        kernels.none[Phase.kind(y)][image.layout()](image.srcRow(y), image.dstRow(y), image.width);
    }
}
template <class T>
constexpr PhaseWorker<T> ColorInterpolation_NoneRGGB = mvNone<T, kRGGB>;
template <class T>
constexpr PhaseWorker<T> ColorInterpolation_NoneGRBG = mvNone<T, kGRBG>;
template <class T>
constexpr PhaseWorker<T> ColorInterpolation_NoneGBRG = mvNone<T, kGBRG>;
template <class T>
constexpr PhaseWorker<T> ColorInterpolation_NoneBGGR = mvNone<T, kBGGR>;

template <class T>
unsigned long ColorInterpolation_None(const rows::SDemosaicRows<T>& kernels, const SImagePair<T>& image,
                                      unsigned short colorArray) {
    return mulRunFamily<T>(kernels, image, colorArray, 1,
                           {ColorInterpolation_NoneRGGB<T>, ColorInterpolation_NoneGRBG<T>,
                            ColorInterpolation_NoneGBRG<T>, ColorInterpolation_NoneBGGR<T>});
}

// ---- NearestNeighbor ----

template <class T, SPhase Phase>
void mvNearestNeighbor(const rows::SDemosaicRows<T>& kernels, const SImagePair<T>& image) {
    for (unsigned long y = 0; y < image.height; ++y) {
        // The other row of the cell; the last row of an odd height makes its cell with the row above it.
        const unsigned long other = y % 2 == 0 && y + 1 < image.height ? y + 1 : y - 1;
        kernels.nearestNeighbor[Phase.kind(y)][image.layout()](image.srcRow(y), image.srcRow(other), image.dstRow(y),
                                                               image.width);
    }
}
template <class T>
constexpr PhaseWorker<T> ColorInterpolation_NearestNeighborRGGB = mvNearestNeighbor<T, kRGGB>;
template <class T>
constexpr PhaseWorker<T> ColorInterpolation_NearestNeighborGRBG = mvNearestNeighbor<T, kGRBG>;
template <class T>
constexpr PhaseWorker<T> ColorInterpolation_NearestNeighborGBRG = mvNearestNeighbor<T, kGBRG>;
template <class T>
constexpr PhaseWorker<T> ColorInterpolation_NearestNeighborBGGR = mvNearestNeighbor<T, kBGGR>;

template <class T>
unsigned long ColorInterpolation_NearestNeighbor(const rows::SDemosaicRows<T>& kernels, const SImagePair<T>& image,
                                                 unsigned short colorArray) {
    return mulRunFamily<T>(kernels, image, colorArray, 2,
                           {ColorInterpolation_NearestNeighborRGGB<T>, ColorInterpolation_NearestNeighborGRBG<T>,
                            ColorInterpolation_NearestNeighborGBRG<T>, ColorInterpolation_NearestNeighborBGGR<T>});
}

// ---- BilinearSimple ----

template <class T, SPhase Phase>
void mvBilinearSimple(const rows::SDemosaicRows<T>& kernels, const SImagePair<T>& image) {
    const unsigned long last = image.height - 1;
    for (unsigned long y = 0; y < image.height; ++y) {
        const std::size_t kind = Phase.kind(y);
        if (y == last && y % 2 == 0) {
            // The last row of an odd height never gets its third colour.
            kernels.bilinearSimpleOpen[kind][image.layout()](image.srcRow(y), image.dstRow(y), image.width);
            continue;
        }
        // The first and the last row have one neighbour, which stands for both: its mean with itself is itself.
        const T* const above = image.srcRow(y == 0 ? 1 : y - 1);
        const T* const below = image.srcRow(y == last ? y - 1 : y + 1);
        kernels.bilinearSimple[kind][image.layout()](above, image.srcRow(y), below, image.dstRow(y), image.width);
    }
}
template <class T>
constexpr PhaseWorker<T> ColorInterpolation_BilinearSimpleRGGB = mvBilinearSimple<T, kRGGB>;
template <class T>
constexpr PhaseWorker<T> ColorInterpolation_BilinearSimpleGRBG = mvBilinearSimple<T, kGRBG>;
template <class T>
constexpr PhaseWorker<T> ColorInterpolation_BilinearSimpleGBRG = mvBilinearSimple<T, kGBRG>;
template <class T>
constexpr PhaseWorker<T> ColorInterpolation_BilinearSimpleBGGR = mvBilinearSimple<T, kBGGR>;

template <class T>
unsigned long ColorInterpolation_BilinearSimple(const rows::SDemosaicRows<T>& kernels, const SImagePair<T>& image,
                                                unsigned short colorArray) {
    return mulRunFamily<T>(kernels, image, colorArray, 2,
                           {ColorInterpolation_BilinearSimpleRGGB<T>, ColorInterpolation_BilinearSimpleGRBG<T>,
                            ColorInterpolation_BilinearSimpleGBRG<T>, ColorInterpolation_BilinearSimpleBGGR<T>});
}

// ---- BiCubic ----

/// Columns that both passes work on at a time: wide enough for the usual sensors, since memory is fastest along whole
/// rows, and small enough for a stack (66 kB of words).
constexpr std::size_t kStripColumns = 2560;
/// Rows above and below that the third colour of a row takes.
constexpr unsigned long kBiCubicReach = 3;

/// A strip of an image between the two passes: what the horizontal one made of a row, until the vertical one needs it
/// no more.
template <class T>
struct SBiCubicStrip {
    std::size_t from;
    std::size_t to;
    alignas(64) T green[kBiCubicReach + 1][kStripColumns];
    alignas(64) T colour[2 * (kBiCubicReach + 1)][kStripColumns];

    std::size_t width() const { return to - from; }
    T* greenRow(unsigned long y) { return green[y % (kBiCubicReach + 1)]; }
    T* colourRow(unsigned long y) { return colour[y % (2 * (kBiCubicReach + 1))]; }
};

/// One row of a strip.
template <class T>
using StripWorker = void (*)(const rows::SDemosaicRows<T>& kernels, const SImagePair<T>& image, SBiCubicStrip<T>& strip,
                             unsigned long y);

/// The two colours that row y holds.
template <class T, SPhase Phase>
void mvBiCubic_H(const rows::SDemosaicRows<T>& kernels, const SImagePair<T>& image, SBiCubicStrip<T>& strip,
                 unsigned long y) {
    kernels.biCubic[Phase.kind(y)](image.srcRow(y), strip.greenRow(y), strip.colourRow(y), strip.from, strip.to,
                                   image.width);
}
template <class T>
constexpr StripWorker<T> ColorInterpolation_BiCubicRGGB_H = mvBiCubic_H<T, kRGGB>;
template <class T>
constexpr StripWorker<T> ColorInterpolation_BiCubicGRBG_H = mvBiCubic_H<T, kGRBG>;
template <class T>
constexpr StripWorker<T> ColorInterpolation_BiCubicGBRG_H = mvBiCubic_H<T, kGBRG>;
template <class T>
constexpr StripWorker<T> ColorInterpolation_BiCubicBGGR_H = mvBiCubic_H<T, kBGGR>;

/// The third colour of row y, from the colours of the rows above and below it, and its pixels.
/// RedFirst: even rows hold red.
template <class T, bool RedFirst>
void mvBiCubicThird(const rows::SDemosaicRows<T>& kernels, const SImagePair<T>& image, SBiCubicStrip<T>& strip,
                    unsigned long y) {
    const unsigned long last = image.height - 1;
    alignas(64) T third[kStripColumns];
    if (y >= 3 && y + 3 <= last) {
        kernels.biCubicThird(strip.colourRow(y - 3), strip.colourRow(y - 1), strip.colourRow(y + 1),
                             strip.colourRow(y + 3), third, strip.width());
    } else {
        // A single neighbour stands for both: its mean with itself is itself.
        kernels.meanThird(strip.colourRow(y == 0 ? 1 : y - 1), strip.colourRow(y == last ? y - 1 : y + 1), third,
                          strip.width());
    }
    const bool redRow = RedFirst == (y % 2 == 0);
    const T* const colour = strip.colourRow(y);
    kernels.pixels[image.layout()](redRow ? third : colour, strip.greenRow(y), redRow ? colour : third,
                                   image.dstRow(y) + strip.from * image.channels, strip.width());
}
template <class T>
constexpr StripWorker<T> ColorInterpolation_BiCubicRFirst = mvBiCubicThird<T, true>;
template <class T>
constexpr StripWorker<T> ColorInterpolation_BiCubicBFirst = mvBiCubicThird<T, false>;

/// Both passes, strip by strip; the second follows three rows behind the first.
template <class T>
void mvBiCubic(const rows::SDemosaicRows<T>& kernels, const SImagePair<T>& image, StripWorker<T> horizontal,
               StripWorker<T> vertical) {
    SBiCubicStrip<T> strip; // NOLINT(cppcoreguidelines-pro-type-member-init): large, and written before it is read
    for (strip.from = 0; strip.from < image.width; strip.from = strip.to) {
        strip.to = std::min<std::size_t>(strip.from + kStripColumns, image.width);
        for (unsigned long y = 0; y < image.height + kBiCubicReach; ++y) {
            if (y < image.height) {
                horizontal(kernels, image, strip, y);
            }
            if (y >= kBiCubicReach) {
                vertical(kernels, image, strip, y - kBiCubicReach);
            }
        }
    }
}
template <class T>
void ColorInterpolation_BiCubicRGGB(const rows::SDemosaicRows<T>& kernels, const SImagePair<T>& image) {
    mvBiCubic<T>(kernels, image, ColorInterpolation_BiCubicRGGB_H<T>, ColorInterpolation_BiCubicRFirst<T>);
}
template <class T>
void ColorInterpolation_BiCubicGRBG(const rows::SDemosaicRows<T>& kernels, const SImagePair<T>& image) {
    mvBiCubic<T>(kernels, image, ColorInterpolation_BiCubicGRBG_H<T>, ColorInterpolation_BiCubicRFirst<T>);
}
template <class T>
void ColorInterpolation_BiCubicGBRG(const rows::SDemosaicRows<T>& kernels, const SImagePair<T>& image) {
    mvBiCubic<T>(kernels, image, ColorInterpolation_BiCubicGBRG_H<T>, ColorInterpolation_BiCubicBFirst<T>);
}
template <class T>
void ColorInterpolation_BiCubicBGGR(const rows::SDemosaicRows<T>& kernels, const SImagePair<T>& image) {
    mvBiCubic<T>(kernels, image, ColorInterpolation_BiCubicBGGR_H<T>, ColorInterpolation_BiCubicBFirst<T>);
}

template <class T>
unsigned long ColorInterpolation_BiCubic(const rows::SDemosaicRows<T>& kernels, const SImagePair<T>& image,
                                         unsigned short colorArray) {
    return mulRunFamily<T>(kernels, image, colorArray, 2,
                           {ColorInterpolation_BiCubicRGGB<T>, ColorInterpolation_BiCubicGRBG<T>,
                            ColorInterpolation_BiCubicGBRG<T>, ColorInterpolation_BiCubicBGGR<T>});
}

// ---- NearestNeighbor2 and BilinearFalseColorReduction: pixels in the middle of 2 x 2 blocks ----

/// Smallest width and height of the block-centred methods.
constexpr unsigned long kMinBlockSize = 4;

/// Upper row of the block from which the last rows of an image are made: two of an even height, three of an odd one.
constexpr unsigned long mulTailBlock(unsigned long height) {
    return (height - 2) & ~1UL;
}

template <class T, SPhase RedFirst, SPhase BlueFirst>
void mvNearestNeighbor2(const rows::SDemosaicRows<T>& kernels, const SImagePair<T>& image, bool redFirst) {
    const SPhase phase = redFirst ? RedFirst : BlueFirst;
    const unsigned long tail = mulTailBlock(image.height);
    for (unsigned long y = 0; y < image.height; ++y) {
        const unsigned long block = std::min(y, tail);
        const bool lowerOfPair = y < tail && y % 2 != 0;
        kernels.nearestNeighbor2[phase.kind(block)][image.layout()](image.srcRow(block), image.srcRow(block + 1),
                                                                    image.dstRow(y), image.width, lowerOfPair);
    }
}
template <class T>
constexpr BlockWorker<T> ColorInterpolation_NearestNeighbor2_RGGB_BGGR_X = mvNearestNeighbor2<T, kRGGB, kBGGR>;
template <class T>
constexpr BlockWorker<T> ColorInterpolation_NearestNeighbor2_GRBG_GBRG_X = mvNearestNeighbor2<T, kGRBG, kGBRG>;

template <class T>
unsigned long ColorInterpolation_NearestNeighbor2(const rows::SDemosaicRows<T>& kernels, const SImagePair<T>& image,
                                                  unsigned short colorArray) {
    return mulRunFamily<T>(kernels, image, colorArray, kMinBlockSize,
                           {mvWithFlag<T, ColorInterpolation_NearestNeighbor2_RGGB_BGGR_X<T>, true>,
                            mvWithFlag<T, ColorInterpolation_NearestNeighbor2_GRBG_GBRG_X<T>, true>,
                            mvWithFlag<T, ColorInterpolation_NearestNeighbor2_GRBG_GBRG_X<T>, false>,
                            mvWithFlag<T, ColorInterpolation_NearestNeighbor2_RGGB_BGGR_X<T>, false>});
}

template <class T, SPhase RedFirst, SPhase BlueFirst>
void mvBilinearFalseColorReduction(const rows::SDemosaicRows<T>& kernels, const SImagePair<T>& image, bool redFirst) {
    const SPhase phase = redFirst ? RedFirst : BlueFirst;
    const unsigned long tail = mulTailBlock(image.height);
    for (unsigned long y = 0; y < image.height; ++y) {
        const unsigned long block = std::min(y, tail);
        const T* const upper = image.srcRow(block);
        const T* const lower = image.srcRow(block + 1);
        // Where the image ends, and from the tail's block on downward, a near row stands for the far one.
        const T* const upperFar = y < tail ? image.srcRow(block + 2) : upper;
        const T* const lowerFar = y == 0 || y > tail ? lower : image.srcRow(block - 1);
        kernels.bilinearFalseColorReduction[phase.kind(block)][image.layout()](upper, lower, upperFar, lowerFar,
                                                                               image.dstRow(y), image.width);
    }
}
template <class T>
constexpr BlockWorker<T> ColorInterpolation_BilinearFalseColorReduction_RGGB_BGGR_X =
    mvBilinearFalseColorReduction<T, kRGGB, kBGGR>;
template <class T>
constexpr BlockWorker<T> ColorInterpolation_BilinearFalseColorReduction_GRBG_GBRG_X =
    mvBilinearFalseColorReduction<T, kGRBG, kGBRG>;

template <class T>
unsigned long ColorInterpolation_BilinearFalseColorReduction(const rows::SDemosaicRows<T>& kernels,
                                                             const SImagePair<T>& image, unsigned short colorArray) {
    return mulRunFamily<T>(kernels, image, colorArray, kMinBlockSize,
                           {mvWithFlag<T, ColorInterpolation_BilinearFalseColorReduction_RGGB_BGGR_X<T>, true>,
                            mvWithFlag<T, ColorInterpolation_BilinearFalseColorReduction_GRBG_GBRG_X<T>, true>,
                            mvWithFlag<T, ColorInterpolation_BilinearFalseColorReduction_GRBG_GBRG_X<T>, false>,
                            mvWithFlag<T, ColorInterpolation_BilinearFalseColorReduction_RGGB_BGGR_X<T>, false>});
}

// ---- grey ----

template <class T>
unsigned long MonoToBGR(const rows::SDemosaicRows<T>& kernels, const SImagePair<T>& image) {
    if (image.channels != 1 && image.channels != 3 && image.channels != 4) {
        return kInvalid;
    }
    if (!image.hasPixels()) {
        return kOk;
    }
    if (!image.hasBuffers()) {
        return kInvalid;
    }
    // memmove: an application may ask for the image in its own place where its rows need no padding.
    if (image.channels == 1 && image.srcPitch == image.dstPitch) {
        std::memmove(image.dst, image.src, image.srcPitch * image.height);
        return kOk;
    }
    for (unsigned long y = 0; y < image.height; ++y) {
        if (image.channels == 1) {
            std::memmove(image.dstRow(y), image.srcRow(y), image.width * sizeof(T));
        } else {
            kernels.grey[image.layout()](image.srcRow(y), image.dstRow(y), image.width);
        }
    }
    return kOk;
}

} // namespace

template <class T>
unsigned long CColorInterpolation::ColorInterporation(unsigned long width, unsigned long height, unsigned long srcPitch,
                                                      const T* src, unsigned long dstPitch, T* dst,
                                                      unsigned char method, unsigned short colorArray,
                                                      unsigned short channels) const {
    if (srcPitch == 0) {
        srcPitch = isYCrCb(colorArray) ? yCrCbRowBytes(colorArray, width, sizeof(T)) : width * sizeof(T);
    }
    if (dstPitch == 0) {
        dstPitch = roundUpTo4(channels * width * sizeof(T));
    }
    if (isYCrCb(colorArray)) {
        const bool grey = method == VEK_DEMOSAIC_MONO;
        if (!grey && channels != 3 && channels != 4) {
            return kInvalid;
        }
        if (width == 0 || height == 0) {
            return kOk;
        }
        if (src == nullptr || dst == nullptr) {
            return kInvalid;
        }
        // Bytes on both sides, whatever the sample type is.
        const SYCrCbImage image = {width,
                                   height,
                                   reinterpret_cast<const unsigned char*>(src),
                                   reinterpret_cast<unsigned char*>(dst),
                                   channels,
                                   srcPitch,
                                   dstPitch};
        grey ? mvTransform_YCrCb2Mono(mRows.yCrCb, image, colorArray)
             : mvTransform_YCrCb2BGR(mRows.yCrCb, image, colorArray);
        return kOk;
    }
    const rows::SDemosaicRows<T>& kernels = rows::demosaicRows<T>(mRows);
    const SImagePair<T> image = {width, height, src, dst, channels, srcPitch, dstPitch};

    if (method == VEK_DEMOSAIC_MONO || colorArray == VEK_COLOR_ARRAY_MONO) {
        const bool oneSampleAPixel = colorArray >= VEK_COLOR_ARRAY_MONO && colorArray <= VEK_COLOR_ARRAY_BGGR;
        return oneSampleAPixel ? MonoToBGR(kernels, image) : kInvalid;
    }
    switch (method) {
    case VEK_DEMOSAIC_NONE:
        return ColorInterpolation_None(kernels, image, colorArray);
    case VEK_DEMOSAIC_NEAREST_NEIGHBOR:
        return ColorInterpolation_NearestNeighbor(kernels, image, colorArray);
    case VEK_DEMOSAIC_BILINEAR_SIMPLE:
        return ColorInterpolation_BilinearSimple(kernels, image, colorArray);
    case VEK_DEMOSAIC_BICUBIC:
        return ColorInterpolation_BiCubic(kernels, image, colorArray);
    case VEK_DEMOSAIC_BILINEAR_FALSE_COLOR_REDUCTION:
        return ColorInterpolation_BilinearFalseColorReduction(kernels, image, colorArray);
    case VEK_DEMOSAIC_NEAREST_NEIGHBOR2:
        return ColorInterpolation_NearestNeighbor2(kernels, image, colorArray);
    default:
        return kInvalid;
    }
}

unsigned long CColorInterpolation::ColorInterporationB(unsigned long width, unsigned long height, unsigned char* src,
                                                       unsigned char* dst, unsigned char method,
                                                       unsigned short colorArray, unsigned short channels) {
    return ColorInterporationB(width, height, 0, src, 0, dst, method, colorArray, channels);
}

unsigned long CColorInterpolation::ColorInterporationW(unsigned long width, unsigned long height, unsigned short* src,
                                                       unsigned short* dst, unsigned char method,
                                                       unsigned short colorArray, unsigned short channels) {
    return ColorInterporationW(width, height, 0, src, 0, dst, method, colorArray, channels);
}

unsigned long CColorInterpolation::ColorInterporationB(unsigned long width, unsigned long height,
                                                       unsigned long srcPitch, unsigned char* src,
                                                       unsigned long dstPitch, unsigned char* dst, unsigned char method,
                                                       unsigned short colorArray, unsigned short channels) {
    return ColorInterporation<unsigned char>(width, height, srcPitch, src, dstPitch, dst, method, colorArray, channels);
}

unsigned long CColorInterpolation::ColorInterporationW(unsigned long width, unsigned long height,
                                                       unsigned long srcPitch, unsigned short* src,
                                                       unsigned long dstPitch, unsigned short* dst,
                                                       unsigned char method, unsigned short colorArray,
                                                       unsigned short channels) {
    return ColorInterporation<unsigned short>(width, height, srcPitch, src, dstPitch, dst, method, colorArray,
                                              channels);
}

} // namespace vek
