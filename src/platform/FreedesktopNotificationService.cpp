#include "platform/FreedesktopNotificationService.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QLoggingCategory>
#include <QVariantMap>

namespace mnemora {

namespace {

Q_LOGGING_CATEGORY(notificationsLog, "mnemora.notifications")

const QString service = QStringLiteral("org.freedesktop.Notifications");
const QString path = QStringLiteral("/org/freedesktop/Notifications");

// The desktop chooses how long a notification stays.
constexpr int desktopDefaultTimeout = -1;

} // namespace

FreedesktopNotificationService::FreedesktopNotificationService(QString appName,
                                                               QString desktopEntry,
                                                               QDBusConnection bus, QObject* parent)
    : QObject(parent)
    , appName_(std::move(appName))
    , desktopEntry_(std::move(desktopEntry))
    , bus_(std::move(bus)) {}

FreedesktopNotificationService::~FreedesktopNotificationService() = default;

void FreedesktopNotificationService::post(const QString& identifier, const QString& title,
                                          const QString& body) {
    if (!bus_.isConnected()) {
        sayOnce(QStringLiteral("no session bus, so no notifications are shown"));
        emit answered(identifier, false);
        return;
    }
    if (inFlight_.contains(identifier)) {
        inFlight_[identifier] = Pending{title, body};
        return;
    }
    send(identifier, Pending{title, body});
}

void FreedesktopNotificationService::send(const QString& identifier, const Pending& notification) {
    inFlight_.insert(identifier, std::nullopt);
    QDBusMessage call =
        QDBusMessage::createMethodCall(service, path, service, QStringLiteral("Notify"));
    QVariantMap hints;
    if (!desktopEntry_.isEmpty()) {
        hints.insert(QStringLiteral("desktop-entry"), desktopEntry_);
    }
    call << appName_ << shownIds_.value(identifier, 0u) << QString() << notification.title
         << notification.body << QStringList() << hints << desktopDefaultTimeout;
    auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, identifier](QDBusPendingCallWatcher* finished) {
                const QDBusPendingReply<uint> reply = *finished;
                finished->deleteLater();
                if (reply.isError()) {
                    onAnswer(identifier, std::nullopt, reply.error().message());
                } else {
                    onAnswer(identifier, reply.value(), {});
                }
            });
}

void FreedesktopNotificationService::onAnswer(const QString& identifier,
                                              std::optional<uint> serverId, const QString& error) {
    if (serverId) {
        shownIds_.insert(identifier, *serverId);
    } else {
        sayOnce(QStringLiteral("no notification service on the session bus (") + error +
                QStringLiteral("), so no notifications are shown"));
    }
    const std::optional<Pending> next = inFlight_.take(identifier);
    emit answered(identifier, serverId.has_value());
    if (next) {
        send(identifier, *next);
    }
}

void FreedesktopNotificationService::sayOnce(const QString& message) {
    if (said_) {
        return;
    }
    said_ = true;
    qCInfo(notificationsLog).noquote() << QStringLiteral("[Notifications] ") + message;
}

} // namespace mnemora
