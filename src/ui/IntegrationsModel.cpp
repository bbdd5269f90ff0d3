#include "ui/IntegrationsModel.h"

#include <QLocale>
#include <QPointer>

#include "daemon/DaemonEndpoints.h"
#include "daemon/DaemonService.h"

namespace mnemora {

namespace {

QString limitText(const SessionLimit& limit) {
    QString text = limit.message;
    if (limit.resetsAt) {
        text += QStringLiteral(" (resets ") +
                QLocale().toString(limit.resetsAt->toLocalTime(), QLocale::ShortFormat) +
                QLatin1Char(')');
    }
    return text;
}

} // namespace

IntegrationsModel::IntegrationsModel(const WindowServices& services, QObject* parent)
    : ScreenModel(SidebarItem::integrations, services, parent) {}

void IntegrationsModel::stopSession(const QString& name) {
    // Started and left: the coroutine guards this model.
    kill(name);
}

QCoro::Task<> IntegrationsModel::kill(QString name) {
    QPointer<IntegrationsModel> self(this);
    QCoro::Task<Expected<void>> killing = DaemonEndpoints::killSession(services().daemon, name);
    const Expected<void> result = co_await killing;
    if (!self) {
        co_return;
    }
    setErrorText(result.error());
    QCoro::Task<> reloading = load();
    co_await reloading;
}

QCoro::Task<> IntegrationsModel::load() {
    QPointer<IntegrationsModel> self(this);
    QCoro::Task<std::optional<DreamerSessions>> fetching =
        DaemonEndpoints::dreamerSessions(services().daemon);
    const std::optional<DreamerSessions> live = co_await fetching;
    if (!self) {
        co_return;
    }
    QVariantList rows;
    if (live) {
        for (const QString& session : live->sessions) {
            const auto limit = live->limits.constFind(session);
            rows << QVariantMap{{QStringLiteral("title"), session},
                                {QStringLiteral("subtitle"),
                                 limit == live->limits.constEnd() ? QString() : limitText(*limit)}};
        }
    }
    QStringList summary;
    if (!rows.isEmpty()) {
        summary << QString::number(rows.size()) + (rows.size() == 1
                                                       ? QStringLiteral(" session running")
                                                       : QStringLiteral(" sessions running"));
    }
    setRows(rows, summary);
}

} // namespace mnemora
