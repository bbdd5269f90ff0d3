#include <gtest/gtest.h>

#include <QDBusConnection>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include "platform/FreedesktopNotificationService.h"
#include "support/EventLoop.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"

using namespace mnemora;
using test::waitUntil;

namespace {

// A private session bus with the notification server stand-in on it, and a connection to it.
class NotificationServiceTest : public ::testing::Test {
protected:
    void TearDown() override {
        QDBusConnection::disconnectFromBus(QStringLiteral("notification-test"));
        // The stand-in ends when its input closes; the private bus ends with it.
        server.closeWriteChannel();
        if (!server.waitForFinished(10'000)) {
            server.kill();
            server.waitForFinished();
        }
    }

    QDBusConnection startBus(const QStringList& arguments = {}) {
        server.start(QStringLiteral("dbus-run-session"),
                     QStringList{QStringLiteral("--"), QStringLiteral(NOTIFICATION_STANDIN)} +
                         arguments);
        const bool ready =
            waitUntil([&] { return server.canReadLine(); }, std::chrono::seconds(20));
        const QByteArray line = ready ? server.readLine().trimmed() : QByteArray();
        EXPECT_TRUE(line.startsWith("ready unix:")) << line.toStdString();
        return QDBusConnection::connectToBus(QString::fromUtf8(line.mid(6)),
                                             QStringLiteral("notification-test"));
    }

    // The next `Notify` call the stand-in took.
    QJsonObject nextCall() {
        if (!waitUntil([&] { return server.canReadLine(); })) {
            ADD_FAILURE() << "the server took no call";
            return {};
        }
        return QJsonDocument::fromJson(server.readLine()).object();
    }

    QProcess server;
};

QJsonObject call(const QString& summary, const QString& body, qint64 replacesId, qint64 id) {
    return {{"app_name", "Tallo"},
            {"replaces_id", replacesId},
            {"app_icon", ""},
            {"summary", summary},
            {"body", body},
            {"actions", QJsonArray()},
            {"hints", QJsonObject{{"desktop-entry", "tallo.ai"}}},
            {"expire_timeout", -1},
            {"id", id}};
}

} // namespace

TEST_F(NotificationServiceTest, ANotificationReplacesTheOneOfItsIdentifier) {
    FreedesktopNotificationService notifications(QStringLiteral("Tallo"),
                                                 QStringLiteral("tallo.ai"), startBus());
    notifications.post("quota-a|1", "Waiting for AI capacity", "Tallo hit its usage limit.");
    EXPECT_EQ(nextCall(), call("Waiting for AI capacity", "Tallo hit its usage limit.", 0, 1));
    notifications.post("interrupted-2026-10", "Interrupted", "October 2026 waits.");
    EXPECT_EQ(nextCall(), call("Interrupted", "October 2026 waits.", 0, 2));
    notifications.post("quota-a|1", "Waiting for AI capacity", "Again.");
    EXPECT_EQ(nextCall(), call("Waiting for AI capacity", "Again.", 1, 1));

    // Two posts of one identifier in quick succession still replace each other.
    notifications.post("interrupted-2026-11", "Interrupted", "First.");
    notifications.post("interrupted-2026-11", "Interrupted", "Second.");
    EXPECT_EQ(nextCall(), call("Interrupted", "First.", 0, 3));
    EXPECT_EQ(nextCall(), call("Interrupted", "Second.", 3, 3));
}

TEST_F(NotificationServiceTest, NoServiceOnTheBusIsSaidOnce) {
    test::LogCapture log("mnemora.notifications");
    FreedesktopNotificationService notifications(QStringLiteral("Tallo"), QString(),
                                                 startBus({QStringLiteral("--absent")}));
    QList<std::pair<QString, bool>> answers;
    QObject::connect(&notifications, &FreedesktopNotificationService::answered,
                     [&](const QString& identifier, bool shown) {
                         answers.append({identifier, shown});
                     });
    notifications.post("a", "Title", "Body");
    notifications.post("b", "Title", "Body");
    ASSERT_TRUE(waitUntil([&] { return answers.size() == 2; }));
    EXPECT_EQ(answers, (QList<std::pair<QString, bool>>{{"a", false}, {"b", false}}));
    ASSERT_EQ(log.lines().size(), 1);
    EXPECT_TRUE(log.lines().first().startsWith(
        "[Notifications] no notification service on the session bus ("));
}

TEST_F(NotificationServiceTest, NoSessionBusIsSaidOnce) {
    test::LogCapture log("mnemora.notifications");
    FreedesktopNotificationService notifications(
        QStringLiteral("Tallo"), QString(),
        QDBusConnection::connectToBus(QStringLiteral("unix:path=/nonexistent/bus"),
                                      QStringLiteral("notification-test")));
    notifications.post("a", "Title", "Body");
    notifications.post("a", "Title", "Body");
    EXPECT_EQ(log.lines(),
              QStringList{"[Notifications] no session bus, so no notifications are shown"});
}
