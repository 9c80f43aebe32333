// SPDX-License-Identifier: MIT
#include "programs/HeldServer.h"

namespace feedline {

HeldServer::HeldServer(ActivitySource& activities)
    : controller({settings, mainThread, alert, activities}) {
    fillOutlets();
}

void HeldServer::launch() {
    mainThread.perform([this] {
        controller.applicationDidFinishLaunching();
        held_.look();
    });
}

void HeldServer::fillOutlets() {
    controller.serverPort = &serverPort_;
    controller.serverTcpStatus = &serverTcpStatus_;
    controller.serverRemoteIP = &serverRemoteIP_;
    controller.serverRunning = &serverRunning_;
    controller.serverCenterFrequency = &serverCenterFrequency_;
    controller.devicePopup = &devicePopup_;
    controller.udpAddr = &udpAddr_;
    controller.lnaAgcButton = &lnaAgcButton_;
    controller.mixerAgcButton = &mixerAgcButton_;
    controller.lnaGainSlider = &lnaGainSlider_;
    controller.mixerGainSlider = &mixerGainSlider_;
    controller.vgaGainSlider = &vgaGainSlider_;
    controller.linearitySlider = &linearitySlider_;
    controller.sensitivitySlider = &sensitivitySlider_;
}

void HeldServer::restart() {
    controller.restartServer();
    held_.look();
}

GainControl HeldServer::gain(HeldValueControl& control) {
    return {[&control] { return control.intValue(); },
            [this, &control](std::int32_t value) {
                control.setIntValue(value);
                controller.changedGain(&control);
            }};
}

ServerControls HeldServer::controls() {
    ServerControls controls;
    controls.program = "feedlined";
    controls.version = FEEDLINE_VERSION;
    controls.tcpStatus = &serverTcpStatus_;
    controls.remoteAddress = &serverRemoteIP_;
    controls.running = &serverRunning_;
    controls.centerFrequency = &serverCenterFrequency_;
    controls.port = &serverPort_;
    controls.address = &udpAddr_;
    controls.devices = [this] {
        return devicePopup_.titles();
    };
    controls.chosenDevice = [this] {
        return devicePopup_.indexOfSelectedItem();
    };
    controls.chooseDevice = [this](std::int64_t index) {
        devicePopup_.selectItemAtIndex(index);
        controller.devicePopupChange();
    };
    controls.lnaAgc = gain(lnaAgcButton_);
    controls.mixerAgc = gain(mixerAgcButton_);
    controls.lnaGain = gain(lnaGainSlider_);
    controls.mixerGain = gain(mixerGainSlider_);
    controls.vgaGain = gain(vgaGainSlider_);
    controls.linearity = gain(linearitySlider_);
    controls.sensitivity = gain(sensitivitySlider_);
    controls.restart = [this] {
        restart();
    };
    controls.quit = [this] {
        mainThread.end();
    };
    controls.listening = listening;
    controls.openDevice = openDevice;
    controls.heldDevices = [this] {
        return held_.list();
    };
    controls.lastAlert = [this] {
        return alert.last();
    };
    controls.alertShown = [] {
        return false;
    }; // One line, and gone.
    return controls;
}

} // namespace feedline
