#pragma once

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

#include <QCoroTask>

#include <memory>
#include <optional>

#include "periodclose/PeriodCloseMaterial.h"
#include "periodclose/PeriodCloseRun.h"
#include "periodclose/PeriodSummary.h"

namespace mnemora {

class ReadPool;

// The read side of the closes that the daemon indexes: a run, its lines and the list of runs, for
// the run screens. It reads the index through a read-only pool of its own and never writes; every
// change goes to the daemon. Nothing polls here: the screens call `load` when they want news.
// A failed query leaves what was published as it was; its words land in `lastError`.
class PeriodCloseStore : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool available READ available NOTIFY availableChanged)
    Q_PROPERTY(QString books READ books NOTIFY booksChanged)
    Q_PROPERTY(std::optional<mnemora::PeriodCloseRun> run READ run NOTIFY runChanged)
    Q_PROPERTY(QList<mnemora::PeriodCloseMaterial> materials READ materials NOTIFY materialsChanged)
    Q_PROPERTY(QList<mnemora::PeriodSummary> allRuns READ allRuns NOTIFY allRunsChanged)
    Q_PROPERTY(QList<mnemora::PeriodSummary> allRunsEverywhere READ allRunsEverywhere NOTIFY
                   allRunsEverywhereChanged)
    Q_PROPERTY(QString lastError READ lastError NOTIFY lastErrorChanged)

public:
    // A vault runtime passes its vault; the primary vault passes none and reads the index its
    // configuration points to.
    explicit PeriodCloseStore(std::optional<QString> vaultRoot = std::nullopt,
                              QObject* parent = nullptr);
    ~PeriodCloseStore() override;

    // False until the daemon has built the index; the screens then say nothing is indexed yet.
    bool available() const { return available_; }
    // The slug of the books in view; empty at the start.
    const QString& books() const { return books_; }
    const std::optional<PeriodCloseRun>& run() const { return run_; }
    const QList<PeriodCloseMaterial>& materials() const { return materials_; }
    // The runs of the books in view, newest period first.
    const QList<PeriodSummary>& allRuns() const { return allRuns_; }
    // The runs of every set of books, newest period first.
    const QList<PeriodSummary>& allRunsEverywhere() const { return allRunsEverywhere_; }
    const QString& lastError() const { return lastError_; }

    const std::optional<QString>& vaultRoot() const { return vaultRoot_; }
    // `registry_index.sqlite` in the vault's cache folder; with no vault, in the folder the
    // default configuration file gives.
    QString indexPath() const;

    // Another vault starts from nothing: the pool and everything published are dropped.
    void setVaultRoot(const std::optional<QString>& folder);
    // Other books drop the run, its lines and their list of runs.
    void setBooks(const QString& slug);

    // Reads the run of the books in view for `period`, with its lines. Books with no deliverable
    // yet in that period get the deliverables they had in earlier ones, still to be gathered.
    QCoro::Task<> load(QString period);
    QCoro::Task<> loadAllRuns();
    QCoro::Task<> loadAllRunsEverywhere();
    // Every set of books that has a run; empty when nothing is indexed or the query fails.
    QCoro::Task<QStringList> allBookSlugs();

    // Derived from `materials` at each call.
    QList<PeriodCloseMaterial> visibleMaterials() const;
    QList<PeriodCloseMaterial> candidates() const;
    QList<PeriodCloseMaterial> deliverables() const;
    QList<PeriodCloseMaterial> unbackedRows() const;
    double visibleTotal() const;

signals:
    void availableChanged();
    void booksChanged();
    void runChanged();
    void materialsChanged();
    void allRunsChanged();
    void allRunsEverywhereChanged();
    void lastErrorChanged();

private:
    struct Loaded;

    // Opens the pool when there is none and the file exists; true when there is a pool.
    bool open();
    QCoro::Task<std::optional<QList<PeriodSummary>>> readSummaries(std::optional<QString> books);
    void fail(const QString& error);
    void setAvailable(bool available);
    void setRun(const std::optional<PeriodCloseRun>& run);
    void setMaterials(const QList<PeriodCloseMaterial>& materials);
    void setAllRuns(const QList<PeriodSummary>& runs);
    void setAllRunsEverywhere(const QList<PeriodSummary>& runs);

    std::optional<QString> vaultRoot_;
    std::shared_ptr<ReadPool> pool_;
    bool available_ = false;
    QString books_;
    std::optional<PeriodCloseRun> run_;
    QList<PeriodCloseMaterial> materials_;
    QList<PeriodSummary> allRuns_;
    QList<PeriodSummary> allRunsEverywhere_;
    QString lastError_;
    // Raised by every request and every change of vault or books: only the answer to the latest
    // request is published, so a slow read never overwrites a newer one or lands on other books.
    quint64 loadSerial_ = 0;
    quint64 allRunsSerial_ = 0;
    quint64 everywhereSerial_ = 0;
};

} // namespace mnemora
