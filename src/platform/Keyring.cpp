#include "platform/Keyring.h"

#include <QTimer>

#include <QCoroSignal>

#include <qt6keychain/keychain.h>

namespace mnemora::platform::Keyring {

namespace {

// QtKeychain may report a missing service from inside start(); starting the job on the next turn
// of the event loop makes sure the coroutine already listens for `finished`.
QCoro::Task<> run(QKeychain::Job& job) {
    job.setAutoDelete(false);
    QTimer::singleShot(0, &job, [&job] { job.start(); });
    co_await qCoro(&job, &QKeychain::Job::finished);
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
    QKeychain::DeletePasswordJob job(service);
    job.setKey(key);
    QCoro::Task<> finished = run(job);
    co_await finished;
    if (job.error() == QKeychain::NoError || job.error() == QKeychain::EntryNotFound) {
        co_return std::nullopt;
    }
    co_return failureText(job);
}

} // namespace mnemora::platform::Keyring
