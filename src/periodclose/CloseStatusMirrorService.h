#pragma once

#include <QObject>
#include <QPointer>
#include <QSet>
#include <QString>

#include <QCoroTask>

#include <chrono>
#include <optional>
#include <string>

#include "app/CancellableLoop.h"
#include "periodclose/CloseStatusDerivation.h"
#include "sync/SyncLog.h"

namespace mnemora {

class DaemonService;
class DatabaseService;

// Keeps the phone's close status and ledger documents (`status/close*.md`, `status/ledger*.md`
// under Notes) and the vault's name document (`status/vault.md`) in step with the run's files and
// the open questions. The block sync carries them from there. A document is written through the
// daemon only when its text changed, so a settled close costs a folder scan and no traffic; the
// documents of books that are gone are emptied, not deleted, so that the phone sees them end.
class CloseStatusMirrorService : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString lastError READ lastError NOTIFY lastErrorChanged)

public:
    static constexpr std::chrono::milliseconds defaultInterval{15'000};
    static constexpr int questionLimit = 200;

    CloseStatusMirrorService(DatabaseService* database, DaemonService* daemon, SyncLog log,
                             std::optional<QString> vaultDisplayName, QObject* parent = nullptr);
    ~CloseStatusMirrorService() override;

    const QString& lastError() const { return lastError_; }
    const std::optional<QString>& notesRoot() const { return notesRoot_; }

    // The business named when neither the run nor its books name one.
    void setFallbackBusiness(std::optional<QString> business) {
        fallbackBusiness_ = std::move(business);
    }

    // Stops what ran before; the first tick runs at once, then one every `interval`.
    void start(QString notesRoot, std::chrono::milliseconds interval = defaultInterval);
    void stop();
    bool isRunning() const { return pollTask_.isActive(); }

    // One pass over every document. Without a Notes folder it does nothing.
    QCoro::Task<> tick();

signals:
    void lastErrorChanged();

private:
    static QCoro::Task<> tickFor(QPointer<CloseStatusMirrorService> self);
    QCoro::Task<QList<CloseStatusDerivation::OpenQuestion>> openQuestions();
    // Empties the close and ledger documents whose path is not in `live`.
    QCoro::Task<> retireOrphans(QSet<QString> live);
    // Writes `text` to the Notes-relative `path` unless the file already holds it, saying
    // "regenerating {path}: {regenerating}" first when that is given. True when it wrote.
    QCoro::Task<bool> write(QString path, std::string text, std::optional<QString> regenerating);
    void setLastError(const QString& error);

    QPointer<DatabaseService> database_;
    QPointer<DaemonService> daemon_;
    SyncLog log_;
    std::optional<QString> vaultDisplayName_;
    std::optional<QString> fallbackBusiness_;
    std::optional<QString> notesRoot_;
    QString lastError_;
    CancellableTask pollTask_;
};

} // namespace mnemora
