#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QObject>
#include <QString>

#include <QCoroTask>

#include <functional>
#include <memory>
#include <optional>

namespace mnemora {

// Whether the application may use a microphone. On this platform there is no prompt: access is
// granted when an audio input exists and opens, denied when none does.
enum class MicStatus { notDetermined, authorized, denied, restricted };

// One short clip, recorded to a temporary file and handed back whole.
struct RecordedClip {
    QByteArray bytes;
    double durationSeconds = 0.0;
};

// Records one clip at a time and meters its level. Start never fails at its caller: a failure
// leaves `state` in error with the platform's words. Stop and cancel leave no file behind.
class AudioRecorder : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool recording READ isRecording NOTIFY changed)
    Q_PROPERTY(int elapsedSeconds READ elapsedSeconds NOTIFY changed)
    Q_PROPERTY(double level READ level NOTIFY changed)
    Q_PROPERTY(QString errorText READ errorText NOTIFY changed)

public:
    enum class State { idle, recording, error };

    using Factory = std::function<std::unique_ptr<AudioRecorder>()>;

    explicit AudioRecorder(QObject* parent = nullptr)
        : QObject(parent) {}

    State state() const { return state_; }
    bool isRecording() const { return state_ == State::recording; }
    std::optional<QDateTime> startedAt() const { return startedAt_; }
    int elapsedSeconds() const { return elapsedSeconds_; }
    // 0 to 1; silence under -50 dB reads 0.
    double level() const { return level_; }
    // The words of the error state; empty otherwise.
    const QString& errorText() const { return errorText_; }

    virtual void start() = 0;
    // The clip and its duration; none without a recording or with an empty or unreadable file.
    // The platform finishes the file a moment after it stops, hence a task.
    virtual QCoro::Task<std::optional<RecordedClip>> stop() = 0;
    virtual void cancel() = 0;

    // The platform's answer as it stands now.
    virtual MicStatus authorizationStatus() const = 0;
    // Asks for access and tells the answer later, on the main thread. Nothing here prompts: the
    // answer is whether a microphone is there now.
    virtual void requestAccess(std::function<void(bool granted)> answer);

    // The level the platform reports in decibels (0 at full scale), as 0 to 1.
    static double levelOfDecibels(double decibels);

    // Makes the recorder of every new hold controller; the Qt Multimedia one unless a test sets
    // its own (an empty factory restores that).
    static std::unique_ptr<AudioRecorder> make();
    static void setFactory(Factory factory);

signals:
    void changed();

protected:
    void setRecording(const QDateTime& startedAt);
    void setIdle();
    void setError(const QString& words);
    void setElapsedSeconds(int seconds);
    void setLevel(double level);

private:
    State state_ = State::idle;
    std::optional<QDateTime> startedAt_;
    int elapsedSeconds_ = 0;
    double level_ = 0.0;
    QString errorText_;
};

} // namespace mnemora
