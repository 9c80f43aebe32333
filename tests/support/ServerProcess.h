// SPDX-License-Identifier: MIT
// The programs as users start them: a child process with settings, a home and an environment of its
// own, over emulated receivers.
#pragma once

#include "CapturedOutput.h"
#include "TemporaryFolder.h"

#include <chrono>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace feedline::test {

enum class Program { feedlined, feedline };

struct Settings {
    std::optional<std::int64_t> port;
    std::optional<std::int64_t> type;
    std::optional<std::string> address;

    bool operator==(const Settings&) const = default;
};
void PrintTo(const Settings& settings, std::ostream* out);

/// Nothing of the test's own environment reaches the child, above all no session bus and no
/// display. A report of a sanitizer in the child fails the test. Methods belong to the thread that
/// made the object.
class ServerProcess {
public:
    struct Launch {
        Program program = Program::feedlined;
        Settings settings{}; ///< written to the settings file beforehand
        std::map<std::string, std::string> environment{};
        bool signalsBlocked = false; ///< SIGTERM and SIGINT, at the start
        /// A receiver that fails leaves threads of its vendor's library behind, and can set two of
        /// them on the same data; ThreadSanitizer is then to look at this project's code alone.
        bool vendorsThreadsExcused = false;
    };

    explicit ServerProcess(const Launch& launch);
    ~ServerProcess(); ///< ends the child without ceremony if it is still there
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    CapturedOutput output; ///< standard output
    CapturedOutput log;    ///< standard error

    /// Standard error's lines so far without their prefixes; a line whose prefix is not as it
    /// should be comes whole, in angle brackets.
    std::vector<std::string> logLines() const;

    void signal(int number) const;

    /// The exit status, or minus the number of the signal that ended it; nothing when it is still
    /// there after `longestWait`. Standard output and error are complete then.
    std::optional<int> waitForExit();

    /// Sends the signal and waits. Also prints how long that took, under the name of the moment.
    std::optional<int> end(int number, const std::string& moment);

    bool running(); ///< has not ended so far

    pid_t pid() const { return pid_; }
    int descriptors() const;        ///< open ones
    long residentKilobytes() const; ///< physical memory in use
    int threads() const;

    /// As the settings file holds them now.
    Settings savedSettings() const;

    const std::filesystem::path& folder() const { return scratch_.path(); }

private:
    std::filesystem::path settingsFile() const;
    std::vector<std::string> environment(const Launch& launch) const;
    void start(const Launch& launch);
    bool reap(bool wait);

    TemporaryFolder scratch_;
    pid_t pid_ = -1;
    std::string name_;
    std::optional<int> status_;
};

} // namespace feedline::test
