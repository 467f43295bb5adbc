// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/Band.h"
#include "imageproc/IChromaSuppress.h"
#include "imageproc/rows/RowTable.h"

namespace vek {

/// Chroma suppression as a stage: its four settings.
struct SChromaSuppressStage {
    rows::SChromaLimits limits = {0, 255, 0, 0};

    STraits Traits(const SFrame& frame) const;
    /// frame: colour.
    template <class T>
    void Rows(const rows::SRowTable& kernels, const SFrame& frame, const SBand<T>& band) const;
};

/// Chroma suppression. Holds its four settings; never keeps an image pointer.
class CChromaSuppress final : public IChromaSuppress {
public:
    explicit CChromaSuppress(const rows::SRowTable& rows) : mRows(rows) {}

    unsigned long ProcessB(unsigned long width, unsigned long height, unsigned long pitch, unsigned long pixelFormat,
                           unsigned char* image) override;
    unsigned long ProcessW(unsigned long width, unsigned long height, unsigned long pitch, unsigned long pixelFormat,
                           unsigned short* image) override;
    unsigned long SetStartLevel(unsigned short level) override;
    unsigned long GetStartLevel(unsigned short* level) override;
    unsigned long SetSlope(unsigned short slope) override;
    unsigned long GetSlope(unsigned short* slope) override;
    unsigned long SetLowStartLevel(unsigned short level) override;
    unsigned long GetLowStartLevel(unsigned short* level) override;
    unsigned long SetLowSlope(unsigned short slope) override;
    unsigned long GetLowSlope(unsigned short* slope) override;
    unsigned long SetHighStartLevel(unsigned short level) override;
    unsigned long GetHighStartLevel(unsigned short* level) override;
    unsigned long SetHighSlope(unsigned short slope) override;
    unsigned long GetHighSlope(unsigned short* slope) override;

    const SChromaSuppressStage& Stage() const { return mStage; }

private:
    template <class T>
    unsigned long Process(unsigned long width, unsigned long height, unsigned long pitch, unsigned long pixelFormat,
                          T* image) const;

    const rows::SRowTable& mRows;
    SChromaSuppressStage mStage;
};

} // namespace vek
