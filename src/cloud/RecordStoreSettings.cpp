#include "cloud/RecordStoreSettings.h"

#include "platform/BundleInfo.h"
#include "platform/Keyring.h"

namespace mnemora {

bool RecordStoreSettings::isConfigured() const {
    // The URL names the database itself, not only the server.
    const bool namesDatabase = databaseUrl.path().size() > 1;
    return databaseUrl.isValid() && !databaseUrl.host().isEmpty() && namesDatabase &&
           (databaseUrl.scheme() == QLatin1String("http") ||
            databaseUrl.scheme() == QLatin1String("https"));
}

RecordStoreSettings RecordStoreSettings::read(const QSettings& defaults) {
    return RecordStoreSettings{
        .databaseUrl = QUrl(defaults.value(QLatin1String(urlKey)).toString().trimmed()),
        .userName = defaults.value(QLatin1String(userNameKey)).toString().trimmed(),
    };
}

void RecordStoreSettings::write(QSettings& defaults) const {
    defaults.setValue(QLatin1String(urlKey), databaseUrl.toString());
    defaults.setValue(QLatin1String(userNameKey), userName);
    defaults.sync();
}

QString RecordStoreSettings::keyringService() {
    const QString& identifier = BundleInfo::main().identifier;
    return identifier.isEmpty() ? QStringLiteral("ai.mnemora") : identifier;
}

QString RecordStoreSettings::keyringKey() const {
    return userName + QLatin1Char('@') + databaseUrl.host();
}

QCoro::Task<RecordStoreSettings::AccountResult> RecordStoreSettings::loadAccount() const {
    if (!isConfigured()) {
        co_return AccountResult{std::nullopt, QStringLiteral("No record store is set up.")};
    }
    RecordStoreAccount account{databaseUrl, userName, {}};
    if (userName.isEmpty()) {
        co_return AccountResult{account, {}};
    }
    // A copy: the settings value may be gone when the keyring answers.
    const QString key = keyringKey();
    QCoro::Task<Keyring::ReadResult> reading =
        Keyring::readSecret(keyringService(), key);
    const Keyring::ReadResult read = co_await reading;
    if (!read.ok()) {
        co_return AccountResult{
            std::nullopt,
            QStringLiteral("The record store password could not be read. %1").arg(*read.error)};
    }
    if (!read.secret) {
        co_return AccountResult{
            std::nullopt,
            QStringLiteral("No record store password for %1 is stored in the keyring.").arg(key)};
    }
    account.password = *read.secret;
    co_return AccountResult{account, {}};
}

QCoro::Task<std::optional<QString>> RecordStoreSettings::storePassword(QString password) const {
    QCoro::Task<std::optional<QString>> writing =
        Keyring::writeSecret(keyringService(), keyringKey(), password);
    const std::optional<QString> failure = co_await writing;
    if (failure) {
        co_return QStringLiteral("The record store password could not be stored. %1").arg(*failure);
    }
    co_return std::nullopt;
}

} // namespace mnemora
