// SPDX-License-Identifier: Apache-2.0
// One instruction set's kernels and their table. The including file defines VEK_ISA (namespace), VEK_ISA_NAME,
// VEK_ISA_ENUM and VEK_VECTOR_BYTES (0: plain loops only). The table is the object file's only global symbol:
// code compiled for a wider instruction set must never be linked in for a narrower one.
#include "imageproc/rows/RowTable.h"

#include "imageproc/rows/Vector.inl"

#include "imageproc/rows/Packed.inl"

#include "imageproc/rows/Bytes.inl"
#include "imageproc/rows/Curves.inl"
#include "imageproc/rows/Demosaic.inl"
#include "imageproc/rows/Flips.inl"
#include "imageproc/rows/Noise.inl"
#include "imageproc/rows/Shading.inl"
#include "imageproc/rows/Sums.inl"
#include "imageproc/rows/YCrCb.inl"

// Colour pixels are worked on in the cache, and longer vectors pay there.
#ifdef VEK_WIDE_VECTOR_BYTES
#pragma push_macro("VEK_ISA")
#pragma push_macro("VEK_VECTOR_BYTES")
#undef VEK_ISA
#undef VEK_VECTOR_BYTES
#define VEK_ISA VEK_WIDE_ISA
#define VEK_VECTOR_BYTES VEK_WIDE_VECTOR_BYTES
#include "imageproc/rows/Vector.inl"
#endif
#include "imageproc/rows/Colours.inl" // looks up and narrows as the ones above do
#ifdef VEK_WIDE_VECTOR_BYTES
#pragma pop_macro("VEK_ISA")
#pragma pop_macro("VEK_VECTOR_BYTES")
#endif

namespace vek::rows::VEK_ISA {

#ifdef VEK_WIDE_VECTOR_BYTES
using wide::colourTable;
#endif

extern const SRowTable kTable;
const SRowTable kTable = {
    VEK_ISA_ENUM,
    VEK_ISA_NAME,
    demosaicTable<std::uint8_t>(),
    demosaicTable<std::uint16_t>(),
    sumTable(),
    curveTable<std::uint8_t>(),
    curveTable<std::uint16_t>(),
    gainTable(),
    colourTable<std::uint8_t>(),
    colourTable<std::uint16_t>(),
    flipTable(),
    yCrCbTable(),
    byteTable(),
    noiseTable<std::uint8_t>(),
    noiseTable<std::uint16_t>(),
    shadingTable<std::uint8_t>(),
    shadingTable<std::uint16_t>(),
};

} // namespace vek::rows::VEK_ISA
