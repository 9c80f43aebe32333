// SPDX-License-Identifier: MIT
// A descriptor that is closed exactly once.
#pragma once

#include <unistd.h>
#include <utility>

namespace feedline::client {

class UniqueFd {
public:
    explicit UniqueFd(int fd = -1) : fd_(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~UniqueFd() {
        if (fd_ >= 0)
            close(fd_);
    }
    int get() const { return fd_; }

private:
    int fd_;
};

} // namespace feedline::client
