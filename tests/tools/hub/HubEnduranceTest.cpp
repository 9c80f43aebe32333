// SPDX-License-Identifier: MIT
// Twenty visitors that come, go, stall and send rubbish, at the native port, at rtl_tcp's and at
// the web's; and two listeners that do nothing of the kind, and must not notice.
//
// Ten seconds of it, a visit behind the other; FEEDLINE_ENDURANCE_SECONDS says otherwise, and
// FEEDLINE_ENDURANCE_PAUSE how many milliseconds a visitor stays away at most, so that a long run
// leaves room for other work.

#include "HubProcess.h"
#include "ScriptedServer.h"
#include "tools/client/ControlClient.h"
#include "tools/client/DatagramReceiver.h"
#include "tools/client/Failure.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <random>
#include <string>
#include <thread>

namespace feedline::test {
namespace {

using std::chrono::milliseconds;

std::chrono::seconds duration() {
    const char* const asked = std::getenv("FEEDLINE_ENDURANCE_SECONDS");
    return std::chrono::seconds(asked == nullptr ? 10 : std::atoi(asked));
}

unsigned longestPause() {
    const char* const asked = std::getenv("FEEDLINE_ENDURANCE_PAUSE");
    return asked == nullptr ? 1 : static_cast<unsigned>(std::atoi(asked));
}

long residentKilobytes(pid_t process) {
    long total = 0;
    long resident = 0;
    std::ifstream("/proc/" + std::to_string(process) + "/statm") >> total >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

// The longest that one of the process's threads has been ready to run and had no processor.
double secondsWithoutProcessor(pid_t process) {
    double longest = 0;
    const std::string tasks = "/proc/" + std::to_string(process) + "/task";
    for (const auto& task : std::filesystem::directory_iterator(tasks)) {
        double ran = 0;
        double waited = 0;
        std::ifstream(task.path() / "schedstat") >> ran >> waited;
        longest = std::max(longest, waited * 1e-9);
    }
    return longest;
}

// A listener that behaves, with an address of its own.
class Regular {
public:
    Regular(const HubProcess& hub, const std::string& address, std::uint32_t rate)
        : receiver_(address, hub.native.number()),
          client_({.host = "127.0.0.1", .port = hub.native.number(), .bind = address},
                  {.timeout = client::Seconds(20), .wait = client::Seconds(20)}) {
        receiver_.start({});
        if (rate != 0) {
            client_.setSampleRate(rate);
            client_.setFrequency(7150000);
        }
        client_.setRunning(true);
    }

    client::ReceptionFigures figures() const { return receiver_.figures(); }
    bool alive() { return client_.alive(); }

private:
    client::DatagramReceiver receiver_;
    client::ControlClient client_;
};

class Visitor {
public:
    Visitor(const HubProcess& hub, unsigned number)
        : hub_(hub), address_("127.0.1." + std::to_string(number + 1)), random_(number) {}

    void visit() {
        switch (pick(5)) {
        case 0:
            return listen();
        case 1:
            return sendRubbish(hub_.native.number());
        case 2:
            return sendRubbish(hub_.web.number());
        case 3:
            return sendRubbish(hub_.rtlTcp.number());
        default:
            return stall();
        }
    }

    void rest(unsigned most) { std::this_thread::sleep_for(milliseconds(pick(most))); }

private:
    unsigned pick(unsigned count) {
        return std::uniform_int_distribution<unsigned>(0, count - 1)(random_);
    }

    // Runs, tunes and changes its rate, hears nothing of it, and leaves without a word.
    void listen() {
        try {
            client::ControlClient client(
                {.host = "127.0.0.1", .port = hub_.native.number(), .bind = address_},
                {.timeout = client::Seconds(20)});
            client.setRunning(true);
            for (unsigned change = pick(6); change > 0; --change) {
                client.setSampleRate(8000 + pick(800000));
                client.setFrequency(6500000 + pick(1200000));
                rest(100);
            }
        } catch (const client::Failure&) {
            ++refused;
        }
    }

    OwnedDescriptor connectTo(std::uint16_t port) {
        OwnedDescriptor socket = makeSocket(SOCK_STREAM);
        if (!connectToLoopback(socket.get(), port))
            ++refused;
        return socket;
    }

    void sendRubbish(std::uint16_t port) {
        const OwnedDescriptor socket = connectTo(port);
        Bytes bytes(1 + pick(3000));
        for (std::uint8_t& byte : bytes)
            byte = static_cast<std::uint8_t>(pick(256));
        send(socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        rest(50);
    }

    // Asks for samples over TCP and reads none of them.
    void stall() {
        const OwnedDescriptor socket = connectTo(hub_.rtlTcp.number());
        rest(1500);
    }

public:
    std::uint64_t refused = 0; ///< visits that the hub turned away

private:
    const HubProcess& hub_;
    std::string address_;
    std::mt19937 random_;
};

TEST(HubEndurance, LetsNobodyNoticeWhatOthersDo) {
    ScriptedServer server;
    server.streamWhenRun({});
    HubProcess hub(server.port(), {"--rate", "768000", "--frequency", "7100000"});
    Regular whole(hub, "127.0.0.2", 0);
    Regular cut(hub, "127.0.0.3", 48000);
    std::atomic<bool> ending{false};
    std::atomic<std::uint64_t> visits{0};
    std::vector<std::thread> visitors;
    for (unsigned number = 0; number < 20; ++number)
        visitors.emplace_back([&, number] {
            Visitor visitor(hub, number);
            while (!ending) {
                visitor.visit();
                visitor.rest(longestPause());
                ++visits;
            }
        });
    std::this_thread::sleep_for(duration() / 2);
    const long halfway = residentKilobytes(hub.pid());
    std::this_thread::sleep_for(duration() / 2);
    const long atTheEnd = residentKilobytes(hub.pid());
    const double starved = secondsWithoutProcessor(hub.pid());
    ending = true;
    for (std::thread& visitor : visitors)
        visitor.join();

    std::cout << visits << " visits, " << whole.figures().counts.received << " and "
              << cut.figures().counts.received << " datagrams, " << halfway << " and " << atTheEnd
              << " KiB, " << starved << " s without a processor\n";
    EXPECT_GT(visits, 0U);
    for (Regular* regular : {&whole, &cut}) {
        EXPECT_TRUE(regular->alive());
        EXPECT_EQ(regular->figures().counts.restarts, 0U);
    }
    const std::uint64_t lost = whole.figures().counts.lost + cut.figures().counts.lost;
    EXPECT_EQ(hub.end(), 0);
    // The rings keep half a second. Whoever has no processor for that long loses samples without
    // anybody's doing, and nothing can be said about them.
    if (lost != 0 && starved > 0.4)
        GTEST_SKIP() << "the machine was too busy to judge losses";
    for (Regular* regular : {&whole, &cut}) {
        EXPECT_GT(regular->figures().counts.received, 100U);
        // What the listener's own machine had no room for is not the hub's doing.
        EXPECT_EQ(regular->figures().counts.lost, regular->figures().overflowed);
    }
}

} // namespace
} // namespace feedline::test
