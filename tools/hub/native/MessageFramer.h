// SPDX-License-Identifier: MIT
// From a control connection's bytes to whole control messages.
//
// The hub reads the whole 13-bit length of a message's header, where a server looks at its low byte
// only: for every message of up to 255 bytes the two agree, and no client sends a longer one. So
// a longer one, and one that is too short for what it begins with, means that the stream is no
// control stream, and the connection ends.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace feedline::hub {

/// For one thread.
class MessageFramer {
public:
    static constexpr std::size_t longest = 255; ///< bytes, header included

    /// Called with a whole message, header included; false ends the framing.
    using Message = std::function<bool(std::span<const std::uint8_t> message)>;

    explicit MessageFramer(Message message) : message_(std::move(message)) {}

    /// Empty, or what is wrong with the stream, in words; nothing more is taken then.
    std::string add(std::span<const std::uint8_t> bytes);

private:
    std::string take(std::uint8_t byte);

    Message message_;
    std::vector<std::uint8_t> collected_;
    std::size_t length_ = 0; ///< of the message that is being collected; 0 before its header
};

} // namespace feedline::hub
