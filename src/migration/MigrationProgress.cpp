#include "migration/MigrationProgress.h"

#include "app/JsonRead.h"

namespace mnemora {

namespace {

std::optional<QString> text(const QJsonObject& payload, const char* key) {
    const QJsonValue value = payload.value(QLatin1String(key));
    return value.isString() ? std::optional(value.toString()) : std::nullopt;
}

std::optional<qint64> count(const QJsonObject& payload, const char* key) {
    return JsonRead::integer(payload.value(QLatin1String(key)));
}

} // namespace

MigrationProgress MigrationProgress::fromJson(const QJsonObject& payload) {
    MigrationProgress event;
    event.migration = text(payload, "migration");
    event.phase = text(payload, "phase");
    event.message = text(payload, "message");
    event.done = payload.value(QLatin1String("done")).toBool();
    event.error = payload.value(QLatin1String("error")).toBool();
    event.filesProcessed = count(payload, "files_processed");
    event.filesTotal = count(payload, "files_total");
    event.filesUpdated = count(payload, "files_updated");
    event.filesDeleted = count(payload, "files_deleted");
    event.groupsProcessed = count(payload, "groups_processed");
    event.groupsTotal = count(payload, "groups_total");
    event.renamed = count(payload, "renamed");
    event.total = count(payload, "total");
    if (const QJsonValue value = payload.value(QLatin1String("progress")); value.isDouble()) {
        event.progress = value.toDouble();
    }
    return event;
}

std::optional<double> MigrationProgress::fraction() const {
    if (progress) {
        return *progress;
    }
    const auto ratio = [](std::optional<qint64> part, std::optional<qint64> whole) {
        return part && whole && *whole > 0 ? std::optional(double(*part) / double(*whole))
                                           : std::nullopt;
    };
    if (auto files = ratio(filesProcessed, filesTotal)) {
        return files;
    }
    return ratio(groupsProcessed, groupsTotal);
}

} // namespace mnemora
