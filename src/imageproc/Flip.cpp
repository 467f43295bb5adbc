// SPDX-License-Identifier: Apache-2.0
#include "imageproc/Flip.h"

#include "VekTrgApi.h"
#include "common/Image.h"
#include "common/Status.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace vek {

namespace {

/// What an image goes through.
enum ETransform : unsigned char {
    kNone,
    kMirrorH,
    kMirrorV,
    kMirrorHV,
    kRotationClockwise,
    kRotationCounterclockwise,
    kMirrorHRotationClockwise,
    kMirrorHRotationCounterclockwise,
    kTransforms
};

constexpr bool isRotation(unsigned char transform) {
    return transform >= kRotationClockwise && transform < kTransforms;
}

unsigned char GetMirrorRotaionMode(unsigned char mirror, unsigned char rotation) {
    static constexpr unsigned char kClockwise[] = {kRotationClockwise, kMirrorHRotationClockwise,
                                                   kMirrorHRotationCounterclockwise, kRotationCounterclockwise};
    static constexpr unsigned char kCounterclockwise[] = {kRotationCounterclockwise, kMirrorHRotationCounterclockwise,
                                                          kMirrorHRotationClockwise, kRotationClockwise};
    switch (rotation) {
    case VEK_ROTATION_CLOCKWISE:
        return kClockwise[mirror & 3];
    case VEK_ROTATION_COUNTERCLOCKWISE:
        return kCounterclockwise[mirror & 3];
    default:
        return mirror; // whole: values of 4 and more are transforms of their own, or none
    }
}

unsigned short GetNewColorArray(unsigned char transform, unsigned short colorArray) {
    // RGGB, GRBG, GBRG, BGGR become
    static constexpr unsigned short kBecomes[kTransforms][4] = {{2, 3, 4, 5}, {3, 2, 5, 4}, {4, 5, 2, 3}, {5, 4, 3, 2},
                                                                {3, 5, 2, 4}, {4, 2, 5, 3}, {5, 3, 4, 2}, {2, 4, 3, 5}};
    if (transform >= kTransforms || colorArray < VEK_COLOR_ARRAY_RGGB || colorArray > VEK_COLOR_ARRAY_BGGR) {
        return colorArray;
    }
    return kBecomes[transform][colorArray - VEK_COLOR_ARRAY_RGGB];
}

constexpr unsigned long roundUp(unsigned long bytes, unsigned long powerOfTwo) {
    return (bytes + powerOfTwo - 1) & ~(powerOfTwo - 1);
}

/// A source and a destination image, which are the same or do not overlap. Size in source pixels, line lengths in
/// bytes.
struct SImagePair {
    const rows::SFlipRows& kernels;
    unsigned long width;
    unsigned long height;
    unsigned long srcLineBytes;
    unsigned long dstLineBytes;
    std::uint8_t* src;
    std::uint8_t* dst;
    std::size_t sampleBytes;
    std::size_t pixelBytes;

    std::uint8_t* srcRow(unsigned long y) const { return src + y * srcLineBytes; }
    std::uint8_t* dstRow(unsigned long y) const { return dst + y * dstLineBytes; }
    std::size_t size() const { return rows::pixelSize(pixelBytes); }
    bool inPlace() const { return src == dst; }
};

using Worker = void (*)(const SImagePair& images);

void mvMirrorH(const SImagePair& images) {
    for (unsigned long y = 0; y < images.height; ++y) {
        if (images.inPlace()) {
            images.kernels.reverseInPlace[images.size()](images.srcRow(y), images.width);
        } else {
            images.kernels.reverse[images.size()](images.srcRow(y), images.dstRow(y), images.width);
        }
    }
}

void MirrorV(const SImagePair& images) {
    const unsigned long last = images.height - 1;
    if (!images.inPlace()) {
        for (unsigned long y = 0; y < images.height; ++y) {
            // Fixed behaviour: no more than a row of one sample a pixel has, whatever the pixels are.
            std::memcpy(images.dstRow(last - y), images.srcRow(y),
                        images.width * std::min(images.sampleBytes, images.pixelBytes));
        }
        return;
    }
    const std::size_t bytes = images.width * images.pixelBytes;
    for (unsigned long y = 0; y < images.height / 2; ++y) {
        std::swap_ranges(images.srcRow(y), images.srcRow(y) + bytes, images.srcRow(last - y));
    }
}

void mvMirrorHV(const SImagePair& images) {
    const unsigned long last = images.height - 1;
    if (!images.inPlace()) {
        for (unsigned long y = 0; y < images.height; ++y) {
            images.kernels.reverse[images.size()](images.srcRow(y), images.dstRow(last - y), images.width);
        }
        return;
    }
    for (unsigned long y = 0; y < images.height / 2; ++y) {
        images.kernels.exchangeReversed[images.size()](images.srcRow(y), images.srcRow(last - y), images.width);
    }
    if (images.height % 2 != 0) {
        images.kernels.reverseInPlace[images.size()](images.srcRow(last / 2), images.width);
    }
}

/// Quarter turns are transpositions of an image that is read, written or both from the bottom up.
template <bool SrcUp, bool DstUp>
void mvTranspose(const SImagePair& images) {
    const auto srcPitch = static_cast<std::ptrdiff_t>(images.srcLineBytes);
    const auto dstPitch = static_cast<std::ptrdiff_t>(images.dstLineBytes);
    images.kernels.transpose[images.size()](SrcUp ? images.srcRow(images.height - 1) : images.src,
                                            SrcUp ? -srcPitch : srcPitch,
                                            DstUp ? images.dstRow(images.width - 1) : images.dst,
                                            DstUp ? -dstPitch : dstPitch, images.width, images.height);
}

// One sample a pixel, and pixels of 3 or 4 samples that are moved as a whole.
constexpr Worker MirrorHGray = mvMirrorH;
constexpr Worker MirrorHColor = mvMirrorH;
constexpr Worker MirrorHVGray = mvMirrorHV;
constexpr Worker MirrorHVColor = mvMirrorHV;
constexpr Worker RotationClockwiseGray = mvTranspose<true, false>;
constexpr Worker RotationClockwiseColor = mvTranspose<true, false>;
constexpr Worker RotationCounterclockwiseGray = mvTranspose<false, true>;
constexpr Worker RotationCounterclockwiseColor = mvTranspose<false, true>;
constexpr Worker MirrorHRotationClockwiseGray = mvTranspose<true, true>;
constexpr Worker MirrorHRotationClockwiseColor = mvTranspose<true, true>;
constexpr Worker MirrorHRotationCounterclockwiseGray = mvTranspose<false, false>;
constexpr Worker MirrorHRotationCounterclockwiseColor = mvTranspose<false, false>;

constexpr Worker kGrayWorkers[kTransforms] = {nullptr,
                                              MirrorHGray,
                                              MirrorV,
                                              MirrorHVGray,
                                              RotationClockwiseGray,
                                              RotationCounterclockwiseGray,
                                              MirrorHRotationClockwiseGray,
                                              MirrorHRotationCounterclockwiseGray};
constexpr Worker kColorWorkers[kTransforms] = {nullptr,
                                               MirrorHColor,
                                               MirrorV,
                                               MirrorHVColor,
                                               RotationClockwiseColor,
                                               RotationCounterclockwiseColor,
                                               MirrorHRotationClockwiseColor,
                                               MirrorHRotationCounterclockwiseColor};

/// Null where the transform does not take pixels of so many samples.
Worker workerFor(unsigned char transform, unsigned short samplesPerPixel) {
    if (samplesPerPixel == 1) {
        return kGrayWorkers[transform];
    }
    const bool taken = samplesPerPixel == 3 || samplesPerPixel == 4 || transform == kMirrorV;
    return taken ? kColorWorkers[transform] : nullptr;
}

} // namespace

