// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace feedline::test {

/// What the system takes as a program's arguments or environment: pointers into the texts, which
/// stay where they are as long as it is used, and a null pointer.
inline std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

} // namespace feedline::test
