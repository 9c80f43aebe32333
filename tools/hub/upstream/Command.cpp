// SPDX-License-Identifier: MIT
#include "tools/hub/upstream/Command.h"

#include "tools/hub/log/Log.h"

#include <array>
#include <csignal>
#include <cstring>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace feedline::hub {

namespace {

// The hub blocks and ignores some signals; a command must not inherit that.
class Attributes {
public:
    Attributes() {
        posix_spawnattr_init(&attributes_);
        sigset_t none{};
        sigset_t all{};
        sigemptyset(&none);
        sigfillset(&all);
        posix_spawnattr_setsigmask(&attributes_, &none);
        posix_spawnattr_setsigdefault(&attributes_, &all);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;
    ~Attributes() { posix_spawnattr_destroy(&attributes_); }
    const posix_spawnattr_t* get() const { return &attributes_; }

private:
    posix_spawnattr_t attributes_{};
};

} // namespace

void Command::start(const std::string& text) {
    reap();
    if (process_ > 0)
        return;
    std::string copy = text;
    std::array<char, 3> shell{"sh"};
    std::array<char, 3> option{"-c"};
    const std::array<char*, 4> arguments{shell.data(), option.data(), copy.data(), nullptr};
    const Attributes attributes;
    const int error =
        posix_spawn(&process_, "/bin/sh", nullptr, attributes.get(), arguments.data(), environ);
    if (error != 0) {
        process_ = -1;
        log("cannot run '" + text + "': " + std::strerror(error));
        return;
    }
    log("running '" + text + "'");
}

void Command::reap() {
    int status = 0;
    if (process_ <= 0 || waitpid(process_, &status, WNOHANG) != process_)
        return;
    process_ = -1;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        log("the command for silence failed");
}

} // namespace feedline::hub
