#pragma once

#include <QList>
#include <QVariantList>
#include <QVariantMap>

#include <algorithm>
#include <optional>

#include "integrations/SeedService.h"

// The steps prompt and source seeds share: read, keep those of the brand, order by title.
namespace mnemora::SeedList {

template <typename Seed>
QList<Seed> build(const QList<SeedService::Template>& templates, const QString& slug) {
    QList<Seed> seeds;
    for (const SeedService::Template& found : templates) {
        std::optional<Seed> seed = Seed::fromPairs(found.pairs);
        if (seed && seed->fitsBrand(slug)) {
            seed->templatePath = found.path;
            seeds << *seed;
        }
    }
    std::stable_sort(seeds.begin(), seeds.end(),
                     [](const Seed& a, const Seed& b) { return a.title < b.title; });
    return seeds;
}

template <typename Seed> QVariantList rows(const QList<Seed>& seeds) {
    QVariantList rows;
    for (const Seed& seed : seeds) {
        rows << QVariantMap{{QStringLiteral("id"), seed.id},
                            {QStringLiteral("title"), seed.title},
                            {QStringLiteral("description"), seed.description}};
    }
    return rows;
}

template <typename Seed>
std::optional<QString> templateOf(const QList<Seed>& seeds, const QString& id) {
    for (const Seed& seed : seeds) {
        if (seed.id == id) {
            return seed.templatePath;
        }
    }
    return std::nullopt;
}

} // namespace mnemora::SeedList
