// SPDX-License-Identifier: MIT
// The window's controls held in memory, and the one place where a test's controller gets them.
#pragma once

#include "platform/Controls.h"

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace feedline {
class AppDelegate;
}

namespace feedline::test {

class MemoryField : public TextField {
public:
    void setStringValue(const std::string& text) override;
    std::string stringValue() const override;
    void keepNumeric() override { numeric = true; }

    bool numeric = false;
    std::vector<std::string> history() const; ///< every text ever set, oldest first

private:
    mutable std::mutex mutex_;
    std::string text_;
    std::vector<std::string> history_;
};

class MemoryPopUp : public PopUpButton {
public:
    void removeAllItems() override { titles.clear(); }
    void addItemWithTitle(const std::string& title) override { titles.push_back(title); }
    void selectItemAtIndex(std::int64_t index) override { selected = index; }
    std::int64_t indexOfSelectedItem() const override { return selected; }

    std::vector<std::string> titles{"left over from the layout"};
    std::int64_t selected = -1;
};

class MemoryValue : public ValueControl {
public:
    std::int32_t intValue() const override { return value; }
    std::int32_t value = 0;
};

/// A control for every outlet of the controller.
struct MemoryControls {
    MemoryField serverPort, serverTcpStatus, serverRemoteIP, serverRunning, serverCenterFrequency,
        udpAddr;
    MemoryPopUp devicePopup;
    MemoryValue lnaAgc, mixerAgc, lnaGain, mixerGain, vgaGain, linearity, sensitivity;

    void fillOutlets(AppDelegate& controller);
};

} // namespace feedline::test
