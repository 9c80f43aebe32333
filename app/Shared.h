// SPDX-License-Identifier: MIT
// Values and texts that one thread writes and others read without a lock.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <string>
#include <string_view>

namespace feedline {

/// A word-sized value, written and read whole. Readers may see it late, and two of them in any
/// order: the stores publish nothing but themselves (relaxed order).
template <typename T>
class Shared {
public:
    constexpr Shared(T value = T{}) : value_(value) {} // NOLINT(google-explicit-constructor)
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;

    Shared& operator=(T value) {
        value_.store(value, std::memory_order_relaxed);
        return *this;
    }
    operator T() const { return load(); } // NOLINT(google-explicit-constructor)
    T load() const { return value_.load(std::memory_order_relaxed); }

    /// Takes the value away from every other thread that takes: only one of them gets it.
    T exchange(T value) { return value_.exchange(value, std::memory_order_acq_rel); }

private:
    static_assert(std::atomic<T>::is_always_lock_free);
    std::atomic<T> value_;
};

/// A NUL-terminated text of at most 255 characters. A reader that meets a writer may see a mixture
/// of both texts, but always a terminated one and always defined behaviour.
class SharedText {
public:
    static constexpr std::size_t capacity = 256; ///< bytes, terminator included

    /// Stores the text up to its first NUL, cut to 255 characters.
    void assign(std::string_view text) {
        const std::string_view whole = text.substr(0, text.find('\0')).substr(0, capacity - 1);
        for (std::size_t i = 0; i < whole.size(); ++i)
            bytes_.at(i).store(whole[i], std::memory_order_relaxed);
        bytes_.at(whole.size()).store('\0', std::memory_order_relaxed);
    }
    void clear() { bytes_[0].store('\0', std::memory_order_relaxed); }
    bool empty() const { return bytes_[0].load(std::memory_order_relaxed) == '\0'; }

    std::string str() const {
        std::string text;
        for (const auto& byte : bytes_) {
            const char c = byte.load(std::memory_order_relaxed);
            if (c == '\0')
                break;
            text += c;
        }
        return text;
    }

private:
    std::array<std::atomic<char>, capacity> bytes_{}; // The last byte is never written: always NUL.
};

} // namespace feedline
