#include "BridgeFixture.h"

#include "support/QtPrinters.h"

#include "app/UserDefaults.h"
#include "cloud/InMemoryRecordStore.h"

namespace mnemora::test {
namespace {

QMap<QString, QString> revisions(const QMap<QString, QJsonObject>& docs) {
    QMap<QString, QString> revs;
    for (auto it = docs.begin(); it != docs.end(); ++it) {
        revs.insert(it.key(), it->value(QStringLiteral("_rev")).toString());
    }
    return revs;
}

using BridgeTest = BridgeFixture;

TEST_F(BridgeTest, ANewFileItsEditsAndItsDeletionReachTheServerAsTheyShould) {
    Desktop& desktop = syncedDesktop(5);
    const QMap<QString, QJsonObject> lists = records(kLists);
    EXPECT_TRUE(lists.contains(QStringLiteral("collection-lists/active")));
    ASSERT_TRUE(lists.contains(QStringLiteral("doc-") + kDoc));
    EXPECT_EQ(lists.value(QStringLiteral("doc-") + kDoc)
                  .value(QStringLiteral("fields"))
                  .toObject()
                  .value(QStringLiteral("title"))
                  .toString(),
              QStringLiteral("Groceries"));
    QStringList texts;
    for (const QJsonObject& doc : blocks()) {
        texts << text(doc);
    }
    texts.sort();
    EXPECT_EQ(texts, QStringList{QString()} + items(5));

    // One line edited in place: one block record changes.
    QMap<QString, QString> before = revisions(blocks());
    QStringList edited = items(5);
    edited[2] = QStringLiteral("item 3 (two)");
    TestEnvironment::writeFile(desktop.filePath(kDoc), checklist(edited));
    ASSERT_TRUE(
        waitUntil([&] { return !blockWithText(edited[2]).isEmpty() && desktop.idle(); }, 10s));
    QMap<QString, QString> after = revisions(blocks());
    ASSERT_EQ(after.keys(), before.keys());
    QStringList changed;
    for (const QString& name : after.keys()) {
        if (after[name] != before[name]) {
            changed << name;
        }
    }
    EXPECT_EQ(changed,
              QStringList{blockWithText(edited[2]).value(QStringLiteral("recordName")).toString()});
    EXPECT_TRUE(desktop.logged(QStringLiteral("[SyncedDocsBridgeService] applyFileChange %1: "
                                              "ops=[\"edit\": 1, \"keep\": 5] -> 1 pending changes")
                                   .arg(kDoc)));

    // Saved the way most editors save: a temporary file renamed over the old one.
    edited[4] = QStringLiteral("item 5 (renamed in)");
    const QString temporary = desktop.notes + QStringLiteral("/lists/active/.Groceries.md.tmp");
    TestEnvironment::writeFile(temporary, checklist(edited));
    ASSERT_TRUE(QFile::remove(desktop.filePath(kDoc)) &&
                QFile::rename(temporary, desktop.filePath(kDoc)));
    ASSERT_TRUE(
        waitUntil([&] { return !blockWithText(edited[4]).isEmpty() && desktop.idle(); }, 10s));

    // A deleted file leaves the server as it was.
    before = revisions(blocks());
    ASSERT_TRUE(QFile::remove(desktop.filePath(kDoc)));
    const QString marker = QStringLiteral("lists/active/Marker.md");
    TestEnvironment::writeFile(desktop.filePath(marker), "- [ ] marker\n");
    ASSERT_TRUE(waitUntil(
        [&] { return !blockWithText(QStringLiteral("marker")).isEmpty() && desktop.idle(); }, 10s));
    QMap<QString, QJsonObject> left = blocks();
    left.removeIf([](const auto& entry) {
        return entry.value()
                   .value(QStringLiteral("fields"))
                   .toObject()
                   .value(QStringLiteral("documentRef")) ==
               QLatin1String("doc-lists/active/Marker.md");
    });
    EXPECT_EQ(revisions(left), before);
}

TEST_F(BridgeTest, APhoneEditReachesTheFileAndComesBackAsKeepOnly) {
    Desktop& desktop = syncedDesktop(3);
    QJsonObject doc = blockWithText(QStringLiteral("item 2"));
    ASSERT_FALSE(doc.isEmpty());
    QJsonObject fields = doc.value(QStringLiteral("fields")).toObject();
    fields.insert(QStringLiteral("text"), QStringLiteral("oat milk"));
    doc.insert(QStringLiteral("fields"), fields);
    doc.insert(
        QStringLiteral("_attachments"),
        QJsonObject{{QStringLiteral("audioAsset"),
                     QJsonObject{{QStringLiteral("content_type"), QStringLiteral("audio/mp4")},
                                 {QStringLiteral("data"),
                                  QString::fromLatin1(QByteArray("clip bytes").toBase64())}}}});
    phoneSave(doc);

    const QByteArray expected = "- [ ] item 1\n- [ ] oat milk\n- [ ] item 3\n";
    ASSERT_TRUE(waitUntil(
        [&] { return TestEnvironment::readFile(desktop.filePath(kDoc)) == expected; }, 10s))
        << TestEnvironment::readFile(desktop.filePath(kDoc)).toStdString();
    EXPECT_TRUE(waitUntil([&] {
        return desktop.logged(QStringLiteral("[SyncedDocsBridgeService] applyFileChange %1: "
                                             "ops=[\"keep\": 4] -> 0 pending changes")
                                  .arg(kDoc));
    }));
    EXPECT_TRUE(desktop.idle());
    const QString clipName =
        doc.value(QStringLiteral("recordName")).toString() + QStringLiteral(".caf");
    const QString clip = env.root() + QStringLiteral("/voice-answers/") + clipName;
    ASSERT_TRUE(waitUntil([&] { return QFile::exists(clip); }));
    EXPECT_EQ(TestEnvironment::readFile(clip), "clip bytes");
    EXPECT_TRUE(desktop.logged(
        QStringLiteral("[SyncedDocsBridgeService] saved incoming voice answer ") + clipName));
}

TEST_F(BridgeTest, TheDesktopWinsAConflictAndAVanishedRecordIsMadeAgainUnderItsName) {
    Desktop& desktop = syncedDesktop(3);
    RecordSyncEngine& engine = *desktop.bridge->syncEngine();
    engine.stop(); // both sides write before either hears of the other

    QJsonObject first = blockWithText(QStringLiteral("item 1"));
    QJsonObject second = blockWithText(QStringLiteral("item 2"));
    QJsonObject fields = first.value(QStringLiteral("fields")).toObject();
    fields.insert(QStringLiteral("text"), QStringLiteral("phone text"));
    fields.insert(QStringLiteral("checked"), true);
    first.insert(QStringLiteral("fields"), fields);
    phoneSave(first);
    phoneDelete(second);

    const QByteArray desk = "- [ ] item 1 at the desk\n- [ ] item 2 at the desk\n- [ ] item 3\n";
    TestEnvironment::writeFile(desktop.filePath(kDoc), desk);
    ASSERT_TRUE(waitUntil([&] { return engine.state().pendingRecordZoneChanges().size() == 3; }))
        << engine.state().pendingRecordZoneChanges().size();
    for (int round = 0; round < 3 && !desktop.idle(); ++round) {
        EXPECT_EQ(runTask(engine.sendChanges()), std::nullopt);
    }
    ASSERT_TRUE(desktop.idle());

    const QString firstName = first.value(QStringLiteral("recordName")).toString();
    const QString secondName = second.value(QStringLiteral("recordName")).toString();
    const QMap<QString, QJsonObject> now = blocks();
    EXPECT_EQ(text(now.value(firstName)), QStringLiteral("item 1 at the desk"));
    EXPECT_FALSE(now.value(firstName)
                     .value(QStringLiteral("fields"))
                     .toObject()
                     .value(QStringLiteral("checked"))
                     .toBool());
    EXPECT_EQ(text(now.value(secondName)), QStringLiteral("item 2 at the desk"));
    EXPECT_TRUE(desktop.logged(QStringLiteral("[SyncedDocsBridgeService] %1 is gone server-side — "
                                              "re-creating it")
                                   .arg(secondName)));
    EXPECT_EQ(TestEnvironment::readFile(desktop.filePath(kDoc)), desk);

    // Hearing its own writes back changes nothing in the file.
    engine.start();
    EXPECT_EQ(runTask(engine.fetchChanges()), std::nullopt);
    EXPECT_EQ(TestEnvironment::readFile(desktop.filePath(kDoc)), desk);
}

TEST_F(BridgeTest, LostStateRebuildsTheServerFromTheSidecarAndARestoredStateQueuesNoBlock) {
    Desktop& first = syncedDesktop(4);
    first.bridge->stop();
    desktops.clear();

    // The state is gone and the server holds nothing.
    UserDefaults().remove(SyncedDocsBridgeService::engineStateKey({}));
    const QUrl emptyServer = server()->freshDatabaseUrl();
    Desktop& rebuilt = addDesktop(QStringLiteral("vault"), {}, emptyServer);
    rebuilt.bridge->start(rebuilt.notes);
    EXPECT_TRUE(rebuilt.logged(
        QStringLiteral("[SyncedDocsBridgeService] engine state: fresh (no saved state)")));
    EXPECT_TRUE(rebuilt.logged(QStringLiteral(
        "[SyncedDocsBridgeService] engine state was lost — re-queued 5 block(s) across 1 "
        "document(s) so the server is rebuilt from the sidecar")));
    EXPECT_TRUE(
        waitUntil([&] { return records(kLists, emptyServer).size() == 7 && rebuilt.idle(); }, 15s));
    rebuilt.bridge->stop();
    desktops.clear();

    Desktop& restored = addDesktop(QStringLiteral("vault"), {}, emptyServer);
    restored.bridge->start(restored.notes);
    EXPECT_TRUE(
        restored.logged(QStringLiteral("[SyncedDocsBridgeService] engine state: restored")));
    EXPECT_FALSE(restored.logLines().join('\n').contains(QStringLiteral("re-queued")));
    for (const PendingRecordZoneChange& change :
         restored.bridge->syncEngine()->state().pendingRecordZoneChanges()) {
        EXPECT_TRUE(change.recordID.recordName.startsWith(QStringLiteral("collection-")))
            << change.recordID.recordName.toStdString();
    }
}

TEST_F(BridgeTest, TwoVaultsSyncIntoZonesOfTheirOwn) {
    Desktop& primary = addDesktop(QStringLiteral("vault"));
    Desktop& family = addDesktop(QStringLiteral("family"), QStringLiteral("family-00af"));
    primary.bridge->start(primary.notes);
    family.bridge->start(family.notes);
    TestEnvironment::writeFile(primary.filePath(kDoc), "- [ ] mine\n");
    TestEnvironment::writeFile(family.filePath(kDoc), "- [ ] theirs\n");
    const QString familyZone = QStringLiteral("SyncedDocs-family-00af-lists-active");
    ASSERT_TRUE(
        waitUntil([&] { return blocks().size() == 2 && blocks(familyZone).size() == 2; }, 15s));
    EXPECT_FALSE(blockWithText(QStringLiteral("mine")).isEmpty());
    EXPECT_FALSE(blockWithText(QStringLiteral("theirs"), familyZone).isEmpty());
    // Each hears the other's records on the shared feed and leaves them alone.
    ASSERT_TRUE(waitUntil([&] { return primary.idle() && family.idle(); }));
    EXPECT_EQ(runTask(primary.bridge->syncEngine()->fetchChanges()), std::nullopt);
    EXPECT_EQ(runTask(family.bridge->syncEngine()->fetchChanges()), std::nullopt);
    EXPECT_EQ(TestEnvironment::readFile(primary.filePath(kDoc)), "- [ ] mine\n");
    EXPECT_EQ(TestEnvironment::readFile(family.filePath(kDoc)), "- [ ] theirs\n");
    EXPECT_EQ(daemon.requestCount("/docs/write"), 0);
}

// The watchdog's rule at the times that matter.
TEST(SendWatchdog, ForcesASendOnlyAfterThirtyQuietSecondsAndAtMostOnceInTwenty) {
    using Bridge = SyncedDocsBridgeService;
    const QDateTime t0 = QDateTime::fromSecsSinceEpoch(1'800'000'000, Qt::UTC);
    const auto at = [&](int seconds) { return t0.addSecs(seconds); };
    struct Step {
        int second;
        qsizetype pending;
        std::optional<int> attempt; // a will-send event at this second, before the turn
        bool forced;
    };
    const std::vector<Step> steps = {
        {0, 0, {}, false},   {0, 3, {}, false},   {29, 3, {}, false},  {30, 3, {}, true},
        {31, 3, {}, false},  {49, 3, {}, false},  {50, 3, {}, true},   {55, 3, 52, false},
        {120, 3, {}, false}, {121, 0, {}, false}, {122, 2, {}, false}, {151, 2, {}, false},
        {152, 2, {}, true},
    };
    Bridge::WatchdogState state;
    for (const Step& step : steps) {
        if (step.attempt) {
            state.lastSendAttempt = at(*step.attempt);
        }
        EXPECT_EQ(Bridge::watchdogStep(state, step.pending, at(step.second), 30s, 20s), step.forced)
            << "at " << step.second << "s";
    }
    EXPECT_EQ(state.pendingSince, at(122));
    EXPECT_EQ(state.lastForcedSend, at(152));
}

// The same through a bridge, by an injected clock, with automatic sends held back.
TEST(SendWatchdog, ABridgeForcesTheSendItsEngineNeverAttempted) {
    TestEnvironment env;
    core::SqliteSidecarStore sidecar;
    core::SyncedDocEngine engine(sidecar);
    QDateTime now = QDateTime::fromSecsSinceEpoch(1'800'000'000, Qt::UTC);
    const QString logPath = env.root() + QStringLiteral("/sync.log");
    auto store = std::make_shared<InMemoryRecordStore>();
    const auto makeBridge = [&] {
        auto bridge = std::make_unique<SyncedDocsBridgeService>(
            engine, nullptr, store, core::SyncedDocCollectionConfig::launchDefaults(), QString(),
            SyncLog({}, logPath));
        SyncedDocsBridgeService::Timing timing;
        timing.sendDelay = 1h;
        timing.fetchInterval = 1h;
        timing.now = [&now] { return now; };
        bridge->setTiming(timing);
        bridge->start(env.root() + QStringLiteral("/Notes"));
        return bridge;
    };
    const auto forcedLines = [&] {
        SyncLog::flush();
        return QString::fromUtf8(TestEnvironment::readFile(logPath))
            .count(QStringLiteral("— forcing sendChanges()"));
    };

    auto attempted = makeBridge();
    attempted->runWatchdog();
    now = now.addSecs(10);
    // A send that is attempted but fails keeps the changes pending.
    store->database()->setReachable(false);
    EXPECT_NE(runTask(attempted->syncEngine()->sendChanges()), std::nullopt);
    now = now.addSecs(40);
    attempted->runWatchdog();
    EXPECT_EQ(forcedLines(), 0);
    attempted.reset();

    store->database()->setReachable(true);
    UserDefaults().remove(SyncedDocsBridgeService::engineStateKey({}));
    auto stalled = makeBridge();
    const qsizetype pending = stalled->syncEngine()->state().pendingRecordZoneChanges().size() +
                              stalled->syncEngine()->state().pendingDatabaseChanges().size();
    stalled->runWatchdog();
    now = now.addSecs(29);
    stalled->runWatchdog();
    EXPECT_EQ(forcedLines(), 0);
    now = now.addSecs(1);
    stalled->runWatchdog();
    EXPECT_EQ(forcedLines(), 1);
    SyncLog::flush();
    EXPECT_TRUE(
        QString::fromUtf8(TestEnvironment::readFile(logPath))
            .contains(QStringLiteral("[SyncedDocsBridgeService] %1 change(s) pending and no send "
                                     "attempted 30s — forcing sendChanges()")
                          .arg(pending)));
    EXPECT_TRUE(waitUntil(
        [&] { return stalled->syncEngine()->state().pendingDatabaseChanges().isEmpty(); }));
    EXPECT_EQ(runTask(store->fetchAllZones()).value.size(), 4);
}

} // namespace
} // namespace mnemora::test
