// SPDX-License-Identifier: MIT
// What waits to be sent to one page.
#pragma once

#include "tools/hub/web/messages/Frames.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <variant>

namespace feedline::hub::web {

/// A page that takes its messages slowly loses rows and sound of its own, and gets what it does get
/// in time: of rows the newest waits, of sound the newest quarter of a second. Words are never
/// dropped; when too many wait, the page is hopeless. Not synchronised.
class Outbox {
public:
    using Clock = std::chrono::steady_clock;
    /// Words go as text, frames as binary messages.
    using Message = std::variant<std::string, Frame>;

    static constexpr std::size_t soundFrames = 12; ///< of 20 ms
    static constexpr std::size_t mostWords = 64;

    void addWords(std::string words) { words_.push_back(std::move(words)); }
    void addRow(Frame row, Clock::time_point now = Clock::now());
    void addSound(Frame sound, Clock::time_point now = Clock::now());

    /// Words first, then sound, then the row; nothing when nothing waits. A frame's age is what it
    /// is at `now`.
    std::optional<Message> next(Clock::time_point now = Clock::now());

    bool hopeless() const { return words_.size() > mostWords; }
    /// Frames that made room for newer ones.
    std::uint64_t dropped() const { return dropped_; }
    /// Forgets sound and row: what they were for has changed.
    void forgetFrames();

private:
    struct Waiting {
        Frame frame;
        Clock::time_point since;
    };
    static Frame aged(Waiting waiting, Clock::time_point now);

    std::deque<std::string> words_;
    std::deque<Waiting> sound_;
    std::optional<Waiting> row_;
    std::uint64_t dropped_ = 0;
};

} // namespace feedline::hub::web
