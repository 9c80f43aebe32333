// SPDX-License-Identifier: MIT
#include "ServerProcess.h"

#include "TextPointers.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iostream>
#include <iterator>
#include <regex>
#include <sstream>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace feedline::test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

std::string programFile(Program program) {
    return program == Program::feedline ? FEEDLINE_PROGRAM : FEEDLINED_PROGRAM;
}

/// The child's end of the pipe goes on to its standard streams alone.
std::array<int, 2> makePipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        std::abort();
    return ends;
}

sigset_t blockedSignals(const ServerProcess::Launch& launch) {
    sigset_t blocked{};
    sigemptyset(&blocked);
    for (const int number : {SIGTERM, SIGINT})
        if (launch.signalsBlocked)
            sigaddset(&blocked, number);
    return blocked;
}

/// Between fork and exec: system calls only.
[[noreturn]] void becomeServer(const char* file, char* const* environment, const sigset_t& blocked,
                               int output, int log) {
    prctl(PR_SET_PDEATHSIG, SIGKILL); // A test that is ended by force leaves nothing behind.
    dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(log, STDERR_FILENO);
    sigprocmask(SIG_SETMASK, &blocked, nullptr);
    std::array<char*, 2> arguments{const_cast<char*>(file), nullptr};
    execve(file, arguments.data(), environment);
    _exit(127);
}

/// The number after the label in one of the kernel's "Label:  123 kB" files.
long numberAfter(const fs::path& file, const std::string& label) {
    std::ifstream stream(file);
    std::string line;
    while (std::getline(stream, line))
        if (line.rfind(label, 0) == 0)
            return std::stol(line.substr(label.size()));
    return -1;
}

/// Ours stand behind those that were given, and so win over them.
std::pair<const std::string, std::string> sanitizerOptions(const char* variable,
                                                           const std::string& ours) {
    const char* given = std::getenv(variable);
    return {variable, (given != nullptr ? std::string(given) + ":" : "") + ours};
}

} // namespace

void PrintTo(const Settings& settings, std::ostream* out) {
    *out << "port " << (settings.port ? std::to_string(*settings.port) : "none") << ", type "
         << (settings.type ? std::to_string(*settings.type) : "none") << ", address "
         << settings.address.value_or("none");
}

ServerProcess::ServerProcess(const Launch& launch)
    : name_(fs::path(programFile(launch.program)).filename()) {
    fs::create_directories(settingsFile().parent_path());
    fs::create_directories(folder() / "runtime");
    fs::permissions(folder() / "runtime", fs::perms::owner_all);
    std::ofstream file(settingsFile());
    file << "[General]\n";
    if (launch.settings.port)
        file << "sdrPortNumber=" << *launch.settings.port << '\n';
    if (launch.settings.type)
        file << "sdrType=" << *launch.settings.type << '\n';
    if (launch.settings.address)
        file << "sdrUdpAdr=" << *launch.settings.address << '\n';
    file.close();
    start(launch);
}

void ServerProcess::start(const Launch& launch) {
    const std::string file = programFile(launch.program);
    std::vector<std::string> texts = environment(launch);
    const std::vector<char*> pointers = pointersTo(texts);
    const auto outputPipe = makePipe();
    const auto logPipe = makePipe();
    // The child comes into being with everything blocked, then sets what it is to have.
    sigset_t all{};
    sigset_t own{};
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &own);
    const sigset_t blocked = blockedSignals(launch);
    pid_ = fork();
    if (pid_ == 0)
        becomeServer(file.c_str(), pointers.data(), blocked, outputPipe[1], logPipe[1]);
    pthread_sigmask(SIG_SETMASK, &own, nullptr);
    close(outputPipe[1]);
    close(logPipe[1]);
    output.readFrom(outputPipe[0]);
    log.readFrom(logPipe[0]);
}

ServerProcess::~ServerProcess() {
    if (!status_) {
        kill(pid_, SIGKILL);
        waitForExit();
    }
    const std::string text = log.text();
    for (const char* report : {"Sanitizer", "runtime error:", "terminate called"})
        EXPECT_EQ(text.find(report), std::string::npos) << text;
    if (::testing::Test::HasFailure())
        std::cout << "Standard output was:\n" << output.text() << "\nStandard error was:\n" << text;
}

