#pragma once

#include <QByteArray>
#include <QObject>
#include <QPointer>
#include <QString>

#include <QCoroTask>

#include <optional>

#include "daemon/DaemonService.h"
#include "voice/AnswerControlState.h"
#include "voice/HoldToRecordController.h"

namespace mnemora {

// The model of a bare microphone button that gives text: hold to record, release to transcribe,
// and the words go to whoever listens to `transcript`. A status line says what happens.
class PushToTalkModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(QObject* daemon READ daemonObject WRITE setDaemonObject NOTIFY changed)
    Q_PROPERTY(QString language MEMBER language_ NOTIFY changed)
    Q_PROPERTY(mnemora::HoldToRecordController* holder READ holder CONSTANT)
    Q_PROPERTY(bool transcribing READ transcribing NOTIFY changed)
    Q_PROPERTY(QString statusLine READ statusLine NOTIFY changed)
    Q_PROPERTY(QString icon READ icon NOTIFY changed)
    Q_PROPERTY(bool canRetry READ canRetry NOTIFY changed)

public:
    explicit PushToTalkModel(QObject* parent = nullptr);

    QObject* daemonObject() const;
    void setDaemonObject(QObject* daemon);
    HoldToRecordController* holder() const { return holder_; }
    bool transcribing() const { return transcribing_; }
    std::optional<AnswerNotice> notice() const { return notice_; }
    QString statusLine() const;
    // "waveform" while transcribing, "mic.fill" while recording, else "mic".
    QString icon() const;
    bool canRetry() const;

    void takeClip(const RecordedClip& clip);
    Q_INVOKABLE void retry();

signals:
    void changed();
    void transcript(const QString& text);

private:
    void startTranscription();
    static QCoro::Task<> transcription(QPointer<PushToTalkModel> self, QByteArray clip);

    HoldToRecordController* holder_;
    QPointer<DaemonService> daemon_;
    QString language_;
    bool transcribing_ = false;
    std::optional<double> progressPercent_;
    std::optional<AnswerNotice> notice_;
    std::optional<QByteArray> lastClip_;
    bool sawTooShort_ = false;
};

} // namespace mnemora
