#include "daemon/MigrationStatus.h"

#include "app/JsonRead.h"

namespace mnemora {

using namespace JsonRead;

namespace {

std::optional<bool> optionalBool(const QJsonObject& object, const char* key) {
    const QJsonValue value = object.value(QLatin1String(key));
    return value.isBool() ? std::optional<bool>(value.toBool()) : std::nullopt;
}

V4MigrationPreview preview(const QJsonObject& object) {
    V4MigrationPreview result;
    result.needsMigration = boolOr(object, QLatin1String("needs_migration"));
    for (const QJsonValue& value : array(object, QLatin1String("old_folders"))) {
        const QJsonObject folder = value.toObject();
        result.oldFolders << OldFolderInfo{
            stringOr(folder, QLatin1String("name")),
            integerOr(folder, QLatin1String("photo_count")),
            integerOr(folder, QLatin1String("voice_count")),
            integerOr(folder, QLatin1String("voice_transcribed_pct")),
            integerOr(folder, QLatin1String("captioned_pct")),
            integerOr(folder, QLatin1String("triaged_pct")),
            integerOr(folder, QLatin1String("processed_pct")),
            integerOr(folder, QLatin1String("enrichment_score"))};
    }
    for (const QJsonValue& value : array(object, QLatin1String("legacy_dirs"))) {
        const QJsonObject dir = value.toObject();
        result.legacyDirs << LegacyDirInfo{stringOr(dir, QLatin1String("name")),
                                           integerOr(dir, QLatin1String("file_count"))};
    }
    result.recommendedPrimaryIdx = integerOr(object, QLatin1String("recommended_primary_idx"));
    result.identityId = stringOr(object, QLatin1String("identity_id"));
    result.identityDisplayName = stringOr(object, QLatin1String("identity_display_name"));
    result.identityExists = boolOr(object, QLatin1String("identity_exists"));
    return result;
}

} // namespace

MigrationStatus MigrationStatus::fromJson(const QJsonObject& body) {
    MigrationStatus status;
    status.ok = optionalBool(body, "ok");
    status.v3Needed = optionalBool(body, "v3_needed");
    if (body.value(QLatin1String("v4_preview")).isObject()) {
        status.v4Preview = preview(object(body, QLatin1String("v4_preview")));
    }
    status.v5CloudIdDone = optionalBool(body, "v5_cloud_id_done");
    status.photoUrlV1Done = optionalBool(body, "photo_url_v1_done");
    if (body.value(QLatin1String("completed_migrations")).isArray()) {
        QStringList done;
        for (const QJsonValue& value : array(body, QLatin1String("completed_migrations"))) {
            if (value.isString()) {
                done << value.toString();
            }
        }
        status.completedMigrations = done;
    }
    return status;
}

} // namespace mnemora
