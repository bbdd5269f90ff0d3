#pragma once

#include <QMap>
#include <QSet>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>
#include <QVariantMap>

#include <QCoroTask>

#include <chrono>
#include <functional>
#include <optional>

#include "app/CancellableLoop.h"
#include "daemon/DaemonEndpoints.h"
#include "daemon/DaemonService.h"
#include "daemon/EventStreamReader.h"
#include "daemon/VerifyResult.h"

namespace mnemora {

// The proofs that the setup really works, each one request that the daemon carries out whole on
// nothing that matters, and the voice model's download, which runs in the background meanwhile.
class VerifyService : public QObject {
    Q_OBJECT
    // Per proof word ("photos", "engine", ...): `running`, and with a result `ok`, `skipped`,
    // `message`, `text`, `error`.
    Q_PROPERTY(QVariantMap proofs READ proofsVariant NOTIFY changed)
    Q_PROPERTY(bool acceptanceOwed READ acceptanceOwed NOTIFY changed)
    Q_PROPERTY(bool browserWithheld READ browserWithheld NOTIFY changed)
    Q_PROPERTY(bool handoverWriteFailed READ handoverWriteFailed NOTIFY changed)
    Q_PROPERTY(bool downloading READ downloading NOTIFY downloadChanged)
    Q_PROPERTY(double downloadFraction READ downloadFraction NOTIFY downloadChanged)

public:
    using Proof = DaemonEndpoints::VerifyProof;

    struct VoiceModel {
        QString model;
        bool ready = false;
        qint64 bytesPresent = 0;
        std::optional<qint64> bytesExpected;
        bool operator==(const VoiceModel&) const = default;
    };

    struct DownloadProgress {
        QString kind;
        QString model;
        std::optional<double> fraction;
        qint64 completed = 0;
        qint64 total = 0;
        bool operator==(const DownloadProgress&) const = default;
    };

    explicit VerifyService(QObject* parent = nullptr);
    ~VerifyService() override;

    void setDaemon(DaemonService* daemon) { daemon_ = daemon; }
    // A vault's own daemon instead of the primary one.
    void setVaultBaseUrl(std::optional<QUrl> url) { vaultBaseUrl_ = std::move(url); }
    // The vault whose consent record the browser proof reads.
    void setVault(const QString& vault) { vault_ = vault; }
    // A user who fetches files by hand never has a browser opened for them.
    void setFetchesFilesByHand(bool byHand) { fetchesFilesByHand_ = byHand; }
    void setVoiceModelInterval(std::chrono::milliseconds interval) { voiceInterval_ = interval; }

    bool running(Proof proof) const { return running_.value(proof); }
    // Whether a proof's last result is that no daemon could be reached: worth running again once
    // one answers, which at the application's start is a moment after the screens open.
    bool foundNoDaemon() const { return !noDaemon_.isEmpty(); }
    std::optional<VerifyResult> result(Proof proof) const;
    bool passed(Proof proof) const;
    bool acceptanceOwed() const { return acceptanceOwed_; }
    bool browserWithheld() const { return browserWithheld_; }
    bool handoverWriteFailed() const { return handoverWriteFailed_; }
    const std::optional<VoiceModel>& voiceModel() const { return voiceModel_; }
    const std::optional<DownloadProgress>& downloadProgress() const { return downloadProgress_; }
    bool downloading() const { return downloadProgress_.has_value(); }
    double downloadFraction() const;
    // "40 of 120 MB" while the download tells its size.
    std::optional<QString> downloadText() const;
    QVariantMap proofsVariant() const;
    static QString proofWord(Proof proof);

    // Runs one proof; its result stands in the state when this ends. The browser proof asks
    // first: see `runBrowser`.
    QCoro::Task<> run(Proof proof);
    // The browser proof: skipped for a user who fetches by hand, held back with
    // `acceptanceOwed` until the consent is given, run otherwise.
    QCoro::Task<> runBrowser();
    // The consent was given at the setup's browser check: recorded, then the proof runs.
    QCoro::Task<> acceptAndRunBrowser(QDateTime now, QString product);
    // Starts a proof in the background (for screens).
    Q_INVOKABLE void start(const QString& word);

    // The microphone's test: the words that came back from the user's own voice.
    Q_INVOKABLE void noteSpoken(const QString& text);

    // While any screen wants it, the voice model's status is polled every two seconds.
    void watchVoiceModel(bool watch);
    QCoro::Task<> refreshVoiceModel();
    // Counts the screens that want the download's progress; the first opens the stream, the
    // last to leave closes it.
    void addProgressWatcher();
    void removeProgressWatcher();
    bool progressStreamOpen() const { return progressTask_.isActive(); }
    // One event of the progress stream.
    void takeProgressEvent(const QJsonObject& event);

signals:
    void changed();
    void downloadChanged();

private:
    std::optional<QUrl> base() const;
    void setRunning(Proof proof, bool running);
    void setResult(Proof proof, std::optional<VerifyResult> result);
    static QCoro::Task<> voicePass(QPointer<VerifyService> self);
    static QCoro::Task<> readProgress(QPointer<VerifyService> self);

    QPointer<DaemonService> daemon_;
    std::optional<QUrl> vaultBaseUrl_;
    QString vault_;
    bool fetchesFilesByHand_ = false;
    QMap<Proof, bool> running_;
    QMap<Proof, VerifyResult> results_;
    QSet<Proof> noDaemon_; // proofs whose last run found no daemon
    bool acceptanceOwed_ = false;
    bool browserWithheld_ = false;
    bool handoverWriteFailed_ = false;
    std::optional<VoiceModel> voiceModel_;
    std::optional<DownloadProgress> downloadProgress_;
    std::chrono::milliseconds voiceInterval_{2000};
    CancellableTask voiceTask_;
    CancellableTask progressTask_;
    int progressWatchers_ = 0;
    EventStreamReader stream_;
};

} // namespace mnemora
