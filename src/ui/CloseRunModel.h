#pragma once

#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QVariantList>

#include <QCoroTask>

#include <optional>

#include "periodclose/RunLiveness.h"
#include "platform/Expected.h"

namespace mnemora {

class DaemonService;
class PeriodCloseStore;

// The run of one period of one set of books as its screens show it: where the close stands,
// its steps and what it is doing, the deliverables, the ledger of its lines with their total and
// the lines nothing backs, the candidates to accept or drop, and what it did once finished. It
// reads the shell's store; accepting, dropping and resuming go to the daemon.
class CloseRunModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool hasRun READ hasRun NOTIFY changed)
    Q_PROPERTY(QString periodLabel READ periodLabel NOTIFY changed)
    Q_PROPERTY(QString phaseLabel READ phaseLabel NOTIFY changed)
    Q_PROPERTY(QVariantList phases READ phases NOTIFY changed)
    Q_PROPERTY(QVariantList steps READ steps NOTIFY changed)
    Q_PROPERTY(QString activity READ activity NOTIFY changed)
    Q_PROPERTY(QString livenessText READ livenessText NOTIFY changed)
    Q_PROPERTY(bool working READ working NOTIFY changed)
    Q_PROPERTY(bool stopped READ stopped NOTIFY changed)
    Q_PROPERTY(QVariantList deliverables READ deliverables NOTIFY changed)
    Q_PROPERTY(QString deliverableCount READ deliverableCount NOTIFY changed)
    Q_PROPERTY(QVariantList ledger READ ledger NOTIFY changed)
    Q_PROPERTY(QStringList totals READ totals NOTIFY changed)
    Q_PROPERTY(QVariantList unbacked READ unbacked NOTIFY changed)
    Q_PROPERTY(QString ledgerSummary READ ledgerSummary NOTIFY changed)
    Q_PROPERTY(QVariantList candidates READ candidates NOTIFY changed)
    Q_PROPERTY(bool finished READ finished NOTIFY changed)
    Q_PROPERTY(QString doneSentence READ doneSentence NOTIFY changed)
    Q_PROPERTY(QStringList detailSentences READ detailSentences NOTIFY changed)
    Q_PROPERTY(QString factsLine READ factsLine NOTIFY changed)
    Q_PROPERTY(QString message READ message NOTIFY messageChanged)
    Q_PROPERTY(QString errorText READ errorText NOTIFY messageChanged)
    Q_PROPERTY(bool busy READ busy NOTIFY busyChanged)

public:
    CloseRunModel(PeriodCloseStore* store, DaemonService* daemon, QObject* parent = nullptr);

    // The books and period in view; the store already holds them.
    void setScope(const QString& books, const QString& period);
    const QString& books() const { return books_; }
    const QString& period() const { return period_; }

    bool hasRun() const;
    QString periodLabel() const;
    QString phaseLabel() const;
    QVariantList phases() const;
    QVariantList steps() const;
    QString activity() const;
    // Whether the run truly works: the line for it, none until the sessions are known and none
    // for a finished close.
    QString livenessText() const;
    bool working() const;
    // Marked running while no session works on it: cut off, waiting for Resume.
    bool stopped() const;
    QVariantList deliverables() const;
    QString deliverableCount() const;
    QVariantList ledger() const;
    QStringList totals() const;
    QVariantList unbacked() const;
    // How many lines, their total, and how many nothing backs yet, in one line.
    QString ledgerSummary() const;
    QVariantList candidates() const;
    bool finished() const;
    QString doneSentence() const;
    QStringList detailSentences() const;
    QString factsLine() const;
    const QString& message() const { return message_; }
    const QString& errorText() const { return errorText_; }
    bool busy() const { return busy_; }

    // Whether a session of the period close is alive now, from the sessions list; none until
    // the daemon has been asked.
    void setSessionAlive(std::optional<bool> alive);

    Q_INVOKABLE void accept(const QString& lineKey);
    Q_INVOKABLE void exclude(const QString& lineKey);
    // Starts the period's run again where it stopped.
    Q_INVOKABLE void resume();
    // The same for another period of these books, one the daemon reports cut off.
    Q_INVOKABLE void resumePeriod(const QString& period);

    QCoro::Task<> setStatus(QString lineKey, QString status);
    QCoro::Task<> startRun(QString period);

signals:
    void changed();
    void messageChanged();
    void busyChanged();
    // An action changed something the daemon holds: the shell reads the run again.
    void reloadRequested();

private:
    void report(const Expected<void>& result, const QString& success);
    void setBusy(bool busy);
    std::optional<RunLiveness::State> liveness() const;

    QPointer<PeriodCloseStore> store_;
    QPointer<DaemonService> daemon_;
    QString books_;
    QString period_;
    std::optional<bool> sessionAlive_;
    QString message_;
    QString errorText_;
    bool busy_ = false;
};

} // namespace mnemora
