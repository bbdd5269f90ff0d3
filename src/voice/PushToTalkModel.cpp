#include "voice/PushToTalkModel.h"

#include "daemon/DaemonService.h"
#include "voice/ClipTranscription.h"

namespace mnemora {

PushToTalkModel::PushToTalkModel(QObject* parent)
    : QObject(parent)
    , holder_(new HoldToRecordController(AudioRecorder::make(), this)) {
    holder_->isBusy = [this] { return transcribing_; };
    holder_->onClip = [this](const RecordedClip& clip) { takeClip(clip); };
    connect(holder_, &HoldToRecordController::changed, this, [this] {
        if (holder_->lastPressWasTooShort() && !sawTooShort_) {
            notice_ = AnswerNotice::tooQuick;
        }
        sawTooShort_ = holder_->lastPressWasTooShort();
        emit changed();
    });
}

QObject* PushToTalkModel::daemonObject() const {
    return daemon_.data();
}

void PushToTalkModel::setDaemonObject(QObject* daemon) {
    daemon_ = qobject_cast<DaemonService*>(daemon);
    emit changed();
}

QString PushToTalkModel::statusLine() const {
    const AudioRecorder& recorder = *holder_->recorder();
    if (transcribing_ && progressPercent_) {
        return QStringLiteral("Transcribing %1%").arg(qRound(*progressPercent_));
    }
    if (transcribing_) {
        return QStringLiteral("Transcribing…");
    }
    if (recorder.isRecording()) {
        return QStringLiteral("Recording %1s — release to stop").arg(recorder.elapsedSeconds());
    }
    if (holder_->permissionHint()) {
        return *holder_->permissionHint();
    }
    if (notice_) {
        return AnswerText::notice(*notice_);
    }
    if (recorder.state() == AudioRecorder::State::error) {
        return recorder.errorText();
    }
    return QStringLiteral("Hold to speak");
}

QString PushToTalkModel::icon() const {
    if (transcribing_) {
        return QStringLiteral("waveform");
    }
    return holder_->recorder()->isRecording() ? QStringLiteral("mic.fill") : QStringLiteral("mic");
}

bool PushToTalkModel::canRetry() const {
    return (notice_ == AnswerNotice::nothingHeard ||
            notice_ == AnswerNotice::transcriptionFailed) &&
           lastClip_ && !transcribing_ && !holder_->recorder()->isRecording();
}

void PushToTalkModel::takeClip(const RecordedClip& clip) {
    lastClip_ = clip.bytes;
    startTranscription();
}

void PushToTalkModel::retry() {
    if (lastClip_ && !transcribing_) {
        startTranscription();
    }
}

void PushToTalkModel::startTranscription() {
    transcribing_ = true;
    progressPercent_.reset();
    emit changed();
    // Started and left: it guards this model across the daemon's answer.
    transcription(QPointer<PushToTalkModel>(this), *lastClip_);
}

QCoro::Task<> PushToTalkModel::transcription(QPointer<PushToTalkModel> self, QByteArray clip) {
    ClipTranscription::Progress progress = [self](double percent) {
        if (self) {
            self->progressPercent_ = percent;
            emit self->changed();
        }
    };
    QCoro::Task<Expected<QString>> running =
        ClipTranscription::transcribe(self->daemon_, std::move(clip), progress);
    const Expected<QString> result = co_await running;
    if (!self) {
        co_return;
    }
    if (!result.ok()) {
        self->notice_ = AnswerNotice::transcriptionFailed;
    } else if (const auto notice = AnswerText::transcriptNotice(result.value())) {
        self->notice_ = notice;
    } else {
        self->lastClip_.reset();
        self->notice_.reset();
        emit self->transcript(result.value().trimmed());
    }
    self->transcribing_ = false;
    self->progressPercent_.reset();
    emit self->changed();
}

} // namespace mnemora
