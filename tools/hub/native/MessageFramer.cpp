// SPDX-License-Identifier: MIT
#include "tools/hub/native/MessageFramer.h"

#include "protocol/ControlMessage.h"

namespace feedline::hub {

std::string MessageFramer::add(std::span<const std::uint8_t> bytes) {
    for (const std::uint8_t byte : bytes)
        if (std::string wrong = take(byte); !wrong.empty())
            return wrong;
    return {};
}

std::string MessageFramer::take(std::uint8_t byte) {
    collected_.push_back(byte);
    if (collected_.size() == control::headerSize) {
        length_ = collected_[0] | (collected_[1] & ~control::typeMask & 0xFFU) << 8U;
        if (length_ > longest)
            return "a message of " + std::to_string(length_) + " bytes, more than " +
                   std::to_string(longest);
        if (length_ != control::headerSize && length_ < control::headerSize + control::itemSize)
            return "a message of " + std::to_string(length_) + " bytes";
    }
    if (collected_.size() < control::headerSize || collected_.size() < length_)
        return {};
    const bool wanted = message_(collected_);
    collected_.clear();
    length_ = 0;
    return wanted ? std::string{} : "not wanted";
}

} // namespace feedline::hub
