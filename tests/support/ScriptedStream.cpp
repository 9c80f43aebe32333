// SPDX-License-Identifier: MIT
#include "ScriptedStream.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <sys/socket.h>
#include <utility>

namespace feedline::test {

std::array<std::uint8_t, datagram::size> wireDatagram(std::uint16_t number,
                                                      const DatagramSamples& samples) {
    std::array<std::uint8_t, datagram::size> bytes{};
    datagram::putHeader(bytes.data(), number);
    std::uint8_t* to = bytes.data() + datagram::sampleOffset;
    for (const std::int16_t sample : samples) {
        *to++ = static_cast<std::uint8_t>(sample);
        *to++ = static_cast<std::uint8_t>(static_cast<std::uint16_t>(sample) >> 8U);
    }
    return bytes;
}

ScriptedStream::ScriptedStream(std::uint16_t port, StreamPlan plan)
    : port_(port), plan_(std::move(plan)), number_(plan_.firstNumber),
      socket_(makeSocket(SOCK_DGRAM)), place_(plan_.firstPlace) {
    thread_ = std::thread([this] { run(); });
}

ScriptedStream::~ScriptedStream() {
    stop();
}

StreamPlan ScriptedStream::stop() {
    ends_ = true;
    if (thread_.joinable())
        thread_.join();
    plan_.firstPlace = place_;
    plan_.firstNumber = number_;
    return plan_;
}

void ScriptedStream::run() {
    const auto begin = Clock::now();
    const double seconds = static_cast<double>(datagram::pairs) / plan_.pairsPerSecond;
    for (std::int64_t sent = 0; place_ < plan_.end; ++sent) {
        const auto burst =
            sent / static_cast<std::int64_t>(plan_.burst) * static_cast<std::int64_t>(plan_.burst);
        const std::chrono::duration<double> due(static_cast<double>(burst) * seconds);
        if (!pauseUntil(begin + late_ + std::chrono::duration_cast<Clock::duration>(due)) ||
            !sendOne())
            return;
    }
}

bool ScriptedStream::sendOne() {
    const Fate fate = plan_.fate ? plan_.fate(place_) : Fate{};
    late_ += fate.silence;
    if (!pauseUntil(Clock::now() + fate.silence))
        return false;
    if (fate.countsAnew)
        number_ = 0;
    DatagramSamples samples{};
    if (plan_.signal)
        plan_.signal(place_, samples);
    const auto bytes = wireDatagram(number_++, samples);
    for (int times = fate.lost ? 0 : fate.twice ? 2 : 1; times > 0; --times)
        sendToLoopback(socket_.get(), port_, bytes);
    ++place_;
    return true;
}

/// False when the stream is to end. In short steps, so that the end need not wait for a long pause.
bool ScriptedStream::pauseUntil(Clock::time_point time) const {
    while (!ends_ && Clock::now() < time)
        std::this_thread::sleep_until(std::min(time, Clock::now() + std::chrono::milliseconds(10)));
    return !ends_;
}

} // namespace feedline::test
