// SPDX-License-Identifier: MIT
// The controller's view of the window's widgets. Each adaptor stands beside its widget, neither
// owns the other, and both live until the process ends.
#pragma once

#include "platform/Controls.h"
#include "platform/HeldControls.h"

#include <string>
#include <vector>

class QCheckBox;
class QComboBox;
class QLineEdit;
class QSlider;

namespace feedline {

/// A line of text that the user edits. Every edit is mirrored, so that the text may be read from
/// any thread.
class EditField final : public TextField {
public:
    explicit EditField(QLineEdit& edit);
    void setStringValue(const std::string& text) override;
    std::string stringValue() const override { return text_.get(); }
    void keepNumeric() override;

private:
    QLineEdit& edit_;
    HeldText text_;
};

class ComboPopUp final : public PopUpButton {
public:
    explicit ComboPopUp(QComboBox& combo) : combo_(combo) {}
    void removeAllItems() override;
    void addItemWithTitle(const std::string& title) override;
    void selectItemAtIndex(std::int64_t index) override;
    std::int64_t indexOfSelectedItem() const override;
    std::vector<std::string> titles() const;

private:
    QComboBox& combo_;
};

class SliderValue final : public ValueControl {
public:
    explicit SliderValue(const QSlider& slider) : slider_(slider) {}
    std::int32_t intValue() const override;

private:
    const QSlider& slider_;
};

class CheckBoxValue final : public ValueControl {
public:
    explicit CheckBoxValue(const QCheckBox& box) : box_(box) {}
    std::int32_t intValue() const override;

private:
    const QCheckBox& box_;
};

} // namespace feedline
