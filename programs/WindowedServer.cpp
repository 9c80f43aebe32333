// SPDX-License-Identifier: MIT
#include "programs/WindowedServer.h"

#include <QApplication>

namespace feedline {

WindowedServer::WindowedServer(ActivitySource& activities)
    : controller({settings, mainThread, alert, activities}) {
    controller.setWindow(window);
    fillOutlets();
    connectActions();
}

void WindowedServer::launch() {
    window->show();
    mainThread.perform([this] {
        controller.applicationDidFinishLaunching();
        held_.look();
    });
}

void WindowedServer::fillOutlets() {
    controller.serverPort = &window->receiver.serverPort;
    controller.serverTcpStatus = &window->status.serverTcpStatus;
    controller.serverRemoteIP = &window->status.serverRemoteIP;
    controller.serverRunning = &window->status.serverRunning;
    controller.serverCenterFrequency = &window->status.serverCenterFrequency;
    controller.devicePopup = &window->receiver.devicePopup;
    controller.udpAddr = &window->receiver.udpAddr;
    controller.lnaAgcButton = &window->gains.lnaAgcButton;
    controller.mixerAgcButton = &window->gains.mixerAgcButton;
    controller.lnaGainSlider = &window->gains.lnaGainSlider;
    controller.mixerGainSlider = &window->gains.mixerGainSlider;
    controller.vgaGainSlider = &window->gains.vgaGainSlider;
    controller.linearitySlider = &window->gains.linearitySlider;
    controller.sensitivitySlider = &window->gains.sensitivitySlider;
}

void WindowedServer::connectActions() {
    window->receiver.onDeviceChosen = [this] {
        controller.devicePopupChange();
    };
    window->receiver.onRestart = [this] {
        controller.restartServer();
        held_.look();
    };
    window->gains.onGainChanged = [this](const ValueControl* sender) {
        controller.changedGain(sender);
    };
    window->onClose = [this] {
        mainThread.end();
    };
}

ServerControls WindowedServer::controls() {
    ServerControls controls;
    controls.program = "feedline";
    controls.version = FEEDLINE_VERSION;
    controls.tcpStatus = &window->status.serverTcpStatus;
    controls.remoteAddress = &window->status.serverRemoteIP;
    controls.running = &window->status.serverRunning;
    controls.centerFrequency = &window->status.serverCenterFrequency;
    controls.port = &window->receiver.serverPort;
    controls.address = &window->receiver.udpAddr;
    controls.devices = [this] {
        return window->receiver.devicePopup.titles();
    };
    controls.chosenDevice = [this] {
        return window->receiver.devicePopup.indexOfSelectedItem();
    };
    controls.chooseDevice = [this](std::int64_t index) {
        window->receiver.chooseDevice(index);
    };
    fillGains(controls);
    controls.restart = [this] {
        window->receiver.pressRestart();
    };
    controls.quit = [this] {
        window->close();
    };
    controls.listening = listening;
    controls.openDevice = openDevice;
    controls.heldDevices = [this] {
        held_.look(); // A launch that waits in an alert has not come to its own look.
        return held_.list();
    };
    controls.lastAlert = [this] {
        return alert.last();
    };
    controls.alertShown = [] {
        return QApplication::activeModalWidget() != nullptr;
    };
    return controls;
}

void WindowedServer::fillGains(ServerControls& controls) {
    GainsGroup& gains = window->gains;
    const auto gain = [&gains](const ValueControl& control) -> GainControl {
        return {[&control] { return control.intValue(); },
                [&gains, &control](std::int32_t value) {
                    gains.move(control, value);
                }};
    };
    controls.lnaAgc = gain(gains.lnaAgcButton);
    controls.mixerAgc = gain(gains.mixerAgcButton);
    controls.lnaGain = gain(gains.lnaGainSlider);
    controls.mixerGain = gain(gains.mixerGainSlider);
    controls.vgaGain = gain(gains.vgaGainSlider);
    controls.linearity = gain(gains.linearitySlider);
    controls.sensitivity = gain(gains.sensitivitySlider);
}

} // namespace feedline
