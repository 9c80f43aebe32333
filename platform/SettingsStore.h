// SPDX-License-Identifier: MIT
// The user's persistent settings: integers and texts under their keys.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace feedline {

/// Read once at launch, written once at exit. Main thread, or the thread that ends the process in
/// the main thread's place. A store that cannot be read has no keys; one that cannot be written
/// loses nothing it held.
class SettingsStore {
public:
    virtual ~SettingsStore() = default;

    /// 0 for a missing key and for a value that is no number.
    virtual std::int64_t integerForKey(const std::string& key) const = 0;

    /// Nothing for a missing key; an empty text is a value.
    virtual std::optional<std::string> stringForKey(const std::string& key) const = 0;

    /// Changes are read back at once, and kept for `synchronize`.
    virtual void setInteger(std::int64_t value, const std::string& key) = 0;
    virtual void setString(const std::string& value, const std::string& key) = 0;

    /// Writes pending changes out: all of them or, when the process or the machine dies on the way,
    /// none.
    virtual void synchronize() = 0;
};

} // namespace feedline
