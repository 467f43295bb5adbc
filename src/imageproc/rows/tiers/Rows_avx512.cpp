// SPDX-License-Identifier: Apache-2.0
// See docs/design/0001-row-kernels.md for the vector lengths.
#define VEK_ISA avx512
#define VEK_ISA_NAME "avx512"
#define VEK_ISA_ENUM Isa::Avx512
#define VEK_VECTOR_BYTES 32
#define VEK_WIDE_VECTOR_BYTES 64
#include "imageproc/rows/tiers/Rows.inl"
