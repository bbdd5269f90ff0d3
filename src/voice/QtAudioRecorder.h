#pragma once

#include <QAudioDevice>
#include <QTimer>

#include <memory>

#include "voice/AudioRecorder.h"

class QAudioInput;
class QAudioSource;
class QIODevice;
class QMediaCaptureSession;
class QMediaRecorder;

namespace mnemora {

// The recorder on Qt Multimedia: AAC in an MPEG-4 audio file `mn-rec-{UUID}.m4a` in the
// temporary folder, 44.1 kHz mono at medium quality, and the level from a separate audio source
// on the same input, read every 80 ms.
class QtAudioRecorder : public AudioRecorder {
    Q_OBJECT

public:
    static constexpr std::chrono::milliseconds kTickInterval{1000};
    static constexpr std::chrono::milliseconds kMeterInterval{80};

    explicit QtAudioRecorder(QObject* parent = nullptr);
    ~QtAudioRecorder() override;

    void start() override;
    QCoro::Task<std::optional<RecordedClip>> stop() override;
    void cancel() override;
    MicStatus authorizationStatus() const override;

    // The input recorded from: the system's default one, else the first; none without any.
    static std::optional<QAudioDevice> inputDevice();
    // Opens the desktop's sound settings; false where it has none.
    static bool openSettings();

private:
    struct Session;
    void tick();
    void meter();
    void teardown();
    static QCoro::Task<> drain(std::shared_ptr<Session> session);
    static QCoro::Task<std::optional<RecordedClip>> finish(std::shared_ptr<Session> session,
                                                           double duration);
    static QCoro::Task<> discard(std::shared_ptr<Session> session);

    std::shared_ptr<Session> session_;
    QTimer tickTimer_;
    QTimer meterTimer_;
};

} // namespace mnemora
