#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

#include "app/Brand.h"
#include "registry/Question.h"

// Dreamer sessions: the background Claude Code sessions the daemon runs against the vault. The
// application starts, watches and stops them and keeps their few settings; the rest is the
// daemon's.
namespace mnemora::Dreamer {

// One cadence a session runs at, with its words in settings and on the integrations screen.
struct Cadence {
    QString cadence;
    QString settingsLabel; // empty: not offered in settings
    QString settingsText;
    QString cardTitle;
    QString cardText;
};
const QList<Cadence>& cadences();

// The `dreamer_permission_mode` values with their words.
struct PermissionMode {
    QString value;
    QString label;
    QString text;
};
const QList<PermissionMode>& permissionModes();
QString permissionHeading();
QString permissionNote();
// A stored mode as it reads: an empty or unknown value is `auto`.
QString effectivePermissionMode(const QString& stored);

// "%02d:00" for an hour of the day.
QString hourText(int hour);

// The live sessions of one cadence on this brand.
QStringList sessionsOf(const QString& cadence, const QStringList& live, Brand brand);

// The short name of a session for a chip: the dreamer prefix off, then the first piece, "-…"
// and the last four characters of the last piece.
QString shortLabel(const QString& session, Brand brand);

// What the status chip of one cadence shows.
struct Chip {
    enum class Kind { trigger, waiting, running };
    Kind kind = Kind::trigger;
    QString session; // the live session, full name; empty for a trigger
    QString label;   // shown text
    QString help;    // the tooltip

    bool operator==(const Chip&) const = default;
};
Chip chip(const QString& cadence, const QStringList& live, const QList<Question>& openQuestions,
          Brand brand);

QString attachHelp();
QString stopHelp();

} // namespace mnemora::Dreamer
