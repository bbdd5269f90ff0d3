#include "voice/AudioRecorder.h"

#include <QPointer>

#include <algorithm>

#include "voice/QtAudioRecorder.h"

namespace mnemora {

namespace {

AudioRecorder::Factory& factory() {
    static AudioRecorder::Factory made;
    return made;
}

} // namespace

double AudioRecorder::levelOfDecibels(double decibels) {
    return std::clamp((decibels + 50.0) / 50.0, 0.0, 1.0);
}

void AudioRecorder::requestAccess(std::function<void(bool granted)> answer) {
    QPointer<AudioRecorder> self(this);
    QMetaObject::invokeMethod(
        this,
        [self, answer = std::move(answer)] {
            if (self) {
                answer(self->authorizationStatus() == MicStatus::authorized);
            }
        },
        Qt::QueuedConnection);
}

std::unique_ptr<AudioRecorder> AudioRecorder::make() {
    if (factory()) {
        return factory()();
    }
    return std::make_unique<QtAudioRecorder>();
}

void AudioRecorder::setFactory(Factory made) {
    factory() = std::move(made);
}

void AudioRecorder::setRecording(const QDateTime& startedAt) {
    state_ = State::recording;
    startedAt_ = startedAt;
    elapsedSeconds_ = 0;
    errorText_.clear();
    emit changed();
}

void AudioRecorder::setIdle() {
    state_ = State::idle;
    startedAt_.reset();
    elapsedSeconds_ = 0;
    errorText_.clear();
    emit changed();
}

void AudioRecorder::setError(const QString& words) {
    state_ = State::error;
    startedAt_.reset();
    errorText_ = words;
    emit changed();
}

void AudioRecorder::setElapsedSeconds(int seconds) {
    if (seconds != elapsedSeconds_) {
        elapsedSeconds_ = seconds;
        emit changed();
    }
}

void AudioRecorder::setLevel(double level) {
    if (level != level_) {
        level_ = level;
        emit changed();
    }
}

} // namespace mnemora
