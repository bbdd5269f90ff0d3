#pragma once

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>

#include <QCoroTask>

#include <functional>
#include <optional>

#include "platform/TerminalLauncher.h"
#include "questions/SuggestedAction.h"
#include "registry/Question.h"

namespace mnemora {

// The one writer of existing question files: answers and dismissals are written into the file
// itself, which the daemon then re-indexes. Also the small rules a question card shows (its label,
// the time an answer takes, its suggested answers) and the way back to the session that asked.
// Holds no cache of questions; every call goes to the file.
class QuestionService : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString lastError READ lastError NOTIFY lastErrorChanged)

public:
    // Why a question file could not be rewritten; `text()` is what the user sees.
    struct QuestionError {
        enum class Kind {
            fileNotFound,  // carries the path
            noFrontmatter, // carries the path
            writeFailed,   // carries the system's message
            readFailed,    // carries the system's message, shown as it stands
        };
        Kind kind = Kind::fileNotFound;
        QString detail;

        QString text() const;
        bool operator==(const QuestionError&) const = default;
    };
    // None on success.
    using Outcome = std::optional<QuestionError>;
    using Clock = std::function<QDateTime()>;

    explicit QuestionService(QObject* parent = nullptr);

    // The words of the last failure; empty after a success.
    const QString& lastError() const { return lastError_; }

    // Where the instants written into files come from; the system clock unless a test sets one.
    void setClock(Clock clock) { clock_ = std::move(clock); }

    // The launcher `joinSession` opens terminals with: our own unless one is set (not owned).
    TerminalLauncher* launcher() const { return launcher_; }
    void setLauncher(TerminalLauncher* launcher) { launcher_ = launcher; }

    // A frontmatter value of a question file; none when the file, its frontmatter or the key is
    // missing or the value is empty.
    static std::optional<QString> frontmatterValue(const QString& path, const QString& key);

    // Writes the answer into the question's file and marks it answered. An answer that is empty
    // once trimmed is dropped without an error.
    Outcome answerQuestion(const Question& question, const QString& text);

    // Marks the question dismissed, with the reason as a section when one is given.
    Outcome dismissQuestion(const Question& question, const std::optional<QString>& reason);

    // The card's label: who or what the question needs.
    static std::optional<QString> kindLabel(const std::optional<QString>& kind,
                                            const std::optional<QString>& askedBy);

    // Roughly how long answering questions of these kinds takes, as a short text.
    static std::optional<QString> answerEstimate(const QList<std::optional<QString>>& kinds);

    // Up to three choices from a `suggested_actions` value such as `[Yes => do it | No]`.
    static QList<SuggestedAction> parseSuggestedActions(const std::optional<QString>& raw);

    // Opens a terminal on the session that asked: the newest live tmux session of the asking
    // dreamer, else a fresh Claude Code session primed with the question.
    QCoro::Task<TerminalLauncher::Result> joinSession(Question question, QStringList liveSessions);

    // The text a fresh Claude Code session starts with.
    static QString primer(const Question& question);

signals:
    void lastErrorChanged();

private:
    // What one rewrite sets; absent keys are left alone.
    struct Rewrite {
        QString status;
        std::optional<QString> answeredBy;
        std::optional<QString> answeredAt;
        std::optional<QString> answer;
        std::optional<QString> section;
    };
    static Outcome rewrite(const QString& path, const Rewrite& change);

    QString instant() const;
    Outcome settle(Outcome outcome);
    void setLastError(const QString& error);

    QString lastError_;
    Clock clock_;
    QPointer<TerminalLauncher> launcher_;
};

} // namespace mnemora
