// SPDX-License-Identifier: MIT
// The server and controls that only hold their values, joined: what the program `feedlined` is made
// of.
#pragma once

#include "app/AppDelegate.h"
#include "platform/Activity.h"
#include "platform/HeldControls.h"
#include "platform/KeptAlert.h"
#include "platform/ServerControls.h"
#include "platform/StandardErrorAlert.h"
#include "platform/StatusTexts.h"
#include "platform/qt/QtMainThread.h"
#include "platform/qt/QtSettingsStore.h"
#include "programs/ServerState.h"

namespace feedline {

/// The controller on Qt's main thread and settings. Its "window" is for callers from outside, and
/// until one comes it holds what the store held at launch. Made on the main thread after the
/// application object; like the controller it is never destroyed while a server thread could run.
class HeldServer {
public:
    explicit HeldServer(ActivitySource& activities);

    /// Has the event loop launch the server.
    void launch();

    /// For callers from outside, after launch.
    ServerControls controls();

    QtSettingsStore settings;
    QtMainThread mainThread;
    KeptAlert alert{standardError_, mainThread};
    AppDelegate controller;

private:
    void fillOutlets();
    void restart();
    GainControl gain(HeldValueControl& control);

    StandardErrorAlert standardError_;
    HeldDevices held_;

    HeldTextField serverPort_;
    HeldTextField serverTcpStatus_{firstTcpStatus};
    HeldTextField serverRemoteIP_{firstRemoteAddress};
    HeldTextField serverRunning_{firstRunning};
    HeldTextField serverCenterFrequency_{firstCenterFrequency};
    HeldTextField udpAddr_;
    HeldPopUpButton devicePopup_;
    HeldValueControl lnaAgcButton_, mixerAgcButton_, lnaGainSlider_, mixerGainSlider_,
        vgaGainSlider_, linearitySlider_, sensitivitySlider_;
};

} // namespace feedline
