// SPDX-License-Identifier: MIT
#include "FaultScenario.h"

#include "Bytes.h"
#include "ControlConnection.h"
#include "DatagramReceiver.h"
#include "Faults.h"
#include "MemoryServer.h"
#include "ProcessFacts.h"
#include "RecordingLog.h"
#include "ScriptedVendors.h"
#include "stream/DataDatagram.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <chrono>
#include <csignal>
#include <deque>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <sys/socket.h>
#include <thread>
#include <utility>
#include <vector>

namespace feedline::test {
namespace {

using namespace std::chrono_literals;

const Bytes askName{4, 0x20, 1, 0};
const Bytes askStatus{4, 0x20, 5, 0};
const Bytes run{8, 0, 0x18, 0, 0x80, 2, 0x80, 0};
const Bytes stop{8, 0, 0x18, 0, 0x80, 1, 0x80, 0};
const Bytes tune{10, 0, 0x20, 0, 0, 0x40, 0x42, 0x0F, 0, 0};
constexpr std::int32_t tunedTo = 1000000; ///< hertz

constexpr std::size_t blockDatagrams = 2;
constexpr std::size_t blockPairs = blockDatagrams * datagram::pairs;

void must(bool holds, const std::string& what) {
    if (!holds)
        throw std::runtime_error(what);
}

template <typename T>
void mustBe(const T& expected, const T& seen, const std::string& what) {
    if (expected != seen) {
        std::ostringstream text;
        text << what << ": " << seen << " where " << expected << " was expected";
        throw std::runtime_error(text.str());
    }
}

/// Waits for what happens within a moment. It looks more often than waitUntil does: there are many
/// such moments, and hundreds of runs.
bool soon(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + 60s;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(200us);
    }
    return true; // Not asked again: the system's list of threads can lack one while another ends.
}

/// By their names: a sanitizer may have threads of its own.
int threadsNamed(std::string_view wanted) {
    int count = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string name;
        std::getline(std::ifstream(task.path() / "comm"), name);
        count += name == wanted ? 1 : 0;
    }
    return count;
}

/// Whether a line speaks of the server threads' lives, of the AirSpy's stream or of a failure. An
/// accepted connection's line is left out for the number of its descriptor.
bool telling(const std::string& text) {
    constexpr std::array marks{"TCPThread", "UDP",   "fail", "ould not",   "cannot",
                               "error",     "err -", "n -",  "setsockopt", "iStreaming"};
    return text.find("accepted") == std::string::npos &&
           std::any_of(marks.begin(), marks.end(),
                       [&](const char* mark) { return text.find(mark) != std::string::npos; });
}

std::string shown(std::vector<std::string> texts) {
    std::sort(texts.begin(), texts.end());
    std::string all;
    for (const std::string& text : texts)
        all += "\n  " + text;
    return all;
}

std::string tellingLines() {
    std::vector<std::string> texts;
    for (const Line& line : recordedLines())
        if (telling(line.text))
            texts.push_back(line.text);
    return shown(texts);
}

std::string panelText(std::int32_t status) {
    constexpr std::array texts{"CONNECTED", "WAITING FOR CONNECT", "BIND FAILED", "CONNECT FAILED",
                               "DISCONNECTED"};
    return std::string("TCP Server: ") + texts.at(static_cast<std::size_t>(-status));
}

/// What the server is to have done so far.
struct Expectation {
    std::map<std::string, int> calls;
    std::vector<std::string> lines, alerts;
    std::int32_t status = tcpWaiting;
    bool receiverOpen = false; ///< a handle is held
    bool running = false;      ///< a start was asked for, and no stop since
    bool delivering = false;   ///< a start succeeded, and no stop since
    bool ring = false;
    bool udpThread = false;
    bool listening = false;            ///< a TCP thread has its own descriptor of the listener
    std::size_t datagramSockets = 0;   ///< left behind so far
    std::size_t listenersLeftOpen = 0; ///< by a thread that ended
    std::uint16_t udpNumber = 0, airspyNumber = 0;
    bool airspySocket = false;
    std::int32_t airspyPairs = 0;    ///< since the last tick
    std::deque<std::int16_t> inRing; ///< a datagram's worth each: the block it is of
    std::vector<Bytes> datagrams;    ///< not looked at yet

