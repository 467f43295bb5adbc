# SPDX-License-Identifier: Apache-2.0
# Flags of every target that make a mistake in memory end the program instead of serving whoever provoked it. None is in
# a loop over samples: the rows measure the same without them.
option(VEKCAM_HARDENING "Compile with stack protectors, checked calls of the C library and guarded jumps" ON)

# Sanitizers look more closely, and FORTIFY would take calls away from them.
if(NOT VEKCAM_HARDENING OR CMAKE_CXX_FLAGS MATCHES "-fsanitize")
  return()
endif()
include(CheckCXXCompilerFlag)
foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection=full -mbranch-protection=standard)
  string(MAKE_C_IDENTIFIER "VEKCAM_HAS${flag}" known)
  check_cxx_compiler_flag("-Werror ${flag}" ${known})
  if(${known})
    target_compile_options(vek_flags INTERFACE ${flag})
  endif()
endforeach()
# The C library checks nothing in code that is not optimised, and warns. Some distributions' compilers define it already.
target_compile_options(vek_flags INTERFACE
  $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=3>)
target_link_options(vek_flags INTERFACE LINKER:-z,relro,-z,now,-z,noexecstack)
