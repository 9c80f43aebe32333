#include "platform/qt/QtSettingsStore.h"

#include <QSettings>
#include <QStringList>

#include <cstdlib>

namespace feedline {
namespace {

class UserSettings : public QSettings {
public:
    UserSettings() : QSettings("feedline", "feedline") {
        setFallbacksEnabled(false); // One file, the one the manual names.
    }
};

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
    return UserSettings().value(name);
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
    UserSettings settings;
    for (auto change = pending_.cbegin(); change != pending_.cend(); ++change)
        settings.setValue(change.key(), change.value());
    settings.sync();
    pending_.clear();
}

} // namespace feedline
