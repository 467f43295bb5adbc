// SPDX-License-Identifier: Apache-2.0
#include "imageproc/ColorInterpolation.h"

#include "common/Image.h"
#include "common/Status.h"
#include "formats/ColorArrays.h"
#include "formats/TransferFormats.h"
#include "imageproc/BayerRows.h"
#include "imageproc/ColorInterpolation_YCbCr.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace vek {

namespace {

constexpr unsigned kBiCubicReach = kDemosaicMethods[VEK_DEMOSAIC_BICUBIC].rowsBelow;

/// Whether pixels of a method and a colour array are copied, to every channel. Those of one channel may be asked for in
/// their own place.
constexpr bool isCopied(unsigned char method, unsigned short colorArray) {
    return colorArray == VEK_COLOR_ARRAY_MONO || (method == VEK_DEMOSAIC_MONO && isBayer(colorArray));
}

/// A band of a Bayer frame on its way to pixels of 3 or 4 samples.
template <class T>
struct SBayerBand : SBand<T> {
    const SFrame& frame;
    const rows::SDemosaicRows<T>& kernels;
    const SPhase& phase;
    unsigned channels;

    std::size_t Layout() const { return rows::pixelLayout(channels); }
};

template <class T>
void noneRow(const SBayerBand<T>& bayer, unsigned long y) {
    bayer.kernels.none[bayer.phase.Kind(y)][bayer.Layout()](bayer.src.Row(y), bayer.dst.Row(y), bayer.frame.width);
}

template <class T>
void nearestNeighborRow(const SBayerBand<T>& bayer, unsigned long y) {
    // The other row of the cell; the last row of an odd height makes its cell with the row above it.
    const unsigned long other = y % 2 == 0 && y + 1 < bayer.frame.height ? y + 1 : y - 1;
    bayer.kernels.nearestNeighbor[bayer.phase.Kind(y)][bayer.Layout()](bayer.src.Row(y), bayer.src.Row(other),
                                                                       bayer.dst.Row(y), bayer.frame.width);
}

template <class T>
void bilinearSimpleRow(const SBayerBand<T>& bayer, unsigned long y) {
    const unsigned long last = bayer.frame.height - 1;
    const std::size_t kind = bayer.phase.Kind(y);
    if (y == last && y % 2 == 0) {
        // The last row of an odd height never gets its third colour.
        bayer.kernels.bilinearSimpleOpen[kind][bayer.Layout()](bayer.src.Row(y), bayer.dst.Row(y), bayer.frame.width);
        return;
    }
    const SRowsAround<T> rows = rowsAround(bayer.src, bayer.frame.height, y);
    bayer.kernels.bilinearSimple[kind][bayer.Layout()](rows.above, rows.row, rows.below, bayer.dst.Row(y),
                                                       bayer.frame.width);
}

// ---- BiCubic ----

/// Columns that both passes work on at a time: wide enough for the usual sensors, since memory is fastest along whole
/// rows, and small enough for a stack (66 kB of words).
constexpr std::size_t kStripColumns = 2560;

/// A strip of a band between the two passes: what the horizontal one made of a row, until the vertical one needs it no
/// more.
template <class T>
struct SBiCubicStrip {
    std::size_t from;
    std::size_t to;
    alignas(64) T green[kBiCubicReach + 1][kStripColumns];
    alignas(64) T color[2 * (kBiCubicReach + 1)][kStripColumns];

