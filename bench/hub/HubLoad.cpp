// SPDX-License-Identifier: MIT
// The real feedline-hub between a server that streams and any number of listeners of the server's
// own protocol: what it costs, by thread; what is lost, by listener; how much later samples come.
// Prints one line of JSON.
//
//     HubLoad HUB LISTENERS RATE RECEIVED BURST SECONDS
//
// RATE is each listener's, 0 for the whole band; RECEIVED the server's; BURST how many datagrams
// that sends back to back. Each listener has an address of this machine (127.1.0.1 and so on), a
// frequency of its own, and a receive buffer of the system's default size.

#include "MeasuredHub.h"
#include "ScriptedServer.h"
#include "tools/client/ControlClient.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <thread>
#include <vector>

namespace {

using namespace feedline;
using namespace feedline::bench;
using Clock = std::chrono::steady_clock;

constexpr std::uint32_t centre = 7100000; // Hz

struct Load {
    std::string hub;
    unsigned listeners;
    std::uint32_t rate;
    std::uint32_t received;
    std::size_t burst;
    double seconds;
};

// Silence with a pulse of one datagram's length every quarter of a second, and when each left.
class Pulses {
public:
    explicit Pulses(std::uint32_t rate) : every_(rate / 4 / datagram::pairs) {}

    void signal(std::int64_t place, test::DatagramSamples& samples) {
        const bool pulse = place % every_ == 0;
        for (std::size_t entry = 0; entry < samples.size(); entry += 2)
            samples[entry] = pulse ? 16000 : 0;
        if (!pulse)
            return;
        const std::lock_guard lock(mutex_);
        left_.push_back(Clock::now());
    }

    // The latest pulse that left before.
    Clock::time_point before(Clock::time_point arrival) {
        const std::lock_guard lock(mutex_);
        const auto after = std::upper_bound(left_.begin(), left_.end(), arrival);
        return after == left_.begin() ? arrival : *(after - 1);
    }

private:
    std::int64_t every_;
    std::mutex mutex_;
    std::vector<Clock::time_point> left_;
};

// One listener's end of the UDP port.
class Ear {
public:
    Ear(const std::string& address, std::uint16_t port)
        : socket_(socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
        sockaddr_in local{};
        local.sin_family = AF_INET;
        local.sin_port = htons(port);
        inet_pton(AF_INET, address.c_str(), &local.sin_addr);
        if (bind(socket_.get(), reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
            std::perror("HubLoad: bind");
            std::exit(1);
        }
    }

    int fd() const { return socket_.get(); }

    // Takes what waits. The listener at the received frequency times the pulses it hears.
    void take(Pulses* pulses) {
        std::array<std::uint8_t, datagram::size + 1> bytes{};
        while (recv(socket_.get(), bytes.data(), bytes.size(), 0) == datagram::size) {
            const auto number = static_cast<std::uint16_t>(bytes[2] | bytes[3] << 8);
            if (received_++ > 0)
                lost_ += static_cast<std::uint16_t>(number - due_);
            due_ = static_cast<std::uint16_t>(number + 1);
            if (pulses != nullptr)
                time(bytes, *pulses);
        }
    }

    void forget() {
        received_ = lost_ = 0;
        delays_.clear();
    }
    std::uint64_t received() const { return received_; }
    std::uint64_t lost() const { return lost_; }
    const std::vector<double>& delays() const { return delays_; }

private:
    void time(const std::array<std::uint8_t, datagram::size + 1>& bytes, Pulses& pulses) {
        constexpr std::int16_t threshold = 4000;
        const auto now = Clock::now();
        if (now - heard_ < std::chrono::milliseconds(100))
            return;
        for (std::size_t at = datagram::sampleOffset; at < datagram::size; at += 4) {
            const auto value = static_cast<std::int16_t>(bytes[at] | bytes[at + 1] << 8);
            if (std::abs(value) < threshold)
                continue;
            heard_ = now;
            delays_.push_back(
                std::chrono::duration<double, std::milli>(now - pulses.before(now)).count());
            return;
        }
    }

    client::UniqueFd socket_;
    std::uint16_t due_ = 0;
    std::uint64_t received_ = 0;
    std::uint64_t lost_ = 0;
    Clock::time_point heard_;
    std::vector<double> delays_; // ms
};

std::vector<std::string> hubWords(const Load& load, std::uint16_t server, std::uint16_t native) {
    return {load.hub,
            "--server",
            "127.0.0.1:" + std::to_string(server),
            "--native",
            std::to_string(native),
            "--rtl-tcp",
            "0",
            "--zmq",
            "0",
            "--web",
            "0",
            "--rate",
            std::to_string(load.received),
            "--frequency",
            std::to_string(centre),
            "--listeners",
            "1000"};
}

// Spread over the inner nine tenths of the band; the first one is at its centre.
std::uint32_t frequencyOf(const Load& load, unsigned listener) {
    if (load.rate == 0 || listener == 0)
        return centre;
    const double place = (listener + 0.5) / load.listeners - 0.5;
    return centre +
           static_cast<std::uint32_t>(static_cast<std::int64_t>(0.9 * load.received * place));
}

class Room {
public:
    Room(const Load& load, std::uint16_t native, Pulses& pulses)
        : pulses_(pulses), poll_(epoll_create1(EPOLL_CLOEXEC)) {
        for (unsigned listener = 0; listener < load.listeners; ++listener) {
            ears_.emplace_back(addressOf(listener), native);
            epoll_event event{.events = EPOLLIN, .data = {.u32 = listener}};
            epoll_ctl(poll_.get(), EPOLL_CTL_ADD, ears_.back().fd(), &event);
        }
    }

