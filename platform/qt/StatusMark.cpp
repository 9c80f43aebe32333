// SPDX-License-Identifier: MIT
#include "platform/qt/StatusMark.h"

#include <QPainter>
#include <QPainterPath>

namespace feedline {
namespace {

// All shapes are drawn in a square of 16 by 16 units.
constexpr qreal side = 16;

struct Look {
    const char* name;
    QRgb onLight;
    QRgb onDark;
};

Look lookOf(StatusMark::State state) {
    switch (state) {
    case StatusMark::State::fine:
        return {"Fine", 0xFF1A7F37, 0xFF3FB950};
    case StatusMark::State::waiting:
        return {"Waiting", 0xFF8A5D00, 0xFFE3B341};
    case StatusMark::State::failed:
        return {"Failed", 0xFFC5221F, 0xFFFF7B72};
    }
    return {};
}

QPen line(const QColor& colour, qreal width) {
    return {colour, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin};
}

void drawFine(QPainter& painter, const QColor& colour, const QColor& ground) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(colour);
    painter.drawEllipse(QRectF(0.5, 0.5, 15, 15));
    painter.setPen(line(ground, 2));
    painter.setBrush(Qt::NoBrush);
    painter.drawPolyline(QPolygonF{{4.6, 8.4}, {7.0, 10.8}, {11.4, 5.6}});
}

void drawWaiting(QPainter& painter, const QColor& colour) {
    painter.setPen(line(colour, 1.8));
    painter.setBrush(Qt::NoBrush);
    painter.drawEllipse(QRectF(1.4, 1.4, 13.2, 13.2));
    painter.drawPolyline(QPolygonF{{8, 4.6}, {8, 8.2}, {10.8, 9.8}});
}

void drawFailed(QPainter& painter, const QColor& colour, const QColor& ground) {
    painter.setPen(line(colour, 1.6));
    painter.setBrush(colour);
    painter.drawPolygon(QPolygonF{{8, 1.6}, {15, 14.2}, {1, 14.2}});
    painter.setPen(line(ground, 1.9));
    painter.drawLine(QPointF(8, 6.2), QPointF(8, 9.4));
    painter.drawPoint(QPointF(8, 12.2));
}

} // namespace

StatusMark::StatusMark(State state, QWidget* parent) : QWidget(parent), state_(state) {
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setState(state);
}

void StatusMark::setState(State state) {
    state_ = state;
    setAccessibleName(lookOf(state).name);
    update();
}

QSize StatusMark::sizeHint() const {
    const int height = fontMetrics().ascent() + fontMetrics().descent() / 2;
    return {height, height};
}

void StatusMark::paintEvent(QPaintEvent* /*event*/) {
    const QColor ground = palette().color(QPalette::Window);
    const bool dark = ground.lightness() < palette().color(QPalette::WindowText).lightness();
    const Look look = lookOf(state_);
    const QColor colour = dark ? look.onDark : look.onLight;

    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(width() / side, height() / side);
    switch (state_) {
    case State::fine:
        return drawFine(painter, colour, ground);
    case State::waiting:
        return drawWaiting(painter, colour);
    case State::failed:
        return drawFailed(painter, colour, ground);
    }
}

} // namespace feedline
