// SPDX-License-Identifier: MIT
// Controls that hold their values and show them to nobody: the "window" of a program without one.
#pragma once

#include "platform/Controls.h"

#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace feedline {

/// A text for the main thread to write and any thread to read.
class HeldText {
public:
    explicit HeldText(std::string text = {}) : text_(std::move(text)) {}

    void set(std::string text) {
        const std::lock_guard lock(mutex_);
        text_ = std::move(text);
    }
    std::string get() const {
        const std::lock_guard lock(mutex_);
        return text_;
    }

private:
    mutable std::mutex mutex_;
    std::string text_;
};

class HeldTextField final : public TextField {
public:
    explicit HeldTextField(std::string text = {}) : text_(std::move(text)) {}
    void setStringValue(const std::string& text) override { text_.set(text); }
    std::string stringValue() const override { return text_.get(); }
    void keepNumeric() override {} // Nobody types here.

private:
    HeldText text_;
};

class HeldPopUpButton final : public PopUpButton {
public:
    void removeAllItems() override {
        titles_.clear();
        selected_ = -1;
    }
    void addItemWithTitle(const std::string& title) override { titles_.push_back(title); }
    void selectItemAtIndex(std::int64_t index) override {
        const bool listed = index >= 0 && index < static_cast<std::int64_t>(titles_.size());
        selected_ = listed ? index : -1;
    }
    std::int64_t indexOfSelectedItem() const override { return selected_; }
    const std::vector<std::string>& titles() const { return titles_; }

private:
    std::vector<std::string> titles_;
    std::int64_t selected_ = -1;
};

class HeldValueControl final : public ValueControl {
public:
    std::int32_t intValue() const override { return value_; }
    void setIntValue(std::int32_t value) { value_ = value; }

private:
    std::int32_t value_ = 0;
};

} // namespace feedline
