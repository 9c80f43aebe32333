// The program as its user meets it: what it prints and how it ends.
#include "ScriptedServer.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <sstream>
#include <sys/resource.h>
#include <sys/wait.h>

using feedline::test::ScriptedServer;
using feedline::test::TemporaryFolder;
using Bytes = ScriptedServer::Bytes;
using Answer = ScriptedServer::Answer;
using Json = nlohmann::json;

namespace {

class Program {
public:
    /// @param fileLimit    bytes that no file may outgrow
    /// @param nobodyReads  whether its standard output is a pipe without a reader
    explicit Program(std::vector<std::string> arguments, rlim_t fileLimit = RLIM_INFINITY,
                     bool nobodyReads = false) {
        arguments.insert(arguments.begin(), PROBE);
        std::vector<char*> argv;
        for (std::string& argument : arguments)
            argv.push_back(argument.data());
        argv.push_back(nullptr);
        std::array<int, 2> out{};
        std::array<int, 2> error{};
        if (pipe2(out.data(), O_CLOEXEC) != 0 || pipe2(error.data(), O_CLOEXEC) != 0)
            throw std::runtime_error("no pipes");
        m_pid = fork();
        if (m_pid == 0) {
            dup2(out[1], STDOUT_FILENO);
            dup2(error[1], STDERR_FILENO);
            const rlimit limit{fileLimit, fileLimit};
            setrlimit(RLIMIT_FSIZE, &limit);
            execv(argv[0], argv.data());
            _exit(127);
        }
        close(out[1]);
        close(error[1]);
        if (nobodyReads)
            close(out[0]);
        else
            m_readers[0] = std::thread([this, fd = out[0]] { readAll(fd, m_out); });
        m_readers[1] = std::thread([this, fd = error[0]] { readAll(fd, m_error); });
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;
    ~Program() {
        if (m_pid > 0)
            kill(m_pid, SIGKILL);
        wait();
    }

    void signal(int number) const { kill(m_pid, number); }

    /// The exit status, -1 when a signal ended it.
    int wait() {
        if (m_pid > 0) {
            int status = 0;
            waitpid(m_pid, &status, 0);
            m_pid = -1;
            m_status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            for (std::thread& reader : m_readers)
                if (reader.joinable())
                    reader.join();
        }
        return m_status;
    }

    const std::string& out() const { return m_out; }
    const std::string& error() const { return m_error; }
    std::vector<Json> jsonLines() const {
        std::vector<Json> lines;
        std::istringstream stream(m_out);
        for (std::string line; std::getline(stream, line);)
            lines.push_back(Json::parse(line));
        return lines;
    }

private:
    static void readAll(int fd, std::string& to) {
        std::array<char, 4096> part{};
        for (ssize_t count = 0; (count = read(fd, part.data(), part.size())) > 0;)
            to.append(part.data(), static_cast<std::size_t>(count));
        close(fd);
    }

    pid_t m_pid = -1;
    int m_status = -1;
    std::string m_out;
    std::string m_error;
    std::array<std::thread, 2> m_readers;
};

std::string address(const ScriptedServer& server) {
    return "127.0.0.1:" + std::to_string(server.port());
}

bool isOneLine(const std::string& text) {
    return !text.empty() && text.find('\n') == text.size() - 1;
}

// Sends a datagram every few milliseconds, slowly enough for the smallest of buffers, until the
// client has asked for the stop. The script says what becomes of each number.
void streamUntilStopped(ScriptedServer& server,
                        const std::function<void(std::uint16_t number)>& sendOne) {
    ASSERT_TRUE(server.waitForRun());
    std::atomic<bool> stopped = false;
    std::thread watcher([&] {
        server.waitForStop();
        stopped = true;
    });
    for (std::uint16_t number = 65500; !stopped; ++number) {
        sendOne(number);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    watcher.join();
}

TEST(ProbeProgramTest, Info) {
    ScriptedServer server;
    Program probe({"info", address(server)});
    EXPECT_EQ(probe.wait(), 0) << probe.error();
    for (const char* text : {"AirSpyHF+", "123456789", "123\n", "11 (idle)", " ms"})
        EXPECT_NE(probe.out().find(text), std::string::npos) << text;
    EXPECT_EQ(probe.error(), "");
}

TEST(ProbeProgramTest, InfoAsJson) {
    ScriptedServer server;
    Program probe({"info", "--json", address(server)});
    EXPECT_EQ(probe.wait(), 0) << probe.error();
    const Json info = probe.jsonLines().at(0);
    EXPECT_EQ(info["target"], "AirSpyHF+");
    EXPECT_EQ(info["serial"], "123456789");
    EXPECT_EQ(info["item_0x0004"], 123);
    EXPECT_EQ(info["status"], 11);
    EXPECT_GT(info["round_trip_ms"], 0);
}

TEST(ProbeProgramTest, StreamWithLoss) {
    ScriptedServer server;
    Program probe({"stream", address(server), "--seconds", "1.5", "--json"});
    streamUntilStopped(server, [&server](std::uint16_t number) {
        if (number % 10 != 0)
            server.sendDatagram(number);
    });
    EXPECT_EQ(probe.wait(), 1) << probe.error();
    const Json summary = probe.jsonLines().back();
    EXPECT_EQ(summary["type"], "summary");
    EXPECT_GE(summary["lost"], 1);
    EXPECT_GE(summary["datagrams"], 10);
    EXPECT_EQ(summary["carrier"], nullptr);
    EXPECT_EQ(summary["i"]["level_dbfs"], nullptr);
    EXPECT_NE(probe.error().find("lost "), std::string::npos);
}

TEST(ProbeProgramTest, InterruptedStreamStopsTheReceiverAndSumsUp) {
    for (const int signal : {SIGINT, SIGTERM}) {
        ScriptedServer server;
        Program probe({"stream", address(server), "--tune", "7.1M"});
        ASSERT_TRUE(server.waitForRun());
        for (std::uint16_t number = 0; number < 10; ++number)
            server.sendDatagram(number);
        probe.signal(signal);
        EXPECT_EQ(probe.wait(), 0) << probe.error();
        EXPECT_TRUE(server.waitForStop());
        EXPECT_NE(probe.out().find("10 received, 0 lost"), std::string::npos) << probe.out();
    }
}

TEST(ProbeProgramTest, BadArguments) {
    Program probe({"stream", "127.0.0.1:70000"});
    EXPECT_EQ(probe.wait(), 2);
    EXPECT_TRUE(isOneLine(probe.error())) << probe.error();
}

TEST(ProbeProgramTest, NoServer) {
    std::string nobody;
    {
        const ScriptedServer server;
        nobody = address(server);
    }
    for (const char* command : {"info", "stream"}) {
        Program probe({command, nobody});
        EXPECT_EQ(probe.wait(), 3);
        EXPECT_NE(probe.error().find("cannot connect"), std::string::npos) << probe.error();
    }
}

TEST(ProbeProgramTest, ServerThatNeverAnswers) {
    ScriptedServer server([](const Bytes&) { return Answer{}; });
    Program probe({"info", address(server), "--timeout", "0.2"});
    EXPECT_EQ(probe.wait(), 4);
    EXPECT_TRUE(isOneLine(probe.error())) << probe.error();
}

TEST(ProbeProgramTest, SecondClientIsLeftWaiting) {
    ScriptedServer server;
    Program first({"stream", address(server)});
    ASSERT_TRUE(server.waitForRun());
    Program second({"info", address(server), "--timeout", "0.2"});
    EXPECT_EQ(second.wait(), 4);
    EXPECT_NE(second.error().find("another client"), std::string::npos) << second.error();
    first.signal(SIGTERM);
    EXPECT_EQ(first.wait(), 8);
}

TEST(ProbeProgramTest, PortAlreadyBound) {
    ScriptedServer server;
    Program first({"stream", address(server)});
    ASSERT_TRUE(server.waitForRun());
    Program second({"stream", address(server)});
    EXPECT_EQ(second.wait(), 5);
    EXPECT_TRUE(isOneLine(second.error())) << second.error();
    first.signal(SIGTERM);
    first.wait();
}

TEST(ProbeProgramTest, ServerThatDiesInMidMessage) {
    ScriptedServer server([](const Bytes&) { return Answer{{14, 0, 1, 0, 'A', 'i'}, true}; });
    Program probe({"stream", address(server)});
    EXPECT_EQ(probe.wait(), 4);
    EXPECT_NE(probe.error().find("middle of an answer"), std::string::npos) << probe.error();
}

TEST(ProbeProgramTest, ServerThatGoesAwayWhileStreaming) {
    ScriptedServer server;
    Program probe({"stream", address(server)});
    ASSERT_TRUE(server.waitForRun());
    server.hangUp();
    EXPECT_EQ(probe.wait(), 7);
    EXPECT_NE(probe.error().find("closed the connection"), std::string::npos) << probe.error();
}

TEST(ProbeProgramTest, RecordingAndPicture) {
    const TemporaryFolder folder;
    ScriptedServer server;
    Program probe({"stream", address(server), "--seconds", "1", "--json", "--rate", "768000",
                   "--record", folder.file("a.sigmf"), "--plot", folder.file("a.png")});
    streamUntilStopped(server, [&server](std::uint16_t number) { server.sendDatagram(number); });
    const int status = probe.wait();
    const Json summary = probe.jsonLines().back();
    EXPECT_EQ(status, summary["lost"] == 0 ? 0 : 1) << probe.error();
    EXPECT_EQ(folder.size("a.sigmf-data"), summary["recording"]["pairs"].get<unsigned>() * 4);
    EXPECT_EQ(summary["recording"]["failure"], nullptr);
    EXPECT_TRUE(folder.content("a.png").starts_with("\x89PNG"));
}

TEST(ProbeProgramTest, ExistingRecordingIsRefusedBeforeTheServerIsAsked) {
    const TemporaryFolder folder;
    std::ofstream(folder.file("a.wav")) << "mine";
    ScriptedServer server;
    Program probe({"stream", address(server), "--record", folder.file("a.wav")});
    EXPECT_EQ(probe.wait(), 6);
    EXPECT_TRUE(isOneLine(probe.error())) << probe.error();
    EXPECT_EQ(folder.content("a.wav"), "mine");
    EXPECT_TRUE(server.messages().empty());
}

TEST(ProbeProgramTest, FullDiskEndsTheRunAndStopsTheReceiver) {
    for (const char* name : {"a.sigmf", "a.wav"}) {
        const TemporaryFolder folder;
        ScriptedServer server;
        Program probe(
            {"stream", address(server), "--rate", "768000", "--record", folder.file(name)}, 20000);
        streamUntilStopped(server,
                           [&server](std::uint16_t number) { server.sendDatagram(number); });
        EXPECT_EQ(probe.wait(), 6);
        EXPECT_NE(probe.error().find("recording ended early"), std::string::npos) << probe.error();
        EXPECT_NE(probe.error().find("File too large"), std::string::npos) << probe.error();
    }
}

TEST(ProbeProgramTest, NoServerLeavesNoFiles) {
    const TemporaryFolder folder;
    std::string nobody;
    {
        const ScriptedServer server;
        nobody = address(server);
    }
    Program probe(
        {"stream", nobody, "--record", folder.file("a.wav"), "--plot", folder.file("a.png")});
    EXPECT_EQ(probe.wait(), 3);
    EXPECT_TRUE(folder.empty());
}

TEST(ProbeProgramTest, SpectrumNeedsATerminal) {
    Program probe({"stream", "127.0.0.1", "--spectrum"});
    EXPECT_EQ(probe.wait(), 2);
    EXPECT_TRUE(isOneLine(probe.error())) << probe.error();
}

// As in a pipe to a reader that has seen enough.
TEST(ProbeProgramTest, ReaderThatGoesAwayEndsTheRunAndStopsTheReceiver) {
    ScriptedServer server;
    Program probe({"stream", address(server)}, RLIM_INFINITY, true);
    EXPECT_EQ(probe.wait(), 6);
    EXPECT_TRUE(server.waitForStop());
    EXPECT_NE(probe.error().find("standard output"), std::string::npos) << probe.error();
}

} // namespace
