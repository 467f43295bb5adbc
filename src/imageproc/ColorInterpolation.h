// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VekTrgApi.h"
#include "formats/DemosaicMethods.h"
#include "imageproc/Band.h"
#include "imageproc/IColorInterpolation.h"
#include "imageproc/rows/RowTable.h"

namespace vek {

/// Demosaicing as a stage: raw, mono and YCrCb frames become blue-green-red or grey ones. The colour array is the
/// frame's.
struct SColorInterpolationStage {
    unsigned char method = VEK_DEMOSAIC_MONO;
    unsigned short channels = 1; ///< samples of a destination pixel

    /// What tells of frames of a colour array: least size, rows around. Null where method and channels do not go with
    /// it: the stage does not take them.
    const SDemosaicMethod* MethodFor(unsigned short colorArray) const;
    /// None for a frame that the stage does not take.
    STraits Traits(const SFrame& frame) const;
    /// frame: one that the stage takes, of the least size and more. YCrCb frames are bytes on both sides, which bands
    /// of bytes alone decode.
    template <class T>
    void Rows(const rows::SRowTable& kernels, const SFrame& frame, const SBand<T>& band) const;
};

/// Demosaicing. Holds no state but the row kernels it was made with; never keeps an image pointer.
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
