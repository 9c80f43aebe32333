#include "CapturedStream.h"

#include <array>
#include <cerrno>
#include <unistd.h>

namespace feedline::testing {

CapturedStream::~CapturedStream() {
    if (thread_.joinable())
        thread_.join();
    if (descriptor_ >= 0)
        close(descriptor_);
}

void CapturedStream::readFrom(int descriptor) {
    descriptor_ = descriptor;
    thread_ = std::thread([this] { readToEnd(); });
}

void CapturedStream::readToEnd() {
    std::array<char, 4096> buffer{};
    ssize_t count = 0;
    while ((count = read(descriptor_, buffer.data(), buffer.size())) > 0 ||
           (count < 0 && errno == EINTR)) {
        const std::lock_guard lock(mutex_);
        text_.append(buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
        changed_.notify_all();
    }
    const std::lock_guard lock(mutex_);
    ended_ = true;
    changed_.notify_all();
}

std::string CapturedStream::text() const {
    const std::lock_guard lock(mutex_);
    return text_;
}

bool CapturedStream::waitUntil(const std::function<bool(const std::string&)>& condition) const {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    std::unique_lock lock(mutex_);
    while (!condition(text_))
        if (ended_ || changed_.wait_until(lock, deadline) == std::cv_status::timeout)
            return condition(text_);
    return true;
}

bool CapturedStream::waitFor(const std::string& wanted, int times) const {
    return waitUntil([&](const std::string& text) { return occurrences(wanted, text) >= times; });
}

bool CapturedStream::waitForEnd() const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, patience, [this] { return ended_; });
}

int occurrences(const std::string& wanted, const std::string& text) {
    int count = 0;
    for (auto at = text.find(wanted); at != std::string::npos; at = text.find(wanted, at + 1))
        ++count;
    return count;
}

} // namespace feedline::testing
