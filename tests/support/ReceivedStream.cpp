// SPDX-License-Identifier: MIT
#include "ReceivedStream.h"

#include "DatagramView.h"
#include "Waiting.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace feedline::test {
namespace {

constexpr std::size_t mostKept = 40000; // The backlog of more than ten seconds.

} // namespace

ReceivedStream::ReceivedStream() : stop_(checked(eventfd(0, EFD_CLOEXEC), "eventfd")) {
    thread_ = std::thread([this] { receiveAll(); });
}

ReceivedStream::~ReceivedStream() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(stop_.get(), &one, sizeof one);
    thread_.join();
}

void ReceivedStream::receiveAll() {
    DatagramReceiver::Datagram datagram;
    std::array<pollfd, 2> waits{{{receiver_.descriptor(), POLLIN, 0}, {stop_.get(), POLLIN, 0}}};
    while (waits[1].revents == 0) {
        poll(waits.data(), waits.size(), -1);
        while (receiver_.take(datagram))
            keep(datagram);
    }
}

void ReceivedStream::keep(const DatagramReceiver::Datagram& datagram) {
    const DatagramView view(datagram.bytes());
    const std::lock_guard lock(mutex_);
    counts_.overflowed = receiver_.overflowed();
    if (!view.wellFormed()) {
        ++counts_.malformed;
        return;
    }
    const std::uint16_t number = view.number();
    const auto due =
        static_cast<std::uint16_t>(arrivals_.empty() ? number : arrivals_.back().number + 1);
    if (number != due) {
        ++counts_.gaps;
        counts_.fromZero += number == 0 ? 1 : 0;
        counts_.lost += number == 0 ? 0 : static_cast<std::uint16_t>(number - due);
    }
    arrivals_.push_back({number, datagram.time});
    kept_.emplace_back(datagram.bytes().begin(), datagram.bytes().end());
    if (kept_.size() > mostKept)
        kept_.pop_front();
    ++counts_.datagrams;
    changed_.notify_all();
}

bool ReceivedStream::waitUntil(const std::function<bool()>& condition) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, longestWait, condition);
}

ReceivedStream::Counts ReceivedStream::counts() const {
    const std::lock_guard lock(mutex_);
    return counts_;
}

std::vector<ReceivedStream::Arrival> ReceivedStream::arrivals() const {
    const std::lock_guard lock(mutex_);
    return arrivals_;
}

bool ReceivedStream::waitForDatagrams(std::size_t inAll) const {
    return waitUntil([&] { return counts_.datagrams >= inAll; });
}

bool ReceivedStream::waitForSilence(std::chrono::milliseconds length) const {
    const auto deadline = std::chrono::steady_clock::now() + longestWait;
    std::unique_lock lock(mutex_);
    while (std::chrono::steady_clock::now() < deadline)
        if (changed_.wait_for(lock, length) == std::cv_status::timeout)
            return true;
    return false;
}

Samples ReceivedStream::samples(std::size_t datagrams, std::size_t after) const {
    waitUntil([&] { return counts_.datagrams >= after + datagrams; });
    const std::lock_guard lock(mutex_);
    const std::size_t oldest = counts_.datagrams - kept_.size();
    Samples result;
    for (std::size_t i = std::max(after, oldest);
         i < std::min(after + datagrams, counts_.datagrams); ++i)
        for (std::size_t pair = 0; pair < pairsPerDatagram; ++pair)
            result.push_back(DatagramView(kept_.at(i - oldest)).pair(pair));
    return result;
}

Samples ReceivedStream::nextSamples(std::size_t datagrams) const {
    return samples(datagrams, counts().datagrams);
}

double pairRate(const std::vector<ReceivedStream::Arrival>& arrivals, std::size_t burst) {
    std::vector<double> times;
    for (std::size_t i = 0; i < arrivals.size(); i += burst)
        times.push_back(std::chrono::duration<double>(arrivals[i].time - arrivals[0].time).count());
    const auto n = static_cast<double>(times.size());
    const double meanTime = std::accumulate(times.begin(), times.end(), 0.0) / n;
    double both = 0;
    double squares = 0;
    for (std::size_t i = 0; i < times.size(); ++i) {
        both += (static_cast<double>(i) - (n - 1) / 2) * (times[i] - meanTime);
        squares += (times[i] - meanTime) * (times[i] - meanTime);
    }
    return both / squares * static_cast<double>(burst * pairsPerDatagram);
}

} // namespace feedline::test
