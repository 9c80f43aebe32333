#include "MemoryPlatform.h"

#include "RecordingLog.h"
#include "app/RunTimeState.h"
#include "stream/SampleRing.h"

#include <algorithm>
#include <sys/mman.h>
#include <utility>

namespace feedline::test {

using namespace std::chrono_literals;

void MemoryField::setStringValue(const std::string& text) {
    const std::lock_guard lock(mutex_);
    text_ = text;
    history_.push_back(text);
}

std::string MemoryField::stringValue() const {
    const std::lock_guard lock(mutex_);
    return text_;
}

std::vector<std::string> MemoryField::history() const {
    const std::lock_guard lock(mutex_);
    return history_;
}

std::int64_t MemorySettings::integerForKey(const std::string& key) const {
    const auto found = values.find(key);
    if (found == values.end())
        return 0;
    const auto* number = std::get_if<std::int64_t>(&found->second);
    return number != nullptr ? *number : leadingInteger(std::get<std::string>(found->second));
}

std::optional<std::string> MemorySettings::stringForKey(const std::string& key) const {
    const auto found = values.find(key);
    if (found == values.end())
        return std::nullopt;
    const auto* text = std::get_if<std::string>(&found->second);
    return text != nullptr ? *text : std::to_string(std::get<std::int64_t>(found->second));
}

void MemorySettings::setInteger(std::int64_t value, const std::string& key) {
    operations.push_back("setInteger " + key);
    pending[key] = value;
}

void MemorySettings::setString(const std::string& value, const std::string& key) {
    operations.push_back("setString " + key);
    pending[key] = value;
}

void MemorySettings::synchronize() {
    operations.emplace_back("synchronize");
    for (auto& [key, value] : pending)
        values[key] = value;
    pending.clear();
}

void ManualMainThread::perform(std::function<void()> task) {
    const std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
    changed_.notify_all();
}

void ManualMainThread::performAfterDelay(std::chrono::milliseconds delay,
                                         std::function<void()> task) {
    timers.push_back({now_ + delay, std::nullopt, std::move(task)});
}

void ManualMainThread::performRepeatedly(std::chrono::milliseconds interval,
                                         std::function<void()> task) {
    timers.push_back({now_ + interval, interval, std::move(task)});
}

void ManualMainThread::addWillTerminateObserver(std::function<void()> handler) {
    observers.push_back(std::move(handler));
}

void ManualMainThread::runTasks() {
    std::vector<std::function<void()>> waiting;
    {
        const std::lock_guard lock(mutex_);
        waiting.swap(tasks_);
    }
    for (const auto& task : waiting)
        task();
}

bool ManualMainThread::waitAndRunTasks() {
    {
        std::unique_lock lock(mutex_);
        if (!changed_.wait_for(lock, 60s, [this] { return !tasks_.empty(); }))
            return false;
    }
    runTasks();
    return true;
}

void ManualMainThread::advance(std::chrono::milliseconds by) {
    const auto end = now_ + by;
    for (;;) {
        const auto next =
            std::min_element(timers.begin(), timers.end(),
                             [](const Timer& a, const Timer& b) { return a.due < b.due; });
        if (next == timers.end() || next->due > end)
            break;
        now_ = next->due;
        const auto task = next->task;
        if (next->interval)
            next->due += *next->interval;
        else
            timers.erase(next);
        task();
    }
    now_ = end;
}

void ManualMainThread::terminate() {
    for (const auto& observer : observers)
        observer();
}

void RecordingAlert::runModal(const std::string& message, const std::string& information) {
    {
        std::unique_lock lock(mutex_);
        shown_.push_back({message, information});
        ++up_;
        changed_.notify_all();
    }
    if (whileUp)
        whileUp();
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !held_; });
    --up_;
}

std::vector<RecordingAlert::Shown> RecordingAlert::shown() const {
    const std::lock_guard lock(mutex_);
    return shown_;
}

void RecordingAlert::hold(bool on) {
    const std::lock_guard lock(mutex_);
    held_ = on;
    changed_.notify_all();
}

bool RecordingAlert::isUp() const {
    const std::lock_guard lock(mutex_);
    return up_ > 0;
}

std::shared_ptr<void> RecordingActivities::beginActivity(std::uint64_t options,
                                                         const std::string& reason) {
    if (!available)
        return nullptr;
    begun.push_back({options, reason});
    auto made = std::make_shared<int>(0);
    token = made;
    return made;
}

void resetRunTimeState() {
    serverPortNumber = 50000;
    udpAddress.clear();
    deviceType = deviceAirspyHf;
    serverActive = true;
    tcpStatus = tcpWaiting;
    listenSocket = -1;
    clientSocket = -1;
    remoteAddress.clear();
    remoteAddressRaw = 0;
    hfDevice = nullptr;
    airspyDevice = nullptr;
    isStreaming = 0;
    centerFrequency = 0;
    samplesStreamed = 0;
    if (sampleRing != nullptr)
        ::munmap(sampleRing, ringBytes);
    sampleRing = nullptr;
    ringWriteIndex = 0;
    ringReadIndex = 0;
    udpSocket = -1;
    dataSequence = 0;
}

Server::Server() {
    resetRunTimeState();
    clearRecordedLines();
    delegate.serverPort = &serverPort;
    delegate.serverTcpStatus = &serverTcpStatus;
    delegate.serverRemoteIP = &serverRemoteIP;
    delegate.serverRunning = &serverRunning;
    delegate.serverCenterFrequency = &serverCenterFrequency;
    delegate.devicePopup = &devicePopup;
    delegate.udpAddr = &udpAddr;
    delegate.lnaAgcButton = &lnaAgc;
    delegate.mixerAgcButton = &mixerAgc;
    delegate.lnaGainSlider = &lnaGain;
    delegate.mixerGainSlider = &mixerGain;
    delegate.vgaGainSlider = &vgaGain;
    delegate.linearitySlider = &linearity;
    delegate.sensitivitySlider = &sensitivity;
}

Server& Server::make() {
    static auto& kept = *new std::vector<Server*>;
    return *kept.emplace_back(new Server);
}

} // namespace feedline::test