    std::size_t Width() const { return to - from; }
    T* GreenRow(unsigned long y) { return green[y % (kBiCubicReach + 1)]; }
    T* ColorRow(unsigned long y) { return color[y % (2 * (kBiCubicReach + 1))]; }
};

/// The third colour of row y, from the colours of the rows above and below it, and its pixels.
template <class T>
void biCubicThird(const SBayerBand<T>& bayer, SBiCubicStrip<T>& strip, unsigned long y) {
    const unsigned long last = bayer.frame.height - 1;
    alignas(64) T third[kStripColumns];
    if (y >= 3 && y + 3 <= last) {
        bayer.kernels.biCubicThird(strip.ColorRow(y - 3), strip.ColorRow(y - 1), strip.ColorRow(y + 1),
                                   strip.ColorRow(y + 3), third, strip.Width());
    } else {
        // A single neighbour stands for both: its mean with itself is itself.
        bayer.kernels.meanThird(strip.ColorRow(y == 0 ? 1 : y - 1), strip.ColorRow(y == last ? y - 1 : y + 1), third,
                                strip.Width());
    }
    const bool red = bayer.phase.IsRed(y);
    const T* const color = strip.ColorRow(y);
    bayer.kernels.pixels[bayer.Layout()](red ? third : color, strip.GreenRow(y), red ? color : third,
                                         bayer.dst.Row(y) + strip.from * bayer.channels, strip.Width());
}

/// Both passes, strip by strip: the two colours that each row holds, three rows ahead of its third colour. Not inlined:
/// the other methods need no large stack.
template <class T>
[[gnu::noinline]] void biCubicRows(const SBayerBand<T>& bayer) {
    SBiCubicStrip<T> strip; // NOLINT(cppcoreguidelines-pro-type-member-init): large, and written before it is read
    const unsigned long first = bayer.first;
    for (strip.from = 0; strip.from < bayer.frame.width; strip.from = strip.to) {
        strip.to = std::min<std::size_t>(strip.from + kStripColumns, bayer.frame.width);
        unsigned long ahead = first - std::min<unsigned long>(first, kBiCubicReach);
        for (unsigned long y = first; y < bayer.end; ++y) {
            for (; ahead < bayer.frame.height && ahead <= y + kBiCubicReach; ++ahead) {
                bayer.kernels.biCubic[bayer.phase.Kind(ahead)](bayer.src.Row(ahead), strip.GreenRow(ahead),
                                                               strip.ColorRow(ahead), strip.from, strip.to,
                                                               bayer.frame.width);
            }
            biCubicThird(bayer, strip, y);
        }
    }
}

// ---- NearestNeighbor2 and BilinearFalseColorReduction: pixels in the middle of 2 x 2 blocks ----

/// Upper row of the block from which the last rows of an image are made: two of an even height, three of an odd one.
constexpr unsigned long tailBlock(unsigned long height) {
    return (height - 2) & ~1UL;
}

template <class T>
void nearestNeighbor2Row(const SBayerBand<T>& bayer, unsigned long y) {
    const unsigned long tail = tailBlock(bayer.frame.height);
    const unsigned long block = std::min(y, tail);
    const bool lowerOfPair = y < tail && y % 2 != 0;
    bayer.kernels.nearestNeighbor2[bayer.phase.Kind(block)][bayer.Layout()](
        bayer.src.Row(block), bayer.src.Row(block + 1), bayer.dst.Row(y), bayer.frame.width, lowerOfPair);
}

template <class T>
void bilinearFalseColorReductionRow(const SBayerBand<T>& bayer, unsigned long y) {
    const unsigned long tail = tailBlock(bayer.frame.height);
    const unsigned long block = std::min(y, tail);
    const T* const upper = bayer.src.Row(block);
    const T* const lower = bayer.src.Row(block + 1);
    // Where the image ends, and from the tail's block on downward, a near row stands for the far one.
    const T* const upperFar = y < tail ? bayer.src.Row(block + 2) : upper;
    const T* const lowerFar = y == 0 || y > tail ? lower : bayer.src.Row(block - 1);
    bayer.kernels.bilinearFalseColorReduction[bayer.phase.Kind(block)][bayer.Layout()](
        upper, lower, upperFar, lowerFar, bayer.dst.Row(y), bayer.frame.width);
}

// ---- grey ----

template <class T>
void copyRow(const rows::SDemosaicRows<T>& kernels, unsigned channels, unsigned long width, const SBand<T>& band,
             unsigned long y) {
    if (channels == 1) {
        std::memmove(band.dst.Row(y), band.src.Row(y), width * sizeof(T));
    } else {
        kernels.gray[rows::pixelLayout(channels)](band.src.Row(y), band.dst.Row(y), width);
    }
}

} // namespace

