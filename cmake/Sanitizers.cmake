# SPDX-License-Identifier: MIT
option(FEEDLINE_FUZZ "Build the fuzz targets, which needs clang" OFF)
set(FEEDLINE_SANITIZE "" CACHE STRING "Sanitizers for every target, as -fsanitize= takes them (e.g. address,undefined)")
if(FEEDLINE_SANITIZE)
  add_compile_options(-fsanitize=${FEEDLINE_SANITIZE} -fno-omit-frame-pointer)
  if(NOT FEEDLINE_FUZZ)
    add_compile_options(-O1)
  endif()
  add_link_options(-fsanitize=${FEEDLINE_SANITIZE})
  if(FEEDLINE_SANITIZE MATCHES "thread" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # Boost.Asio has fences, which the sanitizer does not follow; GCC warns of each.
    add_compile_options(-Wno-tsan)
  endif()
  if(FEEDLINE_SANITIZE MATCHES "undefined")
    add_compile_options(-fno-sanitize-recover=all)
  endif()
endif()

# Every object tells the fuzzer which of its edges were taken; the fuzz targets alone link the fuzzer's main.
if(FEEDLINE_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
