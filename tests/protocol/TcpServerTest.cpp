// SPDX-License-Identifier: MIT
// The control port on real sockets, with the server's own threads. The main thread's clock is the
// test's; where a step is to fail, the socket call is made to.
#include "Bytes.h"
#include "ControlConnection.h"
#include "Loopback.h"
#include "MemoryServer.h"
#include "ProcessFacts.h"
#include "RecordingLog.h"
#include "ScriptedVendors.h"
#include "app/AppDelegate.h"
#include "app/RunTimeState.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

/// What the process asked of its sockets, and what is to go wrong. Calls on descriptors that the
/// tests own are among them.
class SocketCalls {
public:
    /// Keeps the call; true when it is to fail.
    bool enter(const std::string& call, const std::string& arguments) {
        const std::lock_guard lock(mutex_);
        calls_.push_back(call + " " + arguments);
        const auto failure = failures_.find(call);
        if (failure == failures_.end())
            return false;
        errno = failure->second;
        return true;
    }
    bool enter(const std::string& call, int descriptor) {
        return enter(call, std::to_string(descriptor));
    }

    void fail(const std::string& call, int error) {
        const std::lock_guard lock(mutex_);
        failures_[call] = error;
    }

    std::vector<std::string> calls() const {
        const std::lock_guard lock(mutex_);
        return calls_;
    }
    int count(const std::string& call) const {
        const auto all = calls();
        return static_cast<int>(std::count(all.begin(), all.end(), call));
    }
    int countOfCall(const std::string& name) const {
        const auto all = calls();
        return static_cast<int>(std::count_if(all.begin(), all.end(), [&](const auto& call) {
            return call.starts_with(name + " ");
        }));
    }

    void clear() {
        const std::lock_guard lock(mutex_);
        calls_.clear();
        failures_.clear();
        beforeListen = nullptr;
        beforeAccept = nullptr;
        afterAccept = nullptr;
        insteadOfRecv = nullptr;
    }

    // Called on the TCP thread; set before it starts.
    std::function<void()> beforeListen, beforeAccept, afterAccept;
    std::function<std::optional<ssize_t>()> insteadOfRecv; ///< its result, nothing for the system's

    std::atomic<int> acceptedOn = -1, receivedOn = -1; ///< descriptors of the last calls

private:
    mutable std::mutex mutex_;
    std::vector<std::string> calls_;
    std::map<std::string, int> failures_;
};

SocketCalls& sockets() {
    static auto& only = *new SocketCalls; // Never destroyed: server threads may outlive the tests.
    return only;
}

} // namespace

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): the linker gives these names.
int __real_socket(int domain, int type, int protocol);
int __real_setsockopt(int socket, int level, int option, const void* value, socklen_t length);
int __real_bind(int socket, const sockaddr* address, socklen_t length);
int __real_listen(int socket, int backlog);
int __real_accept(int socket, sockaddr* address, socklen_t* length);
ssize_t __real_recv(int socket, void* buffer, size_t length, int flags);
int __real_dup(int descriptor);
int __real_nanosleep(const timespec* duration, timespec* left);
int __real_shutdown(int socket, int how);
int __real_close(int descriptor);

int __wrap_socket(int domain, int type, int protocol) {
    if (type != SOCK_STREAM)
        return __real_socket(domain, type, protocol);
    return sockets().enter("socket", std::to_string(domain) + " " + std::to_string(protocol))
               ? -1
               : __real_socket(domain, type, protocol);
}

int __wrap_setsockopt(int socket, int level, int option, const void* value, socklen_t length) {
    if (level != SOL_SOCKET || option != SO_REUSEADDR)
        return __real_setsockopt(socket, level, option, value, length);
    int on = 0;
    std::copy_n(static_cast<const char*>(value), sizeof on, reinterpret_cast<char*>(&on));
    return sockets().enter("reuse", std::to_string(on) + " " + std::to_string(length))
               ? -1
               : __real_setsockopt(socket, level, option, value, length);
}

int __wrap_bind(int socket, const sockaddr* address, socklen_t length) {
    sockaddr_in to{};
    std::copy_n(reinterpret_cast<const char*>(address), sizeof to, reinterpret_cast<char*>(&to));
    return sockets().enter("bind", std::string(::inet_ntoa(to.sin_addr)) + ":" +
                                       std::to_string(ntohs(to.sin_port)))
               ? -1
               : __real_bind(socket, address, length);
}

