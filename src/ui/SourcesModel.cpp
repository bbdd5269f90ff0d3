#include "ui/SourcesModel.h"

#include <QPointer>

#include "registry/DatabaseService.h"
#include "ui/ItemRows.h"

namespace mnemora {

SourcesModel::SourcesModel(const WindowServices& services, QObject* parent)
    : ScreenModel(SidebarItem::sources, services, parent) {}

QCoro::Task<> SourcesModel::load() {
    QPointer<SourcesModel> self(this);
    QCoro::Task<QList<DatabaseService::SourceCoverageRow>> fetching =
        services().database->fetchSourceCoverage(IdentityScope::active());
    const QList<DatabaseService::SourceCoverageRow> sources = co_await fetching;
    if (!self) {
        co_return;
    }
    QVariantList rows;
    qint64 total = 0;
    for (const DatabaseService::SourceCoverageRow& source : sources) {
        total += source.total;
        rows << QVariantMap{{QStringLiteral("title"), ItemRows::coverageTitle(source)},
                            {QStringLiteral("subtitle"), ItemRows::coverageSummary(source)},
                            {QStringLiteral("detail"), source.identityId}};
    }
    QStringList summary;
    if (!sources.isEmpty()) {
        summary << QStringLiteral("%1 items from %2 %3")
                       .arg(total)
                       .arg(sources.size())
                       .arg(sources.size() == 1 ? QStringLiteral("source")
                                                : QStringLiteral("sources"));
    }
    setRows(rows, summary);
}

} // namespace mnemora
