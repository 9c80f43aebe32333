// SPDX-License-Identifier: MIT
// feedlinectl as its user starts it, on the buses that the test names.
#pragma once

#include "CapturedOutput.h"
#include "Loopback.h"
#include "TextPointers.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace feedline::test {

class CtlProcess {
public:
    struct Buses {
        std::string session = "unix:path=/nonexistent";
        std::string system = "unix:path=/nonexistent";
    };

    CtlProcess(const Buses& buses, std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), FEEDLINECTL);
        const std::vector<char*> argv = pointersTo(arguments);
        std::array<int, 2> outEnds{};
        std::array<int, 2> errorEnds{};
        checked(pipe2(outEnds.data(), O_CLOEXEC), "pipe2");
        checked(pipe2(errorEnds.data(), O_CLOEXEC), "pipe2");
        pid_ = checked(fork(), "fork");
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            setenv("DBUS_SESSION_BUS_ADDRESS", buses.session.c_str(), 1);
            setenv("DBUS_SYSTEM_BUS_ADDRESS", buses.system.c_str(), 1);
            dup2(outEnds[1], STDOUT_FILENO);
            dup2(errorEnds[1], STDERR_FILENO);
            execv(argv[0], argv.data());
            _exit(127);
        }
        ::close(outEnds[1]);
        ::close(errorEnds[1]);
        out.readFrom(outEnds[0]);
        error.readFrom(errorEnds[0]);
    }
    CtlProcess(const CtlProcess&) = delete;
    CtlProcess& operator=(const CtlProcess&) = delete;
    ~CtlProcess() {
        kill(pid_, SIGKILL);
        if (!waited_)
            waitpid(pid_, nullptr, 0);
    }

    CapturedOutput out;
    CapturedOutput error;

    /// The exit status, or minus the number of the signal that ended it.
    int wait() {
        out.waitForEnd();
        error.waitForEnd();
        int status = 0;
        waitpid(pid_, &status, 0);
        waited_ = true;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

private:
    pid_t pid_;
    bool waited_ = false;
};

} // namespace feedline::test
