// SPDX-License-Identifier: Apache-2.0
#include "imageproc/Flip.h"

#include "VekTrgApi.h"
#include "common/Image.h"
#include "common/Status.h"
#include "formats/ColorArrays.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace vek {

namespace {

constexpr std::size_t kTransforms = 8;

/// Numbers of 8 and more are no transform.
unsigned char transformOf(unsigned char mirror, unsigned char rotation) {
    using enum ETransform;
    static constexpr ETransform clockwise[] = {RotationClockwise, MirrorHRotationClockwise,
                                               MirrorHRotationCounterclockwise, RotationCounterclockwise};
    static constexpr ETransform counterclockwise[] = {RotationCounterclockwise, MirrorHRotationCounterclockwise,
                                                      MirrorHRotationClockwise, RotationClockwise};
    switch (rotation) {
    case VEK_ROTATION_CLOCKWISE:
        return static_cast<unsigned char>(clockwise[mirror & 3]);
    case VEK_ROTATION_COUNTERCLOCKWISE:
        return static_cast<unsigned char>(counterclockwise[mirror & 3]);
    default:
        return mirror; // whole: values of 4 and more are transforms of their own, or none
    }
}

unsigned short transformedColorArray(unsigned char transform, unsigned short colorArray) {
    // RGGB, GRBG, GBRG, BGGR become
    static constexpr unsigned short becomes[kTransforms][4] = {{2, 3, 4, 5}, {3, 2, 5, 4}, {4, 5, 2, 3}, {5, 4, 3, 2},
                                                               {3, 5, 2, 4}, {4, 2, 5, 3}, {5, 3, 4, 2}, {2, 4, 3, 5}};
    if (transform >= kTransforms || !isBayer(colorArray)) {
        return colorArray;
    }
    return becomes[transform][colorArray - VEK_COLOR_ARRAY_RGGB];
}

using Band = SBand<unsigned char>;

void mirrorH(const rows::SFlipRows& kernels, std::size_t size, const SFrame& frame, const Band& band) {
    if (!band.InPlace()) {
        for (unsigned long y = band.first; y < band.end; ++y) {
            kernels.reverse[size](band.src.Row(y), band.dst.Row(y), frame.width);
        }
        return;
    }
    for (unsigned long y = 0; y < frame.height; ++y) {
        kernels.reverseInPlace[size](band.dst.Row(y), frame.width);
    }
}

void mirrorV(const SFlipStage& stage, const SFrame& frame, const Band& band) {
    const unsigned long last = frame.height - 1;
    if (!band.InPlace()) {
        // Fixed behaviour: no more than a row of one sample a pixel has, whatever the pixels are.
        const std::size_t bytes = frame.width * std::min(stage.sampleBytes, stage.pixelBytes);
        for (unsigned long y = band.first; y < band.end; ++y) {
            std::memcpy(band.dst.Row(y), band.src.Row(last - y), bytes);
        }
        return;
    }
    const std::size_t bytes = frame.width * stage.pixelBytes;
    for (unsigned long y = 0; y < frame.height / 2; ++y) {
        std::swap_ranges(band.dst.Row(y), band.dst.Row(y) + bytes, band.dst.Row(last - y));
    }
}

void mirrorHV(const rows::SFlipRows& kernels, std::size_t size, const SFrame& frame, const Band& band) {
    const unsigned long last = frame.height - 1;
    if (!band.InPlace()) {
        for (unsigned long y = band.first; y < band.end; ++y) {
            kernels.reverse[size](band.src.Row(last - y), band.dst.Row(y), frame.width);
        }
        return;
    }
    for (unsigned long y = 0; y < frame.height / 2; ++y) {
        kernels.exchangeReversed[size](band.dst.Row(y), band.dst.Row(last - y), frame.width);
    }
    if (frame.height % 2 != 0) {
        kernels.reverseInPlace[size](band.dst.Row(last / 2), frame.width);
    }
}

/// Quarter turns are transpositions of an image that is read, written or both from the bottom up.
void transpose(const rows::SFlipRows& kernels, const SFlipStage& stage, const SFrame& frame, const Band& band,
               bool srcUp, bool dstUp) {
    const auto srcPitch = static_cast<std::ptrdiff_t>(band.src.pitch);
    const auto dstPitch = static_cast<std::ptrdiff_t>(band.dst.pitch);
    // The first column of the source that belongs to the band.
    const unsigned long column = dstUp ? frame.width - band.end : band.first;
    kernels.transpose[rows::pixelSize(stage.pixelBytes)](
        band.src.Row(srcUp ? frame.height - 1 : 0) + column * stage.pixelBytes, srcUp ? -srcPitch : srcPitch,
        band.dst.Row(dstUp ? band.end - 1 : band.first), dstUp ? -dstPitch : dstPitch, band.end - band.first,
        frame.height);
}

bool takesSamples(ETransform transform, unsigned short samplesPerPixel) {
    return samplesPerPixel == 1 || samplesPerPixel == 3 || samplesPerPixel == 4 || transform == ETransform::MirrorV;
}

} // namespace

unsigned short SFlipStage::ColorArray(unsigned short colorArray) const {
    return transformedColorArray(static_cast<unsigned char>(transform), colorArray);
}