    /// The server makes a call. True when the fault hits it.
    bool fails(const std::string& function) {
        return injectedFault().hits(function, ++calls[function]);
    }
    /// The same, where a failure is one line.
    bool fails(const std::string& function, const std::string& line) {
        const bool hit = fails(function);
        if (hit)
            lines.push_back(line);
        return hit;
    }
};

class Scenario {
public:
    explicit Scenario(const Receiver& receiver) : receiver_(receiver) {
        server_.settings.values["sdrPortNumber"] = std::int64_t{ports_.port()};
        server_.settings.values["sdrType"] = std::int64_t{receiver.type};
        vendors().onCall = [&receiver](const std::string& call) {
            const std::string function = call.substr(0, call.find(' '));
            vendors().results[function] = vendorCallFails(function) ? receiver.error : 0;
            vendors().airspyStreaming = vendors().results["airspy_is_streaming"];
        };
    }

    void live() {
        if (launch() && serveInOrder() && serveInOrder() && serveUntilRestart() && serveInOrder())
            restartWhileWaiting();
        else
            restartAfterTheEnd();
        seenAsExpected();
    }

private:
    bool launch() {
        const bool initialised = expectInit() == 0;
        if (initialised)
            expectSetUp();
        asServer([&] { server_.delegate.applicationDidFinishLaunching(); });
        return initialised && settled();
    }

    bool serveInOrder() {
        std::optional<ControlConnection> client;
        if (!connect(client))
            return settled();
        if (serving_ && converse(*client))
            leave(*client);
        client.reset();
        return comeBack();
    }

    /// False when the connection was lost on the way.
    bool converse(ControlConnection& client) {
        if (!exchange(client, askName, receiver_.nameReply) || !start(client))
            return false;
        if (!exchange(client, askStatus, expected_.running ? "05 00 05 00 0C" : "05 00 05 00 0B"))
            return false;
        expectTuning();
        if (!exchange(client, tune, "0A 00 20 00 00 40 42 0F 00 00"))
            return false;
        mustBe<std::int32_t>(tunedTo, centerFrequency, "centre frequency");
        deliverBlock();
        moveGains();
        expectStop();
        return exchange(client, stop, hex(stop));
    }

    bool start(ControlConnection& client) {
        expectStart();
        return exchange(client, run, hex(run));
    }

    /// The user restarts the server under a client whose receiver runs.
    bool serveUntilRestart() {
        std::optional<ControlConnection> client;
        if (!connect(client))
            return settled();
        if (serving_ && start(*client)) {
            deliverBlock();
            expectInit();
            asServer([&] { server_.delegate.restartServer(); });
            mustBe<std::string>("", client->receiveHex(1), "sent at the end");
            expected_.lines.emplace_back("TCPThread Client disconnected\n");
            serving_ = false;
        }
        client.reset();
        return comeBack();
    }

    void leave(ControlConnection& client) {
        client.close();
        expected_.lines.emplace_back("TCPThread Client disconnected\n");
        serving_ = false;
    }

    /// The thread waits in accept, fails there, and that is the end of the server.
    void restartWhileWaiting() {
        expectInit();
        expected_.lines.emplace_back("TCPThread accept failed client_sock = -1 \r\n");
        expected_.status = tcpConnectFailed;
        asServer([&] { server_.delegate.restartServer(); });
        expectThreadsToEnd();
        nothingComesBack();
    }

    /// Nothing listens: a restart opens the receiver again, and that is all.
    void restartAfterTheEnd() {
        nothingComesBack();
        expectInit();
        expected_.status = tcpWaiting;
        expected_.listenersLeftOpen = 0;
        asServer([&] { server_.delegate.restartServer(); });
        expectThreadsToEnd();
        nothingComesBack();
    }

    /// The initialisation of the receiver: its result, and what comes with it.
    int expectInit() {
        expected_.receiverOpen = false;
        for (const InitStep& step : receiver_.init) {
            const bool failed = expected_.fails(step.function);
            if (failed && !step.line.empty())
                expected_.lines.push_back(step.line);
            if (failed && step.result != 0)
                return expectInitAlerts(step);
            expected_.receiverOpen |= !step.leavesNoReceiver;
        }
        return 0;
    }

