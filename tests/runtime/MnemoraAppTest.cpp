#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProcess>
#include <QRegularExpression>

#include <csignal>
#include <memory>

#include "app/AppStateStore.h"
#include "app/ConfigService.h"
#include "app/UserDefaults.h"
#include "cloud/RecordStoreSettings.h"
#include "introspection/IntrospectionServer.h"
#include "migration/MigrationGate.h"
#include "periodclose/CloseStatusMirrorService.h"
#include "periodclose/QuotaWatcher.h"
#include "platform/Processes.h"
#include "questions/QuestionsDocMirrorService.h"
#include "registry/DatabaseService.h"
#include "runtime/AppDelegate.h"
#include "runtime/MnemoraApp.h"
#include "support/BundleOverride.h"
#include "support/EventLoop.h"
#include "support/HttpServer.h"
#include "support/PouchServer.h"
#include "support/RegistryIndex.h"
#include "support/TestEnvironment.h"
#include "sync/SyncLog.h"
#include "sync/SyncedDocsBridgeService.h"

using namespace mnemora;
using mnemora::test::HttpServer;
using mnemora::test::TestEnvironment;

TEST(MnemoraApp, StartUpRunsItsStepsInOrderAndRecordsFailuresInTheServices) {
    TestEnvironment env;
    test::BundleOverride bundle("tallo.ai", "Tallo", "Tallo");
    MnemoraApp app;
    test::runTask(app.startUp());

    EXPECT_TRUE(app.started());
    const QStringList steps = app.completedSteps();
    ASSERT_GE(steps.size(), 2);
    EXPECT_EQ(steps.first(), "configuration loaded");
    EXPECT_EQ(steps.mid(steps.size() - 7),
              QStringList({"power monitor", "quota watcher", "first-run defaults", "seeds",
                           "synced docs bridge", "synced docs bridge wired",
                           "companion sync: off, no record store is set up"}));
    EXPECT_TRUE(app.quotaWatcher().isRunning());
    EXPECT_EQ(app.closeStatusMirror(), nullptr);
    EXPECT_EQ(app.services().questionsMirror(), nullptr);
    // Automation is up before the daemon is waited for, and scripts find its port.
    const auto serverStep = steps.indexOf("introspection server");
    EXPECT_GT(serverStep, steps.indexOf("services wired"));
    EXPECT_LT(serverStep, steps.indexOf(QRegularExpression("daemon: .*")));
    ASSERT_TRUE(app.introspection().isRunning());
    EXPECT_EQ(TestEnvironment::readFile(env.cacheHome() + "/tallo.ai/native_introspection.port"),
              QByteArray::number(*app.introspection().port()));
    // No configuration file yet: the service says so and start-up went on.
    EXPECT_TRUE(app.config().lastError().startsWith("Config not loaded: "));
    EXPECT_TRUE(app.appState().showOnboarding());
    EXPECT_EQ(app.appState().selection(), SidebarItem::home);
    // No daemon: the migration gate is ready but stays open.
    EXPECT_TRUE(app.migrationReady());
    EXPECT_FALSE(app.migrationGate().closed());
    // No index yet: a normal state, with nothing listed.
    EXPECT_FALSE(app.database().isOpen());
    EXPECT_TRUE(app.database().lastError().isEmpty());
    EXPECT_TRUE(app.database().openQuestions().isEmpty());
}

// The primary vault's bridge comes after the seeds, over the configured record store, with its
// sidecar at its place; a sidecar that cannot be opened leaves sync off for the launch.
TEST(MnemoraApp, TheSyncBridgeStartsOverTheConfiguredStoreOrStaysAbsent) {
    test::PouchServer server;
    ASSERT_TRUE(server.isRunning()) << server.error().toStdString();
    for (const bool sidecarBlocked : {false, true}) {
        TestEnvironment env;
        test::BundleOverride bundle("ai.mnemora", "Mnemora", "Mnemora");
        TestEnvironment::writeFile(env.configHome() + "/ai.mnemora.ini",
                                   "[General]\nsyncedDocs.recordStore.url=" +
                                       server.freshDatabaseUrl().toString().toUtf8() + "\n");
        const QString sidecar = env.dataHome() + "/ai.mnemora/synced-docs.sqlite";
        if (sidecarBlocked) {
            QDir().mkpath(sidecar + "/in-the-way");
        }
        MnemoraApp app;
        test::runTask(app.startUp());
        SyncLog::flush();
        const QString log = TestEnvironment::readFile(SyncLog::defaultFilePath());
        if (sidecarBlocked) {
            EXPECT_EQ(app.syncedDocsBridge(), nullptr);
            EXPECT_TRUE(log.contains("[MnemoraApp] Synced Docs sidecar store failed to open; sync "
                                     "disabled this launch"));
            continue;
        }
        ASSERT_NE(app.syncedDocsBridge(), nullptr);
        EXPECT_EQ(app.appDelegate().syncedDocsBridge(), app.syncedDocsBridge());
        EXPECT_NE(app.syncedDocsBridge()->syncEngine(), nullptr);
        EXPECT_EQ(app.syncedDocsBridge()->zoneScope(), QString());
        EXPECT_EQ(app.syncedDocsBridge()->notesRoot(), app.config().vaultRoot() + "/Notes");
        EXPECT_TRUE(QFile::exists(sidecar));
        EXPECT_TRUE(log.contains("[SyncedDocsBridgeService] engine state: fresh (no saved state)"));
        // Automation sees the zones the bridge made, and cannot forget the primary's.
        EXPECT_TRUE(test::waitUntil([] {
            const Expected<QJsonArray> zones = test::runTask(MnemoraApp::listSyncZones());
            return zones.ok() && zones->size() == 4 &&
                   zones->contains(QJsonObject{{"name", "SyncedDocs-lists-active"}, {"scope", ""}});
        }));
        EXPECT_EQ(test::runTask(MnemoraApp::forgetSyncZones("")).error(),
                  "refusing to delete the primary vault's zones — pass the scope of a specific "
                  "vault");
        // Quit stops it and keeps the engine's state for the next launch.
        app.appDelegate().applicationWillTerminate();
        EXPECT_TRUE(UserDefaults().dataValue("syncedDocs.engineState.v1").has_value());
    }
}

