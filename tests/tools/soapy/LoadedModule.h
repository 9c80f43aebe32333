// SPDX-License-Identifier: MIT
// The module as a program gets it: found and loaded by SoapySDR, alone.
#pragma once

#include <gtest/gtest.h>

#include <SoapySDR/Device.hpp>
#include <SoapySDR/Logger.hpp>
#include <SoapySDR/Modules.hpp>
#include <algorithm>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>

namespace feedline::test {

/// The log's lines. Any thread.
class SoapyLog {
public:
    static std::string lines() {
        const std::lock_guard lock(guard);
        return text;
    }
    static bool has(const std::string& words) { return lines().find(words) != std::string::npos; }
    static std::size_t count() {
        const std::lock_guard lock(guard);
        return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
    }
    static void clear() {
        const std::lock_guard lock(guard);
        text.clear();
    }
    static void take(SoapySDR::LogLevel, const char* line) {
        const std::lock_guard lock(guard);
        text += std::string(line) + '\n';
    }

private:
    static inline std::mutex guard;
    static inline std::string text;
};

inline void loadModule(const char* file) {
    // No module of the system's is to be loaded beside it: some of them look for devices in the
    // network.
    setenv("SOAPY_SDR_ROOT", "/nonexistent", 1);
    SoapySDR::registerLogHandler(&SoapyLog::take);
    static const std::string trouble = SoapySDR::loadModule(file);
    EXPECT_EQ(trouble, "");
}

struct Unmake {
    void operator()(SoapySDR::Device* device) const { SoapySDR::Device::unmake(device); }
};
using DevicePointer = std::unique_ptr<SoapySDR::Device, Unmake>;

inline DevicePointer makeDevice(SoapySDR::Kwargs arguments) {
    arguments["driver"] = "feedline";
    return DevicePointer(SoapySDR::Device::make(arguments));
}

} // namespace feedline::test
