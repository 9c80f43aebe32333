// SPDX-License-Identifier: MIT
#include "FaultScenario.h"

#include "Bytes.h"
#include "ControlConnection.h"
#include "DatagramReceiver.h"
#include "ExpectedServer.h"
#include "Faults.h"
#include "MemoryServer.h"
#include "Observation.h"
#include "ProcessFacts.h"
#include "ScriptedVendors.h"
#include "stream/DataDatagram.h"

#include <chrono>
#include <csignal>
#include <optional>
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

void deliverHf(std::int16_t value) {
    const float sample = (static_cast<float>(value) + 0.5F) / 32767.0F;
    std::vector<airspyhf_complex_float_t> samples(blockPairs, {sample, sample});
    airspyhf_transfer_t transfer{hfHandle(), nullptr, samples.data(),
                                 static_cast<int>(samples.size()), 0};
    asServer([&] { vendors().hfCallback(&transfer); });
}

void deliverAirspy(std::int16_t value) {
    std::vector<std::int16_t> samples(2 * blockPairs, value);
    airspy_transfer_t transfer{};
    transfer.samples = samples.data();
    transfer.sample_count = static_cast<int>(blockPairs);
    asServer([&] { vendors().airspyCallback(&transfer); });
}

/// Every step tells the expectation first, and looks then.
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

    bool servedLast() const { return servedLast_; }

private:
    bool launch() {
        const bool initialised = expected_.initialise() == 0;
        if (initialised)
            expected_.setUp();
        asServer([&] { server_.delegate.applicationDidFinishLaunching(); });
        return initialised && settled();
    }

    bool serveInOrder() {
        const int faultsBefore = faultsInjected();
        servedLast_ = false;
        std::optional<ControlConnection> client;
        if (!connect(client))
            return settled();
        if (expected_.connected && converse(*client)) {
            client->close();
            expected_.lose();
            servedLast_ = faultsInjected() == faultsBefore;
        }
        client.reset();
        return comeBack();
    }

    /// False when the connection was lost on the way.
    bool converse(ControlConnection& client) {
        if (!exchange(client, askName, receiver_.nameReply) || !start(client))
            return false;
        if (!exchange(client, askStatus, expected_.running ? "05 00 05 00 0C" : "05 00 05 00 0B"))
            return false;
        expected_.tune();
        if (!exchange(client, tune, "0A 00 20 00 00 40 42 0F 00 00"))
            return false;
        mustBe<std::int32_t>(tunedTo, centerFrequency, "centre frequency");
        deliverBlock();
        moveGains();
        expected_.stop();
        return exchange(client, stop, hex(stop));
    }

    bool start(ControlConnection& client) {
        expected_.start();
        return exchange(client, run, hex(run));
    }

    /// The user restarts the server under a client whose receiver runs.
    bool serveUntilRestart() {
        std::optional<ControlConnection> client;
        if (!connect(client))
            return settled();
        if (expected_.connected && start(*client)) {
            deliverBlock();
            expected_.initialise();
            asServer([&] { server_.delegate.restartServer(); });
            mustBe<std::string>("", client->receiveHex(1), "sent at the end");
            expected_.lose();
        }
        client.reset();
        return comeBack();
    }

    /// The thread waits in accept, fails there, and that is the end of the server.
    void restartWhileWaiting() {
        expected_.initialise();
        expected_.endAccept();
        asServer([&] { server_.delegate.restartServer(); });
        expected_.endThreads();
        nothingComesBack();
    }

    /// Nothing listens: a restart opens the receiver again, and that is all.
    void restartAfterTheEnd() {
        nothingComesBack();
        expected_.initialise();
        expected_.status = tcpWaiting;
        expected_.listenersLeftOpen = 0;
        asServer([&] { server_.delegate.restartServer(); });
        expected_.endThreads();
        nothingComesBack();
    }

    /// A receiver that streams hands over a block of samples that all hold the block's number.
    void deliverBlock() {
        if (!expected_.delivering)
            return;
        expected_.deliver(++block_, blockDatagrams);
        receiver_.type == deviceAirspy ? deliverAirspy(block_) : deliverHf(block_);
        datagramsArrive();
    }

    void datagramsArrive() {
        must(waitForDone("sendto", expected_.calls["sendto"]), "a datagram was not sent");
        for (const Bytes& datagram : expected_.datagrams)
            must(ports_.takeBytes() == datagram, "another datagram, or none");
        expected_.datagrams.clear();
        must(ports_.takeBytes().empty(), "a datagram too many");
    }

    /// The user moves every control of an AirSpy once, then a whole set is applied.
    void moveGains() {
        if (receiver_.type != deviceAirspy || std::exchange(gainsMoved_, true))
            return;
        expected_.moveGains();
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
        if (!expected_.accept()) {
            must(client->receiveHex(1).empty(), "bytes from a server that has no descriptor left");
            client.reset();
            return false;
        }
        receiveAgain();
        if (expected_.connected)
            mustBe<std::int32_t>(expected_.status, tcpStatus, "status");
        return true;
    }

    /// The client sends, the server carries out what the expectation already knows of and answers.
    /// False when the connection is lost.
    bool exchange(ControlConnection& client, const Bytes& message, const std::string& reply) {
        client.send(message);
        const bool replied = expected_.reply();
        receiveAgain();
        if (replied)
            mustBe(reply, client.receiveHex((reply.size() + 1) / 3), "reply");
        else if (expected_.connected)
            must(!client.hasInput(), "an answer that could not be written");
        return expected_.connected;
    }

    void receiveAgain() {
        expected_.receive();
        must(waitForEntered("recv", expected_.calls["recv"]), "the server does not receive");
    }

    /// From a client that has gone to a server that listens again; false when it does not.
    bool comeBack() {
        must(server_.mainThread.waitAndRunTasks(), "no new set-up was asked for");
        expected_.status = tcpDisconnected;
        expected_.endThreads();
        threadsAreAsExpected();
        tick();
        expected_.tick(4);
        expected_.setUp();
        asServer([&] { server_.mainThread.advance(4s); });
        return settled();
    }

    void tick() {
        expected_.tick();
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
        must(soon([&] { return threadsNamed("TCPThread") == (expected_.listening ? 1U : 0U); }),
             "TCP threads: " + std::to_string(threadsNamed("TCPThread")));
        must(soon([&] { return threadsNamed("UDPThread") == (expected_.udpThread ? 1U : 0U); }),
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
        expected_.tick(9);
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
    ExpectedServer expected_{receiver_};
    bool servedLast_ = false;
    bool gainsMoved_ = false;
    std::int16_t block_ = 0; ///< the newest one's number
    std::size_t descriptorsBefore_ = openDescriptors();
};

} // namespace

Life liveOnce(const Receiver& receiver) {
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN)); // as the programs do
    resetVendors();
    try {
        Scenario scenario(receiver);
        scenario.live();
        return {"", scenario.servedLast()};
    } catch (const std::exception& discrepancy) {
        return {discrepancy.what(), false};
    }
}

} // namespace feedline::test
