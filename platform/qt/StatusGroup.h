// SPDX-License-Identifier: MIT
// The window's upper part: what the server is doing, to be read from across a desk.
#pragma once

#include "platform/qt/StatusLine.h"

#include <QGroupBox>

namespace feedline {

/// The network's two lines on the left, the receiver's two on the right.
class StatusGroup final : public QGroupBox {
public:
    explicit StatusGroup(QWidget* parent);

    StatusLine serverTcpStatus;
    StatusLine serverRemoteIP;
    StatusLine serverRunning;
    StatusLine serverCenterFrequency;
};

} // namespace feedline
