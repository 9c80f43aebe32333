// SPDX-License-Identifier: MIT
// A file that is being written.
#pragma once

#include "tools/client/UniqueFd.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace feedline::probe {

/// All functions throw Failure with the file's name and the system's reason.
class OutputFile {
public:
    /// Creates the file. One that exists is refused, or emptied when `force` is set.
    OutputFile(std::string name, bool force);

    void write(const void* bytes, std::size_t count);
    std::uint64_t size() const;
    /// Cuts the file to whole units of `unit` bytes behind the first `front` ones.
    void cutToWhole(std::uint64_t front, std::uint64_t unit);
    void truncate(std::uint64_t size);
    /// Takes the file away again, as far as that is possible.
    void remove() const;

    int fd() const { return fd_.get(); }
    const std::string& name() const { return name_; }
    [[noreturn]] void fail(const std::string& what, int error) const;

private:
    std::string name_;
    client::UniqueFd fd_;
};

} // namespace feedline::probe
