#include "voice/AnswerControlModel.h"

#include <QDir>
#include <QUuid>

#include "daemon/DaemonService.h"
#include "platform/AtomicFile.h"
#include "platform/BundleInfo.h"
#include "platform/Paths.h"
#include "voice/ClipTranscription.h"
#include "voice/QtAudioRecorder.h"

namespace mnemora {

namespace {

// Below this peak the clip is silence and is not sent.
constexpr double kSilencePeak = 0.02;

QString defaultClipFolder() {
    QString identifier = BundleInfo::main().identifier;
    if (identifier.isEmpty()) {
        identifier = QStringLiteral("ai.mnemora");
    }
    return Paths::applicationSupportRoot() + QLatin1Char('/') + identifier +
           QStringLiteral("/AnswerClips");
}

} // namespace

AnswerControlModel::AnswerControlModel(QObject* parent)
    : QObject(parent)
    , holder_(new HoldToRecordController(AudioRecorder::make(), this)) {
    sayingTimer_.setSingleShot(true);
    sayingTimer_.setInterval(std::chrono::seconds(1));
    connect(&sayingTimer_, &QTimer::timeout, this, [this] {
        saying_ = true;
        emit changed();
    });
    holder_->isBusy = [this] { return transcribing_; };
    holder_->onReachedForMic = [this] { emit reachedForMic(); };
    holder_->onClip = [this](const RecordedClip& clip) { takeClip(clip); };
    connect(holder_, &HoldToRecordController::changed, this, &AnswerControlModel::watchHolder);
}

AnswerControlModel::~AnswerControlModel() = default;

void AnswerControlModel::watchHolder() {
    // Only a turn to true or to a value raises a notice; the controller clears its own on a
    // press, while the control's notice stays until the next one or typing.
    if (holder_->lastPressWasTooShort() && !sawTooShort_) {
        setNotice(AnswerNotice::tooQuick);
    }
    sawTooShort_ = holder_->lastPressWasTooShort();
    const std::optional<AnswerNotice> permission = holder_->permissionNotice();
    if (permission && permission != sawPermissionNotice_) {
        setNotice(permission);
    }
    sawPermissionNotice_ = permission;
    emit changed();
}

void AnswerControlModel::setText(const QString& text) {
    if (text == text_) {
        return;
    }
    text_ = text;
    emit textChanged();
    setNotice(std::nullopt);
    emit changed();
}

void AnswerControlModel::setPlaceholder(const QString& placeholder) {
    if (placeholder != placeholder_) {
        placeholder_ = placeholder;
        emit changed();
    }
}

void AnswerControlModel::setDaemon(DaemonService* daemon) {
    daemon_ = daemon;
    emit changed();
}

QObject* AnswerControlModel::daemonObject() const {
    return daemon_.data();
}

void AnswerControlModel::setDaemonObject(QObject* daemon) {
    setDaemon(qobject_cast<DaemonService*>(daemon));
}

void AnswerControlModel::setLanguage(const QString& language) {
    if (language != language_) {
        language_ = language;
        emit changed();
    }
}

void AnswerControlModel::setFocused(bool focused) {
    if (focused != focused_) {
        focused_ = focused;
        emit focusedChanged(focused);
    }
}

void AnswerControlModel::setNotice(std::optional<AnswerNotice> notice) {
    if (notice != notice_) {
        notice_ = notice;
        emit changed();
    }
}

AnswerControlState AnswerControlModel::state() const {
    const AudioRecorder& recorder = *holder_->recorder();
    return AnswerControlState::derive({recorder.isRecording(), recorder.elapsedSeconds(),
                                       transcribing_, saying_ ? 1.0 : 0.0, notice_});
}

QString AnswerControlModel::phaseWord() const {
    switch (state().phase.kind) {
    case AnswerPhase::Kind::listening:
        return QStringLiteral("listening");
    case AnswerPhase::Kind::transcribing:
        return QStringLiteral("transcribing");
    case AnswerPhase::Kind::notice:
        return QStringLiteral("notice");
    case AnswerPhase::Kind::resting:
        break;
    }
    return QStringLiteral("resting");
}

QString AnswerControlModel::toneWord() const {
    switch (state().tone) {
    case AnswerFieldTone::listening:
        return QStringLiteral("listening");
    case AnswerFieldTone::problem:
        return QStringLiteral("problem");
    case AnswerFieldTone::neutral:
        break;
    }
    return QStringLiteral("neutral");
}

QString AnswerControlModel::prompt() const {
    const AnswerControlState shown = state();
    if (shown.phase.notice) {
        return AnswerText::notice(*shown.phase.notice);
    }
    if (shown.phase.kind == AnswerPhase::Kind::resting) {
        return placeholder_;
    }
    return shown.placeholder.value_or(QString());
}

QString AnswerControlModel::noticeLine() const {
    const AnswerControlState shown = state();
    return text_.isEmpty() || !shown.phase.notice ? QString()
                                                  : AnswerText::notice(*shown.phase.notice);
}

QString AnswerControlModel::elapsedText() const {
    return AnswerText::clock(holder_->recorder()->elapsedSeconds());
}

bool AnswerControlModel::canRetry() const {
    return (notice_ == AnswerNotice::nothingHeard ||
            notice_ == AnswerNotice::transcriptionFailed) &&
           lastClip_ && !transcribing_ && !holder_->recorder()->isRecording();
}

std::optional<QString> AnswerControlModel::saveClip(const QByteArray& bytes) const {
    const QString folder = clipFolder_.isEmpty() ? defaultClipFolder() : clipFolder_;
    if (!QDir().mkpath(folder)) {
        return std::nullopt;
    }
    const QString path = folder + QLatin1Char('/') +
                         QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper() +
                         QStringLiteral(".m4a");
    if (writeFileAtomically(path, bytes)) {
        return std::nullopt;
    }
    return path;
}

void AnswerControlModel::takeClip(const RecordedClip& clip) {
    lastClip_ = clip.bytes;
    lastClipSeconds_ = qRound(clip.durationSeconds);
    // Keeping a copy is a courtesy to the caller; the flow goes on when it cannot be written.
    if (const std::optional<QString> saved = saveClip(clip.bytes)) {
        emit clipSaved(*saved, lastClipSeconds_);
    }
    if (holder_->peakLevel() < kSilencePeak) {
        setNotice(AnswerNotice::nothingHeard);
        emit changed();
        return;
    }
    startTranscription();
}

void AnswerControlModel::retry() {
    if (lastClip_ && !transcribing_) {
        startTranscription();
    }
}

bool AnswerControlModel::openSettings() {
    return QtAudioRecorder::openSettings();
}

void AnswerControlModel::startTranscription() {
    transcribing_ = true;
    saying_ = false;
    notice_.reset();
    sayingTimer_.start();
    emit changed();
    // Started and left: it guards this model across the daemon's answer.
    transcription(QPointer<AnswerControlModel>(this), *lastClip_);
}

QCoro::Task<> AnswerControlModel::transcription(QPointer<AnswerControlModel> self,
                                                QByteArray clip) {
    QCoro::Task<Expected<QString>> running =
        ClipTranscription::transcribe(self->daemon_, std::move(clip));
    const Expected<QString> result = co_await running;
    if (!self) {
        co_return;
    }
    if (result.ok()) {
        const QString words = result.value().trimmed();
        if (const std::optional<AnswerNotice> notice = AnswerText::transcriptNotice(words)) {
            self->notice_ = notice;
        } else {
            self->lastClip_.reset();
            self->notice_.reset();
            const QString field = AnswerText::appended(self->text_, words);
            self->text_ = field;
            emit self->textChanged();
            emit self->transcriptLanded();
            self->setFocused(true);
        }
    } else {
        self->notice_ = AnswerNotice::transcriptionFailed;
        emit self->unreadableClip(self->lastClipSeconds_);
    }
    self->sayingTimer_.stop();
    self->transcribing_ = false;
    self->saying_ = false;
    emit self->changed();
}

} // namespace mnemora
