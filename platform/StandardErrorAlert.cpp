// SPDX-License-Identifier: MIT
#include "platform/StandardErrorAlert.h"

#include <unistd.h>

namespace feedline {

void StandardErrorAlert::runModal(const std::string& message, const std::string& information) {
    std::string line = "ALERT: " + message;
    if (!information.empty())
        line += " - " + information;
    line += '\n';
    // In one write, so that it never mixes with log lines; nobody is left to tell if it fails.
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
}

} // namespace feedline
