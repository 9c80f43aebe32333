// SPDX-License-Identifier: MIT
// Which receiver an operation goes to. The type may change under a running server (the pop-up sets
// it at once), so every operation looks at it afresh.

#include "app/AppDelegate.h"
#include "app/RunTimeState.h"
#include "platform/Log.h"

namespace feedline {

std::int32_t AppDelegate::doDeviceInit() {
    // Forgotten, not closed: closing a receiver that was pulled out may never return.
    hfDevice = nullptr;
    airspyDevice = nullptr;
    const std::int32_t type = deviceType;
    if (type == deviceAirspy)
        return initAirspy(); // An AirSpy's failures show in the log alone.
    if (type != deviceAirspyHf)
        return deviceReady; // No receiver is wanted, and none is missing.
    const std::int32_t result = initAirspyHF();
    reportHfInitFailure(result);
    return result;
}

void AppDelegate::reportHfInitFailure(std::int32_t result) {
    switch (result) {
    case deviceNotFound:
        displayAnAlert("No AirSpyHF+ found", "Is it plugged in?");
        break;
    case deviceNotOpened: // Twice on purpose: two alerts, each to be dismissed.
        displayAnAlert("Could not open AirSpyHF+", "");
        displayAnAlert("Could not open AirSpyHF+", "");
        break;
    case rateCountNotRead:
        displayAnAlert("No sample rates returned by AirSpyHF+", "");
        break;
    case rateListNotRead:
        displayAnAlert("Could not read AirSpyHF+ sample rates", "");
        break;
    case deviceNotConfigured:
        displayAnAlert("Could not set AirSpyHF+ sample rate", "");
        break;
    case tuningFailed:
        displayAnAlert("AirSpyHF+ set frequency fail", "");
        break;
    default:
        break;
    }
}

void AppDelegate::devicePopupChange() {
    deviceType = static_cast<std::int32_t>(devicePopup->indexOfSelectedItem());
    logLine("devicePopupChange %d", deviceType.load());
}

std::int32_t AppDelegate::setDeviceFrequency(std::int32_t frequency) {
    switch (deviceType) {
    case deviceAirspyHf:
        return setAirSpyHFFrequency(frequency);
    case deviceAirspy:
        return setAirSpyFrequency(frequency);
    default:
        return tuningFailed;
    }
}

// Two tests, not a choice: if the pop-up changes the type in between, both receivers get the
// request.

void AppDelegate::startDevice() {
    if (deviceType == deviceAirspyHf)
        startAirSpyHF();
    if (deviceType == deviceAirspy)
        startAirSpy();
}

void AppDelegate::stopDevice() {
    if (deviceType == deviceAirspyHf)
        stopAirSpyHF();
    if (deviceType == deviceAirspy)
        stopAirSpy();
}

} // namespace feedline
