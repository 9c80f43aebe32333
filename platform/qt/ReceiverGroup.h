// SPDX-License-Identifier: MIT
// The window's part for what is served, and where.
#pragma once

#include "platform/qt/WidgetControls.h"

#include <QGroupBox>

#include <functional>

class QComboBox;
class QLineEdit;
class QFormLayout;
class QPushButton;

namespace feedline {

class CheckedEntry;

/// Device, port and UDP address, and the button that initialises the device again.
class ReceiverGroup final : public QGroupBox {
public:
    explicit ReceiverGroup(QWidget* parent);

    /// Called when the user has chosen a device, not when the program selects one.
    std::function<void()> onDeviceChosen = [] {
    };
    std::function<void()> onRestart = [] {
    };

    /// What a user does with the list and the button.
    void chooseDevice(std::int64_t index);
    void pressRestart();

private:
    void addDevice(QFormLayout& form);
    void addPort(QFormLayout& form);
    void addAddress(QFormLayout& form);

    QComboBox* deviceBox_;
    QPushButton* restartButton_;
    CheckedEntry* portEntry_;
    CheckedEntry* addressEntry_;

public:
    // Adaptors of the widgets above.
    ComboPopUp devicePopup;
    EditField serverPort;
    EditField udpAddr;
};

} // namespace feedline
