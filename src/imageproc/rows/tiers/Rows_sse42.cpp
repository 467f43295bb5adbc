// SPDX-License-Identifier: Apache-2.0
// Built with -msse4.2.
#define VEK_ISA sse42
#define VEK_ISA_NAME "sse42"
#define VEK_ISA_ENUM Isa::Sse42
#define VEK_VECTOR_BYTES 16
#include "imageproc/rows/tiers/Rows.inl"
