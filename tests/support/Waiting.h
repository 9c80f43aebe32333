// SPDX-License-Identifier: MIT
// How tests wait: for an event, up to a limit that only a broken build reaches.
#pragma once

#include <chrono>
#include <functional>

namespace feedline::test {

constexpr std::chrono::seconds longestWait{60};

/// Waits until the condition holds, asking every two milliseconds; false after `longestWait`.
bool waitUntil(const std::function<bool()>& condition);

} // namespace feedline::test
