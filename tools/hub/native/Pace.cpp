// SPDX-License-Identifier: MIT
#include "tools/hub/native/Pace.h"

#include "stream/DataDatagram.h"

#include <algorithm>

namespace feedline::hub {
namespace {

constexpr double faster = 1.1;
/// Beyond as many ticks' worth in the queue (some 60 ms) the pace doubles.
constexpr double usualTicks = 30;

} // namespace

void Pace::setRate(std::uint32_t rate) {
    const double datagramsASecond = static_cast<double>(rate) / datagram::pairs;
    perTick_ = datagramsASecond * std::chrono::duration<double>(tick).count() * faster;
}

std::size_t Pace::share(std::size_t waiting) {
    const bool behind = static_cast<double>(waiting) > usualTicks * std::max(perTick_, 1.0);
    carried_ += behind ? 2 * perTick_ : perTick_;
    const auto now = static_cast<std::size_t>(carried_);
    carried_ -= static_cast<double>(now);
    return std::min(waiting, std::max(now, atOnce));
}

} // namespace feedline::hub