void* CFlip::GetTmpBuffer(unsigned long size) {
    if (mpTmpBuffer == nullptr || mulTmpBufferSize < size) {
        DelTmpBuffer();
        mpTmpBuffer = std::malloc(size);
        mulTmpBufferSize = mpTmpBuffer != nullptr ? size : 0;
    }
    return mpTmpBuffer;
}

void CFlip::DelTmpBuffer() {
    std::free(mpTmpBuffer);
    mpTmpBuffer = nullptr;
    mulTmpBufferSize = 0;
}

template <class T>
unsigned long CFlip::Flip(unsigned char transform, unsigned long width, unsigned long height, unsigned long lineBytes,
                          unsigned long* outWidth, unsigned long* outHeight, T* src, T* dst,
                          unsigned short samplesPerPixel) {
    const unsigned long pixelBytes = samplesPerPixel * sizeof(T);
    if (lineBytes == 0) {
        lineBytes = roundUp(pixelBytes * width, mulSrcAlignment);
    }
    const bool rotation = isRotation(transform);
    const unsigned long dstLineBytes = rotation ? roundUp(pixelBytes * height, mulDstAlignment) : lineBytes;
    *outWidth = rotation ? height : width;
    *outHeight = rotation ? width : height;
    if (transform == kNone || transform >= kTransforms) {
        return kOk;
    }
    const Worker worker = workerFor(transform, samplesPerPixel);
    if (worker == nullptr) {
        return kInvalid;
    }
    if (width == 0 || height == 0) {
        return kOk;
    }
    if (src == nullptr || dst == nullptr) {
        return kInvalid;
    }
    SImagePair images = {mRows.flips,
                         width,
                         height,
                         lineBytes,
                         dstLineBytes,
                         reinterpret_cast<std::uint8_t*>(src),
                         reinterpret_cast<std::uint8_t*>(dst),
                         sizeof(T),
                         pixelBytes};
    if (rotation && images.inPlace()) {
        unsigned long size = 0;
        const bool tooLarge =
            __builtin_mul_overflow(pixelBytes, width, &size) || __builtin_mul_overflow(lineBytes, height, &size);
        void* const copy = tooLarge ? nullptr : GetTmpBuffer(size);
        if (copy == nullptr) {
            return kNoMemory;
        }
        std::memcpy(copy, src, size);
        images.src = static_cast<std::uint8_t*>(copy);
    }
    worker(images);
    return kOk;
}

template <class T>
unsigned long CFlip::FlipBGR(unsigned char mirror, unsigned char rotation, unsigned long* width, unsigned long* height,
                             T* src, T* dst, unsigned short samplesPerPixel) {
    if (width == nullptr || height == nullptr) {
        return kInvalid;
    }
    return Flip(GetMirrorRotaionMode(mirror, rotation), *width, *height, 0, width, height, src, dst, samplesPerPixel);
}

template <class T>
unsigned long CFlip::FlipRaw(unsigned char mirror, unsigned char rotation, unsigned long* width, unsigned long* height,
                             T* src, T* dst, unsigned short* colorArray) {
    if (colorArray == nullptr) {
        return kInvalid;
    }
    const unsigned long status = FlipBGR(mirror, rotation, width, height, src, dst, 1);
    if (status == kOk) {
        *colorArray = GetNewColorArray(GetMirrorRotaionMode(mirror, rotation), *colorArray);
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
