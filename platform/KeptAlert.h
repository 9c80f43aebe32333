// SPDX-License-Identifier: MIT
// An alert that can be read afterwards.
#pragma once

#include "platform/Alert.h"
#include "platform/MainThread.h"
#include "platform/ServerControls.h"

#include <functional>
#include <mutex>

namespace feedline {

/// Keeps the last message with its time and passes it on. `onAlert` runs on the main thread as soon
/// as that is idle, which a modal alert's own loop is; set it before the first alert.
class KeptAlert final : public Alert {
public:
    KeptAlert(Alert& shown, MainThread& mainThread) : shown_(shown), mainThread_(mainThread) {}

    void runModal(const std::string& message, const std::string& information) override;

    AlertRecord last() const; ///< Any thread.

    std::function<void()> onAlert = [] {
    };

private:
    Alert& shown_;
    MainThread& mainThread_;
    mutable std::mutex mutex_;
    AlertRecord last_;
};

} // namespace feedline
