#include "questions/QuestionService.h"

#include <QFileInfo>

#include <cmath>

#include "app/Brand.h"
#include "platform/AtomicFile.h"
#include "registry/Frontmatter.h"

namespace mnemora {

namespace {

const QString kMarker = QStringLiteral("---");

// Seconds an answer of each kind takes, and the card's label for it. The kind word is "judgment",
// the label "a judgement call": the difference is deliberate.
struct KindInfo {
    const char* kind;
    const char* label;
    int seconds;
};
constexpr KindInfo kKinds[] = {
    {"login", "needs your Mac", 60},        {"judgment", "a judgement call", 30},
    {"setup", "a few details", 60},         {"missing-doc", "something to find", 120},
    {"allocation", "a judgement call", 30},
};

const KindInfo* kindInfo(const std::optional<QString>& kind) {
    if (!kind) {
        return nullptr;
    }
    const QString word = kind->trimmed();
    for (const KindInfo& info : kKinds) {
        if (word == QLatin1String(info.kind)) {
            return &info;
        }
    }
    return nullptr;
}

bool isNewline(QChar c) {
    switch (c.unicode()) {
    case u'\n':
    case u'\r':
    case u'\v':
    case u'\f':
    case 0x0085:
    case 0x2028:
    case 0x2029:
        return true;
    default:
        return false;
    }
}

QString trimNewlines(const QString& text) {
    qsizetype start = 0;
    qsizetype end = text.size();
    while (start < end && isNewline(text.at(start))) {
        ++start;
    }
    while (end > start && isNewline(text.at(end - 1))) {
        --end;
    }
    return text.mid(start, end - start);
}

// Replaces the key's first line, or appends one.
void setKey(QStringList& lines, const QString& key, const QString& value) {
    const QString line = key + QStringLiteral(": ") + value;
    const qsizetype index = Frontmatter::keyLine(lines, key);
    if (index >= 0) {
        lines[index] = line;
    } else {
        lines.append(line);
    }
}

// The answer as one double-quoted value; newlines stay as they are.
QString quotedAnswer(QString answer) {
    answer.replace(QLatin1Char('\\'), QStringLiteral("\\\\"));
    answer.replace(QLatin1Char('"'), QStringLiteral("\\\""));
    return QLatin1Char('"') + answer + QLatin1Char('"');
}

} // namespace

QString QuestionService::QuestionError::text() const {
    switch (kind) {
    case Kind::fileNotFound:
        return QStringLiteral("Question file not found: ") + detail;
    case Kind::noFrontmatter:
        return QStringLiteral("Question file has no frontmatter: ") + detail;
    case Kind::writeFailed:
        return QStringLiteral("Write failed: ") + detail;
    case Kind::readFailed:
        break;
    }
    return detail;
}

QuestionService::QuestionService(QObject* parent)
    : QObject(parent)
    , clock_([] { return QDateTime::currentDateTimeUtc(); })
    , launcher_(new TerminalLauncher(this)) {}

void QuestionService::setLastError(const QString& error) {
    if (lastError_ != error) {
        lastError_ = error;
        emit lastErrorChanged();
    }
}

QuestionService::Outcome QuestionService::settle(Outcome outcome) {
    setLastError(outcome ? outcome->text() : QString());
    return outcome;
}

QString QuestionService::instant() const {
    return clock_().toUTC().toString(Qt::ISODate); // whole seconds, "Z"
}

std::optional<QString> QuestionService::frontmatterValue(const QString& path, const QString& key) {
    const Frontmatter::ReadResult file = Frontmatter::readFile(path);
    if (!file.text) {
        return std::nullopt;
    }
    return Frontmatter::value(*file.text, key);
}

QuestionService::Outcome QuestionService::rewrite(const QString& path, const Rewrite& change) {
    if (!QFileInfo::exists(path)) {
        return QuestionError{QuestionError::Kind::fileNotFound, path};
    }
    const Frontmatter::ReadResult file = Frontmatter::readFile(path);
    if (!file.text) {
        return QuestionError{QuestionError::Kind::readFailed, file.error};
    }
    const std::optional<Frontmatter::Parts> parts = Frontmatter::split(*file.text);
    if (!parts) {
        return QuestionError{QuestionError::Kind::noFrontmatter, path};
    }

    // The file's own line end for every line written, also inside the answer and the section.
    const QString lineEnd = Frontmatter::lineEnd(*file.text);
    auto withLineEnd = [&lineEnd](const QString& text) {
        return Frontmatter::lines(text).join(lineEnd);
    };
    QStringList lines = Frontmatter::lines(parts->frontmatter);
    while (!lines.isEmpty() && lines.last().isEmpty()) {
        lines.removeLast();
    }
    if (!lines.isEmpty() && lines.first().isEmpty()) {
        lines.removeFirst();
    }
    setKey(lines, QStringLiteral("status"), change.status);
    if (change.answeredBy) {
        setKey(lines, QStringLiteral("answered_by"), *change.answeredBy);
    }
    if (change.answeredAt) {
        setKey(lines, QStringLiteral("answered_at"), *change.answeredAt);
    }
    if (change.answer) {
        setKey(lines, QStringLiteral("answer"), quotedAnswer(withLineEnd(*change.answer)));
    }
    const QString frontmatter = trimNewlines(lines.join(lineEnd));

    // Without a section the body stays byte for byte, blank lines after the marker included.
    QString body = parts->body;
    if (change.section) {
        const QString text = trimNewlines(body);
        body =
            text + (text.isEmpty() ? QString() : lineEnd) + lineEnd + withLineEnd(*change.section);
    }

    const QByteArray bytes =
        (kMarker + lineEnd + frontmatter + lineEnd + kMarker + lineEnd + body).toUtf8();
    // A question file that turned read-only (a copy from read-only media, a sync tool) is still
    // answered: the folder lets us put the new file in its place, and it keeps the old mode.
    if (std::optional<QString> failure = writeFileAtomically(path, bytes, ReadOnlyFile::replace)) {
        return QuestionError{QuestionError::Kind::writeFailed, *failure};
    }
    return std::nullopt;
}

QuestionService::Outcome QuestionService::answerQuestion(const Question& question,
                                                         const QString& text) {
    const QString answer = text.trimmed();
    if (answer.isEmpty()) {
        return std::nullopt;
    }
    const QString at = instant();
    Rewrite change;
    change.status = QStringLiteral("answered");
    change.answeredBy = QStringLiteral("user");
    change.answeredAt = at;
    change.answer = answer;
    change.section =
        QStringLiteral("## Answer (") + at + QStringLiteral(")\n\n") + answer + QLatin1Char('\n');
    return settle(rewrite(question.filePath, change));
}

QuestionService::Outcome QuestionService::dismissQuestion(const Question& question,
                                                          const std::optional<QString>& reason) {
    const QString at = instant();
    Rewrite change;
    change.status = QStringLiteral("dismissed");
    // Without a reason the time of the dismissal is kept nowhere.
    const QString said = reason ? reason->trimmed() : QString();
    if (!said.isEmpty()) {
        change.section = QStringLiteral("## Dismissed (") + at + QStringLiteral(")\n\n") + said +
                         QLatin1Char('\n');
    }
    return settle(rewrite(question.filePath, change));
}

std::optional<QString> QuestionService::kindLabel(const std::optional<QString>& kind,
                                                  const std::optional<QString>& askedBy) {
    if (askedBy &&
        askedBy->trimmed().compare(QLatin1String("accountant"), Qt::CaseInsensitive) == 0) {
        return QStringLiteral("from your accountant");
    }
    if (const KindInfo* info = kindInfo(kind)) {
        return QString::fromUtf8(info->label);
    }
    return std::nullopt;
}

std::optional<QString> QuestionService::answerEstimate(const QList<std::optional<QString>>& kinds) {
    int seconds = 0;
    for (const std::optional<QString>& kind : kinds) {
        if (const KindInfo* info = kindInfo(kind)) {
            seconds += info->seconds;
        }
    }
    if (seconds < 1) {
        return std::nullopt;
    }
    const double minutes = std::round(seconds / 60.0); // halves away from zero
    if (minutes < 1) {
        return QStringLiteral("under a minute");
    }
    if (minutes >= 60) {
        return QStringLiteral("over an hour");
    }
    return QStringLiteral("%1 min").arg(static_cast<int>(minutes));
}

QList<SuggestedAction> QuestionService::parseSuggestedActions(const std::optional<QString>& raw) {
    if (!raw) {
        return {};
    }
    QString text = raw->trimmed();
    // An inline list in the frontmatter, not JSON.
    if (text.size() >= 2 && text.startsWith(QLatin1Char('[')) && text.endsWith(QLatin1Char(']'))) {
        text = text.mid(1, text.size() - 2);
    }
    QList<SuggestedAction> actions;
    QStringList labels;
    for (const QString& part : text.split(QLatin1Char('|'), Qt::SkipEmptyParts)) {
        const QString piece = part.trimmed();
        if (piece.isEmpty()) {
            continue;
        }
        SuggestedAction action{piece, piece};
        const qsizetype arrow = piece.indexOf(QStringLiteral("=>"));
        if (arrow >= 0) {
            action.label = piece.left(arrow).trimmed();
            action.answer = piece.mid(arrow + 2).trimmed();
        }
        if (action.label.isEmpty() || action.answer.isEmpty() || labels.contains(action.label)) {
            continue;
        }
        labels << action.label;
        actions << action;
        if (actions.size() == 3) {
            break;
        }
    }
    return actions;
}

QString QuestionService::primer(const Question& question) {
    return QStringLiteral("I want to work through answering this open question from my Mnemora "
                          "daemon.\n\nQuestion: ") +
           question.text + QStringLiteral("\nSlug: ") + question.slug + QStringLiteral("\nFile: ") +
           question.filePath +
           QStringLiteral("\n\nPlease read the question file for context, help me think through "
                          "the answer, and when I'm ready, use the MCP tool `answer_question` (on "
                          "the `mnemora` server) to record it.");
}

QCoro::Task<TerminalLauncher::Result> QuestionService::joinSession(Question question,
                                                                   QStringList liveSessions) {
    // A dreamer's sessions are named with the brand's prefix, or the older "mn-" one.
    QStringList candidates;
    const QString dreamer = QStringLiteral("dreamer:");
    if (question.askedBy && question.askedBy->startsWith(dreamer)) {
        const QString name = question.askedBy->mid(dreamer.size());
        for (const QString& prefix : dreamerSessionPrefixes(brand())) {
            candidates << prefix + name + QLatin1Char('-');
        }
    }
    std::optional<QString> newest;
    for (const QString& session : liveSessions) {
        for (const QString& candidate : candidates) {
            if (session.startsWith(candidate) && (!newest || *newest < session)) {
                newest = session;
            }
        }
    }

    QPointer<QuestionService> self(this);
    QPointer<TerminalLauncher> launcher = launcher_;
    if (!launcher) {
        const TerminalLauncher::Result missing =
            TerminalLauncher::LaunchError::spawnFailed(QStringLiteral("no terminal launcher"));
        setLastError(missing->text());
        co_return missing;
    }
    QCoro::Task<TerminalLauncher::Result> launch =
        newest ? launcher->openTmuxSession(*newest)
               : launcher->runCommand(QStringLiteral("claude ") +
                                      TerminalLauncher::shellQuoted(primer(question)));
    const TerminalLauncher::Result result = co_await std::move(launch);
    if (self) {
        self->setLastError(result ? result->text() : QString());
    }
    co_return result;
}

} // namespace mnemora
