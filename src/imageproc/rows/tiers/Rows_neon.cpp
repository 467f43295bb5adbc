// SPDX-License-Identifier: Apache-2.0
// aarch64 baseline, with vectors.
#define VEK_ISA neon
#define VEK_ISA_NAME "neon"
#define VEK_ISA_ENUM Isa::Neon
#define VEK_VECTOR_BYTES 16
#include "imageproc/rows/tiers/Rows.inl"
