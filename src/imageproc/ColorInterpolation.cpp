// SPDX-License-Identifier: Apache-2.0
#include "imageproc/ColorInterpolation.h"

#include "VekTrgApi.h"
#include "common/Image.h"
#include "common/Status.h"

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
    // memmove: an application may ask for the image in its own place.
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
        srcPitch = width * sizeof(T);
    }
    if (dstPitch == 0) {
        dstPitch = roundUpTo4(channels * width * sizeof(T));
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
