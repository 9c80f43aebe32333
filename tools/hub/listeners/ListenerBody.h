// SPDX-License-Identifier: MIT
// What stands behind a Listener, as the Receiver sees it. Private to this room.
#pragma once

#include "tools/hub/listeners/Listener.h"
#include "tools/hub/listeners/ReceiverBody.h"

#include <atomic>
#include <mutex>

namespace feedline::hub {

class Listener::Body {
public:
    Body(Band& band, const ListenerRequest& asked, std::uint64_t number)
        : request(asked), number(number), channel(band, asked.channel),
          wantedFrequency(asked.channel.frequency), wantedRate(asked.channel.rate),
          wholeBand(asked.channel.wholeBand) {}

    const ListenerRequest request;
    const std::uint64_t number;
    const Clock::time_point joined = Clock::now();
    std::shared_ptr<Receiver::Body> receiver;

    Channel channel; ///< of the output's thread

    // Written by the output's thread with the receiver's lock held.
    std::string detail = request.detail;
    bool running = false;
    std::uint32_t wantedFrequency;
    std::uint32_t wantedRate;
    bool wholeBand;

    // Written by the output's thread, read by any.
    std::atomic<std::uint64_t> sentPairs{0}, sentBytes{0}, dropped{0}, lostUpstream{0}, lostSlow{0};

    // The band's thread sets it when it wakes, the output's when it has read everything.
    std::atomic<bool> woken{false};
};

} // namespace feedline::hub
