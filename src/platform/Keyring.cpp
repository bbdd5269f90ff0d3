#include "platform/Keyring.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QTimer>

#include <QCoroSignal>

#include <qt6keychain/keychain.h>

namespace mnemora::Keyring {

namespace {

// QtKeychain may report a missing service from inside start(); starting the job on the next turn
// of the event loop makes sure the coroutine already listens for `finished`.
QCoro::Task<> run(QKeychain::Job& job) {
    job.setAutoDelete(false);
    QTimer::singleShot(0, &job, [&job] { job.start(); });
    auto finished = qCoro(&job, &QKeychain::Job::finished);
    co_await finished;
}

// QtKeychain words a desktop without any keyring as "Unknown error"; we look for one first.
std::optional<QString> missingService() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        return QStringLiteral("No keyring service is available: this desktop session has no "
                              "D-Bus session bus.");
    }
    const QStringList services{QStringLiteral("org.freedesktop.secrets"),
                               QStringLiteral("org.kde.kwalletd5"),
                               QStringLiteral("org.kde.kwalletd6")};
    QDBusConnectionInterface* registry = bus.interface();
    const QStringList activatable = registry->activatableServiceNames().value();
    for (const QString& service : services) {
        if (registry->isServiceRegistered(service).value() || activatable.contains(service)) {
            return std::nullopt;
        }
    }
    return QStringLiteral("No keyring service is available: neither a Secret Service keyring "
                          "(such as GNOME Keyring or KeePassXC) nor KWallet runs in this "
                          "session.");
}

QString failureText(const QKeychain::Job& job) {
    if (job.error() == QKeychain::NoBackendAvailable) {
        return QStringLiteral("No keyring service is available on this desktop (%1). Start the "
                              "desktop's keyring (for example GNOME Keyring or KWallet) and try "
                              "again.")
            .arg(job.errorString());
    }
    if (job.error() == QKeychain::AccessDenied || job.error() == QKeychain::AccessDeniedByUser) {
        return QStringLiteral("The keyring refused access: %1").arg(job.errorString());
    }
    return QStringLiteral("The keyring could not be used: %1").arg(job.errorString());
}

} // namespace

QCoro::Task<ReadResult> readSecret(QString service, QString key) {
    if (auto missing = missingService()) {
        co_return ReadResult{.secret = std::nullopt, .error = missing};
    }
    QKeychain::ReadPasswordJob job(service);
    job.setKey(key);
    QCoro::Task<> finished = run(job);
    co_await finished;
    if (job.error() == QKeychain::NoError) {
        co_return ReadResult{.secret = job.textData(), .error = std::nullopt};
    }
    if (job.error() == QKeychain::EntryNotFound) {
        co_return ReadResult{};
    }
    co_return ReadResult{.secret = std::nullopt, .error = failureText(job)};
}

QCoro::Task<std::optional<QString>> writeSecret(QString service, QString key, QString secret) {
    if (auto missing = missingService()) {
        co_return missing;
    }
    QKeychain::WritePasswordJob job(service);
    job.setKey(key);
    job.setTextData(secret);
    QCoro::Task<> finished = run(job);
    co_await finished;
    if (job.error() == QKeychain::NoError) {
        co_return std::nullopt;
    }
    co_return failureText(job);
}

QCoro::Task<std::optional<QString>> deleteSecret(QString service, QString key) {
    if (auto missing = missingService()) {
        co_return missing;
    }
    QKeychain::DeletePasswordJob job(service);
    job.setKey(key);
    QCoro::Task<> finished = run(job);
    co_await finished;
    if (job.error() == QKeychain::NoError || job.error() == QKeychain::EntryNotFound) {
        co_return std::nullopt;
    }
    co_return failureText(job);
}

} // namespace mnemora::Keyring
