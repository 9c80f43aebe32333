// SPDX-License-Identifier: MIT
#include "ProcessFacts.h"

#include "Waiting.h"

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <malloc.h>
#include <string>
#include <thread>
#include <unistd.h>

// NOLINTNEXTLINE(bugprone-reserved-identifier): the sanitizers' name for it; null without one.
extern "C" __attribute__((weak)) std::size_t __sanitizer_get_current_allocated_bytes();

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

std::size_t threadsNamed(std::string_view name) {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<std::size_t>(std::count_if(begin(tasks), end(tasks), [&](const auto& task) {
        std::string itsName;
        std::getline(std::ifstream(task.path() / "comm"), itsName);
        return itsName == name;
    }));
}

std::size_t threadsAtRest() {
    std::string ownFolder;
    std::thread([&] { ownFolder = "/proc/self/task/" + std::to_string(::gettid()); }).join();
    waitUntil([&] { return !std::filesystem::exists(ownFolder); });
    return runningThreads();
}

std::size_t heapInUse() {
    return __sanitizer_get_current_allocated_bytes != nullptr
               ? __sanitizer_get_current_allocated_bytes()
               : mallinfo2().uordblks;
}

bool isOpen(int descriptor) {
    return ::fcntl(descriptor, F_GETFD) >= 0;
}

} // namespace feedline::test
