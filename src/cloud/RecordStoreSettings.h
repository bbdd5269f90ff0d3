#pragma once

#include <QSettings>
#include <QString>
#include <QUrl>

#include <QCoroTask>

#include <optional>

namespace mnemora {

// Where the account's record database is and who may use it. The password never sits in the
// defaults: it lives in the desktop keyring.
struct RecordStoreAccount {
    QUrl databaseUrl; // the whole URL of the account's database, e.g. https://host/mnemora-anna
    QString userName; // empty for a server that needs no sign-in
    QString password;

    bool operator==(const RecordStoreAccount&) const = default;
};

// The record store's settings as the user defaults keep them.
struct RecordStoreSettings {
    static constexpr const char* urlKey = "syncedDocs.recordStore.url";
    static constexpr const char* userNameKey = "syncedDocs.recordStore.userName";

    QUrl databaseUrl;
    QString userName;

    // True when a usable database URL is set; without one sync stays off.
    bool isConfigured() const;

    static RecordStoreSettings read(const QSettings& defaults);
    void write(QSettings& defaults) const;

    // The keyring entry of the password: the bundle's identifier as service, and
    // "{userName}@{host}" as key.
    static QString keyringService();
    QString keyringKey() const;

    // The account with its password from the keyring. Without a user name nothing is read from
    // the keyring. A keyring that cannot be reached, or holds no password for the user, gives
    // the words to show.
    struct AccountResult {
        std::optional<RecordStoreAccount> account;
        QString error;
    };
    QCoro::Task<AccountResult> loadAccount() const;

    // Stores the password in the keyring; gives the failure's words, none on success.
    QCoro::Task<std::optional<QString>> storePassword(QString password) const;

    bool operator==(const RecordStoreSettings&) const = default;
};

} // namespace mnemora
