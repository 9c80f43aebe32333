// SPDX-License-Identifier: MIT
#include "platform/qt/GainsGroup.h"

#include "platform/ControlHints.h"
#include "platform/GainLimits.h"
#include "platform/qt/CheckedEntry.h"
#include "platform/qt/ScaledLabel.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QSlider>

#include <array>
#include <utility>

namespace feedline {

struct GainsGroup::Range {
    const char* label; ///< with its mnemonic
    const char* name;
    const char* spokenName;
    int highest;
};

GainsGroup::GainsGroup(QWidget* parent)
    : QGroupBox("AirSpy gains", parent), grid_(new QGridLayout(this)), switches_(new QHBoxLayout),
      lnaAgcBox_(makeSwitch("LNA &AGC", "lnaAgcButton")),
      mixerAgcBox_(makeSwitch("Mixer A&GC", "mixerAgcButton")),
      lnaSlider_(makeSlider({"&LNA:", "lnaGainSlider", "LNA gain", highestLnaGain})),
      mixerSlider_(makeSlider({"&Mixer:", "mixerGainSlider", "Mixer gain", highestMixerGain})),
      vgaSlider_(makeSlider({"&VGA:", "vgaGainSlider", "VGA gain", highestVgaGain})),
      linearityBar_(
          makeSlider({"L&inearity:", "linearitySlider", "Linearity preset", highestPreset})),
      sensitivityBar_(
          makeSlider({"&Sensitivity:", "sensitivitySlider", "Sensitivity preset", highestPreset})),
      lnaAgcButton(*lnaAgcBox_), mixerAgcButton(*mixerAgcBox_), lnaGainSlider(*lnaSlider_),
      mixerGainSlider(*mixerSlider_), vgaGainSlider(*vgaSlider_), linearitySlider(*linearityBar_),
      sensitivitySlider(*sensitivityBar_) {
    grid_->addLayout(switches_, 0, 0, 1, 3);
    reportChangesOf(lnaAgcBox_, lnaAgcButton);
    reportChangesOf(mixerAgcBox_, mixerAgcButton);
    reportChangesOf(lnaSlider_, lnaGainSlider);
    reportChangesOf(mixerSlider_, mixerGainSlider);
    reportChangesOf(vgaSlider_, vgaGainSlider);
    reportChangesOf(linearityBar_, linearitySlider);
    reportChangesOf(sensitivityBar_, sensitivitySlider);
    addHint();
    linearityBar_->setToolTip(presetHint);
    sensitivityBar_->setToolTip(presetHint);
}

QCheckBox* GainsGroup::makeSwitch(const char* text, const char* name) {
    auto* box = new QCheckBox(text, this);
    box->setObjectName(name);
    box->setAccessibleName(box->text().remove('&'));
    switches_->addWidget(box, 1);
    return box;
}

QSlider* GainsGroup::makeSlider(const Range& range) {
    auto* slider = new QSlider(Qt::Horizontal, this);
    slider->setObjectName(range.name);
    slider->setAccessibleName(range.spokenName);
    slider->setRange(0, range.highest);
    slider->setPageStep(3);
    slider->setMinimumWidth(32 * fontMetrics().averageCharWidth());

    auto* label = new QLabel(range.label, this);
    label->setBuddy(slider);
    auto* value = new QLabel("0", this);
    value->setObjectName(QString(range.name) + "Value");
    value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    value->setMinimumWidth(value->fontMetrics().horizontalAdvance("00"));
    QObject::connect(slider, &QSlider::valueChanged, value, qOverload<int>(&QLabel::setNum));

    const int row = grid_->rowCount();
    grid_->addWidget(label, row, 0);
    grid_->addWidget(slider, row, 1);
    grid_->addWidget(value, row, 2);
    return slider;
}

void GainsGroup::addHint() {
    const int row = grid_->rowCount();
    grid_->addWidget(makeHint(gainsHint, this), row, 0, 1, 3);
    grid_->setRowStretch(row, 1);
}

void GainsGroup::reportChangesOf(QCheckBox* box, const ValueControl& control) {
    QObject::connect(box, &QCheckBox::toggled, [this, &control] { onGainChanged(&control); });
}

void GainsGroup::reportChangesOf(QSlider* slider, const ValueControl& control) {
    QObject::connect(slider, &QSlider::valueChanged, [this, &control] { onGainChanged(&control); });
}

QSlider* GainsGroup::sliderOf(const ValueControl& control) const {
    const std::array<std::pair<const ValueControl*, QSlider*>, 5> sliders{
        {{&lnaGainSlider, lnaSlider_},
         {&mixerGainSlider, mixerSlider_},
         {&vgaGainSlider, vgaSlider_},
         {&linearitySlider, linearityBar_},
         {&sensitivitySlider, sensitivityBar_}}};
    for (const auto& [adaptor, slider] : sliders)
        if (adaptor == &control)
            return slider;
    return nullptr;
}

void GainsGroup::move(const ValueControl& control, int value) {
    if (control.intValue() == value)
        return onGainChanged(&control);
    // Both report the change themselves.
    if (QSlider* const slider = sliderOf(control))
        return slider->setValue(value);
    (&control == &lnaAgcButton ? lnaAgcBox_ : mixerAgcBox_)->setChecked(value != 0);
}

} // namespace feedline
