#include "integrations/Dreamer.h"

namespace mnemora::Dreamer {

const QList<Cadence>& cadences() {
    static const QList<Cadence> all{
        {QStringLiteral("narrative"), QStringLiteral("Narrative (daily)"),
         QStringLiteral("Writes or revises the first-draft biography for yesterday + fresh "
                        "narrative entries."),
         QStringLiteral("Narrative (daily)"),
         QStringLiteral("Drafts / revises yesterday's biography + fresh narrative entries.")},
        {QStringLiteral("detective"), QStringLiteral("Detective (uncertainty)"),
         QStringLiteral("Investigates low-confidence faces / places / dates the indexer flagged "
                        "as questions."),
         QStringLiteral("Detective (uncertainty)"),
         QStringLiteral("Investigates low-confidence faces / places / dates the indexer "
                        "flagged.")},
        {QStringLiteral("weekly"), QStringLiteral("Weekly"),
         QStringLiteral("Weekly rollup synthesis: themes, milestones, open threads."),
         QStringLiteral("Weekly"),
         QStringLiteral("Themes, milestones, open threads from the past 7 days.")},
        {QStringLiteral("monthly"), QStringLiteral("Monthly"),
         QStringLiteral("Monthly retrospective — coarser arcs + quarterly-lead-in questions."),
         QStringLiteral("Monthly"), QStringLiteral("Coarser arcs + quarterly lead-in questions.")},
        {QStringLiteral("biography"), QString(), QString(), QStringLiteral("Biography (life arc)"),
         QStringLiteral("Drafts Notes/life/eras.md + biography.md from your full archive. Manual "
                        "only — expensive.")},
    };
    return all;
}

const QList<PermissionMode>& permissionModes() {
    static const QList<PermissionMode> all{
        {QStringLiteral("auto"), QStringLiteral("Balanced (recommended)"),
         QStringLiteral("Auto-approves safe actions (reading files, the app's own tools, "
                        "browsing) and asks you — via a card in the app — before anything "
                        "risky.")},
        {QStringLiteral("bypassPermissions"), QStringLiteral("Full autonomy"),
         QStringLiteral("Never asks for permission. The session runs every action unattended. "
                        "Only use if you trust it to drive your accounts end-to-end.")},
    };
    return all;
}

QString permissionHeading() {
    return QStringLiteral("When a session needs permission");
}

QString permissionNote() {
    return QStringLiteral("Applies to background sessions (period close, nightly dreamer). Takes "
                          "effect on the next session — no restart needed.");
}

QString effectivePermissionMode(const QString& stored) {
    for (const PermissionMode& mode : permissionModes()) {
        if (mode.value == stored) {
            return stored;
        }
    }
    return QStringLiteral("auto");
}

QString hourText(int hour) {
    return QStringLiteral("%1:00").arg(hour, 2, 10, QLatin1Char('0'));
}

QStringList sessionsOf(const QString& cadence, const QStringList& live, Brand brand) {
    const QString prefix = sessionNamePrefix(cadence, brand);
    QStringList sessions;
    for (const QString& name : live) {
        if (name.startsWith(prefix)) {
            sessions << name;
        }
    }
    return sessions;
}

QString shortLabel(const QString& session, Brand brand) {
    QString rest = session;
    bool prefixed = false;
    for (const QString& prefix : dreamerSessionPrefixes(brand)) {
        if (session.startsWith(prefix)) {
            rest = session.mid(prefix.size());
            prefixed = true;
            break;
        }
    }
    if (!prefixed) {
        return session;
    }
    const QStringList pieces = rest.split(QLatin1Char('-'), Qt::SkipEmptyParts);
    if (pieces.isEmpty()) {
        return rest;
    }
    return pieces.first() + QStringLiteral("-…") + pieces.last().right(4);
}

Chip chip(const QString& cadence, const QStringList& live, const QList<Question>& openQuestions,
          Brand brand) {
    const QStringList sessions = sessionsOf(cadence, live, brand);
    if (sessions.isEmpty()) {
        return {Chip::Kind::trigger,
                {},
                {},
                QStringLiteral("Spawn a Claude dreamer session. Cadence: %1. Real passes take "
                               "minutes.")
                    .arg(cadence)};
    }
    const QString asker = QStringLiteral("dreamer:") + cadence;
    for (const Question& question : openQuestions) {
        if (question.askedBy == asker) {
            return {Chip::Kind::waiting, sessions.first(),
                    QStringLiteral("Waiting for your answers…"),
                    QStringLiteral("The session asked questions only you can answer — find the "
                                   "cards in this tab (or Home) and answer by voice or text.")};
        }
    }
    return {Chip::Kind::running, sessions.first(), shortLabel(sessions.first(), brand), {}};
}

QString attachHelp() {
    return QStringLiteral("Open this tmux session in a terminal so you can watch progress.");
}

QString stopHelp() {
    return QStringLiteral("Stop this dreamer session.");
}

} // namespace mnemora::Dreamer
