// SPDX-License-Identifier: MIT
// The real feedline-hub as a child process, with ports of its own.
#pragma once

#include "CapturedOutput.h"
#include "Loopback.h"
#include "TemporaryFolder.h"
#include "TextPointers.h"

#include <array>
#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <spawn.h>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace feedline::test {

/// Methods belong to one thread.
class HubProcess {
public:
    /// @param options  behind those that give it its ports, and so with the last word
    explicit HubProcess(std::uint16_t server, const std::vector<std::string>& options = {}) {
        std::vector<std::string> words{
            HUB,           "--server",    "127.0.0.1:" + std::to_string(server),
            "--native",    native.text(), "--rtl-tcp",
            rtlTcp.text(), "--zmq",       "0",
            "--web",       web.text()};
        words.insert(words.end(), options.begin(), options.end());
        start(words);
    }
    HubProcess(const HubProcess&) = delete;
    HubProcess& operator=(const HubProcess&) = delete;
    ~HubProcess() {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }

    const ReservedPort native;
    const ReservedPort rtlTcp;
    const ReservedPort web;
    CapturedOutput output; ///< standard output
    CapturedOutput log;    ///< standard error

    pid_t pid() const { return pid_; }

    /// The exit status, or minus the number of the signal that ended it.
    int waitForExit() {
        int status = 0;
        waitpid(std::exchange(pid_, -1), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    int end(int signal = SIGTERM) {
        kill(pid_, signal);
        return waitForExit();
    }

private:
    void start(std::vector<std::string> words) {
        std::array<int, 2> out{};
        std::array<int, 2> err{};
        checked(pipe2(out.data(), O_CLOEXEC), "pipe2");
        checked(pipe2(err.data(), O_CLOEXEC), "pipe2");
        posix_spawn_file_actions_t actions{};
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);
        const std::vector<char*> arguments = pointersTo(words);
        // Nothing of the user's own configuration.
        std::string home = "XDG_CONFIG_HOME=" + folder_.path().string();
        std::string path = "PATH=/usr/bin:/bin";
        std::array<char*, 3> environment{home.data(), path.data(), nullptr};
        const int error = posix_spawn(&pid_, words[0].c_str(), &actions, nullptr, arguments.data(),
                                      environment.data());
        posix_spawn_file_actions_destroy(&actions);
        close(out[1]);
        close(err[1]);
        output.readFrom(out[0]);
        log.readFrom(err[0]);
        if (error != 0)
            throw std::runtime_error("cannot start " + words[0]);
    }

    TemporaryFolder folder_;
    pid_t pid_ = -1;
};

} // namespace feedline::test
