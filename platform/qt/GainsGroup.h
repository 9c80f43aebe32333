// SPDX-License-Identifier: MIT
// The window's part for the gains of an AirSpy.
#pragma once

#include "platform/qt/WidgetControls.h"

#include <QGroupBox>

#include <functional>

class QCheckBox;
class QGridLayout;
class QHBoxLayout;
class QSlider;

namespace feedline {

/// Two switches and five sliders with their values beside them. They are there whatever receiver is
/// open, and nothing but the user moves them.
class GainsGroup final : public QGroupBox {
public:
    explicit GainsGroup(QWidget* parent);

    /// Called with the control that the user has moved, at every step while a slider is dragged.
    std::function<void(const ValueControl*)> onGainChanged = [](const ValueControl*) {
    };

    /// Moves the control's widget in the user's place, and reports it even when it stands there
    /// already.
    void move(const ValueControl& control, int value);

private:
    struct Range;
    QCheckBox* makeSwitch(const char* text, const char* name);
    QSlider* makeSlider(const Range& range);
    void addHint();
    void reportChangesOf(QCheckBox* box, const ValueControl& control);
    QSlider* sliderOf(const ValueControl& control) const;
    void reportChangesOf(QSlider* slider, const ValueControl& control);

    QGridLayout* grid_;
    QHBoxLayout* switches_;
    QCheckBox* lnaAgcBox_;
    QCheckBox* mixerAgcBox_;
    QSlider* lnaSlider_;
    QSlider* mixerSlider_;
    QSlider* vgaSlider_;
    QSlider* linearityBar_;
    QSlider* sensitivityBar_;

public:
    // Adaptors of the widgets above.
    CheckBoxValue lnaAgcButton;
    CheckBoxValue mixerAgcButton;
    SliderValue lnaGainSlider;
    SliderValue mixerGainSlider;
    SliderValue vgaGainSlider;
    SliderValue linearitySlider;
    SliderValue sensitivitySlider;
};

} // namespace feedline