    int expectInitAlerts(const InitStep& step) {
        expected_.receiverOpen = !step.leavesNoReceiver;
        if (const auto found = receiver_.alertsByResult.find(step.result);
            found != receiver_.alertsByResult.end())
            expected_.alerts.insert(expected_.alerts.end(), found->second.begin(),
                                    found->second.end());
        return step.result;
    }

    void expectSetUp() {
        if (!expected_.fails("thread", "UDPThread could not be started"))
            expectUdpThread();
        if (!expected_.fails("thread", "TCPThread could not be started"))
            expectTcpThread();
    }

    void expectUdpThread() {
        expected_.lines.emplace_back("*** UDP Thread  0");
        if (expected_.fails("datagram socket", "cannot create UDP send socket\n"))
            return;
        ++expected_.datagramSockets;
        expected_.udpThread = true;
        expected_.udpNumber = 0;
        expectRingToBeSent();
    }

    void expectTcpThread() {
        expected_.status = tcpWaiting;
        if (expected_.fails("control socket", "TCPThread Could not create socket") ||
            expected_.fails("dup", "TCPThread Could not create socket"))
            return;
        expected_.lines.emplace_back("TCPThread Socket created\n");
        expected_.fails("setsockopt", "setsockopt\n");
        if (expected_.fails("bind", "TCPThread bind failed. Error\n")) {
            expected_.status = tcpBindFailed;
            expected_.listenersLeftOpen = 1;
            return;
        }
        expected_.lines.emplace_back("TCPThread bind done\n");
        // Nobody looks at the result of listen: accepting fails then.
        const bool listens = !expected_.fails("listen");
        expected_.lines.emplace_back("TCPThread Waiting for incoming connections...\n");
        if (expected_.fails("accept") || !listens)
            expectAcceptToFail();
        else
            expected_.listening = true;
    }

    void expectAcceptToFail() {
        expected_.lines.emplace_back("TCPThread accept failed client_sock = -1 \r\n");
        expected_.status = tcpConnectFailed;
        expected_.listening = false;
        expected_.listenersLeftOpen = 1;
    }

    void expectStart() {
        if (expected_.running)
            return; // Not asked twice.
        expected_.running = true;
        if (!expected_.ring &&
            expected_.fails("mmap",
                            "sample ring of 33554432 bytes could not be made: Cannot allocate "
                            "memory"))
            return;
        expected_.ring = true;
        if (!reaches(receiver_.startFunction))
            expected_.lines.push_back(receiver_.startLine);
        else
            expected_.delivering = true;
    }

    void expectStop() {
        if (!expected_.running)
            return;
        expected_.running = false;
        if (!reaches(receiver_.stopFunction))
            expected_.lines.push_back(receiver_.startLine);
        else
            expected_.delivering = false;
    }

    void expectTuning() {
        if (reaches(receiver_.tuneFunction))
            return;
        expected_.lines.push_back(receiver_.tuneLine);
        expected_.alerts.push_back(receiver_.tuneAlert);
    }

    /// A null handle is not handed to the library.
    bool reaches(const std::string& function) {
        return expected_.receiverOpen && !expected_.fails(function);
    }

    void expectThreadsToEnd() {
        expected_.listening = false;
        if (expected_.udpThread)
            expected_.lines.emplace_back("UDPThread exit\n");
        expected_.udpThread = false;
    }

    void expectTicks(int count) {
        for (int i = 0; i < count && receiver_.type == deviceAirspy; ++i)
            expectAirspyTick();
    }

    void expectAirspyTick() {
        if (!expected_.receiverOpen)
            return;
        const int streaming = expected_.fails("airspy_is_streaming") ? receiver_.error : 0;
        expected_.lines.push_back("iStreaming " + std::to_string(streaming) +
                                  "  samples: " + std::to_string(expected_.airspyPairs));
        expected_.airspyPairs = 0;
    }

    void expectRingToBeSent() {
        for (; !expected_.inRing.empty(); expected_.inRing.pop_front())
            expectDatagram(expected_.udpNumber++, expected_.inRing.front(), true);
    }

