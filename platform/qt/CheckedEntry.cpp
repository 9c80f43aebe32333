// SPDX-License-Identifier: MIT
#include "platform/qt/CheckedEntry.h"

#include "platform/qt/ScaledLabel.h"
#include "platform/qt/StatusMark.h"

#include <QHBoxLayout>
#include <QLineEdit>
#include <QStackedWidget>
#include <QVBoxLayout>

#include <utility>

namespace feedline {

ScaledLabel* makeHint(const QString& text, QWidget* parent) {
    auto* hint = new ScaledLabel(0.88, parent);
    hint->setText(text);
    return hint;
}

CheckedEntry::CheckedEntry(Texts texts, Check check, QWidget* parent)
    : QWidget(parent), edit_(new QLineEdit(this)), below_(new QStackedWidget(this)),
      reason_(makeHint({}, this)), texts_(std::move(texts)), check_(std::move(check)) {
    // As pages of one stack, hint and reason take the same room whichever of them shows.
    below_->addWidget(makeHint(texts_.hint, below_));
    below_->addWidget(markedReason());
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(2);
    column->addWidget(edit_);
    column->addWidget(below_);

    QObject::connect(edit_, &QLineEdit::textChanged, [this] { judge(); });
    QObject::connect(edit_, &QLineEdit::inputRejected, [this] { show(texts_.refusal); });
    QObject::connect(edit_, &QLineEdit::editingFinished, [this] { judge(); });
    judge();
}

QWidget* CheckedEntry::markedReason() {
    auto* page = new QWidget(below_);
    auto* mark = new StatusMark(StatusMark::State::failed, page);
    mark->setObjectName("problemMark");
    mark->setFont(reason_->font());
    auto* row = new QHBoxLayout(page);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(mark);
    row->addWidget(reason_, 1);
    return page;
}

QString CheckedEntry::problem() const {
    return reason_->text();
}

void CheckedEntry::judge() {
    show(check_(edit_->text()));
}

void CheckedEntry::show(const QString& reason) {
    reason_->setText(reason);
    below_->setCurrentIndex(reason.isEmpty() ? 0 : 1);
    edit_->setAccessibleDescription(reason.isEmpty() ? texts_.hint : reason);
}

} // namespace feedline
