// SPDX-License-Identifier: MIT
// A label in a size of its own that follows the desktop's font all the same.
#pragma once

#include <QLabel>

namespace feedline {

class ScaledLabel final : public QLabel {
public:
    /// `scale` times as large as the application's font for labels.
    ScaledLabel(qreal scale, QWidget* parent);

    /// Keeps room for this text whatever the label shows, so that the window never changes its
    /// size on its own.
    void setLongestText(const QString& text);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    bool event(QEvent* event) override;

private:
    void followApplicationFont();

    qreal scale_;
    QString longestText_;
};

} // namespace feedline