    void expectDatagram(std::uint16_t number, std::int16_t block, bool hasSocket) {
        if (expected_.fails("sendto", "sendto failed\n"))
            return;
        if (!hasSocket) { // The system refuses it.
            expected_.lines.emplace_back("sendto failed\n");
            return;
        }
        Bytes bytes{4, 0x84, static_cast<std::uint8_t>(number & 0xFFU),
                    static_cast<std::uint8_t>(number >> 8U)};
        for (std::size_t i = 0; i < datagram::entries; ++i) {
            bytes.push_back(static_cast<std::uint8_t>(block & 0xFF));
            bytes.push_back(0);
        }
        expected_.datagrams.push_back(bytes);
    }

    /// A receiver that streams hands over a block of samples that all hold the block's number.
    void deliverBlock() {
        if (!expected_.delivering)
            return;
        ++block_;
        if (receiver_.type == deviceAirspy)
            deliverAirspyBlock();
        else
            deliverHfBlock();
        datagramsArrive();
    }

    void deliverHfBlock() {
        const float value = (static_cast<float>(block_) + 0.5F) / 32767.0F;
        std::vector<airspyhf_complex_float_t> samples(blockPairs, {value, value});
        airspyhf_transfer_t transfer{hfHandle(), nullptr, samples.data(),
                                     static_cast<int>(samples.size()), 0};
        expected_.inRing.insert(expected_.inRing.end(), blockDatagrams, block_);
        if (expected_.udpThread)
            expectRingToBeSent();
        asServer([&] { vendors().hfCallback(&transfer); });
    }

    void deliverAirspyBlock() {
        std::vector<std::int16_t> samples(2 * blockPairs, block_);
        airspy_transfer_t transfer{};
        transfer.samples = samples.data();
        transfer.sample_count = static_cast<int>(blockPairs);
        if (!expected_.airspySocket && !expected_.fails("datagram socket")) {
            expected_.airspySocket = true;
            ++expected_.datagramSockets;
        }
        for (std::size_t i = 0; i < blockDatagrams; ++i)
            expectDatagram(expected_.airspyNumber++, block_, expected_.airspySocket);
        expected_.airspyPairs += static_cast<std::int32_t>(blockPairs);
        asServer([&] { vendors().airspyCallback(&transfer); });
    }

    void datagramsArrive() {
        must(waitForDone("sendto", expected_.calls["sendto"]), "a datagram was not sent");
        for (const Bytes& datagram : expected_.datagrams)
            must(ports_.takeBytes() == datagram, "another datagram, or none");
        expected_.datagrams.clear();
        must(ports_.takeBytes().empty(), "a datagram too many");
    }

    /// The user moves every control once, then a whole set is applied.
    void moveGains() {
        if (receiver_.type != deviceAirspy || std::exchange(gainsMoved_, true))
            return;
        // The library is asked stage by stage first and for the presets last, each time.
        for (const char* gain : {"lna_gain", "mixer_gain", "vga_gain", "lna_agc", "mixer_agc",
                                 "linearity_gain", "sensitivity_gain"}) {
            const std::string function = std::string("airspy_set_") + gain;
            if (!expected_.receiverOpen)
                continue;
            expected_.fails(function); // A control's own call says nothing of its failure.
            expected_.fails(function, function + " error");
        }
        asServer([&] {
            for (const ValueControl* control :
                 {&server_.lnaGain, &server_.mixerGain, &server_.vgaGain, &server_.lnaAgc,
                  &server_.mixerAgc, &server_.linearity, &server_.sensitivity})
                server_.delegate.changedGain(control);
            server_.delegate.setGainsLnaAgc(1, 1, 1, 1, 1, 1, 1);
        });
    }

    /// False when the server has given the listener up instead of serving.
    bool connect(std::optional<ControlConnection>& client) {
        client.emplace(ports_.port());
        if (expected_.fails("dup")) {
            expectAcceptToFail();
            must(client->receiveHex(1).empty(), "bytes from a server that has no descriptor left");
            client.reset();
            return false;
        }
        expected_.status = tcpConnected;
        serving_ = true;
        receiveAgain();
        if (serving_)
            mustBe<std::int32_t>(expected_.status, tcpStatus, "status");
        return true;
    }

