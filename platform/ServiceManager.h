// SPDX-License-Identifier: MIT
// What a service manager wants to hear of a program that it has started. Without one, nothing of
// this does anything.
#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace feedline {

/// The program does its work from here on, or can say why it does not: the status, one line.
void reportReady(const std::string& status);

/// Replaces the status.
void reportStatus(const std::string& status);

/// The main thread still runs its tasks.
void reportAlive();

/// How often `reportAlive` is to be called; nothing when nobody watches.
std::optional<std::chrono::milliseconds> aliveInterval();

} // namespace feedline
