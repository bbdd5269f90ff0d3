// A stand-in for the desktop's notification server, for tests on a private session bus
// (`dbus-run-session -- notification_server_standin`). It prints "ready {bus address}" once it
// owns `org.freedesktop.Notifications` (with "--absent": once it is on the bus without owning
// it), then one JSON line for each `Notify` call it takes. A replaced notification keeps its
// number; any other gets the next one. It ends when its standard input closes, and the bus with it.

#include <QCoreApplication>
#include <QDBusConnection>
#include <QJsonDocument>
#include <QJsonObject>
#include <QObject>
#include <QSocketNotifier>
#include <QVariantMap>

#include <cstdio>
#include <unistd.h>

namespace {

void say(const QByteArray& line) {
    std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

class NotificationServer : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public slots:
    uint Notify(const QString& appName, uint replacesId, const QString& appIcon,
                const QString& summary, const QString& body, const QStringList& actions,
                const QVariantMap& hints, int expireTimeout) {
        const uint id = replacesId != 0 && replacesId < next_ ? replacesId : next_++;
        say(QJsonDocument(QJsonObject{{"app_name", appName},
                                      {"replaces_id", static_cast<qint64>(replacesId)},
                                      {"app_icon", appIcon},
                                      {"summary", summary},
                                      {"body", body},
                                      {"actions", QJsonValue::fromVariant(actions)},
                                      {"hints", QJsonObject::fromVariantMap(hints)},
                                      {"expire_timeout", expireTimeout},
                                      {"id", static_cast<qint64>(id)}})
                .toJson(QJsonDocument::Compact));
        return id;
    }
    QStringList GetCapabilities() { return {QStringLiteral("body")}; }

private:
    uint next_ = 1;
};

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        say("no session bus");
        return 1;
    }
    NotificationServer server;
    if (!application.arguments().contains(QStringLiteral("--absent"))) {
        if (!bus.registerObject(QStringLiteral("/org/freedesktop/Notifications"), &server,
                                QDBusConnection::ExportAllSlots) ||
            !bus.registerService(QStringLiteral("org.freedesktop.Notifications"))) {
            say("could not register the service");
            return 1;
        }
    }
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, &application, [&] {
        char buffer[256];
        if (::read(STDIN_FILENO, buffer, sizeof buffer) <= 0) {
            application.quit();
        }
    });
    say("ready " + qgetenv("DBUS_SESSION_BUS_ADDRESS"));
    return application.exec();
}

#include "notification_server_standin.moc"
