#include "ui/KnowledgeModel.h"

#include <QPointer>

#include "registry/DatabaseService.h"
#include "ui/ItemRows.h"

namespace mnemora {

namespace {

QString counted(qint64 n, const QString& one, const QString& many) {
    return QString::number(n) + QLatin1Char(' ') + (n == 1 ? one : many);
}

} // namespace

KnowledgeModel::KnowledgeModel(const WindowServices& services, QObject* parent)
    : ScreenModel(SidebarItem::people, services, parent) {}

void KnowledgeModel::setPlace(const QString& place) {
    if (place_ != place) {
        place_ = place;
        emit placeChanged();
        reload();
    }
}

QCoro::Task<> KnowledgeModel::load() {
    QPointer<KnowledgeModel> self(this);
    const QString place = place_.trimmed();
    QCoro::Task<RegistryStats> counting = services().database->fetchStats(IdentityScope::active());
    const RegistryStats stats = co_await counting;
    if (!self) {
        co_return;
    }
    QList<RegistryItem> items;
    if (!place.isEmpty()) {
        QCoro::Task<QList<RegistryItem>> fetching =
            services().database->fetchItemsForPlace(place, IdentityScope::active(), kLimit);
        items = co_await fetching;
        if (!self) {
            co_return;
        }
    }
    if (place != place_.trimmed()) {
        co_return;
    }
    QStringList summary;
    if (stats.people > 0 || stats.places > 0) {
        summary << counted(stats.people, QStringLiteral("person"), QStringLiteral("people")) +
                       QStringLiteral(" · ") +
                       counted(stats.places, QStringLiteral("place"), QStringLiteral("places"));
    }
    if (!place.isEmpty()) {
        setEmpty(ScreenTexts::noItemsAtPlace(place));
    } else if (!summary.isEmpty()) {
        setEmpty(ScreenTexts::placeSearchHint());
    } else {
        setEmpty(ScreenTexts::emptyState(item(), brand(), appDisplayName()));
    }
    QVariantList rows;
    for (const RegistryItem& registryItem : items) {
        rows << ItemRows::row(registryItem);
    }
    setRows(rows, summary);
}

} // namespace mnemora
