#include "voice/HoldToRecordController.h"

#include <QCoreApplication>
#include <QMouseEvent>
#include <QPointer>

namespace mnemora {

HoldToRecordController::HoldToRecordController(std::unique_ptr<AudioRecorder> recorder,
                                               QObject* parent)
    : QObject(parent)
    , recorder_(std::move(recorder)) {
    recorder_->setParent(nullptr);
    // A screen that watches only the controller redraws on every tick of the recorder.
    connect(recorder_.get(), &AudioRecorder::changed, this, &HoldToRecordController::changed);
    meterSampler_.setInterval(kSamplerInterval);
    connect(&meterSampler_, &QTimer::timeout, this, &HoldToRecordController::sampleLevel);
    micStatus_ = recorder_->authorizationStatus();
}

HoldToRecordController::~HoldToRecordController() {
    if (watchingReleases_) {
        QCoreApplication::instance()->removeEventFilter(this);
    }
    if (recorder_->isRecording()) {
        recorder_->cancel();
    }
}

bool HoldToRecordController::micBlocked() const {
    return micStatus_ == MicStatus::denied || micStatus_ == MicStatus::restricted;
}

QDateTime HoldToRecordController::now() const {
    return clock_ ? clock_() : QDateTime::currentDateTimeUtc();
}

void HoldToRecordController::press() {
    if (pressActive_ || recorder_->isRecording() || (isBusy && isBusy())) {
        return;
    }
    if (onReachedForMic) {
        onReachedForMic();
    }
    pressActive_ = true;
    pressStartedAt_ = now();
    permissionNotice_.reset();
    permissionHint_.reset();
    lastPressWasTooShort_ = false;
    levelHistory_.clear();
    peakLevel_ = 0.0;
    micStatus_ = recorder_->authorizationStatus();
    switch (micStatus_) {
    case MicStatus::authorized:
        recorder_->start();
        meterSampler_.start();
        if (!watchingReleases_ && QCoreApplication::instance() != nullptr) {
            QCoreApplication::instance()->installEventFilter(this);
            watchingReleases_ = true;
        }
        break;
    case MicStatus::notDetermined:
        permissionNotice_ = AnswerNotice::micPromptPending;
        permissionHint_ = AnswerText::notice(AnswerNotice::micPromptPending);
        break;
    case MicStatus::denied:
    case MicStatus::restricted:
        permissionNotice_ = AnswerNotice::micOff;
        permissionHint_ = AnswerText::notice(AnswerNotice::micOff);
        break;
    }
    emit changed();
}

void HoldToRecordController::endPress() {
    pressActive_ = false;
    if (watchingReleases_) {
        QCoreApplication::instance()->removeEventFilter(this);
        watchingReleases_ = false;
    }
    meterSampler_.stop();
}

void HoldToRecordController::release() {
    if (!pressActive_) {
        return;
    }
    endPress();
    const QDateTime startedAt = pressStartedAt_.value_or(now());
    pressStartedAt_.reset();
    if (!recorder_->isRecording()) {
        emit changed();
        return;
    }
    const double held = static_cast<double>(startedAt.msecsTo(now())) / 1000.0;
    if (held < minPushSeconds_) {
        recorder_->cancel();
        lastPressWasTooShort_ = true;
        emit changed();
        return;
    }
    emit changed();
    // Started and left: the recorder finishes its file, then the clip goes on if this controller
    // is still there.
    deliverClip(QPointer<HoldToRecordController>(this));
}

QCoro::Task<> HoldToRecordController::deliverClip(QPointer<HoldToRecordController> self) {
    QCoro::Task<std::optional<RecordedClip>> stopping = self->recorder_->stop();
    const std::optional<RecordedClip> clip = co_await stopping;
    if (!self) {
        co_return;
    }
    emit self->changed();
    // A clip that could not be read ends the press in silence, without a notice.
    if (clip && self->onClip) {
        self->onClip(*clip);
    }
}

void HoldToRecordController::sampleLevel() {
    if (!recorder_->isRecording()) {
        return;
    }
    const double level = recorder_->level();
    peakLevel_ = qMax(peakLevel_, level);
    levelHistory_.append(level);
    while (levelHistory_.size() > kHistoryLength) {
        levelHistory_.removeFirst();
    }
    emit changed();
}

void HoldToRecordController::requestPermissionIfNeeded() {
    micStatus_ = recorder_->authorizationStatus();
    emit changed();
    if (micStatus_ != MicStatus::notDetermined) {
        return;
    }
    QPointer<HoldToRecordController> self(this);
    recorder_->requestAccess([self](bool granted) {
        if (!self) {
            return;
        }
        self->micStatus_ = self->recorder_->authorizationStatus();
        self->permissionNotice_ =
            granted ? std::nullopt : std::optional<AnswerNotice>(AnswerNotice::micOff);
        self->permissionHint_ =
            self->permissionNotice_
                ? std::optional<QString>(AnswerText::notice(AnswerNotice::micOff))
                : std::nullopt;
        emit self->changed();
    });
}

void HoldToRecordController::refreshStatus() {
    micStatus_ = recorder_->authorizationStatus();
    emit changed();
}

bool HoldToRecordController::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::MouseButtonRelease &&
        static_cast<QMouseEvent*>(event)->button() == Qt::LeftButton && pressActive_) {
        // Queued, so the control's own release handler, if it sees the event, runs first and the
        // event goes on unchanged.
        QMetaObject::invokeMethod(this, &HoldToRecordController::release, Qt::QueuedConnection);
    }
    return QObject::eventFilter(watched, event);
}

} // namespace mnemora
