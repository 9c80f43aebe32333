// SPDX-License-Identifier: MIT
// The page's files, as they are compiled into the program.
#pragma once

#include <span>
#include <string_view>

namespace feedline::hub::web {

/// All texts end with a zero byte, which is not counted.
struct PageFile {
    std::string_view path; ///< as it is asked for: "/main.js"
    std::string_view type; ///< Content-Type
    std::string_view tag;  ///< ETag, quotes included: the content's hash
    std::string_view content;
};

/// All of them.
std::span<const PageFile> pageFiles();

/// The file at a path, "/" being the page itself; null when there is none.
const PageFile* pageFile(std::string_view path);

} // namespace feedline::hub::web
