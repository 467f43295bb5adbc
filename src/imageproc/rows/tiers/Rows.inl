// SPDX-License-Identifier: Apache-2.0
// One instruction set's kernels and their table. The including file defines VEK_ISA (namespace), VEK_ISA_NAME,
// VEK_ISA_ENUM, VEK_VECTOR_BYTES (0: plain loops only) and, where longer vectors exist, VEK_WIDE_VECTOR_BYTES. The
// table is the object file's only global symbol: code compiled for a wider instruction set must never be linked in for
// a narrower one.
#include "imageproc/rows/RowTable.h"

#include "imageproc/rows/kernels/Bytes.inl"
#include "imageproc/rows/kernels/Colors.inl"
#include "imageproc/rows/kernels/Counts.inl"
#include "imageproc/rows/kernels/Curves.inl"
#include "imageproc/rows/kernels/Demosaic.inl"
#include "imageproc/rows/kernels/Flips.inl"
#include "imageproc/rows/kernels/Fused.inl"
#include "imageproc/rows/kernels/Layout.inl"
#include "imageproc/rows/kernels/Levels.inl"
#include "imageproc/rows/kernels/LinearMatrix.inl"
#include "imageproc/rows/kernels/Noise.inl"
#include "imageproc/rows/kernels/Nv12.inl"
#include "imageproc/rows/kernels/Shading.inl"
#include "imageproc/rows/kernels/Sums.inl"
#include "imageproc/rows/kernels/Tone.inl"
#include "imageproc/rows/kernels/Unpack.inl"
#include "imageproc/rows/kernels/YCrCb.inl"

namespace vek::rows::VEK_ISA {

extern const SRowTable kTable;
const SRowTable kTable = {
    .isa = VEK_ISA_ENUM,
    .name = VEK_ISA_NAME,
    .segments = VEK_TONE_SEGMENTS != 0,
    .demosaic8 = demosaicTable<std::uint8_t>(),
    .demosaic16 = demosaicTable<std::uint16_t>(),
    .sums = sumTable(),
    .curves8 = curveTable<std::uint8_t>(),
    .curves16 = curveTable<std::uint16_t>(),
    .wordCurves = wordCurveTable(),
    .gains = gainTable(),
    .colors8 = colorTable<std::uint8_t>(),
    .colors16 = colorTable<std::uint16_t>(),
    .flips = flipTable(),
    .yCrCb = yCrCbTable(),
    .bytes = byteTable(),
    .noise8 = noiseTable<std::uint8_t>(),
    .noise16 = noiseTable<std::uint16_t>(),
    .shading8 = shadingTable<std::uint8_t>(),
    .shading16 = shadingTable<std::uint16_t>(),
    .unpack = unpackTable(),
    .linear = {.levels = levels, .matrix = linearMatrix},
    .tone8 = toneTable<std::uint8_t, std::uint8_t>(),
    .tone8To16 = toneTable<std::uint8_t, std::uint16_t>(),
    .tone16To8 = toneTable<std::uint16_t, std::uint8_t>(),
    .tone16 = toneTable<std::uint16_t, std::uint16_t>(),
    .layout8 = layoutTable<std::uint8_t>(),
    .layout16 = layoutTable<std::uint16_t>(),
    .nv12 = nv12Table(),
    .counts8 = countTable<std::uint8_t>(),
    .counts16 = countTable<std::uint16_t>(),
    .takeCounts = takeCounts,
    .fused = fusedTable(),
};

} // namespace vek::rows::VEK_ISA
