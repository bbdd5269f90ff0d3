#pragma once

#include <QList>

#include "integrations/SeedService.h"
#include "integrations/Seeds.h"

namespace mnemora {

// The import sources a session can wire up, by title; every brand sees them all.
class SourceSeedService : public SeedService {
    Q_OBJECT

public:
    explicit SourceSeedService(QObject* parent = nullptr);

    const QList<SourceSeed>& seeds() const { return seeds_; }

    QVariantList rows() const override;
    QCoro::Task<> refresh() override;

protected:
    std::optional<QString> templateOf(const QString& id) const override;

private:
    QList<SourceSeed> seeds_;
};

} // namespace mnemora
