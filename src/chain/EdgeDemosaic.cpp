// SPDX-License-Identifier: Apache-2.0
#include "chain/EdgeDemosaic.h"

#include "formats/ColorArrays.h"
#include "formats/DemosaicMethods.h"
#include "imageproc/BayerRows.h"
#include "imageproc/rows/Mirror.h"
#include "imageproc/rows/RowTable.h"

#include <cstddef>

namespace vek {

STraits SEdgeDemosaicStage::Traits(const SFrame& frame) const {
    if (!isBayer(frame.colorArray)) {
        return {};
    }
    return {
        .kind = EStage::Window, .rowsAbove = kEdgeDirectedMethod.rowsAbove, .rowsBelow = kEdgeDirectedMethod.rowsBelow};
}

template <class T>
void SEdgeDemosaicStage::Rows(const rows::SRowTable& kernels, const SFrame& frame, const SBand<T>& band) const {
    const SPhase& phase = phaseOf(frame.colorArray);
    const auto& edgeDirected = rows::demosaicRows<T>(kernels).edgeDirected;
    const auto maxValue = static_cast<T>((1U << frame.bitsPerPixel) - 1);
    for (unsigned long y = band.first; y < band.end; ++y) {
        const auto src = [&](int offset) { return band.src.Row(rows::mirrored(y, offset, frame.height)); };
        edgeDirected[phase.Kind(y)][rows::pixelLayout(3)](src(-2), src(-1), src(0), src(1), src(2), band.dst.Row(y),
                                                          frame.width, maxValue);
    }
}
template void SEdgeDemosaicStage::Rows(const rows::SRowTable&, const SFrame&, const SBand<unsigned char>&) const;
template void SEdgeDemosaicStage::Rows(const rows::SRowTable&, const SFrame&, const SBand<unsigned short>&) const;

} // namespace vek
