// SPDX-License-Identifier: MIT
#include "platform/Log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <deque>
#include <fcntl.h>
#include <set>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

/// What the next writes do in place of writing all they are given: the bytes to take, or a negative
/// errno.
std::deque<ssize_t> scriptedWrites;
int writesOfInterest = 0;
bool countsWrites = false;

} // namespace

extern "C" {

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
ssize_t __real_write(int descriptor, const void* data, std::size_t length);

ssize_t __wrap_write(int descriptor, const void* data, std::size_t length) {
    if (countsWrites)
        ++writesOfInterest;
    if (scriptedWrites.empty())
        return __real_write(descriptor, data, length);
    const ssize_t scripted = scriptedWrites.front();
    scriptedWrites.pop_front();
    if (scripted < 0) {
        errno = static_cast<int>(-scripted);
        return -1;
    }
    return __real_write(descriptor, data, std::min(length, static_cast<std::size_t>(scripted)));
}
// NOLINTEND(bugprone-reserved-identifier)

} // extern "C"

namespace feedline {
namespace {

/// Reads everything that goes to a standard stream between its making and `text()`.
class Captured {
public:
    explicit Captured(int stream) : stream_(stream), original_(::dup(stream)) {
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0)
            std::abort();
        ::dup2(ends[1], stream_);
        ::close(ends[1]);
        reader_ = std::thread([this, from = ends[0]] {
            std::array<char, 4096> block{};
            ssize_t got = 0;
            while ((got = ::read(from, block.data(), block.size())) > 0)
                text_.append(block.data(), static_cast<std::size_t>(got));
            ::close(from);
        });
    }
    ~Captured() {
        if (reader_.joinable())
            text();
    }
    Captured(const Captured&) = delete;
    Captured& operator=(const Captured&) = delete;

    std::string text() {
        ::dup2(original_, stream_); // Closes the pipe's last writing end: the reader ends.
        ::close(original_);
        reader_.join();
        return text_;
    }

private:
    int stream_;
    int original_;
    std::string text_;
    std::thread reader_;
};

class Log : public ::testing::Test {
protected:
    Log() {
        scriptedWrites.clear();
        writesOfInterest = 0;
    }
    void TearDown() override { countsWrites = false; }

    static std::vector<std::string> linesOf(const std::string& text) {
        std::vector<std::string> lines;
        std::size_t start = 0;
        for (std::size_t end = 0; (end = text.find('\n', start)) != std::string::npos;
             start = end + 1)
            lines.push_back(text.substr(start, end - start));
        if (start < text.size())
            lines.push_back(text.substr(start) + " (unended)");
        return lines;
    }

    /// The line without its prefix, or what is wrong with it.
    static std::string withoutPrefix(const std::string& line) {
        const std::string shape = "0000-00-00 00:00:00.000 ";
        std::string time = line.substr(0, shape.size());
        for (char& c : time)
            if (c >= '0' && c <= '9')
                c = '0';
        const std::string program =
            std::string(program_invocation_short_name) + "[" + std::to_string(::getpid()) + "] ";
        if (time != shape)
            return "no time: " + line;
        if (line.compare(shape.size(), program.size(), program) != 0)
            return "wrong program: " + line;
        return line.substr(shape.size() + program.size());
    }
};

TEST_F(Log, ALineGoesToStandardErrorAfterTimeProgramAndProcess) {
    Captured error(STDERR_FILENO);
    logLine("portToUse %d", 50000);
    const std::vector<std::string> lines = linesOf(error.text());
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(withoutPrefix(lines[0]), "portToUse 50000");
}

TEST_F(Log, TheTimeIsTheLocalOne) {
    ::setenv("TZ", "UTC-14", 1);
    ::tzset();
    const std::time_t before = std::time(nullptr);
    Captured error(STDERR_FILENO);
    logLine("x");
    const std::string line = error.text();
    const std::time_t after = std::time(nullptr);
    std::vector<std::string> possible;
    for (std::time_t second = before; second <= after; ++second) {
        const std::time_t shifted = second + std::time_t{14} * 3600;
        std::array<char, 32> text{};
        std::tm parts{};
        ::gmtime_r(&shifted, &parts);
        std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &parts);
        possible.emplace_back(text.data());
    }
    EXPECT_THAT(possible, ::testing::Contains(line.substr(0, 19)));
}

TEST_F(Log, TrailingAndDoubleBlanksStay) {
    Captured error(STDERR_FILENO);
    logLine("airspyhf_start err %d  ", 0);
    EXPECT_EQ(withoutPrefix(linesOf(error.text()).at(0)), "airspyhf_start err 0  ");
}

TEST_F(Log, ALineEndInATextBecomesABlank) {
    Captured error(STDERR_FILENO);
    logLine("version %s", "one\ntwo\r\nthree\n");
    const std::vector<std::string> lines = linesOf(error.text());
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(withoutPrefix(lines[0]), "version one two  three ");
}

TEST_F(Log, AnEmptyTextIsALineToo) {
    Captured error(STDERR_FILENO);
    logLine("%s", "");
    EXPECT_EQ(withoutPrefix(linesOf(error.text()).at(0)), "");
}

TEST_F(Log, ATextOfMoreThan1023BytesIsCut) {
    Captured error(STDERR_FILENO);
    logLine("%s", std::string(1023, 'a').c_str());
    logLine("%s", std::string(5000, 'b').c_str());
    const std::vector<std::string> lines = linesOf(error.text());
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(withoutPrefix(lines[0]), std::string(1023, 'a'));
    EXPECT_EQ(withoutPrefix(lines[1]), std::string(1023, 'b'));
}

