// SPDX-License-Identifier: MIT
// A feedline-hub under load, whose processor time and memory are looked at from outside, and the
// addresses of its many listeners.
#pragma once

#include "TextPointers.h"

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace feedline::bench {

class MeasuredHub {
public:
    /// @param words  the program and its arguments
    explicit MeasuredHub(std::vector<std::string> words) {
        const std::vector<char*> arguments = test::pointersTo(words);
        if (posix_spawn(&pid_, arguments[0], nullptr, nullptr, arguments.data(), environ) != 0)
            std::exit(1);
    }
    MeasuredHub(const MeasuredHub&) = delete;
    MeasuredHub& operator=(const MeasuredHub&) = delete;
    ~MeasuredHub() {
        kill(pid_, SIGTERM);
        waitpid(pid_, nullptr, 0);
    }

    /// Seconds of processor time so far, by the threads' names.
    std::map<std::string, double> times() const {
        std::map<std::string, double> times;
        const std::string tasks = "/proc/" + std::to_string(pid_) + "/task";
        for (const auto& task : std::filesystem::directory_iterator(tasks)) {
            std::string name;
            std::getline(std::ifstream(task.path() / "comm"), name);
            // Nanoseconds on a processor, which the ticks of "stat" are too coarse for.
            double nanoseconds = 0;
            std::ifstream(task.path() / "schedstat") >> nanoseconds;
            times[name] += nanoseconds * 1e-9;
        }
        return times;
    }

    long residentKilobytes() const {
        long total = 0;
        long resident = 0;
        std::ifstream("/proc/" + std::to_string(pid_) + "/statm") >> total >> resident;
        return resident * (sysconf(_SC_PAGESIZE) / 1024);
    }

private:
    pid_t pid_ = -1;
};

/// Each listener has one of this machine's, 127.1.0.2 and so on.
inline std::string addressOf(unsigned listener) {
    return "127.1." + std::to_string((listener + 1) / 250) + "." +
           std::to_string((listener + 1) % 250 + 1);
}

} // namespace feedline::bench
