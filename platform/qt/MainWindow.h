// SPDX-License-Identifier: MIT
// The one window of the program.
#pragma once

#include "platform/Controls.h"
#include "platform/qt/GainsGroup.h"
#include "platform/qt/ReceiverGroup.h"
#include "platform/qt/StatusGroup.h"

#include <QWidget>

#include <functional>

namespace feedline {

/// Three groups: what the server does, what it serves, and the AirSpy's gains. The controller's
/// outlets are the groups' public members of the same names. As large as its content needs in the
/// desktop's font, and no other size.
class MainWindow final : public QWidget, public Window {
public:
    MainWindow();

    StatusGroup status;
    ReceiverGroup receiver;
    GainsGroup gains;

    /// Called when the user closes the window.
    std::function<void()> onClose = [] {
    };

protected:
    void closeEvent(QCloseEvent* event) override;
};

/// The program's icon in all its sizes.
QIcon programIcon();

} // namespace feedline
