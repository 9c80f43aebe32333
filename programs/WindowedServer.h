// The server and its window, joined: what the program `feedline` is made of.
#pragma once

#include "app/AppDelegate.h"
#include "platform/Activity.h"
#include "platform/qt/MainWindow.h"
#include "platform/qt/MessageBoxAlert.h"
#include "platform/qt/QtMainThread.h"
#include "platform/qt/QtSettingsStore.h"

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

    QtSettingsStore settings;
    QtMainThread mainThread;
    std::shared_ptr<MainWindow> window = std::make_shared<MainWindow>();
    MessageBoxAlert alert{mainThread, *window};
    AppDelegate controller;

private:
    void fillOutlets();
    void connectActions();
};

} // namespace feedline
