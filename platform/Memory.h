// SPDX-License-Identifier: MIT
// What the programs ask of the system's memory.
#pragma once

#include <cstddef>

namespace feedline {

/// Asks for large pages under `bytes` bytes from `memory` on, a page's beginning, which nobody has
/// written yet. Where there are none nothing changes. Any thread.
void preferLargePages(void* memory, std::size_t bytes);

} // namespace feedline