// The primary vault's start puts the phone's app into the record store's database.
TEST(MnemoraApp, StartUpPublishesThePhoneCompanionIntoTheRecordStore) {
    test::PouchServer server;
    ASSERT_TRUE(server.isRunning()) << server.error().toStdString();
    TestEnvironment env;
    const QString companion = QStringLiteral(MNEMORA_BUNDLES_DIR "/Tallo/Resources/companion");
    qputenv("MNEMORA_COMPANION_DIR", companion.toUtf8());
    test::BundleOverride bundle("tallo.ai", "Tallo", "Tallo");
    const QUrl database = server.freshDatabaseUrl();
    UserDefaults("tallo.ai").setString(RecordStoreSettings::urlKey, database.toString());
    MnemoraApp app;
    test::runTask(app.startUp());
    qunsetenv("MNEMORA_COMPANION_DIR");
    QNetworkAccessManager network;
    QByteArray page;
    EXPECT_TRUE(test::waitUntil([&] {
        std::unique_ptr<QNetworkReply> reply(network.get(
            QNetworkRequest(QUrl(database.toString() + "/_design/companion/index.html"))));
        test::waitUntil([&] { return reply->isFinished(); });
        page = reply->readAll();
        return reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt() == 200;
    }));
    EXPECT_EQ(page, TestEnvironment::readFile(companion + "/index.html"));
}

TEST(MnemoraApp, WithARecordStoreBothMirrorsRunOnTheVault) {
    TestEnvironment env;
    test::BundleOverride bundle("tallo.ai", "Tallo", "Tallo");
    UserDefaults("tallo.ai").setString(RecordStoreSettings::urlKey, "https://couch.example/tallo");
    MnemoraApp app;
    test::runTask(app.startUp());
    EXPECT_EQ(app.completedSteps().last(),
              "companion sync: questions and close status mirrors started");
    ASSERT_NE(app.closeStatusMirror(), nullptr);
    EXPECT_TRUE(app.closeStatusMirror()->isRunning());
    EXPECT_EQ(app.closeStatusMirror()->notesRoot(), env.home() + "/Tallo/Notes");
    const QuestionsDocMirrorService* questions = app.services().questionsMirror();
    ASSERT_NE(questions, nullptr);
    EXPECT_TRUE(questions->isRunning());
    EXPECT_EQ(questions->notesRoot(), env.home() + "/Tallo/Notes");
    EXPECT_EQ(questions->registryRoot(), env.home() + "/Tallo/Registry");
    EXPECT_EQ(questions->mirrorScope(), IdentityScope::active());
}

TEST(MnemoraApp, AFinishedOnboardingStaysClosedAndTheDaemonIsAskedForDefaults) {
    TestEnvironment env;
    test::BundleOverride bundle("tallo.ai", "Tallo", "Tallo");
    UserDefaults("tallo.ai").setBool(UserDefaults::onboardingComplete, true);
    HttpServer daemon([](const HttpServer::Request&) { return HttpServer::json(R"({"x": 1})"); });
    const QString configFolder = env.dataHome() + "/Tallo";
    TestEnvironment::writeFile(configFolder + "/config.json", "{}");
    TestEnvironment::writeFile(configFolder + "/daemon.port", QByteArray::number(daemon.port()));

    MnemoraApp app;
    test::runTask(app.startUp());
    EXPECT_FALSE(app.appState().showOnboarding());
    EXPECT_EQ(daemon.requestCount("/defaults/recommend"), 1);
    EXPECT_EQ(app.config().config().value("x"), 1);
}

