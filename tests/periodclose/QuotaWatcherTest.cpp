#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "daemon/DaemonService.h"
#include "periodclose/DreamerSessionsMonitor.h"
#include "periodclose/QuotaWatcher.h"
#include "platform/NotificationService.h"
#include "support/EventLoop.h"
#include "support/HttpServer.h"
#include "support/QtPrinters.h"
#include "support/TestEnvironment.h"

using namespace mnemora;
using namespace std::chrono_literals;
using test::HttpServer;
using test::runTask;
using test::TestEnvironment;
using test::waitUntil;

namespace {

struct Posted {
    QString identifier;
    QString title;
    QString body;

    bool operator==(const Posted&) const = default;
};

void PrintTo(const Posted& posted, std::ostream* out) {
    *out << posted.identifier.toStdString() << " / " << posted.title.toStdString() << " / "
         << posted.body.toStdString();
}

class RecordingNotifications : public NotificationService {
public:
    void post(const QString& identifier, const QString& title, const QString& body) override {
        posted.append({identifier, title, body});
    }
    QList<Posted> taken() { return std::exchange(posted, {}); }

    QList<Posted> posted;
};

const QDateTime now(QDate(2026, 10, 20), QTime(12, 0), QTimeZone::utc());

QDateTime daysLater(int days) {
    return now.addDays(days);
}

// A daemon that answers `dreamer/sessions` and `period-close/runs` with what the test sets.
class QuotaWatcherTest : public ::testing::Test {
protected:
    void SetUp() override {
        TestEnvironment::writeFile(daemon.portFilePath(), QByteArray::number(server.port()));
        watcher.setProductName(QStringLiteral("Tallo"));
        watcher.setClock([] { return now; });
        watcher.setDaemon(&daemon);
    }

    void limit(const QString& session, const std::optional<QDateTime>& resetsAt) {
        QJsonObject entry{{"message", "usage limit reached"}};
        if (resetsAt) {
            entry.insert("resets_at", resetsAt->toString(Qt::ISODate));
        }
        limits.insert(session, entry);
    }
    void run(const QString& period, const QString& status) {
        runs.append(QJsonObject{{"period", period}, {"status", status}});
    }
    void tick() { runTask(watcher.tick()); }
    static Posted pauseNotice(const QString& key, const std::optional<QDateTime>& resetsAt) {
        return {"quota-" + key, "Waiting for AI capacity",
                QuotaPause::notificationBody(resetsAt, now, "Tallo")};
    }

    HttpServer::Response answer(const HttpServer::Request& request) const {
        if (failing) {
            return HttpServer::json(R"({"error":"busy"})", 500);
        }
        if (request.path == "/dreamer/sessions") {
            return HttpServer::json(
                QJsonDocument(QJsonObject{{"sessions", sessions}, {"limits", limits}})
                    .toJson(QJsonDocument::Compact));
        }
        if (request.path == "/period-close/runs") {
            return HttpServer::json(
                QJsonDocument(QJsonObject{{"runs", runs}}).toJson(QJsonDocument::Compact));
        }
        return HttpServer::json("{}", 404);
    }

    TestEnvironment env;
    QJsonArray sessions;
    QJsonObject limits;
    QJsonArray runs;
    bool failing = false;
    HttpServer server{[this](const HttpServer::Request& request) { return answer(request); }};
    DaemonService daemon;
    RecordingNotifications notifications;
    QuotaWatcher watcher{&notifications};
};

} // namespace

TEST_F(QuotaWatcherTest, AnnouncesEachPauseOnceAndShowsTheEarliestReset) {
    sessions = {"tallo-dreamer-close-a", "tallo-dreamer-close-b"};
    limit("tallo-dreamer-close-a", daysLater(3));
    limit("tallo-dreamer-close-b", daysLater(2));
    watcher.start(&daemon, 1h);
    ASSERT_TRUE(waitUntil([&] { return notifications.posted.size() == 2; }));
    watcher.stop();
    const QString a = "tallo-dreamer-close-a|" + QString::number(daysLater(3).toSecsSinceEpoch());
    const QString b = "tallo-dreamer-close-b|" + QString::number(daysLater(2).toSecsSinceEpoch());
    EXPECT_EQ(notifications.taken(),
              (QList<Posted>{pauseNotice(a, daysLater(3)), pauseNotice(b, daysLater(2))}));
    EXPECT_EQ(watcher.pause(), (QuotaPause::Episode{"tallo-dreamer-close-b", daysLater(2)}));
    EXPECT_EQ(watcher.attentionIcon(), "hourglass");
    EXPECT_EQ(watcher.attentionTitle(), QuotaPause::headline(daysLater(2), now));
    EXPECT_FALSE(watcher.attentionNeedsYou());

    // The same reset time is the same episode; a new one is announced again.
    limit("tallo-dreamer-close-b", daysLater(4));
    tick();
    const QString b2 = "tallo-dreamer-close-b|" + QString::number(daysLater(4).toSecsSinceEpoch());
    EXPECT_EQ(notifications.taken(), QList<Posted>{pauseNotice(b2, daysLater(4))});
    EXPECT_EQ(watcher.pause(), (QuotaPause::Episode{"tallo-dreamer-close-a", daysLater(3)}));

    // An episode that ended and comes back unchanged stays quiet.
    limits = {};
    tick();
    EXPECT_EQ(watcher.pause(), std::nullopt);
    limit("tallo-dreamer-close-a", daysLater(3));
    tick();
    EXPECT_TRUE(notifications.taken().isEmpty());
    EXPECT_EQ(watcher.pause(), (QuotaPause::Episode{"tallo-dreamer-close-a", daysLater(3)}));
}

