// SPDX-License-Identifier: MIT
#include "platform/qt/QtSettingsStore.h"

#include <QFile>
#include <QLockFile>
#include <QSettings>
#include <QStringList>

#include <cstdlib>

namespace feedline {
namespace {

/// The file that the environment names, or else the user's.
QString settingsFile() {
    const QString named = qEnvironmentVariable("FEEDLINE_SETTINGS");
    return named.isEmpty() ? QSettings("feedline", "feedline").fileName() : named;
}

/// One file and no other: settings opened by name have no others to fall back on.
struct OneFile : QSettings {
    OneFile() : QSettings(settingsFile(), QSettings::NativeFormat) {}
};

/// Whether a save can go ahead at once. The toolkit waits for the lock file beside the settings:
/// for ever while its owner lives, and for half a minute when a power cut or a kill has left it
/// behind empty. An abandoned one is taken away here; one whose owner lives stays, since the system
/// holds its lock, and the end of the program does not wait for it.
bool lockIsFree(const QString& file) {
    const QString name = file + ".lock";
    if (!QFile::exists(name))
        return true;
    QLockFile lock(name);
    lock.setStaleLockTime(1); // millisecond
    return lock.tryLock(300); // milliseconds
}

/// A text with unquoted commas, as people write them by hand, is a list to QSettings.
QString asText(const QVariant& value) {
    if (value.typeId() == QMetaType::QStringList)
        return value.toStringList().join(',');
    return value.toString();
}

} // namespace

QVariant QtSettingsStore::value(const std::string& key) const {
    const std::lock_guard lock(mutex_);
    const QString name = QString::fromStdString(key);
    if (const auto pending = pending_.constFind(name); pending != pending_.cend())
        return *pending;
    return OneFile().value(name);
}

void QtSettingsStore::setValue(const QVariant& value, const std::string& key) {
    const std::lock_guard lock(mutex_);
    pending_[QString::fromStdString(key)] = value;
}

std::int64_t QtSettingsStore::integerForKey(const std::string& key) const {
    return std::strtoll(asText(value(key)).toStdString().c_str(), nullptr, 10);
}

std::optional<std::string> QtSettingsStore::stringForKey(const std::string& key) const {
    const QVariant found = value(key);
    if (!found.isValid())
        return std::nullopt;
    return asText(found).toStdString();
}

void QtSettingsStore::setInteger(std::int64_t value, const std::string& key) {
    setValue(QVariant::fromValue<qlonglong>(value), key);
}

void QtSettingsStore::setString(const std::string& value, const std::string& key) {
    setValue(QString::fromStdString(value), key);
}

void QtSettingsStore::synchronize() {
    const std::lock_guard lock(mutex_);
    OneFile settings; // It writes what it was given when it goes.
    if (lockIsFree(settings.fileName()))
        for (auto change = pending_.cbegin(); change != pending_.cend(); ++change)
            settings.setValue(change.key(), change.value());
    pending_.clear();
}

} // namespace feedline