const SDemosaicMethod* SColorInterpolationStage::MethodFor(unsigned short colorArray) const {
    const bool color = channels == 3 || channels == 4;
    const SDemosaicMethod* const mono = &kDemosaicMethods[VEK_DEMOSAIC_MONO];
    if (isYCrCb(colorArray)) {
        return color || method == VEK_DEMOSAIC_MONO ? mono : nullptr;
    }
    if (isCopied(method, colorArray)) {
        return color || channels == 1 ? mono : nullptr;
    }
    const bool demosaiced = method != VEK_DEMOSAIC_MONO && method < kDemosaicMethods.size();
    return demosaiced && color && isBayer(colorArray) ? &kDemosaicMethods[method] : nullptr;
}

STraits SColorInterpolationStage::Traits(const SFrame& frame) const {
    const SDemosaicMethod* const from = MethodFor(frame.colorArray);
    if (from == nullptr) {
        return {};
    }
    STraits traits = {.kind = from->rowsAbove != 0 ? EStage::Window : EStage::Pointwise,
                      .rowsAbove = from->rowsAbove,
                      .rowsBelow = from->rowsBelow};
    const bool oddWidth = frame.width % 2 != 0;
    if (isYCrCb(frame.colorArray)) {
        const rows::YCrCb packing = yCrCbPacking(frame.colorArray);
        traits.leavesOpen =
            method != VEK_DEMOSAIC_MONO && (packing == rows::YCrCb::P411 || (packing == rows::YCrCb::P422 && oddWidth));
    } else if (!isCopied(method, frame.colorArray)) {
        traits.leavesOpen = method == VEK_DEMOSAIC_BILINEAR_SIMPLE && frame.height % 2 != 0;
        traits.readsBehind =
            oddWidth && (method == VEK_DEMOSAIC_BILINEAR_SIMPLE || method == VEK_DEMOSAIC_NEAREST_NEIGHBOR2);
    }
    return traits;
}

template <class T>
void SColorInterpolationStage::Rows(const rows::SRowTable& kernels, const SFrame& frame, const SBand<T>& band) const {
    if constexpr (sizeof(T) == 1) {
        if (isYCrCb(frame.colorArray)) {
            decodeYCrCb(kernels.yCrCb, frame, method == VEK_DEMOSAIC_MONO ? 1U : channels, band);
            return;
        }
    }
    const rows::SDemosaicRows<T>& demosaic = rows::demosaicRows<T>(kernels);
    const auto forRows = [&](auto row) {
        for (unsigned long y = band.first; y < band.end; ++y) {
            row(y);
        }
    };
    if (isCopied(method, frame.colorArray)) {
        return forRows([&](unsigned long y) { copyRow(demosaic, channels, frame.width, band, y); });
    }
    const SBayerBand<T> bayer = {band, frame, demosaic, phaseOf(frame.colorArray), channels};
    switch (method) {
    case VEK_DEMOSAIC_NONE:
        return forRows([&](unsigned long y) { noneRow(bayer, y); });
    case VEK_DEMOSAIC_NEAREST_NEIGHBOR:
        return forRows([&](unsigned long y) { nearestNeighborRow(bayer, y); });
    case VEK_DEMOSAIC_BILINEAR_SIMPLE:
        return forRows([&](unsigned long y) { bilinearSimpleRow(bayer, y); });
    case VEK_DEMOSAIC_BICUBIC:
        return biCubicRows(bayer);
    case VEK_DEMOSAIC_BILINEAR_FALSE_COLOR_REDUCTION:
        return forRows([&](unsigned long y) { bilinearFalseColorReductionRow(bayer, y); });
    case VEK_DEMOSAIC_NEAREST_NEIGHBOR2:
        return forRows([&](unsigned long y) { nearestNeighbor2Row(bayer, y); });
    default:
        return;
    }
}
template void SColorInterpolationStage::Rows(const rows::SRowTable&, const SFrame&, const SBand<unsigned char>&) const;
template void SColorInterpolationStage::Rows(const rows::SRowTable&, const SFrame&, const SBand<unsigned short>&) const;

