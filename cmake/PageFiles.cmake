# SPDX-License-Identifier: MIT
# Makes a source file that holds other files, for tools/hub/web/page:
#   cmake -DFILES=a;b -DSOURCE=out.cpp -P PageFiles.cmake
# Each file is an array of bytes, so that neither its length nor what it says meets a limit of string literals.

set(type_.html "text/html; charset=utf-8")
set(type_.css "text/css; charset=utf-8")
set(type_.js "text/javascript; charset=utf-8")
set(type_.svg "image/svg+xml")

set(arrays "")
set(entries "")
set(number 0)
foreach(path IN LISTS FILES)
  get_filename_component(name "${path}" NAME)
  get_filename_component(extension "${path}" LAST_EXT)
  if(NOT DEFINED type_${extension})
    message(FATAL_ERROR "${name}: no content type for ${extension}")
  endif()
  file(READ "${path}" hex HEX)
  string(REGEX REPLACE "(................................................)" "\\1\n" hex "${hex}")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
  file(SHA256 "${path}" hash)
  string(SUBSTRING "${hash}" 0 32 hash)
  string(APPEND arrays "// ${name}\nconstexpr unsigned char file${number}[] = {\n${bytes}0};\n")
  string(APPEND entries
    "    {\"/${name}\", \"${type_${extension}}\", \"\\\"${hash}\\\"\", text(file${number}, sizeof file${number})},\n")
  math(EXPR number "${number} + 1")
endforeach()

file(WRITE "${SOURCE}" "// Made from the page's files.
#include \"tools/hub/web/page/Page.h\"

#include <array>
#include <cstddef>

namespace feedline::hub::web {

namespace {

${arrays}
std::string_view text(const unsigned char* bytes, std::size_t size) {
    return {reinterpret_cast<const char*>(bytes), size - 1};
}

} // namespace

std::span<const PageFile> pageFiles() {
    static const std::array<PageFile, ${number}> files{{
${entries}    }};
    return files;
}

} // namespace feedline::hub::web
")
