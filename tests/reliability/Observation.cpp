// SPDX-License-Identifier: MIT
#include "Observation.h"

#include "RecordingLog.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <thread>

namespace feedline::test {
namespace {

using namespace std::chrono_literals;

bool telling(const std::string& text) {
    constexpr std::array marks{"TCPThread", "UDP",   "fail", "ould not",   "cannot",
                               "error",     "err -", "n -",  "setsockopt", "iStreaming"};
    return text.find("accepted") == std::string::npos &&
           std::any_of(marks.begin(), marks.end(),
                       [&](const char* mark) { return text.find(mark) != std::string::npos; });
}

} // namespace

bool soon(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + 60s;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(200us);
    }
    return true; // Not asked again: the system's list of threads can lack one while another ends.
}

std::string shown(std::vector<std::string> texts) {
    std::sort(texts.begin(), texts.end());
    std::string all;
    for (const std::string& text : texts)
        all += "\n  " + text;
    return all;
}

std::string tellingLines() {
    std::vector<std::string> texts;
    for (const Line& line : recordedLines())
        if (telling(line.text))
            texts.push_back(line.text);
    return shown(texts);
}

std::string panelText(std::int32_t status) {
    constexpr std::array texts{"CONNECTED", "WAITING FOR CONNECT", "BIND FAILED", "CONNECT FAILED",
                               "DISCONNECTED"};
    return std::string("TCP Server: ") + texts.at(static_cast<std::size_t>(-status));
}

} // namespace feedline::test
