# SPDX-License-Identifier: Apache-2.0
# Flags of every target of this project: warnings, and floating point without contraction, so that every
# instruction set computes the same bits.
add_library(vek_flags INTERFACE)
target_compile_options(vek_flags INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -ffp-contract=off)
if(VEKCAM_WERROR)
  target_compile_options(vek_flags INTERFACE -Werror)
endif()
