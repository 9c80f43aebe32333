// SPDX-License-Identifier: MIT
#include "platform/qt/StatusGroup.h"

#include "platform/StatusTexts.h"

#include <QGridLayout>

namespace feedline {

// The texts stand until the controller's first tick, a second after launch.
StatusGroup::StatusGroup(QWidget* parent)
    : QGroupBox("Status", parent), serverTcpStatus(StatusLine::Mark::shown, firstTcpStatus,
                                                   "TCP Server: WAITING FOR CONNECT", this),
      serverRemoteIP(StatusLine::Mark::none, firstRemoteAddress, "Remote Address: NOT CONNECTED",
                     this),
      serverRunning(StatusLine::Mark::shown, firstRunning, "AirSpyHF+ RUNNING", this),
      serverCenterFrequency(StatusLine::Mark::none, firstCenterFrequency,
                            "Center Frequency: 2147483.750 kHz", this) {
    serverTcpStatus.setObjectName("serverTcpStatus");
    serverRemoteIP.setObjectName("serverRemoteIP");
    serverRunning.setObjectName("serverRunning");
    serverCenterFrequency.setObjectName("serverCenterFrequency");

    auto* grid = new QGridLayout(this);
    grid->addWidget(&serverTcpStatus, 0, 0);
    grid->addWidget(&serverRemoteIP, 1, 0);
    grid->addWidget(&serverRunning, 0, 1);
    grid->addWidget(&serverCenterFrequency, 1, 1);
    grid->setHorizontalSpacing(4 * fontMetrics().averageCharWidth());
}

} // namespace feedline
