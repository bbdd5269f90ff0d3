#pragma once

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QTimer>

#include <QCoroTask>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

#include "voice/AnswerControlState.h"
#include "voice/AudioRecorder.h"

namespace mnemora {

// Turns one press of a microphone control into one clip: the press starts the recorder, the
// release stops it and hands the clip on, a press shorter than `minPushSeconds` is thrown away.
// While a press lasts it samples the level into a short history for the meter, and any left
// button release anywhere in the application ends it, so that a release the control never saw
// cannot leave the recorder running.
class HoldToRecordController : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool pressActive READ pressActive NOTIFY changed)
    Q_PROPERTY(bool micBlocked READ micBlocked NOTIFY changed)
    Q_PROPERTY(QString permissionHint READ permissionHintText NOTIFY changed)
    Q_PROPERTY(bool lastPressWasTooShort READ lastPressWasTooShort NOTIFY changed)
    Q_PROPERTY(QList<double> levelHistory READ levelHistory NOTIFY changed)
    Q_PROPERTY(double peakLevel READ peakLevel NOTIFY changed)
    Q_PROPERTY(mnemora::AudioRecorder* recorder READ recorder CONSTANT)

public:
    using Clock = std::function<QDateTime()>;
    static constexpr qsizetype kHistoryLength = 12;
    static constexpr double kDefaultMinPushSeconds = 0.4;
    static constexpr std::chrono::milliseconds kSamplerInterval{60};

    explicit HoldToRecordController(std::unique_ptr<AudioRecorder> recorder = AudioRecorder::make(),
                                    QObject* parent = nullptr);
    ~HoldToRecordController() override;

    std::function<void(const RecordedClip&)> onClip;
    std::function<bool()> isBusy;
    std::function<void()> onReachedForMic;

    AudioRecorder* recorder() const { return recorder_.get(); }
    bool pressActive() const { return pressActive_; }
    MicStatus micStatus() const { return micStatus_; }
    bool micBlocked() const;
    const std::optional<QString>& permissionHint() const { return permissionHint_; }
    QString permissionHintText() const { return permissionHint_.value_or(QString()); }
    std::optional<AnswerNotice> permissionNotice() const { return permissionNotice_; }
    bool lastPressWasTooShort() const { return lastPressWasTooShort_; }
    const QList<double>& levelHistory() const { return levelHistory_; }
    double peakLevel() const { return peakLevel_; }

    double minPushSeconds() const { return minPushSeconds_; }
    void setMinPushSeconds(double seconds) { minPushSeconds_ = seconds; }
    void setClock(Clock clock) { clock_ = std::move(clock); }

    // Idempotent while a press lasts; refused while recording or busy.
    Q_INVOKABLE void press();
    // Idempotent once the press has ended.
    Q_INVOKABLE void release();
    // Asks for the microphone when nobody has answered yet; the answer arrives later.
    Q_INVOKABLE void requestPermissionIfNeeded();
    // Reads the microphone's status again, e.g. when the application becomes active.
    Q_INVOKABLE void refreshStatus();
    // One sample of the level into the history, as the sampler takes it while a press lasts.
    void sampleLevel();

signals:
    void changed();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void endPress();
    static QCoro::Task<> deliverClip(QPointer<HoldToRecordController> self);
    QDateTime now() const;

    std::unique_ptr<AudioRecorder> recorder_;
    bool pressActive_ = false;
    MicStatus micStatus_ = MicStatus::notDetermined;
    std::optional<QString> permissionHint_;
    std::optional<AnswerNotice> permissionNotice_;
    bool lastPressWasTooShort_ = false;
    QList<double> levelHistory_;
    double peakLevel_ = 0.0;
    std::optional<QDateTime> pressStartedAt_;
    bool watchingReleases_ = false;
    QTimer meterSampler_;
    double minPushSeconds_ = kDefaultMinPushSeconds;
    Clock clock_;
};

} // namespace mnemora
