// SPDX-License-Identifier: MIT
// A platform without a toolkit: settings in a map, and a main thread whose queue and clock the test
// turns by hand.
#pragma once

#include "platform/Platform.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace feedline::test {

class MemorySettings : public SettingsStore {
public:
    std::int64_t integerForKey(const std::string& key) const override;
    std::optional<std::string> stringForKey(const std::string& key) const override;
    void setInteger(std::int64_t value, const std::string& key) override;
    void setString(const std::string& value, const std::string& key) override;
    void synchronize() override;

    using Value = std::variant<std::int64_t, std::string>;
    std::map<std::string, Value> values;  ///< as read and as last synchronised
    std::map<std::string, Value> pending; ///< written, not yet synchronised
    std::vector<std::string> operations;  ///< "setInteger sdrType", "synchronize", ... in order
};

/// Tasks wait until the test runs them; time passes only when the test says so. The thread that
/// made the object is the main thread.
class ManualMainThread : public MainThread {
public:
    void perform(std::function<void()> task) override;
    void performAfterDelay(std::chrono::milliseconds delay, std::function<void()> task) override;
    void performRepeatedly(std::chrono::milliseconds interval, std::function<void()> task) override;
    void addWillTerminateObserver(std::function<void()> handler) override;

    /// Runs what waits now.
    void runTasks();
    /// Waits for a task from another thread and runs what waits then; false after a generous time.
    bool waitAndRunTasks();
    /// Moves the clock and runs every timer that falls due, in order of time.
    void advance(std::chrono::milliseconds by);
    void terminate();

    struct Timer {
        std::chrono::milliseconds due;
        std::optional<std::chrono::milliseconds> interval;
        std::function<void()> task;
    };
    std::vector<Timer> timers;
    std::vector<std::function<void()>> observers;

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::function<void()>> tasks_;
    std::chrono::milliseconds now_{0};
};

/// Keeps every alert; dismisses it at once unless told to hold it.
class RecordingAlert : public Alert {
public:
    void runModal(const std::string& message, const std::string& information) override;

    struct Shown {
        std::string message;
        std::string information;
        bool operator==(const Shown&) const = default;
    };
    std::vector<Shown> shown() const;
    void hold(bool on); ///< alerts stay up until `hold(false)`
    bool isUp() const;
    std::function<void()> whileUp; ///< called on the alert's thread before it is dismissed

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Shown> shown_;
    bool held_ = false;
    int up_ = 0;
};

class RecordingActivities : public ActivitySource {
public:
    std::shared_ptr<void> beginActivity(std::uint64_t options, const std::string& reason) override;

    bool available = true;
    struct Begun {
        std::uint64_t options;
        std::string reason;
        bool operator==(const Begun&) const = default;
    };
    std::vector<Begun> begun;
    std::weak_ptr<void> token;
};

struct MemoryPlatform {
    MemorySettings settings;
    ManualMainThread mainThread;
    RecordingAlert alert;
    RecordingActivities activities;

    Platform platform() { return {settings, mainThread, alert, activities}; }
};

} // namespace feedline::test
