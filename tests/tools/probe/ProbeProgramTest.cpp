// SPDX-License-Identifier: MIT
// The program as its user meets it: what it prints and how it ends.
#include "ProbeProcess.h"
#include "ScriptedServer.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <fstream>

using feedline::test::Bytes;
using feedline::test::ProbeProcess;
using feedline::test::ScriptedServer;
using feedline::test::TemporaryFolder;
using Answer = ScriptedServer::Answer;
using Json = nlohmann::json;

namespace {

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
    ProbeProcess probe({"info", address(server)});
    EXPECT_EQ(probe.wait(), 0) << probe.error();
    for (const char* text : {"AirSpyHF+", "123456789", "123\n", "11 (idle)", " ms"})
        EXPECT_NE(probe.out().find(text), std::string::npos) << text;
    EXPECT_EQ(probe.error(), "");
}

TEST(ProbeProgramTest, InfoAsJson) {
    ScriptedServer server;
    ProbeProcess probe({"info", "--json", address(server)});
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
    ProbeProcess probe({"stream", address(server), "--seconds", "1.5", "--json"});
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
        ProbeProcess probe({"stream", address(server), "--tune", "7.1M"});
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
    ProbeProcess probe({"stream", "127.0.0.1:70000"});
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
        ProbeProcess probe({command, nobody});
        EXPECT_EQ(probe.wait(), 3);
        EXPECT_NE(probe.error().find("cannot connect"), std::string::npos) << probe.error();
    }
}

TEST(ProbeProgramTest, ServerThatNeverAnswers) {
    ScriptedServer server([](const Bytes&) { return Answer{}; });
    ProbeProcess probe({"info", address(server), "--timeout", "0.2"});
    EXPECT_EQ(probe.wait(), 4);
    EXPECT_TRUE(isOneLine(probe.error())) << probe.error();
}

TEST(ProbeProgramTest, SecondClientIsLeftWaiting) {
    ScriptedServer server;
    ProbeProcess first({"stream", address(server)});
    ASSERT_TRUE(server.waitForRun());
    ProbeProcess second({"info", address(server), "--timeout", "0.2"});
    EXPECT_EQ(second.wait(), 4);
    EXPECT_NE(second.error().find("another client"), std::string::npos) << second.error();
    first.signal(SIGTERM);
    EXPECT_EQ(first.wait(), 8);
}

TEST(ProbeProgramTest, PortAlreadyBound) {
    ScriptedServer server;
    ProbeProcess first({"stream", address(server)});
    ASSERT_TRUE(server.waitForRun());
    ProbeProcess second({"stream", address(server)});
    EXPECT_EQ(second.wait(), 5);
    EXPECT_TRUE(isOneLine(second.error())) << second.error();
    first.signal(SIGTERM);
    first.wait();
}

TEST(ProbeProgramTest, ServerThatDiesInMidMessage) {
    ScriptedServer server([](const Bytes&) { return Answer{{14, 0, 1, 0, 'A', 'i'}, true}; });
    ProbeProcess probe({"stream", address(server)});
    EXPECT_EQ(probe.wait(), 4);
    EXPECT_NE(probe.error().find("middle of an answer"), std::string::npos) << probe.error();
}

TEST(ProbeProgramTest, ServerThatGoesAwayWhileStreaming) {
    ScriptedServer server;
    ProbeProcess probe({"stream", address(server)});
    ASSERT_TRUE(server.waitForRun());
    server.hangUp();
    EXPECT_EQ(probe.wait(), 7);
    EXPECT_NE(probe.error().find("closed the connection"), std::string::npos) << probe.error();
}

TEST(ProbeProgramTest, RecordingAndPicture) {
    const TemporaryFolder folder;
    ScriptedServer server;
    ProbeProcess probe({"stream", address(server), "--seconds", "1", "--json", "--rate", "768000",
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
    ProbeProcess probe({"stream", address(server), "--record", folder.file("a.wav")});
    EXPECT_EQ(probe.wait(), 6);
    EXPECT_TRUE(isOneLine(probe.error())) << probe.error();
    EXPECT_EQ(folder.content("a.wav"), "mine");
    EXPECT_TRUE(server.messages().empty());
}

TEST(ProbeProgramTest, FullDiskEndsTheRunAndStopsTheReceiver) {
    for (const char* name : {"a.sigmf", "a.wav"}) {
        const TemporaryFolder folder;
        ScriptedServer server;
        ProbeProcess probe(
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
    ProbeProcess probe(
        {"stream", nobody, "--record", folder.file("a.wav"), "--plot", folder.file("a.png")});
    EXPECT_EQ(probe.wait(), 3);
    EXPECT_TRUE(folder.empty());
}

TEST(ProbeProgramTest, SpectrumNeedsATerminal) {
    ProbeProcess probe({"stream", "127.0.0.1", "--spectrum"});
    EXPECT_EQ(probe.wait(), 2);
    EXPECT_TRUE(isOneLine(probe.error())) << probe.error();
}

// As in a pipe to a reader that has seen enough.
TEST(ProbeProgramTest, ReaderThatGoesAwayEndsTheRunAndStopsTheReceiver) {
    ScriptedServer server;
    ProbeProcess probe({"stream", address(server)}, RLIM_INFINITY, true);
    EXPECT_EQ(probe.wait(), 6);
    EXPECT_TRUE(server.waitForStop());
    EXPECT_NE(probe.error().find("standard output"), std::string::npos) << probe.error();
}

} // namespace