fs::path ServerProcess::settingsFile() const {
    return folder() / "config" / "feedline" / "feedline.conf";
}

std::vector<std::string> ServerProcess::environment(const Launch& launch) const {
    const char* excused = launch.vendorsThreadsExcused
                              ? ":report_thread_leaks=0:ignore_noninstrumented_modules=1"
                              : "";
    std::map<std::string, std::string> variables{
        {"PATH", "/usr/bin:/bin"},
        {"LANG", "C.UTF-8"},
        {"HOME", folder()},
        {"XDG_CONFIG_HOME", folder() / "config"},
        {"XDG_RUNTIME_DIR", folder() / "runtime"},
        {"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent"},
        {"DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent"},
        {"QT_QPA_PLATFORM", "offscreen"},
        {"LD_LIBRARY_PATH", FEEDLINE_EMULATOR_FOLDER},
        sanitizerOptions("ASAN_OPTIONS", "halt_on_error=1:exitcode=99"),
        sanitizerOptions("UBSAN_OPTIONS", "halt_on_error=1:print_stacktrace=1:exitcode=99"),
        sanitizerOptions("TSAN_OPTIONS", std::string("halt_on_error=1:exitcode=99") + excused),
    };
    for (const auto& [variable, value] : launch.environment)
        variables[variable] = value;
    std::vector<std::string> result;
    for (const auto& [variable, value] : variables)
        result.emplace_back(variable).append("=").append(value);
    return result;
}

std::vector<std::string> ServerProcess::logLines() const {
    const std::regex prefixed(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} )" + name_ + R"(\[)" +
                              std::to_string(pid_) + R"(\] (.*))");
    std::vector<std::string> lines;
    std::istringstream stream(log.text());
    for (std::string line; std::getline(stream, line);) {
        std::smatch match;
        if (std::regex_match(line, match, prefixed))
            lines.push_back(match[1]);
        else if (line.rfind("ALERT: ", 0) == 0)
            lines.push_back(line);
        else
            lines.push_back("<" + line + ">");
    }
    return lines;
}

void ServerProcess::signal(int number) const {
    kill(pid_, number);
}

bool ServerProcess::reap(bool wait) {
    int status = 0;
    if (!status_ && waitpid(pid_, &status, wait ? 0 : WNOHANG) == pid_)
        status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    return status_.has_value();
}

bool ServerProcess::running() {
    return !reap(false);
}

std::optional<int> ServerProcess::waitForExit() {
    // The streams end with the process, so there is nothing to poll.
    if (!output.waitForEnd() || !log.waitForEnd())
        return std::nullopt;
    reap(true);
    return status_;
}

std::optional<int> ServerProcess::end(int number, const std::string& moment) {
    const auto start = Clock::now();
    signal(number);
    const std::optional<int> result = waitForExit();
    const auto taken = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
    std::cout << name_ << ", " << moment << ": ended " << taken.count() << " ms after "
              << strsignal(number) << ", status " << result.value_or(-1000) << std::endl;
    return result;
}

int ServerProcess::descriptors() const {
    const fs::path list = fs::path("/proc") / std::to_string(pid_) / "fd";
    return static_cast<int>(std::distance(fs::directory_iterator(list), fs::directory_iterator()));
}

long ServerProcess::residentKilobytes() const {
    return numberAfter(fs::path("/proc") / std::to_string(pid_) / "status", "VmRSS:");
}

int ServerProcess::threads() const {
    return static_cast<int>(
        numberAfter(fs::path("/proc") / std::to_string(pid_) / "status", "Threads:"));
}

Settings ServerProcess::savedSettings() const {
    Settings saved;
    std::ifstream file(settingsFile());
    for (std::string line; std::getline(file, line);) {
        const auto equals = line.find('=');
        const std::string key = line.substr(0, equals);
        const std::string value = equals == std::string::npos ? "" : line.substr(equals + 1);
        if (key == "sdrPortNumber")
            saved.port = std::stoll(value);
        else if (key == "sdrType")
            saved.type = std::stoll(value);
        else if (key == "sdrUdpAdr")
            saved.address = value;
    }
    return saved;
}

} // namespace feedline::test
