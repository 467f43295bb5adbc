// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/Band.h"

namespace vek {

/// Edge-directed demosaicing as a stage: Bayer frames become dense blue, green, red pixels.
struct SEdgeDemosaicStage {
    /// None for a frame without a Bayer colour array.
    STraits Traits(const SFrame& frame) const;
    /// frame: a Bayer one, of the method's smallest size and more. Bytes of 8 bits; words of up to 13, the frame's
    /// bitsPerPixel.
    template <class T>
    void Rows(const rows::SRowTable& kernels, const SFrame& frame, const SBand<T>& band) const;
};

} // namespace vek
