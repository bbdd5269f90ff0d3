#include <gtest/gtest.h>

#include <QFile>

#include "app/AppStateStore.h"
#include "app/ConfigService.h"
#include "app/UserDefaults.h"
#include "app/VaultPaths.h"
#include "cloud/RecordStoreSettings.h"
#include "daemon/DaemonProcess.h"
#include "daemon/SupervisionFixture.h"
#include "periodclose/CloseStatusMirrorService.h"
#include "questions/QuestionsDocMirrorService.h"
#include "registry/DatabaseService.h"
#include "runtime/VaultManager.h"
#include "runtime/VaultRuntime.h"
#include "runtime/VaultWindowModel.h"
#include "support/EventLoop.h"
#include "support/RegistryIndex.h"
#include "support/StdoutCapture.h"
#include "support/TestEnvironment.h"
#include "sync/SyncedDocsBridgeService.h"

using namespace mnemora;
using namespace std::chrono_literals;

namespace {

// Vaults with their own configuration, opened against the fake daemon of the fixture's bundle.
class VaultRuntimeTest : public test::SupervisionTest {
protected:
    void SetUp() override {
        SupervisionTest::SetUp();
        // Each vault daemon writes its port in its vault's cache folder, as the real one does.
        env->setEnv("FAKE_DAEMON_PORT_FILE", QString());
    }
    void TearDown() override {
        manager.shutdownAll();
        SupervisionTest::TearDown();
    }

    QString makeVault(const QString& name) {
        const QString vault = env->home() + QLatin1Char('/') + name;
        test::TestEnvironment::writeFile(VaultPaths::vaultConfigFile(vault),
                                         "{\"mnemora_path\": \"" + vault.toUtf8() + "\"}");
        return vault;
    }

    VaultRuntime& prepared(const QString& vault) {
        VaultRuntime& runtime = manager.runtime(vault);
        configure(runtime.daemonProcess());
        return runtime;
    }

    static qint32 pidOf(const DaemonProcess& process) { return process.mode().pid; }

    VaultManager manager;
};

} // namespace

TEST_F(VaultRuntimeTest, OnePathOneRuntimeAndThePathIsTakenAsGiven) {
    VaultRuntime& first = manager.runtime("/srv/b");
    EXPECT_EQ(&manager.runtime("/srv/b"), &first);
    VaultRuntime& slashed = manager.runtime("/srv/b/");
    EXPECT_NE(&slashed, &first);
    manager.runtime("/srv/a");
    EXPECT_EQ(manager.openVaults(), (QStringList{"/srv/a", "/srv/b", "/srv/b/"}));

    // Two runtimes, one cache folder; each reads its own vault's files, never the primary's.
    EXPECT_EQ(first.database().indexPath(), slashed.database().indexPath());
    EXPECT_EQ(first.database().indexPath(),
              VaultPaths::vaultCacheFolder("/srv/b") + "/registry_index.sqlite");
    EXPECT_EQ(first.config().filePath(), "/srv/b/.mnemora/config.json");
    EXPECT_FALSE(first.started());
}

TEST_F(VaultRuntimeTest, AReopenedWindowFindsItsVaultStartedAndItsDaemonUntouched) {
    const QString vault = makeVault("Books");
    prepared(vault);

    VaultWindowModel window(manager, vault);
    EXPECT_EQ(window.statusText(), "Opening vault…");
    EXPECT_EQ(window.windowTag(), "tallo.window.vault:" + vault);
    test::runTask(window.appear(10s));
    ASSERT_TRUE(window.started());
    EXPECT_EQ(window.statusText(), "");
    VaultRuntime& runtime = *window.runtime();
    ASSERT_EQ(runtime.daemonProcess().mode().word(), "spawnedChild");
    const qint32 pid = pidOf(runtime.daemonProcess());
    EXPECT_TRUE(runtime.daemonIsRunning());
    EXPECT_TRUE(QFile::exists(VaultPaths::vaultCacheFolder(vault) + "/daemon.port"));
    // The daemon's log is the vault's own.
    EXPECT_TRUE(QFile::exists(VaultPaths::daemonLogFile(VaultPaths::cacheKey(vault))));

    VaultWindowModel reopened(manager, vault);
    test::runTask(reopened.appear(10s));
    EXPECT_EQ(reopened.runtime(), &runtime);
    EXPECT_EQ(pidOf(runtime.daemonProcess()), pid);
}

