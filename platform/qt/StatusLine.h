// SPDX-License-Identifier: MIT
// One line of the status panel.
#pragma once

#include "platform/Controls.h"
#include "platform/HeldControls.h"

#include <QWidget>

namespace feedline {

class ScaledLabel;
class StatusMark;

/// A text in large letters, with a mark before it if the line can tell good from bad. The text
/// comes whole from the controller, and the mark follows from it. It may be read from any thread.
class StatusLine final : public QWidget, public TextField {
public:
    enum class Mark { none, shown };

    /// `longest` is the longest text the line is made for.
    StatusLine(Mark mark, const QString& text, const QString& longest, QWidget* parent);

    void setStringValue(const std::string& text) override;
    std::string stringValue() const override { return text_.get(); }
    void keepNumeric() override {} // Nobody types here.

private:
    HeldText text_;
    ScaledLabel* label_;
    StatusMark* mark_ = nullptr; ///< Null in a line without one.
};

} // namespace feedline
