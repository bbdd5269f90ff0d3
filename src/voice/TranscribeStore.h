#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QObject>
#include <QPointer>
#include <QString>

#include <QCoroTask>

#include <chrono>
#include <optional>

#include "app/CancellableLoop.h"
#include "daemon/DaemonService.h"
#include "daemon/EventStreamReader.h"

namespace mnemora {

// The live transcription of a recording that Voice Memos is making, as the daemon streams it.
struct VoiceMemosLive {
    bool captureAccessible = false; // the daemon can read the Voice Memos store
    bool recordingDetected = false; // Voice Memos is recording right now
    bool watching = false;          // a live transcription runs
    bool finished = false;          // the last one ended with a saved text
    QString accumulatedText;
    double transcribedSeconds = 0.0;
    double currentDuration = 0.0;

    bool operator==(const VoiceMemosLive&) const = default;
};

// The model behind the Transcribe screen: the daemon's event stream for live transcription, its
// partial text handed to the screen at most ten times a second, and the saving of a recording
// made here as a new item for the daemon to transcribe.
class TranscribeStore : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool captureAccessible READ captureAccessible NOTIFY liveChanged)
    Q_PROPERTY(bool recordingDetected READ recordingDetected NOTIFY liveChanged)
    Q_PROPERTY(bool watching READ watching NOTIFY liveChanged)
    Q_PROPERTY(bool finished READ finished NOTIFY liveChanged)
    Q_PROPERTY(QString accumulatedText READ accumulatedText NOTIFY liveChanged)
    Q_PROPERTY(double transcribedSeconds READ transcribedSeconds NOTIFY liveChanged)
    Q_PROPERTY(double currentDuration READ currentDuration NOTIFY liveChanged)
    Q_PROPERTY(QString recordingError READ recordingErrorText NOTIFY recordingErrorChanged)
    Q_PROPERTY(bool savingRecording READ savingRecording NOTIFY savingRecordingChanged)

public:
    struct Timings {
        std::chrono::milliseconds flushDelay{100};
        std::chrono::milliseconds reconnectDelay{2'000};
        std::chrono::milliseconds statusRetryDelay{250};
        int statusTries = 24;
    };

    // What one event of a `transcribe-file/stream` says about its job.
    struct FileStreamProgress {
        bool queued = false;
        int percent = 0;
        double durationSeconds = 0.0;
        std::optional<QString> text;

        bool operator==(const FileStreamProgress&) const = default;
    };
    // None for an event that is neither "queued" nor "progress".
    static std::optional<FileStreamProgress> fileStreamProgress(const QJsonObject& event);

    explicit TranscribeStore(DaemonService* daemon, QObject* parent = nullptr);
    ~TranscribeStore() override;

    void setTimings(const Timings& timings) { timings_ = timings; }

    const VoiceMemosLive& live() const { return live_; }
    bool captureAccessible() const { return live_.captureAccessible; }
    bool recordingDetected() const { return live_.recordingDetected; }
    bool watching() const { return live_.watching; }
    bool finished() const { return live_.finished; }
    const QString& accumulatedText() const { return live_.accumulatedText; }
    double transcribedSeconds() const { return live_.transcribedSeconds; }
    double currentDuration() const { return live_.currentDuration; }
    const std::optional<QString>& recordingError() const { return recordingError_; }
    QString recordingErrorText() const { return recordingError_.value_or(QString()); }
    bool savingRecording() const { return savingRecording_; }

    // Opens the stream loop once; later calls do nothing.
    void startListening();
    bool isListening() const { return sseTask_.isActive(); }
    // Polls the daemon's status until it answers 200 or the tries run out; never fails.
    QCoro::Task<> waitForDaemon();
    QCoro::Task<> refreshAccess();
    QCoro::Task<> refreshRecording();
    // The screen's start: wait for the daemon, read access and recording, open the stream.
    QCoro::Task<> begin();
    Q_INVOKABLE void startWatching();
    Q_INVOKABLE void stopWatching();
    // Forgets a finished transcription, so the panel goes back to waiting.
    Q_INVOKABLE void dismissFinished();

    // Sends a recording made here; gives where the daemon stored it, or none with the words in
    // `recordingError`.
    QCoro::Task<std::optional<QString>> saveRecording(QByteArray bytes, QString ext);
    // `savingRecording` around `saveRecording`, logged when saved.
    QCoro::Task<std::optional<QString>> saveAppRecording(QByteArray bytes);

    // One event line's object, as the stream hands it over.
    void handleEvent(const QJsonObject& object);
    // Writes the pending partial values into `live` now.
    void flush();

signals:
    void liveChanged();
    void recordingErrorChanged();
    void savingRecordingChanged();
    void recordingSaved(const QString& path);

private:
    static QCoro::Task<> streamPass(QPointer<TranscribeStore> self, CancelToken token);
    static QCoro::Task<> flushLater(QPointer<TranscribeStore> self);
    void scheduleFlush();
    void setLive(const VoiceMemosLive& live);
    void setRecordingError(const QString& words);

    QPointer<DaemonService> daemon_;
    Timings timings_;
    VoiceMemosLive live_;
    std::optional<QString> recordingError_;
    bool savingRecording_ = false;
    CancellableTask sseTask_;
    EventStreamReader stream_;
    std::optional<QString> pendingLiveText_;
    std::optional<double> pendingLiveTSec_;
    std::optional<double> pendingLiveDur_;
    bool flushScheduled_ = false;
};

} // namespace mnemora
