// SPDX-License-Identifier: MIT
#include "MemoryPlatform.h"

#include "Waiting.h"
#include "platform/Controls.h"

#include <algorithm>
#include <utility>

namespace feedline::test {

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
        if (!changed_.wait_for(lock, longestWait, [this] { return !tasks_.empty(); }))
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

} // namespace feedline::test
