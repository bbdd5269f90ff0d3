#pragma once

#include <QHash>
#include <QSet>
#include <QString>

#include <optional>

namespace mnemora {

// A template that designs a personalised skill with the user.
struct SkillSeed {
    QString id; // also the skill's folder name
    QString title;
    QString description;
    QString suggestedSchedule;
    QString inferenceTier;
    QString seedVersion;
    QSet<QString> brands; // empty: every brand
    int sortOrder = 100;
    QString templatePath;
    std::optional<QString> installedSkillPath;

    // From a template's front matter; absent when a required key is missing.
    static std::optional<SkillSeed> fromPairs(const QHash<QString, QString>& pairs);
    bool fitsBrand(const QString& slug) const { return brands.isEmpty() || brands.contains(slug); }
    bool operator==(const SkillSeed&) const = default;
};

// A template that runs a prepared investigation.
struct PromptSeed {
    QString id;
    QString title;
    QString description;
    QString seedVersion;
    std::optional<QString> brand;
    QString templatePath;

    static std::optional<PromptSeed> fromPairs(const QHash<QString, QString>& pairs);
    bool fitsBrand(const QString& slug) const {
        return !brand || brand->isEmpty() || *brand == slug;
    }
    bool operator==(const PromptSeed&) const = default;
};

// A template that wires up one import source.
struct SourceSeed {
    QString id;
    QString title;
    QString description;
    QString sourceType;
    QString seedVersion;
    QString templatePath;

    static std::optional<SourceSeed> fromPairs(const QHash<QString, QString>& pairs);
    bool fitsBrand(const QString&) const { return true; }
    bool operator==(const SourceSeed&) const = default;
};

} // namespace mnemora
