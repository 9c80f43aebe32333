// SPDX-License-Identifier: MIT
#include "platform/qt/WidgetControls.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QRegularExpressionValidator>
#include <QSlider>

namespace feedline {

EditField::EditField(QLineEdit& edit) : edit_(edit), text_(edit.text().toStdString()) {
    QObject::connect(&edit_, &QLineEdit::textChanged,
                     [this](const QString& text) { text_.set(text.toStdString()); });
}

void EditField::setStringValue(const std::string& text) {
    edit_.setText(QString::fromStdString(text));
}

void EditField::keepNumeric() {
    static const QRegularExpression integerOrNothing("[+-]?[0-9]*");
    edit_.setValidator(new QRegularExpressionValidator(integerOrNothing, &edit_));
}

void ComboPopUp::removeAllItems() {
    combo_.clear();
}

void ComboPopUp::addItemWithTitle(const std::string& title) {
    combo_.addItem(QString::fromStdString(title));
}

void ComboPopUp::selectItemAtIndex(std::int64_t index) {
    const bool listed = index >= 0 && index < combo_.count();
    combo_.setCurrentIndex(listed ? static_cast<int>(index) : -1);
}

std::int64_t ComboPopUp::indexOfSelectedItem() const {
    return combo_.currentIndex();
}

std::vector<std::string> ComboPopUp::titles() const {
    std::vector<std::string> titles;
    titles.reserve(static_cast<std::size_t>(combo_.count()));
    for (int i = 0; i < combo_.count(); ++i)
        titles.push_back(combo_.itemText(i).toStdString());
    return titles;
}

std::int32_t SliderValue::intValue() const {
    return slider_.value();
}

std::int32_t CheckBoxValue::intValue() const {
    return box_.isChecked() ? 1 : 0;
}

} // namespace feedline
