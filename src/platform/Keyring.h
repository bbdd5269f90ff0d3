#pragma once

#include <QString>

#include <QCoroTask>

#include <optional>

namespace mnemora {

// The desktop's secret store (the Secret Service keyring or KWallet) through QtKeychain. Secrets
// are filed under a service name and an account key. A desktop without any such service gives an
// error with words a person can act on; it never stops the program.
namespace Keyring {

// What a read came to: the secret, none when nothing is stored under the key, or the failure.
struct ReadResult {
    std::optional<QString> secret;
    std::optional<QString> error;

    bool ok() const { return !error; }
};

QCoro::Task<ReadResult> readSecret(QString service, QString key);

// Stores `secret` under the key, replacing what was there. Gives the failure's words, none on
// success.
QCoro::Task<std::optional<QString>> writeSecret(QString service, QString key, QString secret);

// Removes the secret; a key with nothing stored is no failure.
QCoro::Task<std::optional<QString>> deleteSecret(QString service, QString key);

} // namespace Keyring

} // namespace mnemora
