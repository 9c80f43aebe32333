# SPDX-License-Identifier: MIT
# feedline_test(<Name> LABEL <label> [LINK <target>...] [WRAP <symbol>...] [TIMEOUT <seconds>] [SERIAL] [SINGLE_THREADED])
#   One executable from <Name>.cpp in the current folder, or from <room>/<Name>.cpp. Unit tests take less time than the start
#   of a process: an executable's share one, and are one ctest test, "<folder>.<Name>". Every other test is a ctest test of
#   its own, "<folder>.<Suite>.<Case>", in a process of its own.
#   LABEL            unit; e2e: whole programs; reliability; heavy: needs the heavy packages of scripts/common.sh, and so
#                    `./test --all` alone runs it
#   WRAP             calls of these C functions go to the test's __wrap_<symbol>; the real one is __real_<symbol>
#   SERIAL           needs the machine to itself: runs alone
#   SINGLE_THREADED  what it calls starts no second thread: not built for the thread sanitizer, which could find nothing
include(GoogleTest)
find_package(GTest REQUIRED)

function(feedline_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "SERIAL;SINGLE_THREADED" "LABEL;TIMEOUT" "LINK;WRAP")
  if(arg_SINGLE_THREADED AND FEEDLINE_SANITIZE MATCHES "thread")
    return()
  endif()
  cmake_path(GET CMAKE_CURRENT_SOURCE_DIR FILENAME folder)
  cmake_path(GET name FILENAME subject)
  set(target ${folder}_${subject})
  add_executable(${target} ${name}.cpp)
  feedline_build_options(${target})
  target_link_libraries(${target} PRIVATE ${arg_LINK} GTest::gmock_main)
  foreach(symbol IN LISTS arg_WRAP)
    target_link_options(${target} PRIVATE "-Wl,--wrap=${symbol}")
  endforeach()
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  if(CMAKE_CROSSCOMPILING)
    math(EXPR arg_TIMEOUT "${arg_TIMEOUT} * 10") # An emulated processor is as much slower.
  endif()
  # What may take longest begins first, so that nothing waits for it at the end.
  set(properties LABELS ${arg_LABEL} TIMEOUT ${arg_TIMEOUT} COST ${arg_TIMEOUT})
  if(arg_SERIAL)
    list(APPEND properties RUN_SERIAL ON)
  endif()
  if(arg_LABEL STREQUAL "unit")
    add_test(NAME ${folder}.${subject} COMMAND ${target} --gtest_brief=1)
    set_tests_properties(${folder}.${subject} PROPERTIES ${properties})
    return()
  endif()
  gtest_discover_tests(${target} TEST_PREFIX "${folder}." PROPERTIES ${properties} DISCOVERY_TIMEOUT 60)
endfunction()

# feedline_tested_program(<variable> <program>): where a program is that tests run, on the machine that they run on. A cross
# build finds it in the root of that machine.
function(feedline_tested_program variable program)
  if(CMAKE_CROSSCOMPILING)
    find_program(${variable} ${program} PATHS ${CMAKE_SYSROOT}/usr/bin NO_DEFAULT_PATH)
    string(REPLACE "${CMAKE_SYSROOT}" "" path "${${variable}}")
    set(${variable} "${path}" PARENT_SCOPE)
  else()
    find_program(${variable} ${program})
  endif()
endfunction()
