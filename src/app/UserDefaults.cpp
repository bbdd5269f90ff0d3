#include "app/UserDefaults.h"

#include "app/Brand.h"
#include "platform/Paths.h"

namespace mnemora {

QString UserDefaults::syncEngineStateKey(const QString& zone) {
    return QLatin1String(syncEngineState) + QLatin1Char('.') + zone;
}

UserDefaults::UserDefaults()
    : UserDefaults(bundleIdentifier()) {}

UserDefaults::UserDefaults(const QString& bundleIdentifier)
    : settings_(std::make_unique<QSettings>(Paths::preferencesRoot() + QLatin1Char('/') +
                                                bundleIdentifier + QStringLiteral(".ini"),
                                            QSettings::IniFormat)) {}

QString UserDefaults::filePath() const {
    return settings_->fileName();
}

bool UserDefaults::boolValue(const QString& key) const {
    return settings_->value(key, false).toBool();
}

void UserDefaults::setBool(const QString& key, bool value) {
    settings_->setValue(key, value);
    settings_->sync();
}

std::optional<QString> UserDefaults::stringValue(const QString& key) const {
    const QVariant value = settings_->value(key);
    return value.isValid() ? std::optional(value.toString()) : std::nullopt;
}

void UserDefaults::setString(const QString& key, const QString& value) {
    settings_->setValue(key, value);
    settings_->sync();
}

std::optional<QByteArray> UserDefaults::dataValue(const QString& key) const {
    const QVariant value = settings_->value(key);
    return value.isValid() ? std::optional(value.toByteArray()) : std::nullopt;
}

void UserDefaults::setData(const QString& key, const QByteArray& value) {
    settings_->setValue(key, value);
    settings_->sync();
}

void UserDefaults::remove(const QString& key) {
    settings_->remove(key);
    settings_->sync();
}

} // namespace mnemora
