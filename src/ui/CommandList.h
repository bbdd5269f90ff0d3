#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include "app/Brand.h"
#include "integrations/Seeds.h"
#include "registry/Question.h"
#include "ui/Command.h"

namespace mnemora::CommandList {

// The bar's list, fresh for each query: the brand's sections, then for each open question a way
// into its session (when one is live) and a way to answer it, the brand's skills, then the
// refresh.
QList<Command> build(Brand brand, const QList<Question>& questions, const QStringList& liveSessions,
                     const QList<SkillSeed>& skills = {});

// Whether a live session of the dreamer that asked can be attached to.
bool canJoin(const Question& question, const QStringList& liveSessions, Brand brand);

// The commands whose title, subtitle or group word holds the query, trimmed and lower-cased;
// a blank query keeps all. Order is kept and duplicates stay.
QList<Command> filter(const QList<Command>& commands, const QString& query);

// The word a group is searched by: "navigate", "questions", "integrations", "system".
QString groupWord(Command::Group group);
// The header above a group's rows.
QString groupHeader(Command::Group group);

// "{n} result", with an "s" unless n is 1.
QString resultCountText(qsizetype count);
QString prompt();
// The title of a failed action's message; the error's words go under it.
QString failureTitle();

} // namespace mnemora::CommandList
