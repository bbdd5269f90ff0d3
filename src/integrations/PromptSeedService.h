#pragma once

#include <QList>

#include "integrations/SeedService.h"
#include "integrations/Seeds.h"

namespace mnemora {

// The prepared investigations of this brand, by title.
class PromptSeedService : public SeedService {
    Q_OBJECT

public:
    explicit PromptSeedService(QObject* parent = nullptr);

    const QList<PromptSeed>& seeds() const { return seeds_; }

    QVariantList rows() const override;
    QCoro::Task<> refresh() override;
    QString emptyTitle() const override;
    QString emptyText() const override;

protected:
    std::optional<QString> templateOf(const QString& id) const override;

private:
    QList<PromptSeed> seeds_;
};

} // namespace mnemora
