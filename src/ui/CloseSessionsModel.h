#pragma once

#include <QObject>
#include <QPointer>
#include <QVariantList>

#include <QCoroTask>

#include "daemon/DreamerSessions.h"
#include "platform/Expected.h"

namespace mnemora {

class DaemonService;
class TerminalLauncher;

// The agent sessions behind Tallo's closes: which are alive now, any usage limit one of them hit
// and when it lifts, a way to start the close of the period in view, to stop a session, and, when
// the user asked for it in the settings, to watch one in a terminal.
class CloseSessionsModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(QVariantList sessions READ sessions NOTIFY changed)
    Q_PROPERTY(bool closeRunning READ closeRunning NOTIFY changed)
    Q_PROPERTY(bool showAttach READ showAttach WRITE setShowAttach NOTIFY changed)
    Q_PROPERTY(QString showAttachLabel READ showAttachLabel CONSTANT)
    Q_PROPERTY(QString showAttachText READ showAttachText CONSTANT)
    Q_PROPERTY(QString attachHelp READ attachHelp CONSTANT)
    Q_PROPERTY(QString stopHelp READ stopHelp CONSTANT)
    Q_PROPERTY(QString startText READ startText NOTIFY changed)
    Q_PROPERTY(QString emptyText READ emptyText NOTIFY changed)
    Q_PROPERTY(QString message READ message NOTIFY messageChanged)
    Q_PROPERTY(QString errorText READ errorText NOTIFY messageChanged)
    Q_PROPERTY(bool busy READ busy NOTIFY messageChanged)

public:
    CloseSessionsModel(DaemonService* daemon, QObject* parent = nullptr);

    void setScope(const QString& books, const QString& period);
    // Where a terminal is opened on a session; none leaves attaching off.
    void setTerminal(TerminalLauncher* terminal) { terminal_ = terminal; }

    QVariantList sessions() const;
    // A session of the period close is alive.
    bool closeRunning() const;
    // The daemon has told which sessions are alive at least once.
    bool known() const { return known_; }
    bool showAttach() const;
    void setShowAttach(bool show);
    static QString showAttachLabel();
    static QString showAttachText();
    static QString attachHelp();
    static QString stopHelp();
    QString startText() const;
    QString emptyText() const;
    const QString& message() const { return message_; }
    const QString& errorText() const { return errorText_; }
    bool busy() const { return busy_; }

    Q_INVOKABLE void start();
    Q_INVOKABLE void stop(const QString& name);
    Q_INVOKABLE void attach(const QString& name);
    Q_INVOKABLE void refresh();

    QCoro::Task<> load();
    QCoro::Task<> startClose();
    QCoro::Task<> kill(QString name);
    QCoro::Task<> openTerminal(QString name);

signals:
    void changed();
    void messageChanged();

private:
    void report(const Expected<void>& result, const QString& success);

    QPointer<DaemonService> daemon_;
    QPointer<TerminalLauncher> terminal_;
    QString books_;
    QString period_;
    DreamerSessions live_;
    bool known_ = false;
    QString message_;
    QString errorText_;
    bool busy_ = false;
};

} // namespace mnemora
