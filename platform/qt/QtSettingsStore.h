// SPDX-License-Identifier: MIT
// The settings store over QSettings: organisation and application "feedline", native format. On
// Linux that is the section [General] of $XDG_CONFIG_HOME/feedline/feedline.conf, or of the file
// that FEEDLINE_SETTINGS names, as runs over emulated receivers have it.
#pragma once

#include "platform/SettingsStore.h"

#include <QMap>
#include <QString>
#include <QVariant>

#include <mutex>

namespace feedline {

/// Any thread may call. Each access opens the file anew, so no QSettings object is bound to a
/// thread. Changes are kept until `synchronize` replaces the file by a complete new one; what the
/// file system refuses is given up without a word, and the file stays as it was.
class QtSettingsStore final : public SettingsStore {
public:
    std::int64_t integerForKey(const std::string& key) const override;
    std::optional<std::string> stringForKey(const std::string& key) const override;
    void setInteger(std::int64_t value, const std::string& key) override;
    void setString(const std::string& value, const std::string& key) override;
    void synchronize() override;

private:
    QVariant value(const std::string& key) const;
    void setValue(const QVariant& value, const std::string& key);

    mutable std::mutex mutex_;
    QMap<QString, QVariant> pending_;
};

} // namespace feedline