    /// The client sends, the server carries out what the expectation already knows of and answers.
    /// False when the connection is lost.
    bool exchange(ControlConnection& client, const Bytes& message, const std::string& reply) {
        client.send(message);
        const bool replied = !expected_.fails("write");
        receiveAgain();
        if (replied)
            mustBe(reply, client.receiveHex((reply.size() + 1) / 3), "reply");
        else if (serving_)
            must(!client.hasInput(), "an answer that could not be written");
        return serving_;
    }

    void receiveAgain() {
        if (expected_.fails("recv", "TCPThread recv failed\n"))
            serving_ = false;
        must(waitForEntered("recv", expected_.calls["recv"]), "the server does not receive");
    }

    /// From a client that has gone to a server that listens again; false when it does not.
    bool comeBack() {
        must(server_.mainThread.waitAndRunTasks(), "no new set-up was asked for");
        expected_.status = tcpDisconnected;
        expectThreadsToEnd();
        threadsAreAsExpected();
        tick();
        expectTicks(4);
        expectSetUp();
        asServer([&] { server_.mainThread.advance(4s); });
        return settled();
    }

    void tick() {
        expectTicks(1);
        asServer([&] { server_.mainThread.advance(1s); });
        mustBe(panelText(expected_.status), server_.serverTcpStatus.stringValue(), "panel");
    }

    /// Waits until a set-up has come to rest; true when somebody listens.
    bool settled() {
        for (const char* function : {"datagram socket", "accept"})
            must(waitForEntered(function, expected_.calls[function]),
                 std::string("no call of ") + function);
        must(soon([&] { return tcpStatus == expected_.status; }), "status does not come");
        threadsAreAsExpected();
        datagramsArrive();
        return expected_.listening;
    }

    /// With the status, what the system says of the process: threads and descriptors.
    void threadsAreAsExpected() {
        must(soon([&] { return threadsNamed("TCPThread") == (expected_.listening ? 1 : 0); }),
             "TCP threads: " + std::to_string(threadsNamed("TCPThread")));
        must(soon([&] { return threadsNamed("UDPThread") == (expected_.udpThread ? 1 : 0); }),
             "UDP threads: " + std::to_string(threadsNamed("UDPThread")));
        const std::size_t wanted = descriptorsBefore_ + expected_.datagramSockets +
                                   expected_.listenersLeftOpen + (expected_.listening ? 2 : 0);
        must(soon([&] { return openDescriptors() == wanted; }),
             std::to_string(openDescriptors()) + " descriptors where " + std::to_string(wanted) +
                 " were expected");
        mustBe<std::int32_t>(expected_.status, tcpStatus, "status");
    }

    void nothingComesBack() {
        threadsAreAsExpected();
        tick();
        server_.mainThread.runTasks();
        expectTicks(9);
        asServer([&] { server_.mainThread.advance(9s); });
        threadsAreAsExpected();
    }

    void seenAsExpected() {
        datagramsArrive();
        const std::string lines = shown(expected_.lines);
        must(soon([&] { return tellingLines() == lines; }),
             "lines:" + tellingLines() + "\nwhere these were expected:" + lines);
        std::vector<std::string> alerts;
        for (const auto& alert : server_.alert.shown())
            alerts.push_back(alert.message);
        mustBe(shown(expected_.alerts), shown(alerts), "alerts");
        for (const auto& [function, calls] : callsEntered())
            if (function != "close" && function != "shutdown")
                mustBe(expected_.calls[function], calls, "calls of " + function);
    }

    const Receiver& receiver_;
    DatagramReceiver ports_;
    Server& server_ = Server::make();
    Expectation expected_;
    bool serving_ = false; ///< there is a connection, and it has not been lost
    bool gainsMoved_ = false;
    std::int16_t block_ = 0; ///< the newest one's number
    std::size_t descriptorsBefore_ = openDescriptors();
};

} // namespace

std::string liveOnce(const Receiver& receiver) {
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN)); // as the programs do
    resetVendors();
    try {
        Scenario(receiver).live();
        return "";
    } catch (const std::exception& discrepancy) {
        return discrepancy.what();
    }
}

} // namespace feedline::test
