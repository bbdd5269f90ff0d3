#include "integrations/PromptSeedService.h"

#include "app/Brand.h"
#include "integrations/SeedList.h"
#include "integrations/SeedTemplates.h"

namespace mnemora {

PromptSeedService::PromptSeedService(QObject* parent)
    : SeedService(QString::fromLatin1(SeedTemplates::promptFolder), parent) {}

QVariantList PromptSeedService::rows() const {
    return SeedList::rows(seeds_);
}

QString PromptSeedService::emptyTitle() const {
    return QStringLiteral("No bundled prompts found");
}

QString PromptSeedService::emptyText() const {
    return QStringLiteral("No bundled prompts found. Reinstall the app to restore the library.");
}

QCoro::Task<> PromptSeedService::refresh() {
    seeds_ = SeedList::build<PromptSeed>(readTemplates(), BrandProfile::slug(brand()));
    emit seedsChanged();
    co_return;
}

std::optional<QString> PromptSeedService::templateOf(const QString& id) const {
    return SeedList::templateOf(seeds_, id);
}

} // namespace mnemora
