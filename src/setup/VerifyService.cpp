#include "setup/VerifyService.h"

#include <QJsonDocument>

#include "app/JsonRead.h"
#include "daemon/DaemonService.h"
#include "setup/AgentAcceptance.h"
#include "setup/FirstRun.h"

namespace mnemora {

namespace {

using Proof = VerifyService::Proof;

const Proof kProofs[] = {Proof::photos, Proof::engine, Proof::browser, Proof::transcribe,
                         Proof::caption};

QString pathOf(Proof proof) {
    return QStringLiteral("verify/") + VerifyService::proofWord(proof);
}

QVariantMap variantOf(const VerifyResult& result) {
    QVariantMap map{{QStringLiteral("ok"), result.ok},
                    {QStringLiteral("skipped"), result.skipped},
                    {QStringLiteral("message"), result.message}};
    if (result.text) {
        map.insert(QStringLiteral("text"), *result.text);
    }
    if (result.error) {
        map.insert(QStringLiteral("error"), *result.error);
    }
    return map;
}

VerifyResult resultOf(const HttpReply& reply) {
    // The proof's answer counts whatever the HTTP status.
    if (!reply.transportError) {
        if (const auto object = reply.jsonObject()) {
            if (auto result = VerifyResult::fromJson(*object)) {
                return *result;
            }
        }
    }
    return VerifyResult::failure(QStringLiteral("Verify request failed"),
                                 reply.transportError
                                     ? *reply.transportError
                                     : QStringLiteral("The daemon's answer was not understood"));
}

} // namespace

VerifyService::VerifyService(QObject* parent)
    : QObject(parent) {}

VerifyService::~VerifyService() = default;

QString VerifyService::proofWord(Proof proof) {
    switch (proof) {
    case Proof::photos:
        return QStringLiteral("photos");
    case Proof::engine:
        return QStringLiteral("engine");
    case Proof::browser:
        return QStringLiteral("browser");
    case Proof::transcribe:
        return QStringLiteral("transcribe");
    case Proof::caption:
        break;
    }
    return QStringLiteral("caption");
}

std::optional<VerifyResult> VerifyService::result(Proof proof) const {
    const auto found = results_.constFind(proof);
    return found == results_.cend() ? std::nullopt : std::optional<VerifyResult>(*found);
}

bool VerifyService::passed(Proof proof) const {
    const std::optional<VerifyResult> outcome = result(proof);
    return outcome && outcome->ok;
}

double VerifyService::downloadFraction() const {
    return downloadProgress_ ? downloadProgress_->fraction.value_or(0.0) : 0.0;
}

std::optional<QString> VerifyService::downloadText() const {
    if (!downloadProgress_ || downloadProgress_->total <= 0) {
        return std::nullopt;
    }
    constexpr double megabyte = 1024.0 * 1024.0;
    return QStringLiteral("%1 of %2 MB")
        .arg(qRound64(downloadProgress_->completed / megabyte))
        .arg(qRound64(downloadProgress_->total / megabyte));
}

QVariantMap VerifyService::proofsVariant() const {
    QVariantMap proofs;
    for (Proof proof : kProofs) {
        QVariantMap entry{{QStringLiteral("running"), running(proof)}};
        if (const auto outcome = result(proof)) {
            entry.insert(variantOf(*outcome));
        }
        proofs.insert(proofWord(proof), entry);
    }
    return proofs;
}

std::optional<QUrl> VerifyService::base() const {
    if (vaultBaseUrl_) {
        return vaultBaseUrl_;
    }
    return daemon_ ? daemon_->baseUrl() : std::nullopt;
}

void VerifyService::setRunning(Proof proof, bool running) {
    running_.insert(proof, running);
    emit changed();
}

void VerifyService::setResult(Proof proof, std::optional<VerifyResult> result) {
    if (result) {
        results_.insert(proof, *result);
    } else {
        results_.remove(proof);
    }
    emit changed();
}

QCoro::Task<> VerifyService::run(Proof proof) {
    setRunning(proof, true);
    setResult(proof, std::nullopt);
    const QString path = pathOf(proof);
    const std::optional<QUrl> at = base();
    if (!at) {
        noDaemon_.insert(proof);
        setResult(proof,
                  VerifyResult::failure(DaemonEndpoints::find("POST", path)->unreachableWord));
        setRunning(proof, false);
        co_return;
    }
    noDaemon_.remove(proof);
    QPointer<VerifyService> self(this);
    QCoro::Task<HttpReply> sending =
        DaemonEndpoints::request(at, "POST", path, "{}", "application/json");
    const HttpReply reply = co_await sending;
    if (!self) {
        co_return;
    }
    setResult(proof, resultOf(reply));
    setRunning(proof, false);
}

QCoro::Task<> VerifyService::runBrowser() {
    if (fetchesFilesByHand_) {
        VerifyResult skip;
        skip.ok = true;
        skip.skipped = true;
        skip.message = FirstRun::Text::browserByHandNote;
        browserWithheld_ = true;
        setResult(Proof::browser, skip);
        co_return;
    }
    const auto record = AgentAcceptance::load(vault_);
    if (AgentAcceptance::state(record, AgentAcceptanceTrigger::setupCheck()) != 0) {
        acceptanceOwed_ = true;
        emit changed();
        co_return;
    }
    QCoro::Task<> running = run(Proof::browser);
    co_await running;
}

QCoro::Task<> VerifyService::acceptAndRunBrowser(QDateTime now, QString product) {
    const AgentAcceptanceTrigger trigger = AgentAcceptanceTrigger::setupCheck();
    const AgentAcceptanceRecord record = AgentAcceptance::accepted(
        AgentAcceptance::load(vault_), trigger, now, product, std::nullopt);
    // The flow goes on without the record: the next run asks again.
    handoverWriteFailed_ = !AgentAcceptance::save(vault_, record).ok();
    acceptanceOwed_ = false;
    emit changed();
    QCoro::Task<> running = run(Proof::browser);
    co_await running;
}

void VerifyService::start(const QString& word) {
    for (Proof proof : kProofs) {
        if (proofWord(proof) != word || running(proof)) {
            continue;
        }
        // Started and left: the result lands in the state, guarded by the service's lifetime
        // inside `run`.
        if (proof == Proof::browser) {
            runBrowser();
        } else {
            run(proof);
        }
    }
}

void VerifyService::noteSpoken(const QString& text) {
    const QString words = text.trimmed();
    if (words.isEmpty()) {
        return;
    }
    VerifyResult heard;
    heard.ok = true;
    heard.text = words;
    heard.message = QStringLiteral("You said it, and it came back.");
    setResult(Proof::transcribe, heard);
}

void VerifyService::watchVoiceModel(bool watch) {
    if (!watch) {
        voiceTask_.cancel();
        return;
    }
    if (voiceTask_.isActive()) {
        return;
    }
    QPointer<VerifyService> self(this);
    CancellableLoop::start(voiceTask_, voiceInterval_, CancellableLoop::FirstPass::atOnce,
                           [self] { return voicePass(self); });
}

QCoro::Task<> VerifyService::voicePass(QPointer<VerifyService> self) {
    if (self) {
        QCoro::Task<> refreshing = self->refreshVoiceModel();
        co_await refreshing;
    }
}

QCoro::Task<> VerifyService::refreshVoiceModel() {
    QPointer<VerifyService> self(this);
    QCoro::Task<std::optional<VoiceModelStatus>> asking = DaemonEndpoints::whisperStatus(daemon_);
    const std::optional<VoiceModelStatus> status = co_await asking;
    if (!self || !status || !status->ok) {
        co_return;
    }
    voiceModel_ = VoiceModel{status->model.value_or(QString()), status->ready.value_or(false),
                             status->bytesPresent.value_or(0), status->bytesExpected};
    emit downloadChanged();
}

void VerifyService::addProgressWatcher() {
    if (++progressWatchers_ > 1) {
        return;
    }
    QPointer<VerifyService> self(this);
    CancellableLoop::start(progressTask_, voiceInterval_, CancellableLoop::FirstPass::atOnce,
                           [self] { return readProgress(self); });
}

void VerifyService::removeProgressWatcher() {
    if (progressWatchers_ == 0 || --progressWatchers_ > 0) {
        return;
    }
    progressTask_.cancel();
    stream_.abort();
}

QCoro::Task<> VerifyService::readProgress(QPointer<VerifyService> self) {
    const std::optional<QUrl> at = self ? self->base() : std::nullopt;
    if (!at || self->progressWatchers_ == 0) {
        co_return; // the loop looks for a port again after its wait
    }
    EventStreamReader::Request request;
    const DaemonEndpoints::Endpoint* progress =
        DaemonEndpoints::find("GET", QStringLiteral("progress"));
    request.url = DaemonHttp::endpoint(*at, progress->path);
    request.timeout = progress->timeout;
    EventStreamReader::Handler handler = [self](const QJsonObject& object) {
        if (!self || self->progressWatchers_ == 0) {
            return EventStreamReader::Next::stop;
        }
        self->takeProgressEvent(object);
        return EventStreamReader::Next::keepReading;
    };
    QCoro::Task<HttpReply> reading = self->stream_.read(std::move(request), std::move(handler));
    co_await reading;
}

void VerifyService::takeProgressEvent(const QJsonObject& event) {
    if (JsonRead::stringOr(event, QLatin1String("event")) !=
        QLatin1String("model-download-progress")) {
        return;
    }
    const QJsonObject payload = JsonRead::object(event, QLatin1String("payload"));
    if (JsonRead::stringOr(payload, QLatin1String("status")) == QLatin1String("complete")) {
        downloadProgress_.reset();
        emit downloadChanged();
        return;
    }
    DownloadProgress progress{JsonRead::stringOr(payload, QLatin1String("kind")),
                              JsonRead::stringOr(payload, QLatin1String("model")), std::nullopt,
                              JsonRead::integerOr(payload, QLatin1String("completed")),
                              JsonRead::integerOr(payload, QLatin1String("total"))};
    if (progress.total > 0) {
        progress.fraction = static_cast<double>(progress.completed) / progress.total;
    }
    downloadProgress_ = progress;
    emit downloadChanged();
}

} // namespace mnemora
