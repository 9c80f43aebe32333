// SPDX-License-Identifier: MIT
#include "platform/qt/MainWindow.h"

#include <QCloseEvent>
#include <QGridLayout>
#include <QIcon>

namespace feedline {

QIcon programIcon() {
    QIcon icon;
    for (const int size : {16, 24, 32, 48, 64, 128, 256})
        icon.addFile(QString(":/icons/feedline-%1.png").arg(size));
    return icon;
}

MainWindow::MainWindow() : status(this), receiver(this), gains(this) {
    setWindowTitle("Feedline");
    setWindowIcon(programIcon());
    auto* grid = new QGridLayout(this);
    grid->addWidget(&status, 0, 0, 1, 2);
    grid->addWidget(&receiver, 1, 0);
    grid->addWidget(&gains, 1, 1);
    grid->setSizeConstraint(QLayout::SetFixedSize);
}

void MainWindow::closeEvent(QCloseEvent* event) {
    event->ignore(); // The window stays until the process has saved and ended.
    onClose();
}

} // namespace feedline
