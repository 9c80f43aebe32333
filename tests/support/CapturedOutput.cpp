// SPDX-License-Identifier: MIT
#include "CapturedOutput.h"

#include "Waiting.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace feedline::test {

CapturedOutput::~CapturedOutput() {
    if (thread_.joinable())
        thread_.join();
    if (descriptor_ >= 0)
        close(descriptor_);
}

void CapturedOutput::readFrom(int descriptor) {
    descriptor_ = descriptor;
    fcntl(descriptor_, F_SETFL, O_NONBLOCK);
    thread_ = std::thread([this] { readToEnd(); });
}

void CapturedOutput::takeWhatIsThere() const {
    std::array<char, 4096> buffer{};
    ssize_t count = 0;
    while ((count = read(descriptor_, buffer.data(), buffer.size())) > 0 ||
           (count < 0 && errno == EINTR))
        text_.append(buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    ended_ = count == 0;
    changed_.notify_all();
}

void CapturedOutput::readToEnd() {
    pollfd wait{descriptor_, POLLIN, 0};
    for (bool ended = false; !ended;) {
        poll(&wait, 1, -1);
        const std::lock_guard lock(mutex_);
        takeWhatIsThere();
        ended = ended_;
    }
}

std::string CapturedOutput::text() const {
    const std::lock_guard lock(mutex_);
    if (!ended_) // The thread may not have got to it.
        takeWhatIsThere();
    return text_;
}

bool CapturedOutput::waitUntil(const std::function<bool(const std::string&)>& condition) const {
    const auto deadline = std::chrono::steady_clock::now() + longestWait;
    std::unique_lock lock(mutex_);
    while (!condition(text_))
        if (ended_ || changed_.wait_until(lock, deadline) == std::cv_status::timeout)
            return condition(text_);
    return true;
}

bool CapturedOutput::waitFor(const std::string& wanted, int times) const {
    return waitUntil([&](const std::string& text) { return occurrences(wanted, text) >= times; });
}

bool CapturedOutput::waitForEnd() const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, longestWait, [this] { return ended_; });
}

int occurrences(const std::string& wanted, const std::string& text) {
    int count = 0;
    for (auto at = text.find(wanted); at != std::string::npos; at = text.find(wanted, at + 1))
        ++count;
    return count;
}

} // namespace feedline::test
