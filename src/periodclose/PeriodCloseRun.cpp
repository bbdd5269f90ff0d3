#include "periodclose/PeriodCloseRun.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringDecoder>

namespace mnemora {

namespace {

// One step, or none when a required key is missing or any key has the wrong type.
std::optional<RunStep> stepFrom(const QJsonValue& value) {
    if (!value.isObject()) {
        return std::nullopt;
    }
    const QJsonObject object = value.toObject();
    const QJsonValue key = object.value(QLatin1String("key"));
    const QJsonValue label = object.value(QLatin1String("label"));
    const QJsonValue state = object.value(QLatin1String("state"));
    const QJsonValue detail = object.value(QLatin1String("detail"));
    if (!key.isString() || !label.isString() || !state.isString()) {
        return std::nullopt;
    }
    RunStep step{key.toString(), label.toString(), state.toString(), std::nullopt};
    if (detail.isString()) {
        step.detail = detail.toString();
    } else if (!detail.isUndefined() && !detail.isNull()) {
        return std::nullopt;
    }
    return step;
}

} // namespace

QList<RunStep> RunStep::listFromJson(const QByteArray& json) {
    QStringDecoder utf8(QStringDecoder::Utf8);
    const QString text = utf8(json);
    if (utf8.hasError()) {
        return {};
    }
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(text.toUtf8(), &error);
    if (error.error != QJsonParseError::NoError || !document.isArray()) {
        return {};
    }
    QList<RunStep> steps;
    for (const QJsonValue& value : document.array()) {
        std::optional<RunStep> step = stepFrom(value);
        if (!step) {
            return {};
        }
        steps.append(std::move(*step));
    }
    return steps;
}

} // namespace mnemora