    void hear(Clock::time_point end) {
        std::array<epoll_event, 64> events{};
        while (Clock::now() < end) {
            const int count = epoll_wait(poll_.get(), events.data(), events.size(), 10);
            for (int at = 0; at < count; ++at) {
                const std::uint32_t ear = events.at(static_cast<std::size_t>(at)).data.u32;
                ears_[ear].take(ear == 0 ? &pulses_ : nullptr);
            }
        }
    }

    std::deque<Ear>& ears() { return ears_; }

private:
    Pulses& pulses_;
    client::UniqueFd poll_;
    std::deque<Ear> ears_;
};

std::deque<client::ControlClient> connect(const Load& load, std::uint16_t native) {
    std::deque<client::ControlClient> clients;
    for (unsigned listener = 0; listener < load.listeners; ++listener) {
        clients.emplace_back(
            client::Endpoint{.host = "127.0.0.1", .port = native, .bind = addressOf(listener)},
            client::TimeLimits{.timeout = client::Seconds(10), .wait = client::Seconds(10)});
        if (load.rate != 0)
            clients.back().setSampleRate(load.rate);
        clients.back().setFrequency(frequencyOf(load, listener));
        clients.back().setRunning(true);
    }
    return clients;
}

nlohmann::ordered_json measure(const Load& load, Room& room, const MeasuredHub& hub) {
    room.hear(Clock::now() + std::chrono::seconds(2));
    for (Ear& ear : room.ears())
        ear.forget();
    const auto begin = Clock::now();
    const auto before = hub.times();
    room.hear(begin + std::chrono::duration_cast<Clock::duration>(
                          std::chrono::duration<double>(load.seconds)));
    const auto after = hub.times();
    const double passed = std::chrono::duration<double>(Clock::now() - begin).count();

    nlohmann::ordered_json result{{"listeners", load.listeners},
                                  {"rate", load.rate},
                                  {"received", load.received},
                                  {"seconds", passed}};
    double total = 0;
    for (const auto& [name, seconds] : after) {
        const double used =
            100 * (seconds - (before.contains(name) ? before.at(name) : 0)) / passed;
        result["percentOfACore"][name] = used;
        total += used;
    }
    result["percentOfACore"]["all"] = total;
    std::uint64_t datagrams = 0;
    std::uint64_t lost = 0;
    for (const Ear& ear : room.ears()) {
        datagrams += ear.received();
        lost += ear.lost();
    }
    const double due =
        passed * load.listeners * (load.rate != 0 ? load.rate : load.received) / datagram::pairs;
    result["datagrams"] = datagrams;
    result["partOfWhatWasDue"] = static_cast<double>(datagrams) / due;
    result["lost"] = lost;
    result["residentKilobytes"] = hub.residentKilobytes();
    std::vector<double> delays = room.ears().front().delays();
    std::sort(delays.begin(), delays.end());
    if (!delays.empty())
        result["milliseconds"] = {{"least", delays.front()},
                                  {"median", delays[delays.size() / 2]},
                                  {"greatest", delays.back()},
                                  {"pulses", delays.size()}};
    return result;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 7) {
        std::fputs("usage: HubLoad HUB LISTENERS RATE RECEIVED BURST SECONDS\n", stderr);
        return 2;
    }
    const Load load{argv[1],
                    static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10)),
                    static_cast<std::uint32_t>(std::strtoul(argv[3], nullptr, 10)),
                    static_cast<std::uint32_t>(std::strtoul(argv[4], nullptr, 10)),
                    std::strtoul(argv[5], nullptr, 10),
                    std::strtod(argv[6], nullptr)};
    Pulses pulses(load.received);
    test::ScriptedServer server;
    server.streamWhenRun({.pairsPerSecond = static_cast<double>(load.received),
                          .burst = load.burst,
                          .signal = [&](std::int64_t place, test::DatagramSamples& samples) {
                              pulses.signal(place, samples);
                          }});
    const test::ReservedPort native;
    const MeasuredHub hub(hubWords(load, server.port(), native.number()));
    Room room(load, native.number(), pulses);
    std::atomic<bool> connected{false};
    std::deque<client::ControlClient> clients;
    std::thread visitors([&] {
        clients = connect(load, native.number());
        connected = true;
    });
    while (!connected)
        room.hear(Clock::now() + std::chrono::milliseconds(50));
    visitors.join();
    std::puts(measure(load, room, hub).dump().c_str());
    return 0;
}
