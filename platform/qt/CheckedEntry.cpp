#include "platform/qt/CheckedEntry.h"

#include "platform/qt/ScaledLabel.h"
#include "platform/qt/StatusMark.h"

#include <QHBoxLayout>
#include <QLineEdit>
#include <QVBoxLayout>

#include <utility>

namespace feedline {

ScaledLabel* makeHint(const QString& text, QWidget* parent) {
    auto* hint = new ScaledLabel(0.88, parent);
    hint->setText(text);
    return hint;
}

CheckedEntry::CheckedEntry(const QString& hint, Check check, QWidget* parent)
    : QWidget(parent), edit_(new QLineEdit(this)),
      mark_(new StatusMark(StatusMark::State::failed, this)), line_(makeHint(hint, this)),
      hint_(hint), check_(std::move(check)) {
    mark_->setFont(line_->font());
    line_->setLongestText(hint);

    auto* under = new QHBoxLayout;
    under->addWidget(mark_);
    under->addWidget(line_, 1);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(2);
    column->addWidget(edit_);
    column->addLayout(under);

    setFocusProxy(edit_);
    QObject::connect(edit_, &QLineEdit::textChanged, [this](const QString& text) { judge(text); });
    judge(edit_->text());
}

QString CheckedEntry::problem() const {
    return check_(edit_->text());
}

void CheckedEntry::judge(const QString& text) {
    const QString reason = check_(text);
    mark_->setHidden(reason.isEmpty());
    line_->setText(reason.isEmpty() ? hint_ : reason);
    edit_->setAccessibleDescription(line_->text());
}

} // namespace feedline
