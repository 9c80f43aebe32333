// SPDX-License-Identifier: MIT
#include "ProcessFacts.h"

#include "Waiting.h"

#include <fcntl.h>
#include <filesystem>
#include <iterator>
#include <string>
#include <thread>
#include <unistd.h>

namespace feedline::test {
namespace {

std::size_t entriesIn(const char* directory) {
    const std::filesystem::directory_iterator entries(directory);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

} // namespace

std::size_t openDescriptors() {
    return entriesIn("/proc/self/fd") - 1; // The reading itself takes one.
}

std::size_t runningThreads() {
    return entriesIn("/proc/self/task");
}

std::size_t threadsAtRest() {
    std::string ownFolder;
    std::thread([&] { ownFolder = "/proc/self/task/" + std::to_string(::gettid()); }).join();
    waitUntil([&] { return !std::filesystem::exists(ownFolder); });
    return runningThreads();
}

bool isOpen(int descriptor) {
    return ::fcntl(descriptor, F_GETFD) >= 0;
}

} // namespace feedline::test
