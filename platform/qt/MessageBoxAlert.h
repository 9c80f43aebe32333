// SPDX-License-Identifier: MIT
// Alerts as modal message boxes.
#pragma once

#include "platform/Alert.h"
#include "platform/qt/QtMainThread.h"

class QWidget;

namespace feedline {

/// Called on another thread, it has the main thread show the box and waits for it.
class MessageBoxAlert final : public Alert {
public:
    /// The boxes appear over `window`.
    MessageBoxAlert(QtMainThread& mainThread, QWidget& window)
        : mainThread_(mainThread), window_(window) {}

    void runModal(const std::string& message, const std::string& information) override;

private:
    void show(const std::string& message, const std::string& information);

    QtMainThread& mainThread_;
    QWidget& window_;
};

} // namespace feedline