TEST_F(VaultRuntimeTest, ReviveRestartsOnlyADeadDaemon) {
    const QString vault = makeVault("Shop");
    VaultRuntime& runtime = prepared(vault);
    test::runTask(runtime.start());
    const qint32 pid = pidOf(runtime.daemonProcess());
    ASSERT_NE(pid, 0);

    test::StdoutCapture output;
    test::runTask(runtime.reviveIfNeeded());
    EXPECT_EQ(pidOf(runtime.daemonProcess()), pid);
    EXPECT_FALSE(output.text().contains("restarting the vault"));

    test::runTask(runtime.daemonProcess().stop());
    ASSERT_FALSE(runtime.daemonIsRunning());
    test::runTask(runtime.reviveIfNeeded());
    EXPECT_TRUE(output.text().contains(
        "[VaultRuntime] Shop: no daemon (mode: notStarted) — restarting the vault\n"))
        << output.text().toStdString();
    EXPECT_TRUE(runtime.started());
    EXPECT_TRUE(runtime.daemonIsRunning());
    EXPECT_NE(pidOf(runtime.daemonProcess()), pid);
}

TEST_F(VaultRuntimeTest, ShutdownStopsSpawnedDaemonsAndLeavesAdoptedOnes) {
    const QString spawnedVault = makeVault("Spawned");
    const QString adoptedVault = makeVault("Adopted");
    // A daemon an earlier run left behind for the second vault.
    QProcess* leftover = launchExisting(
        inAppBinary,
        {{"MN_CONFIG_DIR", adoptedVault + "/.mnemora"}, {"MNEMORA_BUNDLE_ID", "ai.mnemora"}},
        false);
    ASSERT_TRUE(test::waitUntil([&] {
        return QFile::exists(VaultPaths::vaultCacheFolder(adoptedVault) + "/daemon.port");
    }));

    VaultRuntime& spawned = prepared(spawnedVault);
    VaultRuntime& adopted = prepared(adoptedVault);
    test::runTask(spawned.start());
    test::runTask(adopted.start());
    ASSERT_EQ(spawned.daemonProcess().mode().word(), "spawnedChild");
    ASSERT_EQ(adopted.daemonProcess().mode().word(), "adopted");
    const qint32 spawnedPid = pidOf(spawned.daemonProcess());

    manager.shutdownAll();
    EXPECT_FALSE(spawned.daemonProcess().childRunning());
    EXPECT_NE(::kill(spawnedPid, 0), 0);
    EXPECT_EQ(leftover->state(), QProcess::Running);
}

TEST_F(VaultRuntimeTest, AVaultWindowAloneOpensThePrimaryWindowAfterItsGrace) {
    VaultWindowModel::resetMainAppearedForTesting();
    const QString vault = makeVault("Alone");
    prepared(vault);
    VaultWindowModel window(manager, vault);
    test::runTask(window.appear(20ms));
    AppStateStore& state = manager.runtime(vault).appState();
    ASSERT_TRUE(test::waitUntil([&] { return state.pendingOpenWindow().has_value(); }));
    EXPECT_EQ(state.pendingOpenWindow(), (OpenWindowRequest{"main", std::nullopt}));

    state.setPendingOpenWindow(std::nullopt);
    VaultWindowModel::markMainAppeared();
    VaultWindowModel again(manager, vault);
    test::runTask(again.appear(20ms));
    runFor(100ms);
    EXPECT_FALSE(state.pendingOpenWindow().has_value());
    EXPECT_EQ(VaultWindowModel::primaryWindowTag(), "tallo.window.primary");
}