template <class T>
unsigned long CColorInterpolation::ColorInterporation(unsigned long width, unsigned long height, unsigned long srcPitch,
                                                      const T* src, unsigned long dstPitch, T* dst,
                                                      unsigned char method, unsigned short colorArray,
                                                      unsigned short channels) const {
    const SColorInterpolationStage stage = {method, channels};
    const SDemosaicMethod* const from = stage.MethodFor(colorArray);
    if (from == nullptr) {
        return kInvalid;
    }
    if (width == 0 || height == 0) {
        return kOk;
    }
    if (width < from->minSize || height < from->minSize || src == nullptr || dst == nullptr) {
        return kInvalid;
    }
    const bool decoded = isYCrCb(colorArray);
    if (srcPitch == 0) {
        // Rows of YCrCb in a buffer of words are twice as long.
        srcPitch = decoded ? yCrCbFormat(colorArray)->RowBytes(width * sizeof(T)) : width * sizeof(T);
    }
    dstPitch = pitchOr<T>(dstPitch, channels * width);
    const SFrame frame = {width, height, 0, colorArray, 0};
    if (decoded) {
        // Bytes on both sides, whatever the sample type is.
        using Byte = unsigned char;
        const SRows<const Byte> coded = {srcPitch, reinterpret_cast<const Byte*>(src)};
        const SRows<Byte> pixels = {dstPitch, reinterpret_cast<Byte*>(dst)};
        stage.Rows(mRows, frame, SBand<Byte>{coded, pixels, 0, height});
        return kOk;
    }
    if (isCopied(method, colorArray) && channels == 1 && srcPitch == dstPitch) {
        // Padding and all.
        std::memmove(dst, src, srcPitch * height);
        return kOk;
    }
    stage.Rows(mRows, frame, SBand<T>{{srcPitch, src}, {dstPitch, dst}, 0, height});
    return kOk;
}

unsigned long CColorInterpolation::ColorInterporationB(unsigned long width, unsigned long height, unsigned char* src,
                                                       unsigned char* dst, unsigned char method,
                                                       unsigned short colorArray, unsigned short channels) {
    return ColorInterporation(width, height, 0, src, 0, dst, method, colorArray, channels);
}

unsigned long CColorInterpolation::ColorInterporationW(unsigned long width, unsigned long height, unsigned short* src,
                                                       unsigned short* dst, unsigned char method,
                                                       unsigned short colorArray, unsigned short channels) {
    return ColorInterporation(width, height, 0, src, 0, dst, method, colorArray, channels);
}

unsigned long CColorInterpolation::ColorInterporationB(unsigned long width, unsigned long height,
                                                       unsigned long srcPitch, unsigned char* src,
                                                       unsigned long dstPitch, unsigned char* dst, unsigned char method,
                                                       unsigned short colorArray, unsigned short channels) {
    return ColorInterporation(width, height, srcPitch, src, dstPitch, dst, method, colorArray, channels);
}

unsigned long CColorInterpolation::ColorInterporationW(unsigned long width, unsigned long height,
                                                       unsigned long srcPitch, unsigned short* src,
                                                       unsigned long dstPitch, unsigned short* dst,
                                                       unsigned char method, unsigned short colorArray,
                                                       unsigned short channels) {
    return ColorInterporation(width, height, srcPitch, src, dstPitch, dst, method, colorArray, channels);
}

} // namespace vek