STraits SFlipStage::Traits(const SFrame& /*frame*/) const {
    switch (transform) {
    case ETransform::None:
        return {};
    case ETransform::MirrorH:
        return {.kind = EStage::Pointwise};
    case ETransform::MirrorV:
        return {.kind = EStage::Permutation, .leavesOpen = pixelBytes > sampleBytes};
    case ETransform::MirrorHV:
        return {.kind = EStage::Permutation};
    default:
        return {.kind = EStage::WholeFrame};
    }
}

void SFlipStage::Rows(const rows::SRowTable& kernels, const SFrame& frame, const SBand<unsigned char>& band) const {
    const rows::SFlipRows& flips = kernels.flips;
    switch (transform) {
    case ETransform::None:
        return;
    case ETransform::MirrorH:
        return mirrorH(flips, rows::pixelSize(pixelBytes), frame, band);
    case ETransform::MirrorV:
        return mirrorV(*this, frame, band);
    case ETransform::MirrorHV:
        return mirrorHV(flips, rows::pixelSize(pixelBytes), frame, band);
    case ETransform::RotationClockwise:
        return transpose(flips, *this, frame, band, true, false);
    case ETransform::RotationCounterclockwise:
        return transpose(flips, *this, frame, band, false, true);
    case ETransform::MirrorHRotationClockwise:
        return transpose(flips, *this, frame, band, true, true);
    case ETransform::MirrorHRotationCounterclockwise:
        return transpose(flips, *this, frame, band, false, false);
    }
}

/// A buffer of size bytes at least, as it was left; null when memory runs out.
void* CFlip::GetTmpBuffer(unsigned long size) {
    if (mTmpBuffer == nullptr || mTmpBufferSize < size) {
        mTmpBuffer.reset(); // there may be no room for two
        mTmpBuffer.reset(std::malloc(size));
        mTmpBufferSize = mTmpBuffer != nullptr ? size : 0;
    }
    return mTmpBuffer.get();
}

template <class T>
unsigned long CFlip::FlipBGR(unsigned char mirror, unsigned char rotation, unsigned long* width, unsigned long* height,
                             const T* src, T* dst, unsigned short samplesPerPixel) {
    if (width == nullptr || height == nullptr) {
        return kInvalid;
    }
    const SFrame frame = {*width, *height};
    const unsigned char transform = transformOf(mirror, rotation);
    if (transform == 0 || transform >= kTransforms) {
        return kOk;
    }
    const SFlipStage stage = {static_cast<ETransform>(transform), sizeof(T), samplesPerPixel * sizeof(T)};
    const unsigned long outWidth = stage.IsRotation() ? frame.height : frame.width;
    const unsigned long outHeight = stage.IsRotation() ? frame.width : frame.height;
    *width = outWidth;
    *height = outHeight;
    if (!takesSamples(stage.transform, samplesPerPixel)) {
        return kInvalid;
    }
    if (!frame.HasPixels()) {
        return kOk;
    }
    if (src == nullptr || dst == nullptr) {
        return kInvalid;
    }
    const unsigned long pitch = stage.pixelBytes * frame.width;
    SRows<const unsigned char> from = {pitch, reinterpret_cast<const unsigned char*>(src)};
    const SRows<unsigned char> to = {stage.pixelBytes * outWidth, reinterpret_cast<unsigned char*>(dst)};
    if (stage.IsRotation() && src == dst) {
        unsigned long size = 0;
        const bool tooLarge = __builtin_mul_overflow(stage.pixelBytes, frame.width, &size) ||
                              __builtin_mul_overflow(pitch, frame.height, &size);
        void* const copy = tooLarge ? nullptr : GetTmpBuffer(size);
        if (copy == nullptr) {
            return kNoMemory;
        }
        from.data = static_cast<const unsigned char*>(std::memcpy(copy, src, size));
    }
    stage.Rows(mRows, frame, Band{from, to, 0, outHeight});
    return kOk;
}

template <class T>
unsigned long CFlip::FlipRaw(unsigned char mirror, unsigned char rotation, unsigned long* width, unsigned long* height,
                             const T* src, T* dst, unsigned short* colorArray) {
    if (colorArray == nullptr) {
        return kInvalid;
    }
    const unsigned long status = FlipBGR(mirror, rotation, width, height, src, dst, 1);
    if (status == kOk) {
        *colorArray = transformedColorArray(transformOf(mirror, rotation), *colorArray);
    }
    return status;
}

unsigned long CFlip::FlipBGRB(unsigned char mirror, unsigned char rotation, unsigned long* width, unsigned long* height,
                              unsigned char* src, unsigned char* dst, unsigned short samplesPerPixel) {
    return FlipBGR(mirror, rotation, width, height, src, dst, samplesPerPixel);
}

unsigned long CFlip::FlipBGRW(unsigned char mirror, unsigned char rotation, unsigned long* width, unsigned long* height,
                              unsigned short* src, unsigned short* dst, unsigned short samplesPerPixel) {
    return FlipBGR(mirror, rotation, width, height, src, dst, samplesPerPixel);
}

unsigned long CFlip::FlipRawB(unsigned char mirror, unsigned char rotation, unsigned long* width, unsigned long* height,
                              unsigned char* src, unsigned char* dst, unsigned short* colorArray) {
    return FlipRaw(mirror, rotation, width, height, src, dst, colorArray);
}

unsigned long CFlip::FlipRawW(unsigned char mirror, unsigned char rotation, unsigned long* width, unsigned long* height,
                              unsigned short* src, unsigned short* dst, unsigned short* colorArray) {
    return FlipRaw(mirror, rotation, width, height, src, dst, colorArray);
}

} // namespace vek