TEST(MnemoraApp, StartUpOpensTheIndexAndPublishesTheQuestionsBeforeTheDefaults) {
    TestEnvironment env;
    test::BundleOverride bundle("tallo.ai", "Tallo", "Tallo");
    MnemoraApp app;
    const QString file = env.root() + "/vault/Registry/me/questions/vat.md";
    TestEnvironment::writeFile(file, "---\nkind: judgment\nasked_by: accountant\n---\n");
    test::RegistryIndex index(app.database().indexPath());
    index.entity({{"entity_type", "question"},
                  {"slug", "vat"},
                  {"name", "VAT?"},
                  {"file_path", file},
                  {"date_start", "2026-11-15T06:00:00Z"}});
    index.entity({{"entity_type", "question"},
                  {"slug", "done"},
                  {"status", "answered"},
                  {"date_start", "2026-11-14T06:00:00Z"}});

    test::runTask(app.startUp());
    EXPECT_TRUE(app.database().isOpen());
    const QList<Question> questions = app.database().openQuestions();
    ASSERT_EQ(questions.size(), 2);
    EXPECT_EQ(questions.at(0).slug, "vat");
    EXPECT_EQ(questions.at(0).kind, "judgment");
    EXPECT_EQ(questions.at(0).askedBy, "accountant");
    EXPECT_EQ(questions.at(1).status, Question::Status::answered);

    const QStringList steps = app.completedSteps();
    EXPECT_LT(steps.indexOf("onboarding flag read"), steps.indexOf("index opened"));
    EXPECT_LT(steps.indexOf("index opened"), steps.indexOf("open questions loaded"));
    EXPECT_LT(steps.indexOf("open questions loaded"), steps.indexOf("first-run defaults"));
}

TEST(MnemoraApp, TheProductRunsWithoutAWindowAndQuitsInOrderOnSigterm) {
    TestEnvironment env;
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(QStringLiteral(MNEMORA_BUNDLES_DIR "/Tallo/tallo"), {});
    ASSERT_TRUE(process.waitForStarted(5000));

    QByteArray output;
    const bool started = test::waitUntil(
        [&] {
            output += process.readAll();
            return output.contains("[MnemoraApp] start-up: first-run defaults");
        },
        std::chrono::seconds(20));
    ASSERT_TRUE(started) << output.toStdString();
    EXPECT_EQ(process.state(), QProcess::Running);

    ::kill(static_cast<pid_t>(process.processId()), SIGTERM);
    ASSERT_TRUE(process.waitForFinished(10'000));
    output += process.readAll();
    EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(process.exitCode(), 0);
    EXPECT_TRUE(output.contains("[AppDelegate] application will terminate"))
        << output.toStdString();
    EXPECT_LT(output.indexOf("[MnemoraApp] start-up: configuration loaded"),
              output.indexOf("[MnemoraApp] start-up: onboarding flag read"));
}

TEST(MnemoraApp, QuitEndsEvenWhenTheDaemonIgnoresSigterm) {
    TestEnvironment env;
    // The brand's daemon, found on PATH: a stand-in that shrugs off SIGTERM.
    const QString bin = env.root() + QStringLiteral("/bin");
    QDir().mkpath(bin);
    ASSERT_TRUE(QFile::copy(QStringLiteral(MNEMORA_FAKE_DAEMON), bin + "/tallo-daemon"));
    env.setEnv("PATH", bin + QLatin1Char(':') + qEnvironmentVariable("PATH"));
    env.setEnv("FAKE_DAEMON_IGNORE_SIGTERM", QStringLiteral("1"));
    env.setEnv("FAKE_DAEMON_PORT_FILE", env.cacheHome() + QStringLiteral("/tallo.ai/daemon.port"));
    // A copy of the bundle without the daemon that ships in it, so that the one on PATH is
    // used.
    const QString bundle = env.root() + QStringLiteral("/Tallo");
    QDir().mkpath(bundle);
    for (const char* file : {"tallo", "Info.json"}) {
        ASSERT_TRUE(QFile::copy(QStringLiteral(MNEMORA_BUNDLES_DIR "/Tallo/") + file,
                                bundle + QLatin1Char('/') + file));
    }
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(bundle + QStringLiteral("/tallo"), {});
    ASSERT_TRUE(process.waitForStarted(5000));

    QByteArray output;
    const QRegularExpression spawned(
        QStringLiteral("start-up: daemon: spawnedChild \\(pid (\\d+)\\)"));
    qint32 daemonPid = 0;
    ASSERT_TRUE(test::waitUntil(
        [&] {
            output += process.readAll();
            daemonPid = spawned.match(QString::fromUtf8(output)).captured(1).toInt();
            return daemonPid > 0;
        },
        std::chrono::seconds(20)))
        << output.toStdString();

    ::kill(static_cast<pid_t>(process.processId()), SIGTERM);
    const bool ended = process.waitForFinished(12'000);
    output += process.readAll();
    if (Processes::isAlive(daemonPid)) {
        Processes::forceKill(daemonPid); // nothing of this test may outlive it
    }
    ASSERT_TRUE(ended) << "quit hung on a daemon that ignores SIGTERM";
    EXPECT_EQ(process.exitCode(), 0);
    EXPECT_TRUE(output.contains("[DaemonProcess] daemon did not stop within 10 s — killed\n"))
        << output.toStdString();
}
