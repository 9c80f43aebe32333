// SPDX-License-Identifier: MIT
#include "tools/hub/web/page/Page.h"

#include <algorithm>

namespace feedline::hub::web {

const PageFile* pageFile(std::string_view path) {
    const std::span<const PageFile> files = pageFiles();
    const auto found = std::find_if(files.begin(), files.end(), [&](const PageFile& file) {
        return file.path == (path == "/" ? std::string_view("/index.html") : path);
    });
    return found == files.end() ? nullptr : &*found;
}

} // namespace feedline::hub::web
