// SPDX-License-Identifier: MIT
// What the environment asks of the emulator.
#pragma once

#include "emulator/receivers/HfReceiver.h"
#include "emulator/signals/Recording.h"
#include "emulator/signals/Scene.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace feedline::emulator {

enum class Kind { hf, airspy };

struct Config {
    std::vector<Kind> devices{Kind::hf};
    Scene scene;
    std::optional<Pairs> recording; ///< in place of the scene
    double speed = 1;               ///< 0: as fast as the samples are taken
    /// How late the host may take samples before their clock waits for it; without, never.
    std::optional<std::chrono::nanoseconds> patience;
    std::vector<HfRate> hfRates{{768000}, {384000}, {192000}};
    std::vector<std::uint32_t> airspyRates{10000000, 2500000};
    std::string controlPath; ///< empty: no run-time control
    std::string faults;      ///< commands, `;` between them
};

/// Reads one variable, null if it is not set; the process's environment in the library, anything in
/// tests.
using Environment = std::function<const char*(const char* name)>;
/// Takes one line about a value that cannot be used; its default stands then.
using Complain = std::function<void(const std::string& line)>;

Config readConfig(const Environment& environment, const Complain& complain);

/// A factor above 0, or `max` (0); nothing for anything else.
std::optional<double> speedOf(const std::string& text);

} // namespace feedline::emulator
