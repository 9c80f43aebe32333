// SPDX-License-Identifier: MIT
// The window's controls as the controller sees them: a text to show or edit, a list with one
// selected item, a value to read. A front end without a window offers the same, holding only the
// values.
//
// Setters and the pop-up belong to the main thread. `stringValue` and `intValue` of a text field
// may be called from any thread, so that the settings can still be saved when the main thread is
// stuck in a vendor library.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace feedline {

/// The integer at the start of a text, as a numeric field reads it: blanks, an optional sign,
/// digits. 0 when there is none; values beyond 32 bits give the nearest bound.
std::int32_t leadingInteger(std::string_view text);

class TextField {
public:
    virtual ~TextField() = default;

    virtual void setStringValue(const std::string& text) = 0;
    /// The text as it stands, what the user has typed included.
    virtual std::string stringValue() const = 0;

    /// From here on the field takes nothing from the user but an integer, or no text at all. What
    /// the program sets is taken as it is.
    virtual void keepNumeric() = 0;

    /// In decimal, without separators.
    void setIntValue(std::int32_t value) { setStringValue(std::to_string(value)); }
    std::int32_t intValue() const { return leadingInteger(stringValue()); }
};

class PopUpButton {
public:
    virtual ~PopUpButton() = default;

    /// Nothing is selected then.
    virtual void removeAllItems() = 0;
    virtual void addItemWithTitle(const std::string& title) = 0;

    /// Any value: one outside the list selects nothing.
    virtual void selectItemAtIndex(std::int64_t index) = 0;

    /// -1 when nothing is selected.
    virtual std::int64_t indexOfSelectedItem() const = 0;
};

/// A slider or an on/off button (1 on, 0 off). Main thread.
class ValueControl {
public:
    virtual ~ValueControl() = default;

    /// The position, within the range that the control offers.
    virtual std::int32_t intValue() const = 0;
};

/// The main window; the controller only keeps it.
class Window {
public:
    virtual ~Window() = default;
};

} // namespace feedline
