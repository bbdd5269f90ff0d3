#include "ui/CloseSessionsModel.h"

#include <QLocale>

#include "app/Brand.h"
#include "app/UserDefaults.h"
#include "daemon/DaemonEndpoints.h"
#include "daemon/DaemonService.h"
#include "integrations/Dreamer.h"
#include "periodclose/PeriodWord.h"
#include "platform/TerminalLauncher.h"

namespace mnemora {

namespace {

const QString kCloseCadence = QStringLiteral("period-close");

// What a session works on, in the user's words.
QString titleOf(const QString& name) {
    if (name.startsWith(sessionNamePrefix(kCloseCadence, brand()))) {
        return QStringLiteral("Bookkeeping close");
    }
    for (const Dreamer::Cadence& cadence : Dreamer::cadences()) {
        if (name.startsWith(sessionNamePrefix(cadence.cadence, brand()))) {
            return cadence.cardTitle;
        }
    }
    return QStringLiteral("Background session");
}

QString limitText(const SessionLimit& limit) {
    QString text = limit.message.trimmed();
    if (text.isEmpty()) {
        text = QStringLiteral("Paused at its usage limit");
    }
    if (limit.resetsAt) {
        text += QStringLiteral(" — picks up by itself around ") +
                QLocale().toString(limit.resetsAt->toLocalTime(), QLocale::ShortFormat);
    }
    return text;
}

} // namespace

CloseSessionsModel::CloseSessionsModel(DaemonService* daemon, QObject* parent)
    : QObject(parent)
    , daemon_(daemon) {}

void CloseSessionsModel::setScope(const QString& books, const QString& period) {
    books_ = books;
    period_ = period;
    emit changed();
}

QVariantList CloseSessionsModel::sessions() const {
    QVariantList rows;
    for (const QString& name : live_.sessions) {
        const auto limit = live_.limits.constFind(name);
        rows << QVariantMap{{QStringLiteral("name"), name},
                            {QStringLiteral("title"), titleOf(name)},
                            {QStringLiteral("label"), Dreamer::shortLabel(name, brand())},
                            {QStringLiteral("limit"),
                             limit == live_.limits.constEnd() ? QString() : limitText(*limit)}};
    }
    return rows;
}

bool CloseSessionsModel::closeRunning() const {
    return !Dreamer::sessionsOf(kCloseCadence, live_.sessions, brand()).isEmpty();
}

bool CloseSessionsModel::showAttach() const {
    return UserDefaults().boolValue(QString::fromLatin1(UserDefaults::showSessionTerminal));
}

void CloseSessionsModel::setShowAttach(bool show) {
    UserDefaults().setBool(QString::fromLatin1(UserDefaults::showSessionTerminal), show);
    emit changed();
}

QString CloseSessionsModel::showAttachLabel() {
    return QStringLiteral("Show \"Attach\" button (open the raw session in a terminal)");
}

QString CloseSessionsModel::showAttachText() {
    return QStringLiteral("For debugging. When on, the Books run view shows an Attach button "
                          "that opens the AI session in a terminal. \"Stop\" is always "
                          "available regardless.");
}

QString CloseSessionsModel::attachHelp() {
    return Dreamer::attachHelp();
}

QString CloseSessionsModel::stopHelp() {
    return Dreamer::stopHelp();
}

QString CloseSessionsModel::startText() const {
    return QStringLiteral("Start closing ") + PeriodWord::label(period_, QLocale());
}

QString CloseSessionsModel::emptyText() const {
    return QStringLiteral("No session is running. A close starts on its schedule, or now with "
                          "the button above; it stops by itself when it is done.");
}

void CloseSessionsModel::start() {
    // Started and left: the coroutine guards this model.
    startClose();
}

void CloseSessionsModel::stop(const QString& name) {
    // Started and left: the coroutine guards this model.
    kill(name);
}

void CloseSessionsModel::attach(const QString& name) {
    // Started and left: the coroutine guards this model.
    openTerminal(name);
}

void CloseSessionsModel::refresh() {
    // Started and left: the coroutine guards this model.
    load();
}

QCoro::Task<> CloseSessionsModel::load() {
    QPointer<CloseSessionsModel> self(this);
    QCoro::Task<std::optional<DreamerSessions>> fetching =
        DaemonEndpoints::dreamerSessions(daemon_);
    const std::optional<DreamerSessions> live = co_await fetching;
    if (!self || !live || (known_ && *live == live_)) {
        co_return;
    }
    live_ = *live;
    known_ = true;
    emit changed();
}

QCoro::Task<> CloseSessionsModel::startClose() {
    QPointer<CloseSessionsModel> self(this);
    busy_ = true;
    emit messageChanged();
    DreamerTrigger trigger;
    trigger.cadence = kCloseCadence;
    trigger.period = period_;
    trigger.books = books_.isEmpty() ? std::nullopt : std::optional(books_);
    QCoro::Task<Expected<void>> asking = DaemonEndpoints::triggerDreamer(daemon_, trigger);
    const Expected<void> result = co_await asking;
    if (!self) {
        co_return;
    }
    busy_ = false;
    report(result, QStringLiteral("Session spawned. Refreshing…"));
    QCoro::Task<> reloading = load();
    co_await reloading;
}

QCoro::Task<> CloseSessionsModel::kill(QString name) {
    QPointer<CloseSessionsModel> self(this);
    QCoro::Task<Expected<void>> killing = DaemonEndpoints::killSession(daemon_, name);
    const Expected<void> result = co_await killing;
    if (!self) {
        co_return;
    }
    report(result, QStringLiteral("Stopped. Nothing it had already found is lost."));
    QCoro::Task<> reloading = load();
    co_await reloading;
}

QCoro::Task<> CloseSessionsModel::openTerminal(QString name) {
    QPointer<CloseSessionsModel> self(this);
    QPointer<TerminalLauncher> terminal = terminal_;
    if (!terminal) {
        report(fail(QStringLiteral("Sessions can be watched from the main window only.")), {});
        co_return;
    }
    QCoro::Task<TerminalLauncher::Result> opening = terminal->openTmuxSession(name);
    const TerminalLauncher::Result launched = co_await opening;
    if (self) {
        report(launched ? Expected<void>(fail(launched->text())) : Expected<void>(), {});
    }
}

void CloseSessionsModel::report(const Expected<void>& result, const QString& success) {
    message_ = result.ok() ? success : QString();
    errorText_ = result.error();
    emit messageChanged();
}

} // namespace mnemora
