// SPDX-License-Identifier: MIT
#include "tools/probe/recording/OutputFile.h"

#include "tools/probe/ExitStatus.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

namespace feedline::probe {

OutputFile::OutputFile(std::string name, bool force)
    : name_(std::move(name)),
      fd_(open(name_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | (force ? O_TRUNC : O_EXCL), 0666)) {
    if (fd_.get() >= 0)
        return;
    if (errno == EEXIST)
        throw Failure(ExitStatus::outputFailed,
                      "'" + name_ + "' exists; --force would overwrite it");
    fail("cannot create", errno);
}

void OutputFile::write(const void* bytes, std::size_t count) {
    const char* from = static_cast<const char*>(bytes);
    while (count > 0) {
        const ssize_t written = ::write(fd_.get(), from, count);
        if (written < 0 && errno != EINTR)
            fail("cannot write", errno);
        const std::size_t done = written > 0 ? static_cast<std::size_t>(written) : 0;
        from += done;
        count -= done;
    }
}

std::uint64_t OutputFile::size() const {
    struct stat status {};
    if (fstat(fd_.get(), &status) != 0)
        fail("cannot examine", errno);
    return static_cast<std::uint64_t>(status.st_size);
}

void OutputFile::cutToWhole(std::uint64_t front, std::uint64_t unit) {
    const std::uint64_t length = size();
    if (length > front)
        truncate(length - (length - front) % unit);
}

void OutputFile::truncate(std::uint64_t size) {
    if (ftruncate(fd_.get(), static_cast<off_t>(size)) != 0)
        fail("cannot shorten", errno);
}

void OutputFile::remove() const {
    unlink(name_.c_str());
}

void OutputFile::fail(const std::string& what, int error) const {
    throw Failure(ExitStatus::outputFailed, what + " '" + name_ + "': " + std::strerror(error));
}

} // namespace feedline::probe
