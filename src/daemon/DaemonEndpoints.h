#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QPointer>
#include <QString>

#include <QCoroTask>

#include <chrono>
#include <functional>
#include <optional>
#include <variant>

#include "daemon/CloseRound.h"
#include "daemon/DaemonHttp.h"
#include "daemon/DreamerSessions.h"
#include "daemon/EntityPayload.h"
#include "daemon/EraCandidate.h"
#include "daemon/FDAStatus.h"
#include "daemon/GpuSchedulerSnapshot.h"
#include "daemon/HomeNarrative.h"
#include "daemon/MigrationStatus.h"
#include "daemon/ObsidianStatus.h"
#include "daemon/QueuePositions.h"
#include "daemon/ResourceHistory.h"
#include "daemon/VerifyResult.h"
#include "platform/Expected.h"

namespace mnemora {

class DaemonService;

// The power source the daemon paces itself by.
enum class DaemonPowerState { ac, batteryHighPower, batteryAutoPower, batteryLowPower };

// What a dreamer run is asked to do.
struct DreamerTrigger {
    QString cadence;
    std::optional<QString> period;
    std::optional<QString> books;
    std::optional<QString> dateStale;
    std::optional<QString> dateEnd;
    std::optional<EraCandidate> selectedEra;
};

// The daemon's HTTP interface as typed operations, each reading the port file afresh through
// `daemon`. A read that cannot reach the daemon, times out or is refused gives an absent result:
// screens keep what they showed. An action gives the words of its failure: the daemon's own
// `error`, else its endpoint's fixed word, else the transport's words; without a port those of a
// refused connection unless the endpoint has words of its own for that.
namespace DaemonEndpoints {

// One route of the daemon. `path` may hold `{name}` slots for path segments.
struct Endpoint {
    QByteArray method;
    QString path;
    std::chrono::milliseconds timeout;
    QString failureWord;     // a refusal without `error`; "{status}" is the HTTP status
    QString unreachableWord; // without a port; empty for the refused connection's words
    QString transportFormat; // "{error}" is the transport's words; empty for them alone
};

// The catalogue entry a call of `method` on the path template `path` goes by.
const Endpoint* find(const QByteArray& method, const QString& path);
// Every entry, in catalogue order.
const QList<Endpoint>& all();

using Daemon = QPointer<DaemonService>;

// One request to the daemon at `base` (absent when it has no port: the reply then fails as a
// refused connection would), on a route of the catalogue, with the route's time-out unless
// `timeout` says otherwise. Every request the application makes to its daemon goes through here,
// the supervisor's probe and the status poll included.
QCoro::Task<HttpReply> request(std::optional<QUrl> base, QByteArray method, QString path,
                               QByteArray body = {}, QByteArray contentType = {},
                               std::optional<std::chrono::milliseconds> timeout = std::nullopt);

// Status, supervision and processing.
QCoro::Task<std::optional<GpuSchedulerSnapshot>> gpuScheduler(Daemon daemon);
QCoro::Task<std::optional<ResourceHistory>> resourceHistory(Daemon daemon);
QCoro::Task<std::optional<QueuePositions>> queuePositions(Daemon daemon);
// Both give how many items were reset.
QCoro::Task<Expected<qint64>> retryFile(Daemon daemon, QString filePath);
QCoro::Task<Expected<qint64>> retryKind(Daemon daemon, QString kind);
QCoro::Task<Expected<void>> rebuildIndex(Daemon daemon);
QCoro::Task<Expected<void>> rescanPhotos(Daemon daemon);
QCoro::Task<Expected<void>> restartVlmSidecar(Daemon daemon);
QCoro::Task<Expected<void>> setModelPullConsent(Daemon daemon, bool granted);
QCoro::Task<Expected<void>> setPowerState(Daemon daemon, DaemonPowerState state);
// The wire word of a power state: "ac", "battery_high_power", ...
QString powerStateWord(DaemonPowerState state);
// Configuration keys recommended for this machine.
QCoro::Task<std::optional<QJsonObject>> recommendDefaults(Daemon daemon, int ramGb, QString arch);
QCoro::Task<std::optional<VoiceModelStatus>> whisperStatus(Daemon daemon);
QCoro::Task<Expected<void>> prefetchWhisper(Daemon daemon);
QCoro::Task<std::optional<FDAStatus>> fdaStatus(Daemon daemon);
// `accessible`, `is_recording`; absent when unknown.
// Their one caller asks for shorter waits than the catalogue's.
QCoro::Task<std::optional<bool>>
voiceMemosAccessible(Daemon daemon, std::chrono::milliseconds timeout = DaemonHttp::defaultTimeout);
QCoro::Task<std::optional<bool>>
voiceMemoRecording(Daemon daemon, std::chrono::milliseconds timeout = DaemonHttp::defaultTimeout);
QCoro::Task<Expected<void>>
startVoiceMemoWatch(Daemon daemon, std::chrono::milliseconds timeout = DaemonHttp::defaultTimeout);
QCoro::Task<Expected<void>>
stopVoiceMemoWatch(Daemon daemon, std::chrono::milliseconds timeout = DaemonHttp::defaultTimeout);
// The report as it would be sent, or the daemon's reason it cannot show one.
QCoro::Task<std::optional<Expected<QString>>> bugReportPreview(Daemon daemon);
// On success the words that thank the user.
QCoro::Task<Expected<QString>> submitBugReport(Daemon daemon, QString description,
                                               QString reporterEmail);
// The `prerequisites` answer whole; absent when the daemon could not be asked.
QCoro::Task<std::optional<QJsonObject>> prerequisites(Daemon daemon);
// The tmux session the troubleshooter runs in.
QCoro::Task<Expected<QString>> launchTroubleshooter(Daemon daemon, QString promptPreamble);

// Transcription. The text of the file.
QCoro::Task<Expected<QString>> transcribeFile(Daemon daemon, QString path);
// The same through the daemon's event stream; `onEvent` sees each `queued` and `progress`.
QCoro::Task<Expected<QString>>
transcribeFileStreaming(Daemon daemon, QString path,
                        std::function<void(const QJsonObject&)> onEvent);
// Uploads a recording; gives the path the daemon stored it at.
QCoro::Task<Expected<QString>>
recordTranscription(Daemon daemon, QByteArray audio, QString ext, bool ephemeral,
                    std::chrono::milliseconds timeout = DaemonHttp::defaultTimeout);
QCoro::Task<Expected<void>> acceptTranscription(Daemon daemon, QString filePath);
QCoro::Task<Expected<void>> deleteTranscriptionSourceAudio(Daemon daemon, QString filePath);
QCoro::Task<Expected<void>> deleteTranscription(Daemon daemon, QString filePath);
QCoro::Task<Expected<void>> forceRetranscribe(Daemon daemon, QString filePath, QString language);
QCoro::Task<Expected<void>> abortTranscription(Daemon daemon, QString filePath);

// Entities, documents and the home screen.
QCoro::Task<std::optional<EntityPayload>> entity(Daemon daemon, QString type, QString slug);
QCoro::Task<Expected<void>> setEntityField(Daemon daemon, QString type, QString slug, QString field,
                                           QJsonValue value);
QCoro::Task<Expected<void>> setEntityNotes(Daemon daemon, QString type, QString slug, QString body);
QCoro::Task<Expected<void>> writeDoc(Daemon daemon, QString path, QString content);
QCoro::Task<std::optional<HomeNarrative>> homeNarrative(Daemon daemon);
QCoro::Task<std::optional<QList<EraCandidate>>> eraCandidates(Daemon daemon);

// Agents.
QCoro::Task<std::optional<DreamerSessions>> dreamerSessions(Daemon daemon);
QCoro::Task<Expected<void>> killSession(Daemon daemon, QString name);
QCoro::Task<Expected<void>> triggerDreamer(Daemon daemon, DreamerTrigger trigger);
QCoro::Task<Expected<void>> messageDreamer(Daemon daemon, QString cadence, QString text);

// Bookkeeping runs. `books` is left out of a body when absent.
QCoro::Task<std::optional<QList<BooksRef>>> closeBooks(Daemon daemon);
QCoro::Task<std::optional<CloseRound>> closeRound(Daemon daemon);
QCoro::Task<std::optional<QList<CloseRunSummary>>> closeRuns(Daemon daemon);
QCoro::Task<Expected<void>> setMaterialStatus(Daemon daemon, QString period, QString lineKey,
                                              QString status, std::optional<QString> books);
QCoro::Task<Expected<void>> markPeriodClosed(Daemon daemon, QString period,
                                             std::optional<QString> books);
QCoro::Task<Expected<void>> setRunStatus(Daemon daemon, QString period, QString status,
                                         QString activity, std::optional<QString> books);
QCoro::Task<Expected<void>> addCorrespondence(Daemon daemon, QString period, QString kind,
                                              QString text, std::optional<QString> books);

// Sources, migration, setup.
QCoro::Task<std::optional<QJsonArray>> breadcrumbSources(Daemon daemon);
QCoro::Task<Expected<void>> addBreadcrumbSource(Daemon daemon, QJsonObject fields);
QCoro::Task<Expected<void>> syncBreadcrumbs(Daemon daemon, QString sourceId);
QCoro::Task<Expected<void>> toggleBreadcrumbSource(Daemon daemon, QString id);
QCoro::Task<Expected<void>> deleteBreadcrumbSource(Daemon daemon, QString id);
QCoro::Task<Expected<MigrationStatus>> migrationStatus(Daemon daemon);
// Progress follows on the event stream.
QCoro::Task<Expected<void>> runV4Migration(Daemon daemon, QString identityId, QString displayName,
                                           QString primaryFolder);
enum class CloudIdJob { backfill, dedup, rename };
QCoro::Task<Expected<void>> runCloudIdJob(Daemon daemon, CloudIdJob job);
QCoro::Task<Expected<ObsidianStatus>> obsidianStatus(Daemon daemon);
QCoro::Task<Expected<ObsidianInstallResult>> installObsidian(Daemon daemon);
enum class VerifyProof { photos, engine, browser, transcribe, caption };
// Never fails as such: every failure is a result that says so.
QCoro::Task<VerifyResult> verify(Daemon daemon, VerifyProof proof, QJsonObject body);

} // namespace DaemonEndpoints

} // namespace mnemora
