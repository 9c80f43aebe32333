// SPDX-License-Identifier: MIT
// The server's properties as a caller sees them, without the bus: what they hold and which values
// they take.
#pragma once

#include "platform/ServerControls.h"

#include <cstdint>
#include <functional>
#include <string>
#include <variant>
#include <vector>

namespace feedline::dbus {

using Value = std::variant<bool, std::int32_t, std::string, std::vector<std::string>, AlertRecord>;

/// One property. Main thread.
struct Property {
    const char* name;
    const char* type; ///< D-Bus signature of the values it holds
    bool constant;    ///< never changes after launch
    std::function<Value()> read;

    /// Hands a value of the property's own type to the control, whose action runs before this
    /// returns. The result says in one line what is wrong with it, nothing having changed then; it
    /// is empty when the control has it. Null for a property that cannot be written.
    std::function<std::string(const Value&)> write;
};

/// All of them, in the order of docs/control.md. `controls` must outlive them.
std::vector<Property> propertiesOf(const ServerControls& controls);

} // namespace feedline::dbus
