// SPDX-License-Identifier: MIT
// What the user sees: four status lines a second, and alerts.

#include "app/AppDelegate.h"
#include "app/RunTimeState.h"
#include "platform/Log.h"

#include <array>
#include <cstdio>

namespace feedline {
namespace {

struct StatusText {
    std::int32_t code;
    const char* text;
};

constexpr std::array<StatusText, 5> statusTexts{{
    {tcpConnected, "TCP Server: CONNECTED"},
    {tcpWaiting, "TCP Server: WAITING FOR CONNECT"},
    {tcpBindFailed, "TCP Server: BIND FAILED"},
    {tcpConnectFailed, "TCP Server: CONNECT FAILED"},
    {tcpDisconnected, "TCP Server: DISCONNECTED"},
}};

/// Compares one reading of the status with each code in turn and takes a new reading after a match
/// only: one that changes meanwhile may show both texts in the same tick, but never none.
void showTcpStatus(TextField& line) {
    std::int32_t status = tcpStatus;
    for (const StatusText& known : statusTexts) {
        if (status != known.code)
            continue;
        line.setStringValue(known.text);
        status = tcpStatus;
    }
}

void showRemoteAddress(TextField& line) {
    const std::string address = remoteAddress.str();
    line.setStringValue("Remote Address: " + (address.empty() ? "NOT CONNECTED" : address));
}

/// Kilohertz by way of single precision, twice: beyond 16,777,216 Hz the last digits show it.
std::string frequencyText(std::int32_t hertz) {
    const auto single = static_cast<float>(hertz);
    const auto kilohertz = static_cast<float>(static_cast<double>(single) * 0.001);
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "Center Frequency: %.3f kHz",
                  static_cast<double>(kilohertz));
    return text.data();
}

} // namespace

void AppDelegate::OneSecTimer() {
    showTcpStatus(*serverTcpStatus);
    showRemoteAddress(*serverRemoteIP);
    // These two texts serve both receivers: an AirSpy that runs is shown under the HF+'s name too.
    serverRunning->setStringValue(isStreaming != 0 ? "AirSpyHF+ RUNNING" : "AirSpyHF+ IDLE");
    serverCenterFrequency->setStringValue(frequencyText(centerFrequency));
    logAirspyStream();
}

void AppDelegate::displayAnAlert(const std::string& message, const std::string& infoText) {
    platform_.alert.runModal(message, infoText);
}

void AppDelegate::NewInfoData() {
    logLine("NewInfoData");
}
void AppDelegate::NewStatus() {
    logLine("NewStatus");
}

} // namespace feedline
