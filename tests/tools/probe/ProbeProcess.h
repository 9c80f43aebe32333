// SPDX-License-Identifier: MIT
// feedline-probe as its user starts it, with what it printed and how it ended.
#pragma once

#include "TextPointers.h"

#include <nlohmann/json.hpp>

#include <array>
#include <csignal>
#include <fcntl.h>
#include <sstream>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace feedline::test {

class ProbeProcess {
public:
    /// @param fileLimit    bytes that no file may outgrow
    /// @param nobodyReads  whether its standard output is a pipe without a reader
    explicit ProbeProcess(std::vector<std::string> arguments, rlim_t fileLimit = RLIM_INFINITY,
                          bool nobodyReads = false) {
        arguments.insert(arguments.begin(), PROBE);
        const std::vector<char*> argv = pointersTo(arguments);
        std::array<int, 2> out{};
        std::array<int, 2> error{};
        if (pipe2(out.data(), O_CLOEXEC) != 0 || pipe2(error.data(), O_CLOEXEC) != 0)
            throw std::runtime_error("no pipes");
        pid_ = fork();
        if (pid_ == 0) {
            dup2(out[1], STDOUT_FILENO);
            dup2(error[1], STDERR_FILENO);
            const rlimit limit{fileLimit, fileLimit};
            setrlimit(RLIMIT_FSIZE, &limit);
            execv(argv[0], argv.data());
            _exit(127);
        }
        close(out[1]);
        close(error[1]);
        if (nobodyReads)
            close(out[0]);
        else
            readers_[0] = std::thread([this, fd = out[0]] { readAll(fd, out_); });
        readers_[1] = std::thread([this, fd = error[0]] { readAll(fd, error_); });
    }
    ProbeProcess(const ProbeProcess&) = delete;
    ProbeProcess& operator=(const ProbeProcess&) = delete;
    ~ProbeProcess() {
        if (pid_ > 0)
            kill(pid_, SIGKILL);
        wait();
    }

    void signal(int number) const { kill(pid_, number); }

    /// The exit status, -1 when a signal ended it.
    int wait() {
        if (pid_ > 0) {
            int status = 0;
            waitpid(pid_, &status, 0);
            pid_ = -1;
            status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            for (std::thread& reader : readers_)
                if (reader.joinable())
                    reader.join();
        }
        return status_;
    }

    const std::string& out() const { return out_; }
    const std::string& error() const { return error_; }
    std::vector<nlohmann::json> jsonLines() const {
        std::vector<nlohmann::json> lines;
        std::istringstream stream(out_);
        for (std::string line; std::getline(stream, line);)
            lines.push_back(nlohmann::json::parse(line));
        return lines;
    }

private:
    static void readAll(int fd, std::string& to) {
        std::array<char, 4096> part{};
        for (ssize_t count = 0; (count = read(fd, part.data(), part.size())) > 0;)
            to.append(part.data(), static_cast<std::size_t>(count));
        close(fd);
    }

    pid_t pid_ = -1;
    int status_ = -1;
    std::string out_;
    std::string error_;
    std::array<std::thread, 2> readers_;
};

} // namespace feedline::test
