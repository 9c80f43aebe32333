# SPDX-License-Identifier: MIT
# A room is one folder of the house: a target for its headers, which says what the room may know, and its objects,
# compiled with exactly that in reach. Headers are reachable as "<folder>/<Header>.h" through an include directory
# of the room's own in the build tree, which holds links to them, so an include that crosses the dependency
# order does not compile.
include(${CMAKE_CURRENT_LIST_DIR}/QuickBuild.cmake)

# feedline_room(<room> FOLDER <folder> [HEADERS <header>...] [SOURCES <source>...] [KNOWS <target>...])
#   feedline_<room>          headers, and the targets in KNOWS
#   feedline_<room>_objects  the compiled sources, if there are any
function(feedline_room room)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "FOLDER" "HEADERS;SOURCES;KNOWS")
  set(root "${CMAKE_BINARY_DIR}/include/${room}")
  file(MAKE_DIRECTORY "${root}/${arg_FOLDER}")
  foreach(header IN LISTS arg_HEADERS)
    file(CREATE_LINK "${CMAKE_CURRENT_SOURCE_DIR}/${header}" "${root}/${arg_FOLDER}/${header}" SYMBOLIC)
  endforeach()

  add_library(feedline_${room} INTERFACE)
  target_include_directories(feedline_${room} INTERFACE "${root}")
  target_link_libraries(feedline_${room} INTERFACE ${arg_KNOWS})

  if(arg_SOURCES)
    add_library(feedline_${room}_objects OBJECT ${arg_SOURCES})
    target_link_libraries(feedline_${room}_objects PRIVATE feedline_${room})
    feedline_build_options(feedline_${room}_objects)
  endif()
endfunction()

# feedline_build_options(<target>): every target of the house is given to this once, for the warnings and, where there is
# one, the precompiled header of its folder.
function(feedline_build_options target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic)
  feedline_reuse_precompiled(${target})
endfunction()
