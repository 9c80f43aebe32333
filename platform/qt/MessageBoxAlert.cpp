// SPDX-License-Identifier: MIT
#include "platform/qt/MessageBoxAlert.h"

#include <QCoreApplication>
#include <QLabel>
#include <QMessageBox>
#include <QThread>

#include <memory>
#include <semaphore>

namespace feedline {
namespace {

void printBold(QLabel& label) {
    QFont font = label.font();
    font.setBold(true);
    label.setFont(font);
}

} // namespace

void MessageBoxAlert::runModal(const std::string& message, const std::string& information) {
    if (QThread::currentThread() == QCoreApplication::instance()->thread())
        return show(message, information);
    // Shared, since at the end of the process either side may be the last to look at it.
    auto dismissed = std::make_shared<std::binary_semaphore>(0);
    mainThread_.perform([this, message, information, dismissed] {
        show(message, information);
        dismissed->release();
    });
    dismissed->acquire();
}

void MessageBoxAlert::show(const std::string& message, const std::string& information) {
    if (mainThread_.ending())
        return; // Its loop would end at once, after a flash of the box.
    QMessageBox box(&window_);
    box.setWindowTitle(window_.windowTitle());
    box.setIconPixmap(window_.windowIcon().pixmap(48));
    box.setTextFormat(Qt::PlainText);
    box.setText(QString::fromStdString(message));
    box.setInformativeText(QString::fromStdString(information));
    box.setStandardButtons(QMessageBox::Ok);
    if (auto* label = box.findChild<QLabel*>("qt_msgbox_label"))
        printBold(*label);
    box.exec();
}

} // namespace feedline
