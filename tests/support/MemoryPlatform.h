// A platform without a toolkit: controls that hold values, settings in a map, and a main thread
// whose queue and clock the test turns by hand.
#pragma once

#include "app/AppDelegate.h"
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
#include <thread>
#include <variant>
#include <vector>

namespace feedline::test {

class MemoryField : public TextField {
public:
    void setStringValue(const std::string& text) override;
    std::string stringValue() const override;
    void keepNumeric() override { numeric = true; }

    bool numeric = false;
    std::vector<std::string> history() const; ///< every text ever set, oldest first

private:
    mutable std::mutex mutex_;
    std::string text_;
    std::vector<std::string> history_;
};

class MemoryPopUp : public PopUpButton {
public:
    void removeAllItems() override { titles.clear(); }
    void addItemWithTitle(const std::string& title) override { titles.push_back(title); }
    void selectItemAtIndex(std::int64_t index) override { selected = index; }
    std::int64_t indexOfSelectedItem() const override { return selected; }

    std::vector<std::string> titles{"left over from the layout"};
    std::int64_t selected = -1;
};

class MemoryValue : public ValueControl {
public:
    std::int32_t intValue() const override { return value; }
    std::int32_t value = 0;
};

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

/// The run-time state as it is at process start. No server thread may be running.
void resetRunTimeState();

/// A controller with every outlet connected, on a platform of its own and freshly reset state.
/// Never destroyed while server threads run: `Server` objects are leaked into the process by
/// `make`.
struct Server {
    MemoryField serverPort, serverTcpStatus, serverRemoteIP, serverRunning, serverCenterFrequency,
        udpAddr;
    MemoryPopUp devicePopup;
    MemoryValue lnaAgc, mixerAgc, lnaGain, mixerGain, vgaGain, linearity, sensitivity;
    MemorySettings settings;
    ManualMainThread mainThread;
    RecordingAlert alert;
    RecordingActivities activities;
    AppDelegate delegate{Platform{settings, mainThread, alert, activities}};

    Server();
    /// One that outlives the test, for tests that start server threads. Also resets the state and
    /// the records.
    static Server& make();
};

} // namespace feedline::test
