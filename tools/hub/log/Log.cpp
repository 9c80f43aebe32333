// SPDX-License-Identifier: MIT
#include "tools/hub/log/Log.h"

#include <string>
#include <unistd.h>

namespace feedline::hub {

void log(std::string_view line) {
    std::string whole = "feedline-hub: ";
    whole.append(line).push_back('\n');
    // Nothing can be done about a log that takes nothing.
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, whole.data(), whole.size());
}

} // namespace feedline::hub
