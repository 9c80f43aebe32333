// SPDX-License-Identifier: MIT
#include "platform/qt/ScaledLabel.h"

#include <QApplication>
#include <QEvent>

namespace feedline {

ScaledLabel::ScaledLabel(qreal scale, QWidget* parent) : QLabel(parent), scale_(scale) {
    setTextFormat(Qt::PlainText);
    followApplicationFont();
}

void ScaledLabel::setLongestText(const QString& text) {
    longestText_ = text;
    updateGeometry();
}

QSize ScaledLabel::sizeHint() const {
    return QLabel::sizeHint().expandedTo({fontMetrics().horizontalAdvance(longestText_), 0});
}

bool ScaledLabel::event(QEvent* event) {
    if (event->type() == QEvent::ApplicationFontChange)
        followApplicationFont();
    return QLabel::event(event);
}

void ScaledLabel::followApplicationFont() {
    QFont scaled = QApplication::font(this);
    if (scaled.pointSizeF() > 0)
        scaled.setPointSizeF(scaled.pointSizeF() * scale_);
    else // The desktop gave its font's size in pixels.
        scaled.setPixelSize(qRound(scaled.pixelSize() * scale_));
    setFont(scaled);
}

} // namespace feedline
