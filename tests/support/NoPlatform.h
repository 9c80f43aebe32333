// A platform that does nothing, for measurements of what lies behind it.
#pragma once

#include "platform/Platform.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace feedline::test {

class NoSettings : public SettingsStore {
    std::int64_t integerForKey(const std::string& /*key*/) const override { return 0; }
    std::optional<std::string> stringForKey(const std::string& /*key*/) const override {
        return {};
    }
    void setInteger(std::int64_t /*value*/, const std::string& /*key*/) override {}
    void setString(const std::string& /*value*/, const std::string& /*key*/) override {}
    void synchronize() override {}
};

class NoMainThread : public MainThread {
    void perform(std::function<void()> /*task*/) override {}
    void performAfterDelay(std::chrono::milliseconds /*delay*/,
                           std::function<void()> /*task*/) override {}
    void performRepeatedly(std::chrono::milliseconds /*interval*/,
                           std::function<void()> /*task*/) override {}
    void addWillTerminateObserver(std::function<void()> /*handler*/) override {}
};

class NoAlert : public Alert {
    void runModal(const std::string& /*message*/, const std::string& /*information*/) override {}
};

class NoActivity : public ActivitySource {
    std::shared_ptr<void> beginActivity(std::uint64_t /*options*/,
                                        const std::string& /*reason*/) override {
        return {};
    }
};

struct NoPlatform {
    NoSettings settings;
    NoMainThread mainThread;
    NoAlert alert;
    NoActivity activities;
    Platform platform{settings, mainThread, alert, activities};
};

} // namespace feedline::test
