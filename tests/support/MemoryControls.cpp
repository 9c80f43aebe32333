// SPDX-License-Identifier: MIT
#include "MemoryControls.h"

#include "app/AppDelegate.h"

namespace feedline::test {

void MemoryField::setStringValue(const std::string& text) {
    const std::lock_guard lock(mutex_);
    text_ = text;
    history_.push_back(text);
}

std::string MemoryField::stringValue() const {
    const std::lock_guard lock(mutex_);
    return text_;
}

std::vector<std::string> MemoryField::history() const {
    const std::lock_guard lock(mutex_);
    return history_;
}

void MemoryControls::fillOutlets(AppDelegate& controller) {
    controller.serverPort = &serverPort;
    controller.serverTcpStatus = &serverTcpStatus;
    controller.serverRemoteIP = &serverRemoteIP;
    controller.serverRunning = &serverRunning;
    controller.serverCenterFrequency = &serverCenterFrequency;
    controller.devicePopup = &devicePopup;
    controller.udpAddr = &udpAddr;
    controller.lnaAgcButton = &lnaAgc;
    controller.mixerAgcButton = &mixerAgc;
    controller.lnaGainSlider = &lnaGain;
    controller.mixerGainSlider = &mixerGain;
    controller.vgaGainSlider = &vgaGain;
    controller.linearitySlider = &linearity;
    controller.sensitivitySlider = &sensitivity;
}

} // namespace feedline::test