TEST_F(Log, ALineIsHandedOverInOneWrite) {
    Captured error(STDERR_FILENO);
    countsWrites = true;
    logLine("%s", std::string(2000, 'a').c_str());
    countsWrites = false;
    error.text();
    EXPECT_EQ(writesOfInterest, 1);
}

TEST_F(Log, AWriteThatASignalInterruptsIsMadeAgain) {
    Captured error(STDERR_FILENO);
    scriptedWrites = {-EINTR, -EINTR};
    logLine("once");
    const std::vector<std::string> lines = linesOf(error.text());
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(withoutPrefix(lines[0]), "once");
}

TEST_F(Log, AWriteThatTakesAPartIsContinued) {
    Captured error(STDERR_FILENO);
    scriptedWrites = {5, 1, 9};
    logLine("in four parts");
    EXPECT_EQ(withoutPrefix(linesOf(error.text()).at(0)), "in four parts");
    EXPECT_TRUE(scriptedWrites.empty());
}

TEST_F(Log, ADestinationThatTakesNothingMoreHoldsNobodyUp) {
    Captured error(STDERR_FILENO);
    scriptedWrites = {-EAGAIN, 0, -ENOSPC, -EPIPE};
    for (int i = 0; i < 4; ++i)
        logLine("lost");
    logLine("kept");
    const std::vector<std::string> lines = linesOf(error.text());
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(withoutPrefix(lines[0]), "kept");
}

// What interrupted an earlier write says nothing about this one.
TEST_F(Log, ADestinationThatTakesNothingAfterASignalHoldsNobodyUpEither) {
    scriptedWrites = {-EINTR, 0, -EAGAIN};
    logLine("lost");
    EXPECT_THAT(scriptedWrites, testing::ElementsAre(-EAGAIN));
}

TEST_F(Log, AClosedStandardErrorIsHarmless) {
    const int original = ::dup(STDERR_FILENO);
    ::close(STDERR_FILENO);
    countsWrites = true;
    logLine("nobody reads this");
    countsWrites = false;
    ::dup2(original, STDERR_FILENO);
    ::close(original);
    EXPECT_EQ(writesOfInterest, 1); // Tried once, and left at that.
}

TEST_F(Log, AClosedStandardOutputIsHarmless) {
    std::fflush(stdout);
    const int original = ::dup(STDOUT_FILENO);
    ::close(STDOUT_FILENO);
    countsWrites = true;
    printText("nobody reads this\n");
    countsWrites = false;
    ::dup2(original, STDOUT_FILENO);
    ::close(original);
    EXPECT_EQ(writesOfInterest, 1);
}

TEST_F(Log, LinesOfDifferentThreadsDoNotMix) {
    constexpr int threads = 4;
    constexpr int linesEach = 300;
    Captured error(STDERR_FILENO);
    std::vector<std::thread> writers;
    writers.reserve(threads);
    for (int t = 0; t < threads; ++t)
        writers.emplace_back([t] {
            for (int i = 0; i < linesEach; ++i)
                logLine("%d:%d:%s", t, i, std::string(500, static_cast<char>('a' + t)).c_str());
        });
    for (std::thread& writer : writers)
        writer.join();

    std::multiset<std::string> expected;
    for (int t = 0; t < threads; ++t)
        for (int i = 0; i < linesEach; ++i)
            expected.insert(std::to_string(t) + ":" + std::to_string(i) + ":" +
                            std::string(500, static_cast<char>('a' + t)));
    std::multiset<std::string> seen;
    for (const std::string& line : linesOf(error.text()))
        seen.insert(withoutPrefix(line));
    EXPECT_TRUE(seen == expected);
}

TEST_F(Log, PrintedTextGoesToStandardOutputExactlyAsItStands) {
    std::fflush(stdout);
    Captured output(STDOUT_FILENO);
    Captured error(STDERR_FILENO);
    printText("TCPThread Connection accepted %d  %x  %s\r", 7, 0x100007f, "127.0.0.1");
    printText("TCPThread Could not create socket");
    printText("UDPThread exit\n");
    const std::string printed = output.text();
    EXPECT_EQ(error.text(), "");
    EXPECT_EQ(printed, "TCPThread Connection accepted 7  100007f  127.0.0.1\r"
                       "TCPThread Could not create socketUDPThread exit\n");
}

TEST_F(Log, PrintedTextOfMoreThan1023BytesIsCut) {
    std::fflush(stdout);
    Captured output(STDOUT_FILENO);
    printText("%s", std::string(3000, 'a').c_str());
    EXPECT_EQ(output.text(), std::string(1023, 'a'));
}

TEST_F(Log, PrintedTextIsHandedOverInOneWrite) {
    std::fflush(stdout);
    Captured output(STDOUT_FILENO);
    countsWrites = true;
    printText("two lines\nin one\n");
    countsWrites = false;
    output.text();
    EXPECT_EQ(writesOfInterest, 1);
}

TEST_F(Log, AFatalLineIsLoggedAndEndsTheProcessAtOnce) {
    EXPECT_EXIT(fatal("setting %s holds %d characters", "sdrUdpAdr", 300),
                ::testing::KilledBySignal(SIGABRT),
                R"(\[[0-9]+\] setting sdrUdpAdr holds 300 characters)");
}

} // namespace
} // namespace feedline
