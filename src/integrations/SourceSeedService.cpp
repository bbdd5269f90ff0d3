#include "integrations/SourceSeedService.h"

#include "app/Brand.h"
#include "integrations/SeedList.h"
#include "integrations/SeedTemplates.h"

namespace mnemora {

SourceSeedService::SourceSeedService(QObject* parent)
    : SeedService(QString::fromLatin1(SeedTemplates::sourceFolder), parent) {}

QVariantList SourceSeedService::rows() const {
    QVariantList rows = SeedList::rows(seeds_);
    for (qsizetype i = 0; i < rows.size(); ++i) {
        QVariantMap row = rows.at(i).toMap();
        row.insert(QStringLiteral("sourceType"), seeds_.at(i).sourceType);
        rows[i] = row;
    }
    return rows;
}

QCoro::Task<> SourceSeedService::refresh() {
    seeds_ = SeedList::build<SourceSeed>(readTemplates(), BrandProfile::slug(brand()));
    emit seedsChanged();
    co_return;
}

std::optional<QString> SourceSeedService::templateOf(const QString& id) const {
    return SeedList::templateOf(seeds_, id);
}

} // namespace mnemora
