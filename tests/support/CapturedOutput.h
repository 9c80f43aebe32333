// SPDX-License-Identifier: MIT
// What a child process writes to one of its standard streams, kept byte for byte.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace feedline::test {

/// Reads the descriptor to its end on a thread of its own. All methods: any thread.
class CapturedOutput {
public:
    CapturedOutput() = default;
    ~CapturedOutput();
    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;

    void readFrom(int descriptor); ///< once; the descriptor is this object's from then on

    /// Everything the process has written so far.
    std::string text() const;

    /// Waits until the condition holds for all that has come so far; false after `longestWait`, or
    /// when the stream ended without it.
    bool waitUntil(const std::function<bool(const std::string&)>& condition) const;

    /// Waits for the n-th occurrence of the text.
    bool waitFor(const std::string& wanted, int times = 1) const;

    /// Waits for the other end to be closed, by everybody who holds it.
    bool waitForEnd() const;

private:
    void readToEnd();
    void takeWhatIsThere() const; ///< with the mutex held

    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    mutable std::string text_;
    mutable bool ended_ = false;
    int descriptor_ = -1;
    std::thread thread_;
};

int occurrences(const std::string& wanted, const std::string& text);

} // namespace feedline::test