int __wrap_listen(int socket, int backlog) {
    if (sockets().beforeListen)
        sockets().beforeListen();
    return sockets().enter("listen", backlog) ? -1 : __real_listen(socket, backlog);
}

int __wrap_accept(int socket, sockaddr* address, socklen_t* length) {
    sockets().acceptedOn = socket;
    if (sockets().beforeAccept)
        sockets().beforeAccept();
    const int accepted = sockets().enter("accept", static_cast<int>(*length))
                             ? -1
                             : __real_accept(socket, address, length);
    if (sockets().afterAccept)
        sockets().afterAccept();
    return accepted;
}

ssize_t __wrap_recv(int socket, void* buffer, size_t length, int flags) {
    if (length != 2000) // The tests' own.
        return __real_recv(socket, buffer, length, flags);
    sockets().receivedOn = socket;
    if (sockets().insteadOfRecv)
        if (const std::optional<ssize_t> result = sockets().insteadOfRecv())
            return *result;
    return sockets().enter("recv", flags) ? -1 : __real_recv(socket, buffer, length, flags);
}

int __wrap_dup(int descriptor) {
    return sockets().enter("dup", descriptor) ? -1 : __real_dup(descriptor);
}

int __wrap_nanosleep(const timespec* duration, timespec* left) {
    sockets().enter("pause",
                    std::to_string(duration->tv_sec) + " " + std::to_string(duration->tv_nsec));
    return __real_nanosleep(duration, left);
}

int __wrap_shutdown(int socket, int how) {
    sockets().enter("shutdown", socket);
    return __real_shutdown(socket, how);
}

int __wrap_close(int descriptor) {
    sockets().enter("close", descriptor);
    return __real_close(descriptor);
}
// NOLINTEND(bugprone-reserved-identifier)
} // extern "C"

namespace feedline {
namespace {

using namespace std::chrono_literals;
using test::Bytes;
using test::ControlConnection;
using test::Line;
using test::logged;
using test::printed;
using test::ReservedPort;
using test::waitForLine;
using test::waitUntil;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const Bytes statusRequest{0x04, 0x20, 0x05, 0x00};
const std::string idleReply = "05 00 05 00 0B";
const Line waiting = printed("TCPThread Waiting for incoming connections...\n");
const Line disconnected = printed("TCPThread Client disconnected\n");
const Line acceptFailed = printed("TCPThread accept failed client_sock = -1 \r\n");

Line accepted(int descriptor) {
    return printed("TCPThread Connection accepted " + std::to_string(descriptor) + "  " +
                   test::loopbackAsNumber() + "  127.0.0.1\r");
}

/// The lines of the UDP thread stand anywhere between the others.
bool isUdpLine(const Line& line) {
    return line == logged("*** UDP Thread  0") || line == printed("UDPThread exit\n");
}

std::vector<Line> serverLines() {
    std::vector<Line> lines = test::recordedLines();
    std::erase_if(lines, isUdpLine);
    return lines;
}

class TcpServer : public ::testing::Test {
public:
    ~TcpServer() override {
        sockets().clear();
        server.alert.hold(false);
        serverActive = false;
        for (auto* descriptor : {&listenSocket, &clientSocket})
            if (const int taken = descriptor->exchange(-1); taken >= 0) {
                ::shutdown(taken, SHUT_RDWR);
                ::close(taken);
            }
        EXPECT_TRUE(threadsHaveEnded());
        test::resetRunTimeState();
    }

protected:
    TcpServer() {
        std::signal(SIGPIPE, SIG_IGN); // As the programs do.
        sockets().clear();             // The reserved port's own.
        test::resetVendors();
        udpAddress.assign("127.0.0.1");
        deviceType = noReceiver;
        setPort(port.text());
    }

    static constexpr std::int32_t noReceiver = 7;

    void setPort(const std::string& text) { server.serverPort.setStringValue(text); }

    /// Sets the server up and waits until it listens.
    void startServer() {
        server.delegate.SetUpTcpServer();
        ASSERT_TRUE(waitForLine(waiting));
    }

    static void waitForStatus(TcpStatus status) {
        ASSERT_TRUE(waitUntil([&] { return tcpStatus == status; })) << tcpStatus.load();
    }

