// SPDX-License-Identifier: MIT
#include "tools/hub/web/server/Outbox.h"

#include <utility>

namespace feedline::hub::web {

void Outbox::addRow(Frame row, Clock::time_point now) {
    if (row_)
        ++dropped_;
    row_ = Waiting{std::move(row), now};
}

void Outbox::addSound(Frame sound, Clock::time_point now) {
    if (sound_.size() == soundFrames) {
        sound_.pop_front();
        ++dropped_;
    }
    sound_.push_back({std::move(sound), now});
}

Frame Outbox::aged(Waiting waiting, Clock::time_point now) {
    addAge(waiting.frame, std::chrono::duration<double>(now - waiting.since).count());
    return std::move(waiting.frame);
}

std::optional<Outbox::Message> Outbox::next(Clock::time_point now) {
    if (!words_.empty()) {
        std::string words = std::move(words_.front());
        words_.pop_front();
        return words;
    }
    if (!sound_.empty()) {
        Waiting first = std::move(sound_.front());
        sound_.pop_front();
        return aged(std::move(first), now);
    }
    if (row_)
        return aged(*std::exchange(row_, std::nullopt), now);
    return std::nullopt;
}

void Outbox::forgetFrames() {
    sound_.clear();
    row_.reset();
}

} // namespace feedline::hub::web
