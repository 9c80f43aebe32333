// SPDX-License-Identifier: MIT
// A line to type in that says what is wrong with its text, and takes it all the same.
#pragma once

#include <QWidget>

#include <functional>

class QLineEdit;
class QStackedWidget;

namespace feedline {

class ScaledLabel;

/// The line, and in small letters under it a hint. While the text is not as the check wants it, the
/// reason stands in the hint's place, behind a mark. So does the notice that the line did not take
/// what was typed or pasted, until the text changes or the user goes elsewhere.
class CheckedEntry final : public QWidget {
public:
    /// The reason why a text is doubtful; empty for a good one.
    using Check = std::function<QString(const QString& text)>;

    struct Texts {
        QString hint;
        QString refusal; ///< said of input that the line does not take
    };
    CheckedEntry(Texts texts, Check check, QWidget* parent);

    QLineEdit* edit() const { return edit_; }

    /// As shown at the moment; empty when there is none.
    QString problem() const;

private:
    QWidget* markedReason();
    void judge();
    void show(const QString& reason);

    QLineEdit* edit_;
    QStackedWidget* below_; ///< the hint's page and the reason's
    ScaledLabel* reason_;
    Texts texts_;
    Check check_;
};

/// Small letters for what is good to know.
ScaledLabel* makeHint(const QString& text, QWidget* parent);

} // namespace feedline
