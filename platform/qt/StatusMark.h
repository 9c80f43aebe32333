// SPDX-License-Identifier: MIT
// A small sign that says at a glance how things stand.
#pragma once

#include <QWidget>

namespace feedline {

/// Each state has a shape of its own, so that nobody depends on telling the colours apart: a filled
/// disc with a tick, an open ring with the hands of a clock, a filled triangle with an exclamation
/// mark. As tall as the text beside it.
class StatusMark final : public QWidget {
public:
    enum class State { fine, waiting, failed };

    StatusMark(State state, QWidget* parent);

    State state() const { return state_; }
    void setState(State state);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    State state_;
};

} // namespace feedline
