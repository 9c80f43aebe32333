#include "probe/OutputFile.h"

#include "probe/ExitStatus.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

namespace feedline::probe {

OutputFile::OutputFile(std::string name, bool force)
    : m_name(std::move(name)),
      m_fd(open(m_name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | (force ? O_TRUNC : O_EXCL), 0666)) {
    if (m_fd.get() >= 0)
        return;
    if (errno == EEXIST)
        throw Failure(ExitStatus::OutputFailed,
                      "'" + m_name + "' exists; --force would overwrite it");
    fail("cannot create", errno);
}

void OutputFile::write(const void* bytes, std::size_t count) {
    const char* from = static_cast<const char*>(bytes);
    while (count > 0) {
        const ssize_t written = ::write(m_fd.get(), from, count);
        if (written < 0 && errno != EINTR)
            fail("cannot write", errno);
        const std::size_t done = written > 0 ? static_cast<std::size_t>(written) : 0;
        from += done;
        count -= done;
    }
}

std::uint64_t OutputFile::size() const {
    struct stat status {};
    if (fstat(m_fd.get(), &status) != 0)
        fail("cannot examine", errno);
    return static_cast<std::uint64_t>(status.st_size);
}

void OutputFile::cutToWhole(std::uint64_t front, std::uint64_t unit) {
    const std::uint64_t length = size();
    if (length > front)
        truncate(length - (length - front) % unit);
}

void OutputFile::truncate(std::uint64_t size) {
    if (ftruncate(m_fd.get(), static_cast<off_t>(size)) != 0)
        fail("cannot shorten", errno);
}

void OutputFile::remove() const {
    unlink(m_name.c_str());
}

void OutputFile::fail(const std::string& what, int error) const {
    throw Failure(ExitStatus::OutputFailed, what + " '" + m_name + "': " + std::strerror(error));
}

} // namespace feedline::probe
