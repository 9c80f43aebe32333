// SPDX-License-Identifier: MIT
// Launch, termination, and the three settings that last from one run to the next.

#include "app/AppDelegate.h"
#include "app/RunTimeState.h"
#include "platform/Log.h"

#include <chrono>
#include <utility>

namespace feedline {
namespace {

using namespace std::chrono_literals;

constexpr std::int32_t defaultPort = 50000;
constexpr auto defaultAddress = "127.0.0.1";
constexpr auto tickInterval = 1s;

// Keys of the settings store.
constexpr auto portKey = "sdrPortNumber";
constexpr auto typeKey = "sdrType";
constexpr auto addressKey = "sdrUdpAdr";

/// Settings are 64 bits wide in the store, and their low 32 bits count.
std::int32_t low32(std::int64_t value) {
    return static_cast<std::int32_t>(value);
}

} // namespace

AppDelegate::AppDelegate(const Platform& platform) : platform_(platform) {}
AppDelegate::~AppDelegate() = default;

void AppDelegate::applicationDidFinishLaunching() {
    serverPort->keepNumeric();
    remoteAddress.clear();
    fillDevicePopup();
    takePort();
    takeAddress();
    fieldsFilled_ = true;
    if (doDeviceInit() == deviceReady)
        SetUpTcpServer();
    platform_.mainThread.addWillTerminateObserver([this] { applicationWillTerminate(); });
    stayAwake();
    platform_.mainThread.performRepeatedly(tickInterval, [this] { OneSecTimer(); });
}

void AppDelegate::fillDevicePopup() {
    devicePopup->removeAllItems();
    devicePopup->addItemWithTitle("AirSpyHF+");
    devicePopup->addItemWithTitle("AirSpy");
    deviceType = low32(platform_.settings.integerForKey(typeKey));
    devicePopup->selectItemAtIndex(deviceType);
}

void AppDelegate::takePort() {
    const std::int32_t stored = low32(platform_.settings.integerForKey(portKey));
    serverPort->setIntValue(stored > 0 ? stored : defaultPort);
    // From here on the field is where the port comes from.
    serverPortNumber = serverPort->intValue();
    logLine("portToUse %d", serverPortNumber.load());
}

void AppDelegate::takeAddress() {
    const std::string stored = platform_.settings.stringForKey(addressKey).value_or(defaultAddress);
    const std::string address = stored.substr(0, stored.find('\0'));
    if (address.size() >= SharedText::capacity)
        fatal("setting %s holds %zu characters, more than the %zu there is room for", addressKey,
              address.size(), SharedText::capacity - 1);
    udpAddress.assign(address);
    udpAddr->setStringValue(udpAddress.str());
}

void AppDelegate::stayAwake() {
    // A desktop may show the reason, and the line below goes to the log. Both texts are fixed like
    // every other text of the server, although neither describes what the server does.
    std::shared_ptr<void> token =
        platform_.activities.beginActivity(userInitiatedActivity, "receiving OSC messages");
    if (token == nullptr)
        return;
    setActivity(std::move(token));
    logLine("So long, app nap");
}

void AppDelegate::applicationWillTerminate() {
    // A signal can come before launch has filled the fields; there is nothing of the user's in them
    // then, and the store keeps what it holds.
    if (!fieldsFilled_)
        return;
    // Port and address as last typed, applied or not; the type as chosen.
    platform_.settings.setInteger(serverPort->intValue(), portKey);
    platform_.settings.setInteger(deviceType, typeKey);
    platform_.settings.setString(udpAddr->stringValue(), addressKey);
    platform_.settings.synchronize();
}

std::shared_ptr<Window> AppDelegate::window() const {
    return window_;
}
void AppDelegate::setWindow(std::shared_ptr<Window> window) {
    window_ = std::move(window);
}

std::shared_ptr<void> AppDelegate::activity() const {
    return activity_;
}
void AppDelegate::setActivity(std::shared_ptr<void> activity) {
    activity_ = std::move(activity);
}

} // namespace feedline
