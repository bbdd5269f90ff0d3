#include "daemon/VerifyResult.h"

#include "app/JsonRead.h"

namespace mnemora {

using namespace JsonRead;

std::optional<VerifyResult> VerifyResult::fromJson(const QJsonObject& body) {
    if (!body.value(QLatin1String("ok")).isBool()) {
        return std::nullopt;
    }
    return VerifyResult{
        boolOr(body, QLatin1String("ok")),    boolOr(body, QLatin1String("skipped")),
        string(body, QLatin1String("text")),  stringOr(body, QLatin1String("message")),
        string(body, QLatin1String("model")), integerOr(body, QLatin1String("latency_ms")),
        string(body, QLatin1String("error"))};
}

VerifyResult VerifyResult::failure(const QString& message, std::optional<QString> error) {
    VerifyResult result;
    result.message = message;
    result.error = std::move(error);
    return result;
}

VoiceModelStatus VoiceModelStatus::fromJson(const QJsonObject& body) {
    VoiceModelStatus status;
    status.ok = boolOr(body, QLatin1String("ok"));
    status.model = string(body, QLatin1String("model"));
    if (body.value(QLatin1String("ready")).isBool()) {
        status.ready = body.value(QLatin1String("ready")).toBool();
    }
    status.bytesPresent = integer(body, QLatin1String("bytes_present"));
    status.bytesExpected = integer(body, QLatin1String("bytes_expected"));
    return status;
}

} // namespace mnemora
