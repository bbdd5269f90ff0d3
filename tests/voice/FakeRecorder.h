#pragma once

#include "voice/AudioRecorder.h"

namespace mnemora::test {

// A microphone that records what the test chose: the bytes a stop gives, the level it meters and
// whether access is granted. The test sets its level and elapsed seconds by hand.
class FakeRecorder : public AudioRecorder {
public:
    QByteArray bytes = "clip-bytes";
    double duration = 1.5;
    MicStatus status = MicStatus::authorized;
    bool refuse = false; // start fails as the platform would
    int cancels = 0;
    std::function<void(bool)> pendingAccess;

    void start() override {
        if (refuse) {
            setError(QStringLiteral("QMediaRecorder refused to start"));
            return;
        }
        setRecording(QDateTime::currentDateTimeUtc());
    }
    QCoro::Task<std::optional<RecordedClip>> stop() override {
        const bool wasRecording = isRecording();
        setIdle();
        if (!wasRecording || bytes.isEmpty()) {
            co_return std::nullopt;
        }
        co_return RecordedClip{bytes, duration};
    }
    void cancel() override {
        ++cancels;
        setIdle();
    }
    MicStatus authorizationStatus() const override { return status; }
    void requestAccess(std::function<void(bool)> answer) override {
        pendingAccess = std::move(answer);
    }

    void meterAt(double value) { setLevel(value); }
    void tickTo(int seconds) { setElapsedSeconds(seconds); }
};

} // namespace mnemora::test
