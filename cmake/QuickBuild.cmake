# SPDX-License-Identifier: MIT
# What makes a build for tests quick. The presets for tests switch it on; a build for users goes without, which also
# shows that every source includes what it uses.
option(FEEDLINE_QUICK_BUILD "Build fast: precompiled headers, the linker mold, line numbers as all debug information" OFF)

if(FEEDLINE_QUICK_BUILD)
  add_compile_options(-g1)
  # What GCC frees again before it has taken half a gigabyte costs a tenth of its time.
  add_compile_options("$<$<CXX_COMPILER_ID:GNU>:SHELL:--param ggc-min-heapsize=524288>")
  include(CheckLinkerFlag)
  check_linker_flag(CXX -fuse-ld=mold FEEDLINE_MOLD)
  if(FEEDLINE_MOLD)
    add_link_options(-fuse-ld=mold)
  endif()
endif()

# feedline_precompile(<name> [LINK <target>...] HEADERS <header>...)
#   The headers are compiled once, and every target of this folder and of those below it that is made from here on starts
#   from them. The compiler takes them only where its own options are the same; preprocessor symbols may differ.
macro(feedline_precompile name)
  if(FEEDLINE_QUICK_BUILD)
    cmake_parse_arguments(precompile "" "" "LINK;HEADERS" ${ARGN})
    add_compile_options(-fPIC) # Programs would have -fPIE instead, and could not share with libraries.
    set(precompile_source ${CMAKE_CURRENT_BINARY_DIR}/${name}_precompiled.cpp)
    file(CONFIGURE OUTPUT ${precompile_source} CONTENT "// The headers are all there is.\n")
    add_library(feedline_${name}_precompiled OBJECT ${precompile_source})
    target_link_libraries(feedline_${name}_precompiled PRIVATE ${precompile_LINK})
    target_compile_options(feedline_${name}_precompiled PRIVATE -Wall -Wextra -Wpedantic)
    target_precompile_headers(feedline_${name}_precompiled PRIVATE ${precompile_HEADERS})
    set(FEEDLINE_PRECOMPILED feedline_${name}_precompiled)
  endif()
endmacro()

function(feedline_reuse_precompiled target)
  if(FEEDLINE_PRECOMPILED)
    target_precompile_headers(${target} REUSE_FROM ${FEEDLINE_PRECOMPILED})
    # A target that needs options of its own reads the headers itself, and says so.
    target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-error=invalid-pch>)
  endif()
endfunction()

# No look at every pointer before its use, which takes the compiler long; the address sanitizer stands by already.
set(FEEDLINE_FEWER_CHECKS "")
if(FEEDLINE_SANITIZE MATCHES "undefined")
  set(FEEDLINE_FEWER_CHECKS -fno-sanitize=null,alignment,object-size,vptr)
endif()

# feedline_unoptimised(<source>...): sources that take the compiler long and run once in a program's life.
function(feedline_unoptimised)
  if(FEEDLINE_QUICK_BUILD)
    set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS "-O0;${FEEDLINE_FEWER_CHECKS}" SKIP_PRECOMPILE_HEADERS ON)
  endif()
endfunction()

# feedline_ease_sanitizers(): the folders from here on are full of a library's templates and mostly wait; their sanitized code
# would take the compiler twice as long. A fuzzer still wants it fast.
macro(feedline_ease_sanitizers)
  if(FEEDLINE_QUICK_BUILD AND FEEDLINE_SANITIZE)
    add_compile_options($<$<NOT:$<BOOL:${FEEDLINE_FUZZ}>>:-O0> ${FEEDLINE_FEWER_CHECKS})
  endif()
endmacro()
