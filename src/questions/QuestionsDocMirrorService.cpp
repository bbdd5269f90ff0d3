#include "questions/QuestionsDocMirrorService.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

#include <algorithm>
#include <cmath>

#include "app/Brand.h"
#include "app/JsonRead.h"
#include "core/FatalError.h"
#include "core/MarkdownCodec.h"
#include "core/SyncedDocWellKnownPath.h"
#include "daemon/DaemonEndpoints.h"
#include "daemon/DaemonService.h"
#include "platform/Paths.h"
#include "questions/QuestionService.h"
#include "questions/QuestionsDocRegeneration.h"
#include "registry/DatabaseService.h"
#include "setup/FirstRun.h"
#include "sync/SyncedDocsBridgeService.h"

namespace mnemora {

namespace {

using core::Block;
using core::BlockKind;
using core::QuestionCardStatus;
using core::VoiceTranscriptionState;

const QString kSource = QStringLiteral("[QuestionsDocMirror] ");

QString fromUtf8(const std::string& text) {
    return QString::fromStdString(text);
}

QString fromUtf8(const std::optional<std::string>& text) {
    return text ? QString::fromStdString(*text) : QString();
}

bool isSet(const std::optional<std::string>& value) {
    return value && !value->empty();
}

// The answer of a question file: the text under its last "## Answer (" heading, up to the next
// heading of that level.
QString fileAnswer(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    return FirstRun::sectionUnderLast(
               QString::fromUtf8(file.readAll()),
               [](const QString& line) { return line.startsWith(QLatin1String("## Answer (")); })
        .value_or(QString());
}

} // namespace

const QString QuestionsDocMirrorService::kDocumentPath =
    QString::fromStdString(core::SyncedDocWellKnownPath::questionsInbox());

QuestionsDocMirrorService::QuestionsDocMirrorService(DatabaseService* database,
                                                     QuestionService* questions,
                                                     DaemonService* daemon, SyncLog log,
                                                     QObject* parent)
    : QObject(parent)
    , database_(database)
    , questions_(questions)
    , daemon_(daemon)
    , log_(std::move(log))
    , clock_([] { return QDateTime::currentDateTimeUtc(); }) {}

QuestionsDocMirrorService::~QuestionsDocMirrorService() = default;

QString QuestionsDocMirrorService::voiceAnswersFolder() {
    return Paths::applicationSupportRoot() + QLatin1Char('/') + bundleIdentifier() +
           QStringLiteral("/voice-answers");
}

std::optional<VoiceTranscription>
QuestionsDocMirrorService::transcription(const QString& clip) const {
    const auto entry = transcriptions_.constFind(clip);
    return entry == transcriptions_.constEnd() ? std::nullopt : std::optional(*entry);
}

void QuestionsDocMirrorService::say(const QString& message) const {
    log_.write(kSource + message);
}

void QuestionsDocMirrorService::setLastError(const QString& error) {
    if (lastError_ != error) {
        lastError_ = error;
        emit lastErrorChanged();
    }
}

QString QuestionsDocMirrorService::now() const {
    return clock_().toUTC().toString(Qt::ISODate);
}

QString QuestionsDocMirrorService::scopeWord() const {
    switch (mirrorScope_.kind) {
    case IdentityScope::Kind::active:
        return QStringLiteral("active");
    case IdentityScope::Kind::all:
        return QStringLiteral("all");
    case IdentityScope::Kind::specific:
        break;
    }
    return QStringLiteral("specific");
}

// The loop

void QuestionsDocMirrorService::start(const QString& notesRoot, const QString& registryRoot,
                                      std::chrono::milliseconds interval) {
    say(QStringLiteral("started (scope=") + scopeWord() + QLatin1Char(')'));
    notesRoot_ = notesRoot;
    registryRoot_ = registryRoot;
    const QPointer<QuestionsDocMirrorService> self(this);
    CancellableLoop::start(pollTask_, interval, CancellableLoop::FirstPass::atOnce,
                           [self] { return loopPass(self); });
}

void QuestionsDocMirrorService::stop() {
    pollTask_.cancel();
}

QCoro::Task<> QuestionsDocMirrorService::loopPass(QPointer<QuestionsDocMirrorService> self) {
    if (!self) {
        co_return;
    }
    QCoro::Task<> ticking = self->tick();
    co_await ticking;
}

QCoro::Task<> QuestionsDocMirrorService::tick() {
    if (ticking_ || !notesRoot_) {
        co_return;
    }
    ticking_ = true;
    const QPointer<QuestionsDocMirrorService> self(this);
    QCoro::Task<> running = runTick();
    co_await running;
    if (!self) {
        co_return;
    }
    ticking_ = false;
    emit tickFinished();
}

QCoro::Task<> QuestionsDocMirrorService::runTick() {
    const QPointer<QuestionsDocMirrorService> self(this);
    std::string text;
    Blocks blocks = readDocument(text);

    QCoro::Task<QList<Question>> fetchingAll = fetch(std::nullopt);
    const QList<Question> all = co_await fetchingAll;
    if (!self) {
        co_return;
    }
    QSet<QString> slugs;
    for (const Question& question : all) {
        if (!question.slug.isEmpty()) {
            slugs.insert(question.slug);
        }
    }
    const std::set<std::string> foreign = foreignCards(blocks, slugs);
    applyAnsweredBlocks(blocks, all, foreign);

    QCoro::Task<QList<Question>> fetchingOpen = fetch(Question::Status::open);
    const QList<Question> open = co_await fetchingOpen;
    if (!self) {
        co_return;
    }
    QuestionsDocRegeneration::Resolutions resolutions;
    for (const Question& question : all) {
        if (question.status != Question::Status::open) {
            resolutions[question.slug.toStdString()] =
                question.status == Question::Status::answered
                    ? QuestionsDocRegeneration::Resolution::answered
                    : QuestionsDocRegeneration::Resolution::dismissed;
        }
    }
    const std::string regenerated =
        QuestionsDocRegeneration::regenerate(blocks, open, foreign, resolutions);
    if (regenerated == text) {
        co_return;
    }
    // The bridge writes the phone's changes into the same file. One that came while this tick
    // waited for the index is not overwritten with a text built without it: the next tick starts
    // from it.
    if (documentText() != text) {
        say(QStringLiteral("%1 changed while the tick ran — it is read again next tick")
                .arg(kDocumentPath));
        co_return;
    }
    QCoro::Task<> writing = writeDocument(QString::fromStdString(regenerated), int(open.size()),
                                          int(blocks.size()), foreign);
    co_await writing;
}

QCoro::Task<QList<Question>>
QuestionsDocMirrorService::fetch(std::optional<Question::Status> status) {
    if (!database_) {
        co_return QList<Question>();
    }
    QCoro::Task<QList<Question>> fetching =
        database_->fetchQuestions(status, mirrorScope_, kFetchLimit);
    co_return co_await fetching;
}

std::string QuestionsDocMirrorService::documentText() const {
    QFile file(*notesRoot_ + QLatin1Char('/') + kDocumentPath);
    // A document that cannot be read is an empty one: the first tick of a vault writes it.
    return file.open(QIODevice::ReadOnly) ? file.readAll().toStdString() : std::string();
}

QuestionsDocMirrorService::Blocks QuestionsDocMirrorService::readDocument(std::string& text) const {
    text = documentText();
    if (text.empty()) {
        return {};
    }
    std::vector<core::MarkdownCodec::Degradation> degradations;
    Blocks blocks = core::MarkdownCodec::parse(text, degradations);
    for (const auto& degradation : degradations) {
        say(QStringLiteral("DEGRADED ") +
            fromUtf8(std::string(core::wireWord(degradation.claimedKind))) +
            QStringLiteral(" line → .text: ") + fromUtf8(degradation.reason) +
            QStringLiteral(" | ") + fromUtf8(degradation.linePreview));
    }
    return blocks;
}

QCoro::Task<> QuestionsDocMirrorService::writeDocument(QString text, int openCount, int priorCount,
                                                       std::set<std::string> foreign) {
    const QPointer<QuestionsDocMirrorService> self(this);
    if (!foreign.empty()) {
        QStringList ids;
        for (const std::string& id : foreign) {
            ids << fromUtf8(id);
        }
        say(QStringLiteral("dropping %1 card(s) this vault does not have: %2")
                .arg(foreign.size())
                .arg(ids.join(QStringLiteral(", "))));
    }
    say(QStringLiteral("regenerating %1: %2 open questions, %3 prior blocks, scope=%4")
            .arg(kDocumentPath)
            .arg(openCount)
            .arg(priorCount)
            .arg(scopeWord()));
    QCoro::Task<Expected<void>> writing = DaemonEndpoints::writeDoc(daemon_, kDocumentPath, text);
    const Expected<void> written = co_await writing;
    if (!self || written.ok()) {
        co_return;
    }
    setLastError(QStringLiteral("write %1 failed: %2").arg(kDocumentPath, written.error()));
    say(QStringLiteral("write FAILED for %1: %2").arg(kDocumentPath, written.error()));
}

// Cards of another vault

std::set<std::string> QuestionsDocMirrorService::foreignCards(const Blocks& blocks,
                                                              const QSet<QString>& slugs) const {
    std::set<std::string> unknown;
    for (const Block& block : blocks) {
        if (block.kind == BlockKind::question && isSet(block.questionID) &&
            !slugs.contains(fromUtf8(block.questionID))) {
            unknown.insert(*block.questionID);
        }
    }
    if (unknown.empty() || !registryRoot_) {
        return {};
    }
    // In doubt nothing is dropped: a card goes only when no identity folder holds its file.
    const QDir registry(*registryRoot_);
    if (!registry.exists()) {
        return {};
    }
    const QStringList children =
        registry.entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    std::set<std::string> foreign;
    for (const std::string& id : unknown) {
        const QString file = QStringLiteral("/questions/") + fromUtf8(id) + QStringLiteral(".md");
        const bool held = std::any_of(children.begin(), children.end(), [&](const QString& child) {
            return QFileInfo::exists(registry.filePath(child) + file);
        });
        if (!held) {
            foreign.insert(id);
        }
    }
    return foreign;
}

// Answers from the phone

void QuestionsDocMirrorService::applyAnsweredBlocks(Blocks& blocks, const QList<Question>& all,
                                                    const std::set<std::string>& foreign) {
    const auto isCandidate = [&](const Block& block) {
        return block.kind == BlockKind::question &&
               block.questionStatus == QuestionCardStatus::answered &&
               !(block.questionID && foreign.contains(*block.questionID)) &&
               (isSet(block.answer) || isSet(block.audioAssetRef));
    };
    if (std::none_of(blocks.begin(), blocks.end(), isCandidate)) {
        return;
    }
    QHash<QString, const Question*> bySlug;
    for (const Question& question : all) {
        if (question.slug.isEmpty()) {
            continue;
        }
        if (bySlug.contains(question.slug)) {
            core::fatalError("[QuestionsDocMirror] the index listed question " +
                             question.slug.toStdString() + " twice");
        }
        bySlug.insert(question.slug, &question);
    }
    for (Block& block : blocks) {
        if (!isCandidate(block)) {
            continue;
        }
        const Question* question = bySlug.value(fromUtf8(block.questionID));
        if (question == nullptr) {
            const QString id =
                block.questionID ? fromUtf8(block.questionID) : QStringLiteral("<no id>");
            say(QStringLiteral("answered block %1 has no matching desktop question — skipped")
                    .arg(id));
            continue;
        }
        applyOne(block, *question);
    }
}

void QuestionsDocMirrorService::applyOne(Block& block, const Question& question) {
    // The file, not the index, guards against applying twice or over a dismissal: the index can
    // lag behind the file.
    const std::optional<QString> status =
        QuestionService::frontmatterValue(question.filePath, QStringLiteral("status"));
    if (status && *status != QLatin1String("open")) {
        repairStaleBlock(block, question);
        return;
    }
    const QString id = question.slug;
    QString answer = fromUtf8(block.answer).trimmed();
    bool spoken = false;
    if (answer.isEmpty() && isSet(block.audioAssetRef)) {
        const VoiceTranscription clip = askTranscription(fromUtf8(block.audioAssetRef));
        if (!clip.text) {
            block.transcriptionState = clip.state;
            block.transcriptionProgress = clip.percent;
            block.transcriptionPartial =
                clip.partial ? std::optional(clip.partial->toStdString()) : std::nullopt;
            return;
        }
        block.answer = clip.text->toStdString();
        block.transcriptionState = VoiceTranscriptionState::done;
        block.transcriptionProgress.reset();
        block.transcriptionPartial.reset();
        answer = *clip.text;
        spoken = true;
    }
    if (answer.isEmpty() || !questions_) {
        return;
    }
    const QuestionService::Outcome failure = questions_->answerQuestion(question, answer);
    if (!failure) {
        block.appliedAt = now().toStdString();
        say(QStringLiteral("applied %1 answer to %2")
                .arg(spoken ? QStringLiteral("voice") : QStringLiteral("text"), id));
        return;
    }
    setLastError(QStringLiteral("apply answer failed for %1: %2").arg(id, failure->text()));
    say(QStringLiteral("apply answer FAILED for %1: %2").arg(id, failure->text()));
}

void QuestionsDocMirrorService::repairStaleBlock(Block& block, const Question& question) {
    const QString answer = fileAnswer(question.filePath);
    const std::optional<std::string> before = block.answer;
    if (!isSet(block.answer) && !answer.isEmpty()) {
        block.answer = answer.toStdString();
    }
    if (isSet(block.audioAssetRef)) {
        block.transcriptionState = VoiceTranscriptionState::done;
    } else {
        block.transcriptionState.reset();
    }
    block.transcriptionProgress.reset();
    block.transcriptionPartial.reset();
    if (block.answer != before) {
        say(QStringLiteral("repaired stale block for %1 from the question file")
                .arg(question.slug));
    }
    if (!block.appliedAt) {
        const std::optional<QString> answeredAt =
            QuestionService::frontmatterValue(question.filePath, QStringLiteral("answered_at"));
        block.appliedAt = answeredAt.value_or(now()).toStdString();
    }
}

// Spoken answers

VoiceTranscription QuestionsDocMirrorService::askTranscription(const QString& clip) {
    std::optional<VoiceTranscription> older;
    if (const auto entry = transcriptions_.constFind(clip); entry != transcriptions_.constEnd()) {
        older = *entry;
        if (entry->text || inFlightClips_.contains(clip)) {
            return *entry;
        }
        if (entry->state == VoiceTranscriptionState::failed && entry->failedAt &&
            entry->failedAt->secsTo(clock_()) < kRetryAfterFailure.count()) {
            return *entry;
        }
    }
    startClip(clip);
    if (const auto entry = transcriptions_.constFind(clip); entry != transcriptions_.constEnd()) {
        return *entry;
    }
    return older.value_or(VoiceTranscription{});
}

void QuestionsDocMirrorService::startClip(const QString& clip) {
    if (inFlightClips_.contains(clip)) {
        return;
    }
    // The bridge keeps a clip under the last part of its name, and that is where it is looked
    // for: a name that leads elsewhere never has a file outside the folder transcribed.
    const QString name = SyncedDocsBridgeService::clipFileName(clip);
    const QString path = voiceAnswersFolder() + QLatin1Char('/') + name;
    if (name.isEmpty() || !QFileInfo::exists(path)) {
        say(QStringLiteral("voice clip %1 not on disk yet — queued").arg(clip));
        transcriptions_.insert(clip, VoiceTranscription{});
        return;
    }
    inFlightClips_.insert(clip);
    transcriptions_.insert(clip, VoiceTranscription{});
    say(QStringLiteral("transcription queued for %1").arg(clip));
    // Started and left: it holds the service weakly and reports into `transcriptions_`.
    transcribeClip(QPointer<QuestionsDocMirrorService>(this), clip, path);
}

QCoro::Task<> QuestionsDocMirrorService::transcribeClip(QPointer<QuestionsDocMirrorService> self,
                                                        QString clip, QString path) {
    if (!self) {
        co_return;
    }
    std::function<void(const QJsonObject&)> onEvent = [self, clip](const QJsonObject& event) {
        if (self) {
            self->clipProgress(clip, event);
        }
    };
    QCoro::Task<Expected<QString>> transcribing =
        DaemonEndpoints::transcribeFileStreaming(self->daemon_, path, std::move(onEvent));
    const Expected<QString> result = co_await transcribing;
    if (!self) {
        co_return;
    }
    self->clipFinished(clip, result);
}

void QuestionsDocMirrorService::clipProgress(const QString& clip, const QJsonObject& event) {
    const auto entry = transcriptions_.find(clip);
    if (entry == transcriptions_.end() || entry->text) {
        return;
    }
    const bool progress =
        JsonRead::stringOr(event, QLatin1String("type")) == QLatin1String("progress");
    const std::optional<QString> partial =
        progress ? JsonRead::string(event, QLatin1String("text")) : std::nullopt;
    if (!partial) {
        *entry = VoiceTranscription{};
        return;
    }
    const double fraction = JsonRead::number(event, QLatin1String("progress")).value_or(0.0);
    const QString trimmed = partial->trimmed();
    entry->state = VoiceTranscriptionState::transcribing;
    entry->percent = std::clamp<qint64>(std::llround(fraction * 100.0), 0, 100);
    entry->partial = trimmed.isEmpty() ? std::nullopt : std::optional(trimmed);
}

void QuestionsDocMirrorService::clipFinished(const QString& clip, const Expected<QString>& result) {
    inFlightClips_.remove(clip);
    VoiceTranscription& entry = transcriptions_[clip];
    if (!result.ok()) {
        entry = VoiceTranscription{.state = VoiceTranscriptionState::failed, .failedAt = clock_()};
        setLastError(QStringLiteral("transcribe failed for %1: %2").arg(clip, result.error()));
        say(QStringLiteral("transcribe FAILED for %1: %2").arg(clip, result.error()));
        return;
    }
    const QString text = result.value().trimmed();
    if (text.isEmpty()) {
        say(QStringLiteral("transcription of %1 returned empty").arg(clip));
        entry = VoiceTranscription{.state = VoiceTranscriptionState::failed, .failedAt = clock_()};
        return;
    }
    entry = VoiceTranscription{.state = VoiceTranscriptionState::done, .text = text};
    say(QStringLiteral("transcribed %1: %2…").arg(clip, text.left(60)));
}

} // namespace mnemora
