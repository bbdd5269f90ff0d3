#pragma once

#include <memory>

#include "ui/ScreenModel.h"
#include "voice/AudioRecorder.h"
#include "voice/HoldToRecordController.h"
#include "voice/TranscribeStore.h"

namespace mnemora {

// Transcribe: the live transcription of a recording in progress, recordings made here (a Record
// button, or a held microphone) sent as new items, and the voice memos that have been turned
// into text, newest first, with their words.
class TranscribeModel : public ScreenModel {
    Q_OBJECT
    Q_PROPERTY(QObject* store READ store CONSTANT)
    Q_PROPERTY(QVariantMap panel READ panel NOTIFY panelChanged)
    Q_PROPERTY(mnemora::HoldToRecordController* holder READ holder CONSTANT)
    Q_PROPERTY(QString recordLabel READ recordLabel NOTIFY recordingChanged)
    Q_PROPERTY(bool recording READ recording NOTIFY recordingChanged)

public:
    static constexpr int kLimit = 200;
    // A held clip here becomes a stored item, so a longer press is asked for than in answers.
    static constexpr double kMinPushToTalkSeconds = 1.0;

    TranscribeModel(const WindowServices& services, QObject* parent = nullptr);

    TranscribeStore* store() const { return store_; }
    QVariantMap panel() const;
    HoldToRecordController* holder() const { return holder_; }
    bool recording() const { return recorder_->isRecording(); }
    // "Record", or "Stop (m:ss)" while recording.
    QString recordLabel() const;

    Q_INVOKABLE void toggleRecording();
    Q_INVOKABLE void panelAction(const QString& button);

    QCoro::Task<> load() override;

signals:
    void panelChanged();
    void recordingChanged();

protected:
    void onActiveChanged() override;

private:
    void save(const RecordedClip& clip);
    static QCoro::Task<> stopAndSave(QPointer<TranscribeModel> self);
    static QCoro::Task<> saveClip(QPointer<TranscribeModel> self, QByteArray bytes);

    TranscribeStore* store_;
    std::unique_ptr<AudioRecorder> recorder_;
    HoldToRecordController* holder_;
    bool begun_ = false;
};

} // namespace mnemora
