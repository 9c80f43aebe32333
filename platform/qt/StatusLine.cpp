#include "platform/qt/StatusLine.h"

#include "platform/qt/ScaledLabel.h"
#include "platform/qt/StatusMark.h"

#include <QHBoxLayout>

namespace feedline {
namespace {

constexpr qreal scale = 1.35; // legible from across a desk, and still fits a small screen

StatusMark::State stateOf(const QString& text) {
    if (text.endsWith(" FAILED"))
        return StatusMark::State::failed;
    if (text.endsWith(": CONNECTED") || text.endsWith(" RUNNING"))
        return StatusMark::State::fine;
    return StatusMark::State::waiting;
}

} // namespace

StatusLine::StatusLine(Mark mark, const QString& text, const QString& longest, QWidget* parent)
    : QWidget(parent), label_(new ScaledLabel(scale, this)), mark_(nullptr) {
    label_->setLongestText(longest);
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    // Every line has the mark's place, which keeps the texts under one another.
    auto* place = new StatusMark(StatusMark::State::waiting, this);
    place->setObjectName("mark");
    place->setFont(label_->font());
    QSizePolicy policy = place->sizePolicy();
    policy.setRetainSizeWhenHidden(true);
    place->setSizePolicy(policy);
    place->setHidden(mark == Mark::none);
    if (mark == Mark::shown)
        mark_ = place;
    row->addWidget(place);
    row->addWidget(label_, 1);
    setStringValue(text.toStdString());
}

void StatusLine::setStringValue(const std::string& text) {
    if (text == text_.get())
        return; // Told every second, mostly nothing new: nothing to paint then.
    text_.set(text);
    const QString shown = QString::fromStdString(text);
    label_->setText(shown);
    if (mark_ != nullptr)
        mark_->setState(stateOf(shown));
}

} // namespace feedline
