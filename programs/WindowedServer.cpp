#include "programs/WindowedServer.h"

namespace feedline {

WindowedServer::WindowedServer(ActivitySource& activities)
    : controller({settings, mainThread, alert, activities}) {
    controller.setWindow(window);
    fillOutlets();
    connectActions();
}

void WindowedServer::launch() {
    window->show();
    mainThread.perform([this] { controller.applicationDidFinishLaunching(); });
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
    };
    window->gains.onGainChanged = [this](const ValueControl* sender) {
        controller.changedGain(sender);
    };
    window->onClose = [this] {
        mainThread.end();
    };
}

} // namespace feedline
