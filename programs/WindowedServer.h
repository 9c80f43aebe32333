// SPDX-License-Identifier: MIT
// The server and its window, joined: what the program `feedline` is made of.
#pragma once

#include "app/AppDelegate.h"
#include "platform/Activity.h"
#include "platform/KeptAlert.h"
#include "platform/ServerControls.h"
#include "platform/qt/MainWindow.h"
#include "platform/qt/MessageBoxAlert.h"
#include "platform/qt/QtMainThread.h"
#include "platform/qt/QtSettingsStore.h"
#include "programs/ServerState.h"

#include <memory>

namespace feedline {

/// The controller on Qt's main thread and settings, its outlets and actions being the window's
/// controls. Made on the main thread after the application object; like the controller it is never
/// destroyed while a server thread could run.
class WindowedServer {
public:
    explicit WindowedServer(ActivitySource& activities);

    /// Shows the window, and has the event loop launch the server. Closing the window ends the
    /// loop.
    void launch();

    /// For callers from outside, after launch: they move the window's widgets.
    ServerControls controls();

    QtSettingsStore settings;
    QtMainThread mainThread;
    std::shared_ptr<MainWindow> window = std::make_shared<MainWindow>();
    MessageBoxAlert messageBox{mainThread, *window};
    KeptAlert alert{messageBox, mainThread};
    AppDelegate controller;

private:
    void fillOutlets();
    void connectActions();
    void fillGains(ServerControls& controls);

    HeldDevices held_;
};

} // namespace feedline
