// SPDX-License-Identifier: MIT
// What a native client may ask and set, and what it is answered.
//
// The answers are the server's own where the server answers. What a server leaves unanswered is
// answered here, since programs wait for it: with the value where there is one (receiver state,
// frequency, sample rate, each in the form in which its set is echoed), with a NAK (02 00)
// otherwise. docs/hub.md lists all of it.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace feedline::hub {

/// What stands behind the answers: one listener.
class Subject {
public:
    virtual ~Subject() = default;
    virtual std::string targetName() const = 0;   ///< empty while unknown
    virtual std::string serialNumber() const = 0; ///< empty while unknown
    virtual bool running() const = 0;
    /// Starts or stops the client's own stream; false when it cannot start.
    virtual bool run(bool running) = 0;
    virtual void tune(std::uint32_t hertz) = 0;
    virtual std::uint32_t frequency() const = 0; ///< Hz, as it is really heard
    /// The rate that it gets, IQ pairs a second.
    virtual std::uint32_t setRate(std::uint32_t pairsASecond) = 0;
    virtual std::uint32_t rate() const = 0; ///< IQ pairs a second, 0 while unknown
};

/// One client's conversation. For one thread.
class Dialogue {
public:
    using Bytes = std::vector<std::uint8_t>;

    explicit Dialogue(Subject& subject) : subject_(subject) {}

    /// The answer to a whole message; empty for a NAK, which is never answered.
    Bytes answer(std::span<const std::uint8_t> message);

private:
    Bytes answerRequest(std::uint16_t item) const;
    Bytes set(std::uint16_t item, std::span<const std::uint8_t> parameters);
    Bytes setState(std::span<const std::uint8_t> parameters);
    Bytes setFrequency(std::span<const std::uint8_t> parameters);
    Bytes setRate(std::span<const std::uint8_t> parameters);
    std::array<std::uint8_t, 4> state() const;

    Subject& subject_;
    std::array<std::uint8_t, 4> lastState_{0x80, 0x01, 0x00, 0x00}; ///< as last set
};

} // namespace feedline::hub
