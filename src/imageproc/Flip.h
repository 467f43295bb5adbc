// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Memory.h"
#include "imageproc/Band.h"
#include "imageproc/IFlip.h"
#include "imageproc/rows/RowTable.h"

namespace vek {

/// What an image goes through; mirrors as enum VekMirror.
enum class ETransform : unsigned char {
    None,
    MirrorH,
    MirrorV,
    MirrorHV,
    RotationClockwise,
    RotationCounterclockwise,
    MirrorHRotationClockwise,
    MirrorHRotationCounterclockwise
};

/// Mirror and quarter turns as a stage. Its images are of bytes; pixels are moved as a whole.
struct SFlipStage {
    ETransform transform = ETransform::None;
    unsigned long sampleBytes = 1; ///< 1, 2
    unsigned long pixelBytes = 1;  ///< 1, 3 or 4 samples; any number for the vertical mirror

    bool IsRotation() const { return transform >= ETransform::RotationClockwise; }
    /// Bayer array of the result, as if the frame had whole cells; other codes stay.
    unsigned short ColorArray(unsigned short colorArray) const;
    /// A vertical mirror into another image moves no more of a row than one sample a pixel makes up.
    STraits Traits(const SFrame& frame) const;
    /// A rotation's destination has a row for each column of the frame; its bands are of these.
    void Rows(const rows::SRowTable& kernels, const SFrame& frame, const SBand<unsigned char>& band) const;
};

/// Mirror and rotation. Owns a buffer for rotations in place, which it keeps between calls; never keeps an image
/// pointer.
class CFlip final : public IFlip {
public:
    explicit CFlip(const rows::SRowTable& rows) : mRows(rows) {}

    unsigned long FlipBGRB(unsigned char mirror, unsigned char rotation, unsigned long* width, unsigned long* height,
                           unsigned char* src, unsigned char* dst, unsigned short samplesPerPixel) override;
    unsigned long FlipBGRW(unsigned char mirror, unsigned char rotation, unsigned long* width, unsigned long* height,
                           unsigned short* src, unsigned short* dst, unsigned short samplesPerPixel) override;
    unsigned long FlipRawB(unsigned char mirror, unsigned char rotation, unsigned long* width, unsigned long* height,
                           unsigned char* src, unsigned char* dst, unsigned short* colorArray) override;
    unsigned long FlipRawW(unsigned char mirror, unsigned char rotation, unsigned long* width, unsigned long* height,
                           unsigned short* src, unsigned short* dst, unsigned short* colorArray) override;

private:
    template <class T>
    unsigned long FlipBGR(unsigned char mirror, unsigned char rotation, unsigned long* width, unsigned long* height,
                          const T* src, T* dst, unsigned short samplesPerPixel);
    template <class T>
    unsigned long FlipRaw(unsigned char mirror, unsigned char rotation, unsigned long* width, unsigned long* height,
                          const T* src, T* dst, unsigned short* colorArray);
    void* GetTmpBuffer(unsigned long size);

    const rows::SRowTable& mRows;
    Malloced<void> mTmpBuffer;
    unsigned long mTmpBufferSize = 0;
};

} // namespace vek