    /// A client that has been served once.
    std::unique_ptr<ControlConnection> servedClient(const ReservedPort& on) {
        auto client = std::make_unique<ControlConnection>(on.number());
        client->send(statusRequest);
        EXPECT_EQ(client->receiveHex(5), idleReply);
        return client;
    }
    std::unique_ptr<ControlConnection> servedClient() { return servedClient(port); }

    /// The shutdowns and closings of the descriptors; the TCP thread's own are left out.
    static std::vector<std::string> closingCalls(const std::vector<std::string>& descriptors) {
        std::vector<std::string> calls = sockets().calls();
        std::erase_if(calls, [&](const auto& call) {
            return std::none_of(
                descriptors.begin(), descriptors.end(), [&](const auto& descriptor) {
                    return call == "shutdown " + descriptor || call == "close " + descriptor;
                });
        });
        return calls;
    }

    bool threadsHaveEnded() const {
        return waitUntil([&] { return test::runningThreads() <= threadsBefore; });
    }

    /// The request for a new set-up reaches the main thread, and both threads end, for which they
    /// have five seconds on a real clock.
    void letTheClientBeLost() {
        ASSERT_TRUE(server.mainThread.waitAndRunTasks());
        ASSERT_TRUE(threadsHaveEnded());
    }

    void letTheServerComeBack() {
        const int times = test::countOf(waiting) + 1;
        letTheClientBeLost();
        server.mainThread.advance(5s);
        ASSERT_TRUE(waitForLine(waiting, times));
    }

    /// Nothing has been asked of the main thread. True at once where it holds: whoever asks does so
    /// before its thread ends.
    bool nothingIsScheduled() {
        EXPECT_TRUE(threadsHaveEnded());
        server.mainThread.runTasks();
        return server.mainThread.timers.empty();
    }

