#include "integrations/Seeds.h"

#include <QStringList>

namespace mnemora {

namespace {

// Every kind needs these three; a seed without them cannot be shown.
bool hasShownKeys(const QHash<QString, QString>& pairs) {
    return pairs.contains(QStringLiteral("id")) && pairs.contains(QStringLiteral("title")) &&
           pairs.contains(QStringLiteral("description"));
}

QString valueOr(const QHash<QString, QString>& pairs, const char* key, const QString& fallback) {
    return pairs.value(QString::fromLatin1(key), fallback);
}

} // namespace

std::optional<SkillSeed> SkillSeed::fromPairs(const QHash<QString, QString>& pairs) {
    if (!hasShownKeys(pairs)) {
        return std::nullopt;
    }
    SkillSeed seed;
    seed.id = pairs.value(QStringLiteral("id"));
    seed.title = pairs.value(QStringLiteral("title"));
    seed.description = pairs.value(QStringLiteral("description"));
    seed.seedVersion = valueOr(pairs, "seed_version", {});
    seed.suggestedSchedule = valueOr(pairs, "suggested_schedule", QStringLiteral("manual"));
    seed.inferenceTier = valueOr(pairs, "inference_tier", QStringLiteral("standard"));
    bool parsed = false;
    const int order = valueOr(pairs, "sort_order", {}).toInt(&parsed, 10);
    seed.sortOrder = parsed ? order : 100;
    for (const QString& piece : valueOr(pairs, "brand", {}).split(QLatin1Char(','))) {
        if (const QString slug = piece.trimmed(); !slug.isEmpty()) {
            seed.brands.insert(slug);
        }
    }
    return seed;
}

std::optional<PromptSeed> PromptSeed::fromPairs(const QHash<QString, QString>& pairs) {
    if (!hasShownKeys(pairs)) {
        return std::nullopt;
    }
    PromptSeed seed;
    seed.id = pairs.value(QStringLiteral("id"));
    seed.title = pairs.value(QStringLiteral("title"));
    seed.description = pairs.value(QStringLiteral("description"));
    seed.seedVersion = valueOr(pairs, "seed_version", {});
    if (pairs.contains(QStringLiteral("brand"))) {
        seed.brand = pairs.value(QStringLiteral("brand"));
    }
    return seed;
}

std::optional<SourceSeed> SourceSeed::fromPairs(const QHash<QString, QString>& pairs) {
    if (!hasShownKeys(pairs) || !pairs.contains(QStringLiteral("source_type"))) {
        return std::nullopt;
    }
    SourceSeed seed;
    seed.id = pairs.value(QStringLiteral("id"));
    seed.title = pairs.value(QStringLiteral("title"));
    seed.description = pairs.value(QStringLiteral("description"));
    seed.sourceType = pairs.value(QStringLiteral("source_type"));
    seed.seedVersion = valueOr(pairs, "seed_version", {});
    return seed;
}

} // namespace mnemora
