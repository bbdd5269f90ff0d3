#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace mnemora {

// A photo or voice folder of the old layout, with how far its content was processed.
struct OldFolderInfo {
    QString name;
    qint64 photoCount = 0;
    qint64 voiceCount = 0;
    qint64 voiceTranscribedPct = 0;
    qint64 captionedPct = 0;
    qint64 triagedPct = 0;
    qint64 processedPct = 0;
    qint64 enrichmentScore = 0;
    bool operator==(const OldFolderInfo&) const = default;
};

struct LegacyDirInfo {
    QString name;
    qint64 fileCount = 0;
    bool operator==(const LegacyDirInfo&) const = default;
};

// What the move to the identity layout would do.
struct V4MigrationPreview {
    bool needsMigration = false;
    QList<OldFolderInfo> oldFolders;
    QList<LegacyDirInfo> legacyDirs;
    qint64 recommendedPrimaryIdx = 0;
    QString identityId;
    QString identityDisplayName;
    bool identityExists = false;
    bool operator==(const V4MigrationPreview&) const = default;
};

// Which vault layout migrations are due or done, from `migrations/status`.
struct MigrationStatus {
    std::optional<bool> ok;
    std::optional<bool> v3Needed;
    std::optional<V4MigrationPreview> v4Preview;
    std::optional<bool> v5CloudIdDone;
    std::optional<bool> photoUrlV1Done;
    std::optional<QStringList> completedMigrations;

    static MigrationStatus fromJson(const QJsonObject& body);
    bool operator==(const MigrationStatus&) const = default;
};

} // namespace mnemora
