// SPDX-License-Identifier: MIT
#include "platform/qt/ReceiverGroup.h"

#include "platform/ControlHints.h"
#include "platform/qt/CheckedEntry.h"
#include "platform/qt/ScaledLabel.h"

#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>

#include <arpa/inet.h>

namespace feedline {
namespace {

constexpr const char* portRefusal = "Not taken: a port is written in digits alone.";
constexpr const char* addressRefusal = "Not taken: the text is too long.";
constexpr const char* restartHint =
    "Initialises the selected device again and closes the server's connections.\n"
    "A server that was serving a client is back after five seconds;\n"
    "one that was still waiting for a client is back at the next start.";

QString portProblem(const QString& text) {
    const std::int32_t port = leadingInteger(text.toStdString());
    if (port >= 1 && port <= 65535)
        return {};
    if (port != text.toLongLong()) // 0 for a text that is no number, and for one beyond 64 bits
        return QString("Read as %1. A port is from 1 to 65535.").arg(port);
    return portRange;
}

QString addressProblem(const QString& text) {
    in_addr address{};
    const bool dotted = inet_pton(AF_INET, text.toStdString().c_str(), &address) == 1;
    return dotted ? QString() : QString(addressForm);
}

QWidget* sideBySide(QWidget* left, QWidget* right, QWidget* parent) {
    auto* pair = new QWidget(parent);
    auto* row = new QHBoxLayout(pair);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(left, 1);
    row->addWidget(right);
    return pair;
}

/// As tall as its control, so that both texts stand on one line though a hint hangs below the
/// control.
class RowLabel final : public QLabel {
public:
    RowLabel(const char* text, QWidget* control, QWidget* parent)
        : QLabel(text, parent), control_(control) {
        setBuddy(control);
        setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    }
    QSize sizeHint() const override {
        return {QLabel::sizeHint().width(), control_->sizeHint().height()};
    }

private:
    QWidget* control_;
};

/// The label's mnemonic leads to the control itself, not to what surrounds it.
void addRow(QFormLayout& form, const char* text, QWidget* row, QWidget* control) {
    form.addRow(new RowLabel(text, control, row->parentWidget()), row);
}

} // namespace

ReceiverGroup::ReceiverGroup(QWidget* parent)
    : QGroupBox("Receiver and network", parent), deviceBox_(new QComboBox(this)),
      restartButton_(new QPushButton("&Restart", this)),
      portEntry_(new CheckedEntry({portHint, portRefusal}, portProblem, this)),
      addressEntry_(new CheckedEntry({addressHint, addressRefusal}, addressProblem, this)),
      devicePopup(*deviceBox_), serverPort(*portEntry_->edit()), udpAddr(*addressEntry_->edit()) {
    auto* form = new QFormLayout(this);
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    addDevice(*form);
    addPort(*form);
    addAddress(*form);
}

void ReceiverGroup::addDevice(QFormLayout& form) {
    deviceBox_->setObjectName("devicePopup");
    deviceBox_->setAccessibleName("Device");
    deviceBox_->setAccessibleDescription(deviceHint);
    deviceBox_->setPlaceholderText("No receiver"); // For a stored type that is none of the list.
    QObject::connect(deviceBox_, &QComboBox::activated, [this] { onDeviceChosen(); });

    restartButton_->setObjectName("restartButton");
    restartButton_->setAccessibleName("Restart");
    restartButton_->setToolTip(restartHint);
    QObject::connect(restartButton_, &QPushButton::clicked, [this] { onRestart(); });

    auto* device = new QWidget(this);
    auto* column = new QVBoxLayout(device);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(2);
    column->addWidget(sideBySide(deviceBox_, restartButton_, device));
    column->addWidget(makeHint(deviceHint, device));
    addRow(form, "&Device:", device, deviceBox_);
}

void ReceiverGroup::chooseDevice(std::int64_t index) {
    devicePopup.selectItemAtIndex(index);
    onDeviceChosen();
}

void ReceiverGroup::pressRestart() {
    restartButton_->click();
}

void ReceiverGroup::addPort(QFormLayout& form) {
    QLineEdit* edit = portEntry_->edit();
    edit->setObjectName("serverPort");
    edit->setAccessibleName("Port");
    edit->setToolTip("TCP port of the control connection and UDP port of the samples.");
    addRow(form, "&Port:", portEntry_, edit);
}

void ReceiverGroup::addAddress(QFormLayout& form) {
    QLineEdit* edit = addressEntry_->edit();
    edit->setObjectName("udpAddr");
    edit->setAccessibleName("UDP address");
    edit->setToolTip("IPv4 address of the machine that the samples are sent to.");
    addRow(form, "&UDP address:", addressEntry_, edit);
}

} // namespace feedline
