#pragma once

#include <QDateTime>
#include <QElapsedTimer>
#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>

#include <QCoroTask>

#include <memory>
#include <optional>

#include "DaemonPlaces.h"
#include "HttpListener.h"
#include "Transcriber.h"
#include "platform/Expected.h"

namespace mnemora::refdaemon {

class Transcriber;
class VaultIndex;
class VaultWatcher;

// The daemon: its HTTP routes on loopback, the event stream, the live index of the vault and the
// transcriptions. Everything runs on the main thread; tools run as child processes.
class DaemonServer : public QObject {
    Q_OBJECT
public:
    explicit DaemonServer(DaemonPlaces places, QObject* parent = nullptr);
    ~DaemonServer() override;

    // Opens the index, starts the watcher and the listener, and publishes the port. False with
    // the reason on the log when the daemon cannot serve.
    bool start();
    // Removes the port file; the process then ends.
    void stop();

    static QString version();

private:
    using Route = void (DaemonServer::*)(const HttpRequest&, HttpExchange*);

    void handle(const HttpRequest& request, HttpExchange* exchange);
    void reindex();
    void publish(const QString& event, const QJsonObject& payload);
    void publishAsset(const QString& filePath, const QJsonObject& fields);

    void status(const HttpRequest&, HttpExchange* exchange);
    void progress(const HttpRequest&, HttpExchange* exchange);
    void docsWrite(const HttpRequest& request, HttpExchange* exchange);
    void powerState(const HttpRequest& request, HttpExchange* exchange);
    void defaultsRecommend(const HttpRequest& request, HttpExchange* exchange);
    void prerequisites(const HttpRequest&, HttpExchange* exchange);
    void indexRebuild(const HttpRequest&, HttpExchange* exchange);
    void dreamerSessions(const HttpRequest&, HttpExchange* exchange);
    void killSession(const HttpRequest& request, HttpExchange* exchange);
    void dreamerTrigger(const HttpRequest& request, HttpExchange* exchange);
    void periodCloseRead(const HttpRequest& request, HttpExchange* exchange);
    void periodCloseAct(const HttpRequest& request, HttpExchange* exchange);
    void emptyAnswer(const HttpRequest& request, HttpExchange* exchange);
    void transcribeFile(const HttpRequest& request, HttpExchange* exchange);
    void transcribeStream(const HttpRequest& request, HttpExchange* exchange);
    void record(const HttpRequest& request, HttpExchange* exchange);
    void verifyTranscribe(const HttpRequest& request, HttpExchange* exchange);
    void verifyUnavailable(const HttpRequest& request, HttpExchange* exchange);

    // The transcription runs behind the three transcription routes.
    // One transcription counted among the daemon's pending work; none when the daemon went away.
    QCoro::Task<std::optional<Expected<QString>>>
    countedTranscription(QString path, Transcriber::Progress progress);
    QCoro::Task<> answerTranscription(QString path, QPointer<HttpExchange> exchange);
    QCoro::Task<> streamTranscription(QString path, QPointer<HttpExchange> exchange);
    QCoro::Task<> transcribeRecorded(QString path, bool ephemeral);
    QCoro::Task<> answerVoiceProof(QPointer<HttpExchange> exchange);

    DaemonPlaces places_;
    HttpListener listener_;
    std::unique_ptr<VaultIndex> index_;
    VaultWatcher* watcher_ = nullptr;
    Transcriber* transcriber_ = nullptr;
    QHash<QString, Route> routes_;
    QList<QPointer<HttpExchange>> streams_;
    QList<QPair<QDateTime, QJsonObject>> finished_; // finished transcriptions, replayed briefly
    QTimer heartbeat_;
    QDateTime lastBeat_;
    int activeTranscriptions_ = 0;
    QString powerState_ = QStringLiteral("ac");
};

} // namespace mnemora::refdaemon
