// SPDX-License-Identifier: Apache-2.0
// The architecture's baseline: the plain loops, reference of every other tier.
#define VEK_ISA scalar
#define VEK_ISA_NAME "scalar"
#define VEK_ISA_ENUM Isa::Scalar
#define VEK_VECTOR_BYTES 0
#include "imageproc/rows/tiers/Rows.inl"