    std::size_t threadsBefore = test::threadsAtRest();
    test::Server& server = test::Server::make();
    ReservedPort port;
};

TEST_F(TcpServer, ServesAClientAndComesBackAfterFiveSecondsOnThePortThenInTheField) {
    startServer();
    EXPECT_EQ(tcpStatus, tcpWaiting);
    EXPECT_EQ(serverPortNumber, port.number());
    EXPECT_TRUE(remoteAddress.empty());

    auto client = servedClient();
    const int clientDescriptor = clientSocket;
    EXPECT_EQ(tcpStatus, tcpConnected);
    EXPECT_EQ(remoteAddress.str(), "127.0.0.1");
    EXPECT_EQ(remoteAddressRaw, htonl(INADDR_LOOPBACK));
    EXPECT_TRUE(serverActive);

    client->close();
    ASSERT_TRUE(waitForLine(disconnected));
    letTheClientBeLost();
    EXPECT_EQ(tcpStatus, tcpDisconnected);
    EXPECT_TRUE(remoteAddress.empty());
    EXPECT_EQ(remoteAddressRaw, 0U);
    EXPECT_FALSE(serverActive);
    EXPECT_EQ(listenSocket, -1);
    EXPECT_EQ(clientSocket, -1);

    const ReservedPort next;
    server.mainThread.advance(4999ms);
    EXPECT_EQ(test::countOf(logged("SetUpTcpServer")), 1);
    EXPECT_EQ(tcpStatus, tcpDisconnected);
    setPort(next.text());
    server.mainThread.advance(1ms);
    ASSERT_TRUE(waitForLine(waiting, 2));
    EXPECT_EQ(tcpStatus, tcpWaiting);
    EXPECT_EQ(serverPortNumber, next.number());
    EXPECT_TRUE(serverActive);
    auto second = servedClient(next);

    const std::string first = "portToUse " + port.text();
    EXPECT_THAT(
        serverLines(),
        ElementsAre(logged("SetUpTcpServer"), logged(first), printed("TCPThread Socket created\n"),
                    printed("TCPThread bind done\n"), waiting, accepted(clientDescriptor),
                    disconnected, logged("SetUpTcpServerAfterDelay"), logged("SetUpTcpServer"),
                    logged("portToUse " + next.text()), printed("TCPThread Socket created\n"),
                    printed("TCPThread bind done\n"), waiting, accepted(clientSocket)));
}

TEST_F(TcpServer, MakesItsSocketInTheRightSteps) {
    startServer();
    servedClient();
    EXPECT_EQ(sockets().count("bind 0.0.0.0:" + port.text()), 1);
    EXPECT_EQ(sockets().count("reuse 1 4"), 1);
    EXPECT_EQ(sockets().count("listen 3"), 1);
    EXPECT_EQ(sockets().count("accept 16"), 1);
    EXPECT_EQ(sockets().countOfCall("accept"), 1);
    const auto calls = sockets().calls();
    const auto at = [&](const std::string& call) {
        return std::find_if(calls.begin(), calls.end(),
                            [&](const auto& made) { return made.starts_with(call); });
    };
    EXPECT_LT(at("reuse"), at("bind"));
    EXPECT_LT(at("bind"), at("listen"));
    EXPECT_LT(at("listen"), at("accept"));
    EXPECT_LT(at("accept"), at("recv 0"));
}

TEST_F(TcpServer, EverySetUpStartsTheUdpThreadTooAndALostClientEndsIt) {
    startServer();
    const auto firstUdp = udpThread;
    const auto firstTcp = tcpThread;
    EXPECT_NE(firstUdp, std::thread::id{});
    EXPECT_NE(firstTcp, std::thread::id{});
    EXPECT_NE(firstUdp, firstTcp);
    ASSERT_TRUE(waitForLine(logged("*** UDP Thread  0")));
    EXPECT_EQ(test::countOf(printed("UDPThread exit\n")), 0);
    servedClient()->close();
    ASSERT_TRUE(waitForLine(printed("UDPThread exit\n")));
    letTheServerComeBack();
    EXPECT_TRUE(waitForLine(logged("*** UDP Thread  0"), 2));
}

TEST_F(TcpServer, ClientThatGoesAtOnceIsAClientThatHasGone) {
    startServer();
    ControlConnection(port.number()).close();
    waitForStatus(tcpDisconnected);
    letTheServerComeBack();
    EXPECT_EQ(tcpStatus, tcpWaiting);
    servedClient();
}

TEST_F(TcpServer, LostClientsSocketsAreShutAndClosedOnceTheClientsFirst) {
    startServer();
    auto client = servedClient();
    const std::string clients = std::to_string(clientSocket);
    const std::string listener = std::to_string(listenSocket);
    sockets().clear();
    ASSERT_EQ(::shutdown(clientSocket, SHUT_RD),
              0); // The client stays, so nothing of it is closed.
    letTheClientBeLost();
    EXPECT_THAT(closingCalls({listener, clients}),
                ElementsAre("shutdown " + clients, "shutdown " + clients, "close " + clients,
                            "shutdown " + listener,
                            "close " + listener)); // The first is the test's own.
}

TEST_F(TcpServer, ReceiveThatFailsIsALostClient) {
    startServer();
    auto client = servedClient();
    sockets().fail("recv", ECONNRESET);
    client->send(statusRequest); // The receive that waits still succeeds; the next one fails.
    ASSERT_TRUE(waitForLine(printed("TCPThread recv failed\n")));
    letTheClientBeLost();
    EXPECT_EQ(tcpStatus, tcpDisconnected);
    EXPECT_FALSE(serverActive);
    EXPECT_EQ(clientSocket, -1);
    EXPECT_EQ(listenSocket, -1);
    EXPECT_EQ(server.mainThread.timers.size(), 1U);
    EXPECT_EQ(test::countOf(disconnected), 0);
}

TEST_F(TcpServer, ResultThatNoReceiveGivesIsTriedAgainAfterThePause) {
    const std::string pause = "pause 0 1000000";
    std::atomic<int> receives = 0;
    sockets().insteadOfRecv = [&]() -> std::optional<ssize_t> {
        ++receives;
        return receives <= 2 ? std::optional<ssize_t>(-1 - receives) : std::nullopt;
    };
    startServer();
    auto client = servedClient();
    // Two such results, the request, and one more that waits.
    ASSERT_TRUE(waitUntil([&] { return receives == 4; }));
    EXPECT_EQ(sockets().count(pause), 3);
    EXPECT_EQ(tcpStatus, tcpConnected);
    client->close();
    letTheServerComeBack();
    EXPECT_EQ(sockets().count(pause), 3);
    EXPECT_EQ(test::countOf(disconnected), 1);
}

TEST_F(TcpServer, ResultThatNoReceiveGivesEndsAnInactiveServersThreadWithoutCleanUp) {
    serverPortNumber = port.number();
    std::unique_ptr<ControlConnection> client;
    sockets().beforeAccept = [&] {
        client = std::make_unique<ControlConnection>(port.number());
    };
    sockets().insteadOfRecv = [] {
        serverActive = false;
        return std::optional<ssize_t>(-2);
    };
    server.delegate.TCPThread();
    EXPECT_EQ(sockets().countOfCall("recv"), 0); // The scripted one was the only one.
    EXPECT_EQ(tcpStatus, tcpConnected);
    EXPECT_EQ(remoteAddress.str(), "127.0.0.1");
    EXPECT_TRUE(test::isOpen(clientSocket));
    EXPECT_TRUE(test::isOpen(listenSocket));
    EXPECT_FALSE(client->hasInput());
    EXPECT_EQ(test::recordedLines().back(), accepted(clientSocket));
    EXPECT_TRUE(nothingIsScheduled());
}

TEST_F(TcpServer, PortThatIsTakenIsNotTriedAgain) {
    const test::OwnedDescriptor other = test::listenOn(port.number());
    sockets().clear();
    server.delegate.SetUpTcpServer();
    ASSERT_TRUE(waitForLine(printed("TCPThread bind failed. Error\n")));
    waitForStatus(tcpBindFailed);
    EXPECT_THAT(serverLines(),
                ElementsAre(logged("SetUpTcpServer"), logged("portToUse " + port.text()),
                            printed("TCPThread Socket created\n"),
                            printed("TCPThread bind failed. Error\n")));
    EXPECT_TRUE(test::isOpen(listenSocket));
    EXPECT_EQ(sockets().count("close " + std::to_string(listenSocket)), 0);
    EXPECT_TRUE(serverActive);

    serverActive = false; // Lets the UDP thread end, which goes on.
    EXPECT_TRUE(nothingIsScheduled());
}

TEST_F(TcpServer, SocketThatCannotBeMadeEndsTheThread) {
    sockets().fail("socket", EMFILE);
    tcpStatus = tcpDisconnected;
    server.delegate.TCPThread();
    EXPECT_THAT(test::recordedLines(), ElementsAre(printed("TCPThread Could not create socket")));
    EXPECT_EQ(tcpStatus, tcpWaiting);
    EXPECT_EQ(listenSocket, -1);
    EXPECT_TRUE(nothingIsScheduled());
}

TEST_F(TcpServer, ListenerWithoutASecondDescriptorIsASocketThatCouldNotBeMade) {
    const std::size_t descriptors = test::openDescriptors();
    sockets().fail("dup", EMFILE);
    tcpStatus = tcpDisconnected;
    server.delegate.TCPThread();
    EXPECT_THAT(test::recordedLines(), ElementsAre(printed("TCPThread Could not create socket")));
    EXPECT_EQ(tcpStatus, tcpWaiting);
    EXPECT_EQ(listenSocket, -1);
    EXPECT_EQ(test::openDescriptors(), descriptors);
    EXPECT_TRUE(nothingIsScheduled());
}

TEST_F(TcpServer, ConnectionWithoutASecondDescriptorIsAnAcceptThatFailed) {
    serverPortNumber = port.number();
    std::unique_ptr<ControlConnection> client;
    sockets().beforeAccept = [&] {
        client = std::make_unique<ControlConnection>(port.number());
        sockets().fail("dup", EMFILE);
    };
    server.delegate.TCPThread();
    EXPECT_EQ(test::recordedLines().back(), acceptFailed);
    EXPECT_EQ(tcpStatus, tcpConnectFailed);
    EXPECT_EQ(clientSocket, -1);
    EXPECT_TRUE(test::isOpen(listenSocket));
    EXPECT_TRUE(remoteAddress.empty());
    EXPECT_EQ(client->receiveHex(1), ""); // Not left to wait for a server that will not serve it.
    EXPECT_TRUE(nothingIsScheduled());
}

TEST_F(TcpServer, RefusedReuseOfTheAddressIsPrintedAndPassedOver) {
    serverPortNumber = 0;
    sockets().fail("reuse", EINVAL);
    sockets().fail("accept", ECONNABORTED);
    server.delegate.TCPThread();
    EXPECT_THAT(test::recordedLines(),
                ElementsAre(printed("TCPThread Socket created\n"), printed("setsockopt\n"),
                            printed("TCPThread bind done\n"), waiting, acceptFailed));
}

TEST_F(TcpServer, ListenIsNotExamined) {
    serverPortNumber = 0;
    sockets().fail("listen", EOPNOTSUPP);
    server.delegate.TCPThread(); // The system's own accept fails on a socket that does not listen.
    EXPECT_THAT(test::recordedLines(),
                ElementsAre(printed("TCPThread Socket created\n"), printed("TCPThread bind done\n"),
                            waiting, acceptFailed));
}

TEST_F(TcpServer, AcceptThatFailsEndsTheThreadAndClosesNothing) {
    serverPortNumber = 0;
    sockets().fail("accept", EMFILE);
    server.delegate.TCPThread();
    EXPECT_EQ(tcpStatus, tcpConnectFailed);
    EXPECT_EQ(clientSocket, -1);
    EXPECT_TRUE(test::isOpen(listenSocket));
    EXPECT_EQ(sockets().count("close " + std::to_string(listenSocket)), 0);
    EXPECT_TRUE(serverActive);
    EXPECT_TRUE(remoteAddress.empty());
    EXPECT_TRUE(nothingIsScheduled());
}

TEST_F(TcpServer, PortsLowSixteenBitsCountAndTextThatIsNoNumberIsPortZero) {
    const std::vector<std::pair<std::string, std::string>> ports{
        {"70000", "4464"}, {"-1", "65535"}, {"abc", "0"}, {"", "0"}, {"  50001x", "50001"}};
    for (const auto& [text, bound] : ports) {
        sockets().clear();
        sockets().fail("bind", EACCES);
        setPort(text);
        const int times = test::countOf(printed("TCPThread bind failed. Error\n")) + 1;
        server.delegate.SetUpTcpServer();
        ASSERT_TRUE(waitForLine(printed("TCPThread bind failed. Error\n"), times));
        EXPECT_EQ(sockets().count("bind 0.0.0.0:" + bound), 1) << text;
        serverActive = false;
        ASSERT_TRUE(threadsHaveEnded());
        ::close(listenSocket.exchange(-1));
    }
    EXPECT_EQ(test::countOf(logged("portToUse 70000")), 1);
    EXPECT_EQ(test::countOf(logged("portToUse 0")), 2);
}

TEST_F(TcpServer, SecondClientIsNotAccepted) {
    startServer();
    auto first = servedClient();
    ControlConnection second(port.number()); // The system takes it into the queue.
    second.send(statusRequest);
    first->send(statusRequest);
    EXPECT_EQ(first->receiveHex(5), idleReply);
    EXPECT_FALSE(second.hasInput());
    EXPECT_EQ(sockets().countOfCall("accept"), 1);

    first->close();
    letTheClientBeLost();
    EXPECT_EQ(second.receiveHex(5), ""); // Its connection goes with the listener.
    EXPECT_EQ(test::countOf(accepted(clientSocket)), 0);
}

TEST_F(TcpServer, RestartWhileServingBringsTheServerBackAfterFiveSeconds) {
    startServer();
    auto client = servedClient();
    const std::string clients = std::to_string(clientSocket);
    const std::string listener = std::to_string(listenSocket);
    sockets().clear();
    server.delegate.restartServer();
    letTheClientBeLost();
    EXPECT_EQ(tcpStatus, tcpDisconnected);
    EXPECT_EQ(client->receiveHex(1), "");

    // Whoever of the two threads closed which: each was shut and closed once.
    const auto calls = closingCalls({listener, clients});
    EXPECT_THAT(calls, ::testing::UnorderedElementsAre("shutdown " + listener, "close " + listener,
                                                       "shutdown " + clients, "close " + clients));
    const auto place = [&](const std::string& call) {
        return std::find(calls.begin(), calls.end(), call);
    };
    EXPECT_LT(place("shutdown " + listener), place("close " + listener));
    EXPECT_LT(place("shutdown " + clients), place("close " + clients));

    EXPECT_EQ(test::countOf(disconnected) + test::countOf(printed("TCPThread recv failed\n")), 1);
    server.mainThread.advance(5s);
    ASSERT_TRUE(waitForLine(waiting, 2));
    servedClient();
}

TEST_F(TcpServer, RestartWhileWaitingForAClientEndsTheServer) {
    startServer();
    ASSERT_TRUE(waitUntil([] { return sockets().countOfCall("accept") == 1; }));
    const std::string listener = std::to_string(listenSocket);
    sockets().clear();
    server.delegate.restartServer();
    ASSERT_TRUE(waitForLine(acceptFailed));
    waitForStatus(tcpConnectFailed);
    EXPECT_FALSE(serverActive);
    EXPECT_TRUE(nothingIsScheduled());
    EXPECT_THAT(closingCalls({listener}), ElementsAre("shutdown " + listener, "close " + listener));
}

TEST_F(TcpServer, RestartBeforeTheSocketListensEndsTheServer) {
    serverPortNumber = port.number();
    sockets().beforeListen = [&] {
        server.delegate.restartServer();
    };
    server.delegate.TCPThread();
    EXPECT_EQ(test::recordedLines().back(), acceptFailed);
    EXPECT_EQ(tcpStatus, tcpConnectFailed);
    EXPECT_TRUE(nothingIsScheduled());
}

TEST_F(TcpServer, ThreadBlocksOnDescriptorsThatNobodyElseCloses) {
    const std::size_t descriptors = test::openDescriptors();
    startServer();
    auto client = servedClient();
    EXPECT_NE(sockets().acceptedOn, listenSocket);
    EXPECT_NE(sockets().receivedOn, clientSocket);
    server.delegate.restartServer();
    letTheClientBeLost();
    client->close();
    EXPECT_EQ(test::openDescriptors(), descriptors + 1); // The UDP thread's.
}

TEST_F(TcpServer, RestartWithoutAServerBringsNothingBack) {
    const test::OwnedDescriptor other = test::listenOn(port.number());
    server.delegate.SetUpTcpServer();
    waitForStatus(tcpBindFailed);
    const std::string listener = std::to_string(listenSocket);
    sockets().clear();
    server.delegate.restartServer();
    EXPECT_EQ(tcpStatus, tcpWaiting);
    EXPECT_THAT(closingCalls({listener}), ElementsAre("shutdown " + listener, "close " + listener));
    EXPECT_TRUE(nothingIsScheduled());

    sockets().clear();
    server.delegate.restartServer(); // Nothing is left to close.
    EXPECT_THAT(sockets().calls(), IsEmpty());
    EXPECT_EQ(tcpStatus, tcpWaiting);
}

TEST_F(TcpServer, RestartBetweenAcceptAndServingLeavesTheClientAsItIs) {
    serverPortNumber = port.number();
    std::unique_ptr<ControlConnection> client;
    sockets().beforeAccept = [&] {
        client = std::make_unique<ControlConnection>(port.number());
    };
    sockets().afterAccept = [&] {
        server.delegate.restartServer();
    };
    server.delegate.TCPThread();
    EXPECT_EQ(tcpStatus, tcpConnected);
    EXPECT_TRUE(test::isOpen(clientSocket));
    EXPECT_EQ(remoteAddress.str(), "127.0.0.1");
    EXPECT_FALSE(client->hasInput());
    EXPECT_EQ(sockets().countOfCall("recv"), 0);
    EXPECT_EQ(test::recordedLines().back(), accepted(clientSocket));
    EXPECT_TRUE(nothingIsScheduled());
}

TEST_F(TcpServer, InactiveServerLeavesBothSocketsOpenAfterAccept) {
    serverPortNumber = port.number();
    std::unique_ptr<ControlConnection> client;
    sockets().beforeAccept = [&] {
        client = std::make_unique<ControlConnection>(port.number());
    };
    sockets().afterAccept = [] {
        serverActive = false;
    };
    server.delegate.TCPThread();
    EXPECT_EQ(tcpStatus, tcpConnected);
    EXPECT_TRUE(test::isOpen(clientSocket));
    EXPECT_TRUE(test::isOpen(listenSocket));
    EXPECT_EQ(sockets().count("close " + std::to_string(listenSocket)), 0);
    EXPECT_EQ(sockets().count("close " + std::to_string(clientSocket)), 0);
    EXPECT_TRUE(nothingIsScheduled());
}

TEST_F(TcpServer, RestartClosesTheListenerBeforeTheClient) {
    serverPortNumber = port.number();
    std::unique_ptr<ControlConnection> client;
    sockets().beforeAccept = [&] {
        client = std::make_unique<ControlConnection>(port.number());
    };
    sockets().afterAccept = [] {
        serverActive = false; // The thread ends and leaves both sockets to the restart.
    };
    server.delegate.TCPThread();
    const std::string clients = std::to_string(clientSocket);
    const std::string listener = std::to_string(listenSocket);
    sockets().clear();
    server.delegate.restartServer();
    EXPECT_THAT(sockets().calls(), ElementsAre("shutdown " + listener, "close " + listener,
                                               "shutdown " + clients, "close " + clients));
}

TEST_F(TcpServer, SetUpThatComesDueUnderARestartsAlertIsRestartedToo) {
    startServer();
    servedClient()->close();
    letTheClientBeLost();
    deviceType = deviceAirspyHf;
    test::vendors().hfSerials.clear();
    std::unique_ptr<ControlConnection> client;
    server.alert.whileUp = [&] {
        server.mainThread.advance(5s);
        ASSERT_TRUE(waitForLine(waiting, 2));
        client = servedClient();
    };
    server.delegate.restartServer();
    EXPECT_THAT(server.alert.shown(), ::testing::SizeIs(1));
    // The restart goes on when the alert is dismissed, and ends what was set up meanwhile.
    EXPECT_EQ(client->receiveHex(1), "");
    letTheServerComeBack();
    servedClient();
}

// Nobody has connected when the alert is dismissed, so that the restart finds a server that waits:
// that is its end.
TEST_F(TcpServer, SetUpThatComesDueUnderARestartsAlertEndsWithItWhileNobodyIsThere) {
    startServer();
    servedClient()->close();
    letTheClientBeLost();
    deviceType = deviceAirspyHf;
    test::vendors().hfSerials.clear();
    server.alert.whileUp = [&] {
        server.mainThread.advance(5s);
        ASSERT_TRUE(waitForLine(waiting, 2));
        ASSERT_TRUE(waitUntil([] { return sockets().countOfCall("accept") == 2; }));
        EXPECT_TRUE(serverActive);
    };
    server.delegate.restartServer();
    EXPECT_THAT(server.alert.shown(), ::testing::SizeIs(1));
    ASSERT_TRUE(waitForLine(acceptFailed));
    waitForStatus(tcpConnectFailed);
    EXPECT_FALSE(serverActive);
    EXPECT_FALSE(test::listening(port.number()));
    EXPECT_TRUE(nothingIsScheduled());
}

TEST_F(TcpServer, RestartDuringTheFiveSecondsDoesNotHoldTheServerBack) {
    startServer();
    servedClient()->close();
    letTheClientBeLost();
    server.mainThread.advance(2s);
    sockets().clear();
    server.delegate.restartServer();
    EXPECT_EQ(tcpStatus, tcpWaiting);
    EXPECT_THAT(sockets().calls(), IsEmpty());
    server.mainThread.advance(2999ms);
    EXPECT_EQ(test::countOf(logged("SetUpTcpServer")), 1);
    server.mainThread.advance(1ms);
    ASSERT_TRUE(waitForLine(waiting, 2));
    servedClient();
}

TEST_F(TcpServer, RestartInitialisesTheReceiverAndIgnoresTheResult) {
    deviceType = deviceAirspyHf;
    test::vendors().hfSerials.clear();
    server.delegate.restartServer();
    EXPECT_EQ(test::vendors().count("airspyhf_list_devices"), 1);
    EXPECT_THAT(server.alert.shown(), ::testing::SizeIs(1));
    EXPECT_EQ(tcpStatus, tcpWaiting);
    EXPECT_FALSE(serverActive);
}

TEST_F(TcpServer, AlertHoldsTheRepliesBackUntilItIsDismissed) {
    deviceType = deviceAirspyHf;
    hfDevice = test::hfHandle();
    test::vendors().results["airspyhf_set_freq"] = -1;
    startServer();
    auto client = servedClient();
    server.alert.hold(true);
    client->send(Bytes{0x0A, 0x00, 0x20, 0x00, 0x00, 0x40, 0x42, 0x0F, 0x00, 0x00});
    client->send(statusRequest);
    ASSERT_TRUE(waitUntil([&] { return server.alert.isUp(); }));
    EXPECT_FALSE(client->hasInput());
    server.alert.hold(false);
    EXPECT_EQ(client->receiveHex(15), "0A 00 20 00 00 40 42 0F 00 00 " + idleReply);
}

TEST_F(TcpServer, MessageCutShortByOneClientIsContinuedByTheNext) {
    startServer();
    auto client = servedClient();
    client->send(Bytes{0x04, 0x20});
    client->close();
    letTheServerComeBack();
    ControlConnection next(port.number());
    next.send(Bytes{0x02, 0x00, 0x04, 0x20, 0x05, 0x00});
    EXPECT_EQ(next.receiveHex(14 + 5), "0E 00 02 00 31 32 33 34 35 36 37 38 39 00 " + idleReply);
}

} // namespace
} // namespace feedline
