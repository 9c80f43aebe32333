// What the system says about the test's own process.
#pragma once

#include <cstddef>

namespace feedline::testing {

std::size_t openDescriptors(); ///< how many this process has open
std::size_t runningThreads();  ///< how many threads this process has
bool isOpen(int descriptor);

} // namespace feedline::testing
