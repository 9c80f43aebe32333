// SPDX-License-Identifier: MIT
// Looking at a server that lives in this process, and complaining of what is not as it should be.
#pragma once

#include <cstdint>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace feedline::test {

/// Throws std::runtime_error with that text unless it holds.
inline void must(bool holds, const std::string& what) {
    if (!holds)
        throw std::runtime_error(what);
}

/// Throws std::runtime_error with the text and both values unless they are equal.
template <typename T>
void mustBe(const T& expected, const T& seen, const std::string& what) {
    if (expected == seen)
        return;
    std::ostringstream text;
    text << what << ": " << seen << " where " << expected << " was expected";
    throw std::runtime_error(text.str());
}

/// Waits for what happens within a moment; false after a minute. It looks more often than waitUntil
/// does: there are many such moments, and hundreds of runs.
bool soon(const std::function<bool()>& condition);

/// In one order, whatever the order in which threads took their turns.
std::string shown(std::vector<std::string> texts);

/// The recorded lines that speak of the server threads' lives, of the AirSpy's stream or of a
/// failure. An accepted connection's line is left out for the number of its descriptor.
std::string tellingLines();

/// The window's first line for a status of the control port.
std::string panelText(std::int32_t status);

} // namespace feedline::test
