// SPDX-License-Identifier: MIT
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

struct Meaning {
    const char* ending; ///< of the text
    const char* meaning;
};

constexpr const char* askedToRun =
    "Whether the client has asked the receiver to run; the same words for both receivers.";
constexpr Meaning meanings[] = {
    {": CONNECTED", "A client is being served."},
    {": WAITING FOR CONNECT", "The server waits for a client.\n"
                              "Without a receiver at the start, nothing listens."},
    {": BIND FAILED", "Another program has the port; nothing listens."},
    {": CONNECT FAILED", "No client could be accepted, or Restart was pressed while none was "
                         "there;\nnothing listens until the next start."},
    {": DISCONNECTED", "The client has gone; the server is back after five seconds."},
    {" RUNNING", askedToRun},
    {" IDLE", askedToRun},
    {" kHz", "The frequency that was asked for last."},
};

QString meaningOf(const QString& text) {
    for (const auto& [ending, meaning] : meanings)
        if (text.endsWith(ending))
            return meaning;
    return {};
}

} // namespace

StatusLine::StatusLine(Mark mark, const QString& text, const QString& longest, QWidget* parent)
    : QWidget(parent), label_(new ScaledLabel(scale, this)) {
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
    setToolTip(meaningOf(shown));
    if (mark_ != nullptr)
        mark_->setState(stateOf(shown));
}

} // namespace feedline
