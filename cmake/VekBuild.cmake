# SPDX-License-Identifier: Apache-2.0
# What a build tells of itself. The clock is not asked: the same sources give the same program on every day.

# vek_build_of(BUILD DATE): BUILD is the newest section of the changelog and, where SOURCE_DATE_EPOCH was set when the
# tree was configured, the day of that; DATE, as 2026-05-03, this day, or the one that the section's title has, or else
# that title.
function(vek_build_of build date)
  set(changelog ${PROJECT_SOURCE_DIR}/CHANGELOG.md)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${changelog})
  file(STRINGS ${changelog} sections REGEX "^## ")
  list(GET sections 0 section)
  string(REGEX REPLACE "^## +" "" section "${section}")
  string(REGEX MATCH "[0-9][0-9][0-9][0-9]-[0-9][0-9]-[0-9][0-9]" day "${section}")
  if(day STREQUAL "")
    set(day "${section}")
  endif()
  set(${build} "${section}" PARENT_SCOPE)
  if(DEFINED ENV{SOURCE_DATE_EPOCH})
    string(TIMESTAMP day "%Y-%m-%d" UTC)
    set(${build} "${section}, ${day}" PARENT_SCOPE)
  endif()
  set(${date} "${day}" PARENT_SCOPE)
endfunction()
