// SPDX-License-Identifier: MIT
// A band and a receiver without a server: the test says what is so.
#pragma once

#include "tools/hub/listeners/Receiver.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace feedline::test {

struct HubParts {
    static constexpr std::uint32_t centre = 7100000;
    static constexpr std::uint32_t rate = 768000;

    explicit HubParts(const hub::Configuration& configuration = {})
        : receiver(band, configuration) {
        tuneTo(centre);
    }

    /// What upstream does when the receiver has been moved.
    void tuneTo(std::uint32_t hertz) {
        band.setRate(rate);
        band.setFrequency(hertz);
        receiver.setState({.connected = true,
                           .running = true,
                           .silent = false,
                           .name = "AirSpyHF+",
                           .serial = "123456789",
                           .frequency = hertz,
                           .rate = rate});
    }

    /// Moves the receiver to where it is wanted.
    void follow() { tuneTo(receiver.wanted().frequency); }

    std::unique_ptr<hub::Listener> join(const std::string& address = "127.0.0.1") {
        return receiver.join(
            {.output = "native", .address = address, .detail = {}, .channel = {}, .wake = {}});
    }

    /// So many milliseconds of a constant.
    void write(int milliseconds) {
        for (int done = 0; done < milliseconds; done += 2)
            band.write(std::vector<std::int16_t>(2 * rate / 500, 1000), hub::Clock::now());
        band.settle();
    }

    hub::Band band;
    hub::Receiver receiver;
};

} // namespace feedline::test
