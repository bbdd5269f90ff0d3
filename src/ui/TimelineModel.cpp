#include "ui/TimelineModel.h"

#include <QPointer>

#include "registry/DatabaseService.h"
#include "ui/ItemRows.h"

namespace mnemora {

namespace {

const QStringList& kindWords() {
    static const QStringList words{QStringLiteral("photo"), QStringLiteral("video"),
                                   QStringLiteral("voice_memo"), QStringLiteral("time_entry")};
    return words;
}

// Voxlet is about recordings, so its timeline opens on them.
QString firstKind() {
    return brand() == Brand::voxlet ? QStringLiteral("voice_memo") : QStringLiteral("photo");
}

} // namespace

TimelineModel::TimelineModel(const WindowServices& services, QObject* parent)
    : ScreenModel(SidebarItem::timeline, services, parent)
    , kind_(firstKind()) {}

QVariantList TimelineModel::kinds() const {
    QVariantList kinds;
    for (const QString& word : kindWords()) {
        kinds << QVariantMap{{QStringLiteral("word"), word},
                             {QStringLiteral("label"), ItemRows::typePluralLabel(word)}};
    }
    return kinds;
}

void TimelineModel::setKind(const QString& kind) {
    if (kind_ != kind && kindWords().contains(kind)) {
        kind_ = kind;
        emit queryChanged();
        reload();
    }
}

void TimelineModel::setPlace(const QString& place) {
    if (place_ != place) {
        place_ = place;
        emit queryChanged();
        reload();
    }
}

QCoro::Task<> TimelineModel::load() {
    QPointer<TimelineModel> self(this);
    const QString place = place_.trimmed();
    const QString kind = kind_;
    DatabaseService* database = services().database;
    QCoro::Task<QList<RegistryItem>> fetching =
        place.isEmpty() ? database->fetchItems(kind, IdentityScope::active(), kLimit)
                        : database->fetchItemsForPlace(place, IdentityScope::active(), kLimit);
    const QList<RegistryItem> items = co_await fetching;
    // A later query may have replaced this one while it ran.
    if (!self || place != place_.trimmed() || kind != kind_) {
        co_return;
    }
    setEmpty(place.isEmpty() ? ScreenTexts::emptyState(item(), brand(), appDisplayName())
                             : ScreenTexts::noItemsAtPlace(place));
    QVariantList rows;
    for (const RegistryItem& registryItem : items) {
        rows << ItemRows::row(registryItem);
    }
    setRows(rows);
}

} // namespace mnemora
