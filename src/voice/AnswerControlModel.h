#pragma once

#include <QByteArray>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>

#include <QCoroTask>

#include <optional>

#include "daemon/DaemonService.h"
#include "voice/AnswerControlState.h"
#include "voice/HoldToRecordController.h"

namespace mnemora {

// The model of a text field with a microphone inside it: a held microphone records, the release
// transcribes the clip through the daemon and the words are added to the field. Nothing is sent
// anywhere else; the user edits and submits the text as typed. A clip that did not turn into
// words stays for Retry.
class AnswerControlModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString text READ text WRITE setText NOTIFY textChanged)
    Q_PROPERTY(QString placeholder READ placeholder WRITE setPlaceholder NOTIFY changed)
    Q_PROPERTY(QObject* daemon READ daemonObject WRITE setDaemonObject NOTIFY changed)
    Q_PROPERTY(QString language READ language WRITE setLanguage NOTIFY changed)
    Q_PROPERTY(bool focused READ focused WRITE setFocused NOTIFY focusedChanged)
    Q_PROPERTY(mnemora::HoldToRecordController* holder READ holder CONSTANT)
    Q_PROPERTY(bool transcribing READ transcribing NOTIFY changed)
    Q_PROPERTY(QString phase READ phaseWord NOTIFY changed)
    Q_PROPERTY(QString tone READ toneWord NOTIFY changed)
    Q_PROPERTY(bool micIsDashed READ micIsDashed NOTIFY changed)
    Q_PROPERTY(bool micIsFilled READ micIsFilled NOTIFY changed)
    Q_PROPERTY(bool fieldAcceptsTyping READ fieldAcceptsTyping NOTIFY changed)
    Q_PROPERTY(QString prompt READ prompt NOTIFY changed)
    Q_PROPERTY(QString noticeLine READ noticeLine NOTIFY changed)
    Q_PROPERTY(QString elapsedText READ elapsedText NOTIFY changed)
    Q_PROPERTY(bool canRetry READ canRetry NOTIFY changed)

public:
    explicit AnswerControlModel(QObject* parent = nullptr);
    ~AnswerControlModel() override;

    const QString& text() const { return text_; }
    void setText(const QString& text);
    const QString& placeholder() const { return placeholder_; }
    void setPlaceholder(const QString& placeholder);
    DaemonService* daemon() const { return daemon_; }
    void setDaemon(DaemonService* daemon);
    QObject* daemonObject() const;
    void setDaemonObject(QObject* daemon);
    const QString& language() const { return language_; }
    void setLanguage(const QString& language);
    bool focused() const { return focused_; }
    void setFocused(bool focused);

    HoldToRecordController* holder() const { return holder_; }
    bool transcribing() const { return transcribing_; }
    bool sayingWritingThatDown() const { return saying_; }
    std::optional<AnswerNotice> notice() const { return notice_; }
    const std::optional<QByteArray>& lastClip() const { return lastClip_; }
    int lastClipSeconds() const { return lastClipSeconds_; }

    AnswerControlState state() const;
    QString phaseWord() const;
    QString toneWord() const;
    bool micIsDashed() const { return state().micIsDashed; }
    bool micIsFilled() const { return state().micIsFilled; }
    bool fieldAcceptsTyping() const { return state().fieldAcceptsTyping; }
    // Inside the empty field: the notice, "writing that down…", or a placeholder.
    QString prompt() const;
    // Under a field that holds text: the notice, if any.
    QString noticeLine() const;
    QString elapsedText() const;
    bool canRetry() const;

    // How long a transcription runs before the control says it is writing; a second unless set.
    void setSayingDelay(std::chrono::milliseconds delay) { sayingTimer_.setInterval(delay); }
    // The folder clips are kept in; the application's `AnswerClips` unless a test sets one.
    void setClipFolder(const QString& folder) { clipFolder_ = folder; }

    // The clip flow of one release, as the controller hands it over.
    void takeClip(const RecordedClip& clip);
    Q_INVOKABLE void retry();
    Q_INVOKABLE bool openSettings();

signals:
    void textChanged();
    void changed();
    void focusedChanged(bool focused);
    void reachedForMic();
    void transcriptLanded();
    void clipSaved(const QString& path, int seconds);
    void unreadableClip(int seconds);

private:
    void watchHolder();
    void setNotice(std::optional<AnswerNotice> notice);
    std::optional<QString> saveClip(const QByteArray& bytes) const;
    void startTranscription();
    static QCoro::Task<> transcription(QPointer<AnswerControlModel> self, QByteArray clip);

    HoldToRecordController* holder_;
    QString text_;
    QString placeholder_ = QStringLiteral("Answer — or hold to speak");
    QPointer<DaemonService> daemon_;
    QString language_;
    bool focused_ = false;
    bool transcribing_ = false;
    bool saying_ = false;
    std::optional<AnswerNotice> notice_;
    std::optional<QByteArray> lastClip_;
    int lastClipSeconds_ = 0;
    QTimer sayingTimer_;
    QString clipFolder_;
    bool sawTooShort_ = false;
    std::optional<AnswerNotice> sawPermissionNotice_;
};

} // namespace mnemora
