#include "ui/LifeBookModel.h"

#include <QPointer>

#include "daemon/DaemonEndpoints.h"
#include "daemon/DaemonService.h"
#include "registry/DatabaseService.h"

namespace mnemora {

namespace {

void addSection(QVariantList& rows, const QString& title,
                const std::optional<HomeNarrative::Section>& section) {
    if (!section || section->body.trimmed().isEmpty()) {
        return;
    }
    rows << QVariantMap{{QStringLiteral("title"), title},
                        {QStringLiteral("body"), section->body.trimmed()},
                        {QStringLiteral("path"), section->path}};
}

QString activityLine(const QString& when, const DatabaseService::RecentActivityCounts& counts) {
    return QStringLiteral("%1: %2 photos, %3 videos, %4 voice memos, %5 time entries")
        .arg(when)
        .arg(counts.photos)
        .arg(counts.videos)
        .arg(counts.voiceMemos)
        .arg(counts.timeEntries);
}

} // namespace

LifeBookModel::LifeBookModel(const WindowServices& services, QObject* parent)
    : ScreenModel(SidebarItem::lifeBook, services, parent) {}

QCoro::Task<> LifeBookModel::load() {
    QPointer<LifeBookModel> self(this);
    QCoro::Task<std::optional<HomeNarrative>> fetching =
        DaemonEndpoints::homeNarrative(services().daemon);
    const std::optional<HomeNarrative> narrative = co_await fetching;
    if (!self) {
        co_return;
    }
    QCoro::Task<DatabaseService::RecentActivityBreakdown> counting =
        services().database->fetchRecentActivity(IdentityScope::active(),
                                                 QDateTime::currentDateTimeUtc());
    const DatabaseService::RecentActivityBreakdown activity = co_await counting;
    if (!self) {
        co_return;
    }
    QVariantList rows;
    if (narrative) {
        addSection(rows, QStringLiteral("What's going on now"), narrative->currentContext);
        addSection(rows, QStringLiteral("The long view"), narrative->longHorizon);
        addSection(rows, QStringLiteral("May need attention"), narrative->mayNeedAttention);
        addSection(rows, QStringLiteral("Eras"), narrative->eras);
        addSection(rows, QStringLiteral("Biography"), narrative->biography);
    }
    QStringList summary;
    if (activity.latestCapturedAt) {
        summary << activityLine(QStringLiteral("Last day"), activity.day)
                << activityLine(QStringLiteral("Last week"), activity.week)
                << activityLine(QStringLiteral("Last month"), activity.month);
    }
    setRows(rows, summary);
}

} // namespace mnemora
