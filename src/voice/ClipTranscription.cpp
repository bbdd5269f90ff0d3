#include "voice/ClipTranscription.h"

#include <memory>
#include <optional>

#include "app/JsonRead.h"
#include "daemon/DaemonEndpoints.h"
#include "daemon/DaemonService.h"
#include "daemon/EventStreamReader.h"

namespace mnemora {

namespace ClipTranscription {

namespace {

using namespace std::chrono_literals;

// What one event of the stream says about the file, if anything.
EventStreamReader::Next follow(const QJsonObject& event, const QString& filePath,
                               const Progress& onProgress,
                               std::optional<Expected<QString>>& outcome) {
    if (JsonRead::stringOr(event, QLatin1String("event")) !=
        QLatin1String("asset-status-updated")) {
        return EventStreamReader::Next::keepReading;
    }
    const QJsonValue payloadValue = event.value(QLatin1String("payload"));
    if (!payloadValue.isObject()) {
        return EventStreamReader::Next::keepReading;
    }
    const QJsonObject payload = payloadValue.toObject();
    if (JsonRead::string(payload, QLatin1String("file_path")) != filePath) {
        return EventStreamReader::Next::keepReading;
    }
    if (const auto percent = JsonRead::number(payload, QLatin1String("progress_percent"));
        percent && onProgress) {
        onProgress(*percent);
    }
    const QString status = JsonRead::stringOr(payload, QLatin1String("status"));
    if (status == QLatin1String("done")) {
        outcome = Expected<QString>(JsonRead::stringOr(payload, QLatin1String("partial_text")));
        return EventStreamReader::Next::stop;
    }
    if (status == QLatin1String("failed")) {
        outcome = Expected<QString>(fail(QStringLiteral("The daemon could not transcribe it.")));
        return EventStreamReader::Next::stop;
    }
    return EventStreamReader::Next::keepReading;
}

} // namespace

QCoro::Task<Expected<QString>> transcribe(QPointer<DaemonService> daemon, QByteArray clip,
                                          Progress onProgress) {
    QCoro::Task<Expected<QString>> uploading =
        DaemonEndpoints::recordTranscription(daemon, clip, QStringLiteral("m4a"), true, 30s);
    const Expected<QString> uploaded = co_await uploading;
    if (!uploaded.ok()) {
        co_return fail(uploaded.error());
    }
    const std::optional<QUrl> base = daemon ? daemon->baseUrl() : std::nullopt;
    if (!base) {
        co_return fail(QStringLiteral("The connection to the daemon was lost."));
    }
    EventStreamReader reader;
    EventStreamReader::Request request;
    request.url = DaemonHttp::endpoint(*base, QStringLiteral("progress"));
    // Shared with the handler, which fills it from inside the read.
    auto outcome = std::make_shared<std::optional<Expected<QString>>>();
    const QString filePath = uploaded.value();
    EventStreamReader::Handler handler = [outcome, filePath, onProgress](const QJsonObject& event) {
        return follow(event, filePath, onProgress, *outcome);
    };
    QCoro::Task<HttpReply> reading = reader.read(request, std::move(handler));
    co_await reading;
    if (*outcome) {
        co_return **outcome;
    }
    co_return fail(QStringLiteral("The connection to the daemon was lost."));
}

} // namespace ClipTranscription

} // namespace mnemora
