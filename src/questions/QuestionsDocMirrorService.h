#pragma once

#include <QDateTime>
#include <QHash>
#include <QJsonObject>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QString>

#include <QCoroTask>

#include <chrono>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "app/CancellableLoop.h"
#include "core/Block.h"
#include "platform/Expected.h"
#include "registry/IdentityScope.h"
#include "registry/Question.h"
#include "sync/SyncLog.h"

namespace mnemora {

class DaemonService;
class DatabaseService;
class QuestionService;

// What is known of the transcription of one spoken answer.
struct VoiceTranscription {
    core::VoiceTranscriptionState state = core::VoiceTranscriptionState::queued;
    std::optional<qint64> percent{};
    std::optional<QString> partial{};
    std::optional<QString> text{};
    std::optional<QDateTime> failedAt{};

    bool operator==(const VoiceTranscription&) const = default;
};

// Keeps the phone's inbox document (`{Notes}/questions/inbox.md`) in step with the question
// files, in both directions, one tick at a time: an answer the phone wrote into a card, typed or
// spoken, is written into the question's file once; then the document is rebuilt from the open
// questions of the index and written back through the daemon when its text changed. It is the
// only writer of the document's content on this computer; the sync bridge carries the file to and
// from the cloud. Nothing that fails stops the loop: the next tick starts again from the file.
class QuestionsDocMirrorService : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString lastError READ lastError NOTIFY lastErrorChanged)

public:
    using Clock = std::function<QDateTime()>;

    // The document, relative to the Notes folder.
    static const QString kDocumentPath;
    // A failed clip is tried again no sooner than this after the failure.
    static constexpr std::chrono::seconds kRetryAfterFailure{30};
    // How many questions one tick reads, each with its file.
    static constexpr int kFetchLimit = 200;

    // The services are held weakly. `log` carries the vault's prefix.
    QuestionsDocMirrorService(DatabaseService* database, QuestionService* questions,
                              DaemonService* daemon, SyncLog log, QObject* parent = nullptr);
    ~QuestionsDocMirrorService() override;

    // Which identities' questions the document shows; `active` unless set before `start`.
    const IdentityScope& mirrorScope() const { return mirrorScope_; }
    void setMirrorScope(const IdentityScope& scope) { mirrorScope_ = scope; }

    // Where `appliedAt` and the retry rule take the time from; the system clock by default.
    void setClock(Clock clock) { clock_ = std::move(clock); }

    // Empty when there is no error.
    const QString& lastError() const { return lastError_; }
    const std::optional<QString>& notesRoot() const { return notesRoot_; }
    const std::optional<QString>& registryRoot() const { return registryRoot_; }

    // Stores the folders and runs a tick at once, then one after every `interval`; an older loop
    // is cancelled.
    void start(const QString& notesRoot, const QString& registryRoot,
               std::chrono::milliseconds interval = std::chrono::seconds(5));
    // Cancels the loop; a tick under way runs to its end.
    void stop();
    bool isRunning() const { return pollTask_.isActive(); }

    // One pass of the loop. A tick asked for while another runs does nothing, so ticks never
    // overlap.
    QCoro::Task<> tick();

    // What is known of a clip, by its name; none before it was first asked for.
    std::optional<VoiceTranscription> transcription(const QString& clip) const;
    bool isInFlight(const QString& clip) const { return inFlightClips_.contains(clip); }

    // `{application support}/{bundle identifier}/voice-answers`, where the bridge saves clips.
    static QString voiceAnswersFolder();

signals:
    void lastErrorChanged();
    // After every tick that ran, written or not.
    void tickFinished();

private:
    using Blocks = std::vector<core::Block>;

    static QCoro::Task<> loopPass(QPointer<QuestionsDocMirrorService> self);
    QCoro::Task<> runTick();
    QCoro::Task<QList<Question>> fetch(std::optional<Question::Status> status);
    QCoro::Task<> writeDocument(QString text, int openCount, int priorCount,
                                std::set<std::string> foreign);

    std::string documentText() const;
    Blocks readDocument(std::string& text) const;
    std::set<std::string> foreignCards(const Blocks& blocks, const QSet<QString>& slugs) const;
    void applyAnsweredBlocks(Blocks& blocks, const QList<Question>& all,
                             const std::set<std::string>& foreign);
    void applyOne(core::Block& block, const Question& question);
    void repairStaleBlock(core::Block& block, const Question& question);

    VoiceTranscription askTranscription(const QString& clip);
    void startClip(const QString& clip);
    static QCoro::Task<> transcribeClip(QPointer<QuestionsDocMirrorService> self, QString clip,
                                        QString path);
    void clipProgress(const QString& clip, const QJsonObject& event);
    void clipFinished(const QString& clip, const Expected<QString>& result);

    QString scopeWord() const;
    QString now() const;
    void say(const QString& message) const;
    void setLastError(const QString& error);

    QPointer<DatabaseService> database_;
    QPointer<QuestionService> questions_;
    QPointer<DaemonService> daemon_;
    SyncLog log_;
    IdentityScope mirrorScope_ = IdentityScope::active();
    Clock clock_;
    std::optional<QString> notesRoot_;
    std::optional<QString> registryRoot_;
    CancellableTask pollTask_;
    bool ticking_ = false;
    QHash<QString, VoiceTranscription> transcriptions_;
    QSet<QString> inFlightClips_;
    QString lastError_;
};

} // namespace mnemora