TEST_F(QuotaWatcherTest, AResetInThePastOrUnknownWaitsForCapacity) {
    limit("s1", daysLater(-1));
    limit("s2", std::nullopt);
    tick();
    const QString body = "Tallo hit its usage limit and paused. It picks up by itself once the "
                         "limit resets — nothing for you to do.";
    EXPECT_EQ(notifications.taken(),
              (QList<Posted>{{"quota-s1|" + QString::number(daysLater(-1).toSecsSinceEpoch()),
                              "Waiting for AI capacity", body},
                             {"quota-s2|unknown", "Waiting for AI capacity", body}}));
    EXPECT_EQ(watcher.attentionTitle(), "Paused — waiting for AI capacity");
    EXPECT_EQ(watcher.attentionDetail(), "Nothing for you to do — it resumes by itself.");
}

TEST_F(QuotaWatcherTest, AnnouncesCutOffRunsInPeriodOrderOnce) {
    run("2026-10", "running");
    run("2026-08", "sent");
    run("2026-09", "running");
    tick();
    EXPECT_EQ(notifications.taken(),
              (QList<Posted>{{"interrupted-2026-09", "Interrupted",
                              "Tallo was cut off mid-work — September 2026 is waiting for you to "
                              "press Resume."},
                             {"interrupted-2026-10", "Interrupted",
                              "Tallo was cut off mid-work — October 2026 is waiting for you to "
                              "press Resume."}}));
    EXPECT_EQ(watcher.interrupted(), (RunInterruption::Episode{"2026-09", std::nullopt}));
    EXPECT_EQ(watcher.attention(),
              (QuotaWatcher::Attention{"September 2026 — interrupted, press Resume",
                                       "It stopped where it was — press Resume to pick it back up.",
                                       "bolt.slash", true, std::nullopt}));
    tick();
    EXPECT_TRUE(notifications.taken().isEmpty());

    // A pause hides the interruption while it lasts.
    limit("s1", std::nullopt);
    tick();
    EXPECT_EQ(watcher.attentionIcon(), "hourglass");
    EXPECT_TRUE(watcher.interrupted().has_value());
}

TEST_F(QuotaWatcherTest, ALiveSessionMeansNoInterruption) {
    sessions = {"tallo-dreamer-close-a"};
    run("2026-10", "running");
    tick();
    EXPECT_EQ(watcher.interrupted(), std::nullopt);
    EXPECT_TRUE(notifications.taken().isEmpty());
    EXPECT_FALSE(watcher.hasAttention());

    // Once the session is gone the run is cut off; once it leaves "running", it is not.
    sessions = {};
    tick();
    EXPECT_EQ(notifications.taken().size(), 1);
    runs = {QJsonObject{{"period", "2026-10"}, {"status", "draft"}}};
    tick();
    EXPECT_EQ(watcher.interrupted(), std::nullopt);
}

TEST_F(QuotaWatcherTest, AFailedPollKeepsWhatWasKnown) {
    limit("s1", daysLater(1));
    run("2026-10", "running");
    tick();
    notifications.taken();
    failing = true;
    limits = {};
    tick();
    EXPECT_EQ(watcher.pause(), (QuotaPause::Episode{"s1", daysLater(1)}));
    EXPECT_EQ(watcher.interrupted(), (RunInterruption::Episode{"2026-10", std::nullopt}));
    EXPECT_TRUE(notifications.taken().isEmpty());
}

TEST_F(QuotaWatcherTest, TheSessionsMonitorFollowsTheDaemon) {
    DreamerSessionsMonitor monitor;
    int changes = 0;
    QObject::connect(&monitor, &DreamerSessionsMonitor::changed, [&] { ++changes; });
    sessions = {"tallo-dreamer-close-a"};
    limit("tallo-dreamer-close-a", daysLater(1));
    monitor.start(&daemon, 1h);
    ASSERT_TRUE(waitUntil([&] { return changes == 1; }));
    monitor.stop();
    EXPECT_EQ(monitor.sessions(), QStringList{"tallo-dreamer-close-a"});
    EXPECT_EQ(monitor.limits().value("tallo-dreamer-close-a").resetsAt, daysLater(1));
    runTask(monitor.refresh());
    EXPECT_EQ(changes, 1);
    failing = true;
    runTask(monitor.refresh());
    EXPECT_TRUE(monitor.anySessionAlive());
}