TEST_F(VaultRuntimeTest, RestartingTheBridgeForgetsTheEngineStateAndShutdownDropsIt) {
    const QString vault = makeVault("Family Books");
    VaultRuntime& runtime = manager.runtime(vault);
    test::runTask(runtime.startBridge());
    SyncedDocsBridgeService* first = runtime.syncedDocsBridge();
    ASSERT_NE(first, nullptr);
    // Without a record store set up nothing is written for the phone.
    EXPECT_EQ(runtime.services().questionsMirror(), nullptr);
    EXPECT_EQ(runtime.services().closeStatusMirror(), nullptr);
    const QString scope = first->zoneScope();
    EXPECT_TRUE(scope.startsWith("Family-Books-")) << scope.toStdString();
    EXPECT_EQ(test::TestEnvironment::readFile(vault + "/.mnemora/sync-zone"), scope.toUtf8());

    UserDefaults defaults;
    const QString key = "syncedDocs.engineState.v1." + scope;
    defaults.setData(key, "{}");
    EXPECT_FALSE(manager.restartBridge("/no/such/vault"));
    ASSERT_TRUE(manager.restartBridge(vault));
    EXPECT_FALSE(UserDefaults().dataValue(key).has_value());
    ASSERT_TRUE(test::waitUntil([&] { return runtime.syncedDocsBridge() != nullptr; }));
    EXPECT_EQ(runtime.syncedDocsBridge()->zoneScope(), scope);

    manager.shutdownAll();
    EXPECT_EQ(runtime.syncedDocsBridge(), nullptr);
}

// A vault opened for the first time has no zone yet: its bridge makes one, and its mirrors
// start behind the bridge on that same launch.
TEST_F(VaultRuntimeTest, ANewVaultMirrorsFromItsFirstLaunchAndARestartRenewsTheMirrors) {
    UserDefaults().setString(RecordStoreSettings::urlKey, "http://127.0.0.1:9/books");
    const QString vault = makeVault("Books");
    VaultRuntime& runtime = prepared(vault);
    test::runTask(runtime.start());

    ASSERT_NE(runtime.syncedDocsBridge(), nullptr);
    EXPECT_EQ(test::TestEnvironment::readFile(vault + "/.mnemora/sync-zone"),
              runtime.syncedDocsBridge()->zoneScope().toUtf8());
    ASSERT_NE(runtime.services().questionsMirror(), nullptr);
    EXPECT_EQ(runtime.services().questionsMirror()->notesRoot(), vault + "/Notes");
    CloseStatusMirrorService* mirror = runtime.services().closeStatusMirror();
    ASSERT_NE(mirror, nullptr);
    EXPECT_TRUE(mirror->isRunning());
    EXPECT_EQ(mirror->notesRoot(), vault + "/Notes");
    const auto startedLines = [] {
        SyncLog::flush();
        return test::TestEnvironment::readFile(SyncLog::defaultFilePath())
            .count(" [Books] [CloseStatusMirror] started\n");
    };
    EXPECT_EQ(startedLines(), 1);

    ASSERT_TRUE(manager.restartBridge(vault));
    ASSERT_TRUE(test::waitUntil([&] { return startedLines() == 2; }));
    EXPECT_NE(runtime.syncedDocsBridge(), nullptr);
    EXPECT_NE(runtime.services().questionsMirror(), nullptr);

    manager.shutdownAll();
    EXPECT_EQ(runtime.services().closeStatusMirror(), nullptr);
    EXPECT_EQ(runtime.services().questionsMirror(), nullptr);
}

TEST_F(VaultRuntimeTest, ASyncedVaultMirrorsItsScopesQuestionsUntilShutdown) {
    UserDefaults().setString(RecordStoreSettings::urlKey, "http://127.0.0.1:9/mnemora");
    const QString vault = makeVault("Synced");
    test::TestEnvironment::writeFile(vault + "/.mnemora/sync-zone", "s1\n");
    VaultRuntime& runtime = prepared(vault);
    test::RegistryIndex index(runtime.database().indexPath());
    for (const char* identity : {"me", "partner"}) {
        index.entity({{"entity_type", "question"},
                      {"slug", QString("q-") + identity},
                      {"name", QString("Asked of ") + identity},
                      {"identity_id", identity}});
    }
    runtime.setMirrorScope(IdentityScope::specific("me"));

    test::runTask(runtime.start());
    QuestionsDocMirrorService* mirror = runtime.services().questionsMirror();
    ASSERT_NE(mirror, nullptr);
    EXPECT_EQ(mirror->registryRoot(), vault + "/Registry");
    // The fake daemon writes the document where the mirror reads it.
    const QString inbox = vault + "/Notes/questions/inbox.md";
    ASSERT_TRUE(test::waitUntil([&] { return QFile::exists(inbox); }));
    EXPECT_EQ(test::TestEnvironment::readFile(inbox), "? open q-me - - - - - - :: Asked of me");

    manager.shutdownAll();
    EXPECT_EQ(runtime.services().questionsMirror(), nullptr);
}
