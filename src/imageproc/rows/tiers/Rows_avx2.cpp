// SPDX-License-Identifier: Apache-2.0
// Built with -mavx2 -mbmi -mbmi2.
#define VEK_ISA avx2
#define VEK_ISA_NAME "avx2"
#define VEK_ISA_ENUM Isa::Avx2
#define VEK_VECTOR_BYTES 32
#include "imageproc/rows/tiers/Rows.inl"
