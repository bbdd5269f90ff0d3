#include "BridgeFixture.h"

#include "cloud/BlockRecordMapping.h"

#include "support/QtPrinters.h"

#include "sync/ConflictsFile.h"
#include "sync/RepairLog.h"

namespace mnemora::test {
namespace {

using Lost = ConflictsFile::LostEdit;

// A desk whose watcher reports nothing within the test: every save by hand is one the bridge
// has not read yet when the phone's change comes in.
class ConflictTest : public BridgeFixture {
protected:
    SyncedDocsBridgeService::Timing slowWatcher() const {
        SyncedDocsBridgeService::Timing timing = fastTiming();
        timing.watcherLatency = 1h;
        return timing;
    }
    ConflictsFile conflicts() const {
        return ConflictsFile(ConflictsFile::pathIn(env.root() + QStringLiteral("/vault")));
    }
    // The lost entries without their times, which the clock gives.
    std::vector<Lost> lostEdits() const {
        std::vector<Lost> edits = conflicts().read();
        for (Lost& edit : edits) {
            EXPECT_TRUE(edit.time.isValid());
            edit.time = {};
        }
        return edits;
    }
    QByteArray file(const Desktop& desktop, const QString& docPath = kDoc) const {
        return TestEnvironment::readFile(desktop.filePath(docPath));
    }
};

TEST_F(ConflictTest, AnUnreadHandEditAndAPhoneEditOfAnotherBlockBothSurvive) {
    Desktop& desktop = syncedDesktop(3, slowWatcher());
    TestEnvironment::writeFile(desktop.filePath(kDoc),
                               checklist({"item 1 by hand", "item 2", "item 3"}));
    phoneEdit(QStringLiteral("item 3"), QStringLiteral("item 3 by phone"));

    const QByteArray both = checklist({"item 1 by hand", "item 2", "item 3 by phone"});
    ASSERT_TRUE(waitUntil([&] { return file(desktop) == both; }, 10s))
        << file(desktop).toStdString();
    ASSERT_TRUE(waitUntil(
        [&] {
            return !blockWithText(QStringLiteral("item 1 by hand")).isEmpty() && desktop.idle();
        },
        10s));
    EXPECT_FALSE(blockWithText(QStringLiteral("item 3 by phone")).isEmpty());
    EXPECT_EQ(blocks().size(), 4);
    EXPECT_FALSE(QFile::exists(conflicts().path()));
    EXPECT_EQ(file(desktop), both);
}

TEST_F(ConflictTest, TheSameBlockEditedOnBothSidesKeepsTheDesksTextAndThePhonesInTheConflicts) {
    Desktop& desktop = syncedDesktop(3, slowWatcher());
    const QString name =
        blockWithText(QStringLiteral("item 2")).value(QStringLiteral("recordName")).toString();
    const QByteArray desk = checklist({"item 1", "item 2 at the desk", "item 3"});
    TestEnvironment::writeFile(desktop.filePath(kDoc), desk);
    phoneEdit(QStringLiteral("item 2"), QStringLiteral("item 2 on the phone"));

    ASSERT_TRUE(waitUntil([&] { return !lostEdits().empty() && desktop.idle(); }, 10s));
    ASSERT_TRUE(waitUntil([&] { return text(blocks().value(name)) == "item 2 at the desk"; }));
    EXPECT_EQ(file(desktop), desk);
    EXPECT_EQ(lostEdits(),
              (std::vector<Lost>{{{}, kDoc, "the phone", true, "- [ ] item 2 on the phone"}}));
    EXPECT_TRUE(desktop.logged(
        QStringLiteral(
            "[SyncedDocsBridgeService] conflict in %1: the phone's version lost, kept in %2: - [ ] "
            "item 2 on the phone")
            .arg(kDoc, conflicts().path())));
    // Kept beside the Notes folder, out of every collection: no record ever holds the file.
    EXPECT_FALSE(conflicts().path().startsWith(desktop.notes));
    for (const QString& zone : {kLists, QStringLiteral("SyncedDocs-orientation")}) {
        for (const QJsonObject& record : records(zone)) {
            EXPECT_FALSE(QJsonDocument(record).toJson().contains("conflicts"));
        }
    }
}

TEST_F(ConflictTest, AFileSavedAgainWhileFetchedChangesAreWrittenIsNotWrittenOver) {
    Desktop& desktop = syncedDesktop(3, slowWatcher());
    const QString other = QStringLiteral("lists/active/Hardware.md");
    TestEnvironment::writeFile(desktop.filePath(other), checklist(items(2, "tool")));
    desktop.bridge->handleFileChange(desktop.filePath(other));
    ASSERT_TRUE(waitUntil([&] { return blocks().size() == 7 && desktop.idle(); }, 10s));

    // The phone changes both files in one fetch; while the first is written, a person saves the
    // second.
    RecordSyncEngine& engine = *desktop.bridge->syncEngine();
    engine.stop();
    phoneEdit(QStringLiteral("item 1"), QStringLiteral("item 1 by phone"));
    phoneEdit(QStringLiteral("tool 1"), QStringLiteral("tool 1 by phone"));
    const QByteArray hand = checklist({"tool 1", "tool 2 by hand"});
    int writes = 0;
    daemon.setHandler([&](const HttpServer::Request& request) {
        const QJsonObject body = QJsonDocument::fromJson(request.body).object();
        const QString path = body.value(QStringLiteral("path")).toString();
        if (++writes == 1) {
            TestEnvironment::writeFile(desktop.filePath(path == kDoc ? other : kDoc),
                                       path == kDoc ? hand : checklist({"item 1 by hand"}));
        }
        TestEnvironment::writeFile(desktop.filePath(path),
                                   body.value(QStringLiteral("content")).toString().toUtf8());
        return HttpServer::json(R"({"ok":true})");
    });
    EXPECT_EQ(runTask(engine.fetchChanges()), std::nullopt);
    ASSERT_TRUE(waitUntil([&] { return writes == 2; }, 10s));

    // Whichever came second kept the person's save and took the phone's change on top of it.
    const bool groceriesFirst = file(desktop, other).contains("tool 2 by hand");
    if (groceriesFirst) {
        EXPECT_EQ(file(desktop, other), checklist({"tool 1 by phone", "tool 2 by hand"}));
        EXPECT_EQ(file(desktop), checklist({"item 1 by phone", "item 2", "item 3"}));
    } else {
        // The person's save replaced the line the phone changed: theirs stands, the phone's is
        // kept.
        EXPECT_EQ(file(desktop), checklist({"item 1 by hand"}));
        EXPECT_EQ(file(desktop, other), checklist({"tool 1 by phone", "tool 2"}));
    }
    EXPECT_TRUE(desktop.logged(
        QStringLiteral("[SyncedDocsBridgeService] %1 changed while a fetched change was on its "
                       "way; applying it again")
            .arg(groceriesFirst ? other : kDoc)));
    engine.start();
    ASSERT_TRUE(waitUntil([&] { return desktop.idle(); }, 10s));
    if (groceriesFirst) {
        EXPECT_FALSE(blockWithText(QStringLiteral("tool 2 by hand")).isEmpty());
    } else {
        EXPECT_FALSE(blockWithText(QStringLiteral("item 1 by hand")).isEmpty());
    }
}

TEST_F(ConflictTest, APhoneChangeOverASaveStillOnItsWayKeepsTheDesksVersionAside) {
    Desktop& desktop = syncedDesktop(3, slowWatcher());
    RecordSyncEngine& engine = *desktop.bridge->syncEngine();
    engine.stop(); // the desk's save stays pending
    phoneEdit(QStringLiteral("item 1"), QStringLiteral("item 1 on the phone"));
    TestEnvironment::writeFile(desktop.filePath(kDoc),
                               checklist({"item 1 at the desk", "item 2", "item 3"}));
    desktop.bridge->handleFileChange(desktop.filePath(kDoc));

    EXPECT_EQ(runTask(engine.fetchChanges()), std::nullopt);
    const QByteArray phone = checklist({"item 1 on the phone", "item 2", "item 3"});
    ASSERT_TRUE(waitUntil([&] { return file(desktop) == phone; }, 10s))
        << file(desktop).toStdString();
    EXPECT_EQ(lostEdits(),
              (std::vector<Lost>{{{}, kDoc, "the phone", false, "- [ ] item 1 at the desk"}}));
}

TEST_F(ConflictTest, ARejectedSaveKeepsTheServersVersionAside) {
    Desktop& desktop = syncedDesktop(3);
    RecordSyncEngine& engine = *desktop.bridge->syncEngine();
    engine.stop(); // both sides write before either hears of the other
    phoneEdit(QStringLiteral("item 3"), QStringLiteral("item 3 on the phone"));
    const QByteArray desk = checklist({"item 1", "item 2", "item 3 at the desk"});
    TestEnvironment::writeFile(desktop.filePath(kDoc), desk);
    desktop.bridge->handleFileChange(desktop.filePath(kDoc));
    for (int round = 0; round < 3 && !desktop.idle(); ++round) {
        EXPECT_EQ(runTask(engine.sendChanges()), std::nullopt);
    }
    ASSERT_TRUE(desktop.idle());
    EXPECT_FALSE(blockWithText(QStringLiteral("item 3 at the desk")).isEmpty());
    EXPECT_EQ(lostEdits(),
              (std::vector<Lost>{{{}, kDoc, "the phone", true, "- [ ] item 3 on the phone"}}));
}

TEST_F(ConflictTest, AHostileRecordIsRepairedOnTheWayInAndTheRepairsAreLogged) {
    Desktop& desktop = syncedDesktop(2);
    QJsonObject doc = blockWithText(QStringLiteral("item 2"));
    const QString name = doc.value(QStringLiteral("recordName")).toString();
    QJsonObject fields = doc.value(QStringLiteral("fields")).toObject();
    fields.insert(QStringLiteral("text"), QStringLiteral("two\nlines"));
    fields.insert(QStringLiteral("position"), QStringLiteral("i0"));
    fields.insert(QStringLiteral("level"), 9);
    doc.insert(QStringLiteral("fields"), fields);
    phoneSave(doc);

    QJsonObject rest = blockWithText(QString());
    QJsonObject restFields = rest.value(QStringLiteral("fields")).toObject();
    restFields.insert(QStringLiteral("kind"), QStringLiteral("spaceship"));
    rest.insert(QStringLiteral("fields"), restFields);
    phoneSave(rest);

    ASSERT_TRUE(waitUntil([&] { return file(desktop).contains("two lines"); }, 10s))
        << file(desktop).toStdString();
    const QString prefix = QStringLiteral("[SyncedDocsBridgeService] REPAIRED %1 of ") + name +
                           QStringLiteral(" in ") + kDoc + QStringLiteral(": ");
    const QString restName = rest.value(QStringLiteral("recordName")).toString();
    QStringList expected{
        prefix.arg("text") + "a line break became a blank, since a block is one line of the file",
        prefix.arg("level") + "level 9 on a block of kind \"item\", which has none; now 0",
        prefix.arg("position") + "\"i0\" ends in \"0\"; now \"i\"",
        QStringLiteral("[SyncedDocsBridgeService] REPAIRED kind of %1 in %2: \"spaceship\" is no "
                       "block kind; record skipped")
            .arg(restName, kDoc),
    };
    expected.sort();
    QStringList repaired;
    EXPECT_TRUE(waitUntil([&] {
        repaired = desktop.logLines().filter(QStringLiteral("REPAIRED"));
        repaired.sort();
        return repaired == expected;
    })) << repaired.join('\n').toStdString();
    EXPECT_EQ(file(desktop), "- [ ] item 1\n- [ ] two lines\n");
}

TEST_F(ConflictTest, NoRecordChoosesWhereOnThisMachineAFileIsWritten) {
    Desktop& desktop = syncedDesktop(1);
    const QJsonObject model = blockWithText(QStringLiteral("item 1"));
    // A copy of a block record under another name, for another document, with another text.
    const auto copy = [&](const QString& name, const QString& docPath, const QString& text) {
        QJsonObject doc = model;
        doc.remove(QStringLiteral("_rev"));
        doc.insert(QStringLiteral("_id"), kLists + QLatin1Char('/') + name);
        doc.insert(QStringLiteral("recordName"), name);
        QJsonObject fields = doc.value(QStringLiteral("fields")).toObject();
        fields.insert(QStringLiteral("documentRef"), QStringLiteral("doc-") + docPath);
        fields.insert(QStringLiteral("text"), text);
        // Right after item 1, before the empty rest of the file.
        fields.insert(QStringLiteral("position"),
                      fields.value(QStringLiteral("position")).toString() + QLatin1Char('i'));
        doc.insert(QStringLiteral("fields"), fields);
        return doc;
    };
    const QString escape = QStringLiteral("lists/active/../../../escape.md");
    phoneSave(copy(QStringLiteral("B-escape"), escape, QStringLiteral("out of the vault")));
    phoneSave(copy(QStringLiteral("B-absolute"), env.root() + QStringLiteral("/absolute.md"),
                   QStringLiteral("anywhere at all")));
    const QString longName(BlockRecordMapping::kMaxRecordNameBytes + 1, QLatin1Char('n'));
    phoneSave(copy(longName, kDoc, QStringLiteral("a name too long")));
    // A voice answer whose record name would lead its clip out of the voice answers folder.
    QJsonObject voice = copy(QStringLiteral("../../outside"), kDoc, QStringLiteral("spoken"));
    voice.insert(
        QStringLiteral("_attachments"),
        QJsonObject{{QStringLiteral("audioAsset"),
                     QJsonObject{{QStringLiteral("content_type"), QStringLiteral("audio/mp4")},
                                 {QStringLiteral("data"),
                                  QString::fromLatin1(QByteArray("clip").toBase64())}}}});
    phoneSave(voice);

    ASSERT_TRUE(waitUntil([&] { return file(desktop) == "- [ ] item 1\n- [ ] spoken\n"; }, 10s))
        << file(desktop).toStdString();
    const QString clips = env.root() + QStringLiteral("/voice-answers");
    EXPECT_TRUE(waitUntil([&] { return QFile::exists(clips + QStringLiteral("/outside.caf")); }));
    EXPECT_FALSE(QFile::exists(clips + QStringLiteral("/../../outside.caf")));
    EXPECT_FALSE(QFile::exists(env.root() + QStringLiteral("/vault/escape.md")));
    EXPECT_FALSE(QFile::exists(env.root() + QStringLiteral("/absolute.md")));
    const QString bridge = QStringLiteral("[SyncedDocsBridgeService] ");
    for (const QString& path : {escape, env.root() + QStringLiteral("/absolute.md")}) {
        EXPECT_TRUE(desktop.logged(bridge + QStringLiteral("ignored incoming records of \"%1\": "
                                                           "not a file in the Notes folder")
                                               .arg(path)))
            << path.toStdString();
    }
    EXPECT_TRUE(desktop.logged(
        bridge + QStringLiteral("REPAIRED name of %1… in %2: is 256 bytes, over the 255 a record "
                                "name may have; record skipped")
                     .arg(longName.left(80), kDoc)))
        << desktop.logLines().join('\n').toStdString();
}

// The file on its own: atomic appends, every lost text read back, the review count.
TEST(ConflictsFile, KeepsEveryLostTextAndCountsWhatIsNotReviewed) {
    TestEnvironment env;
    const ConflictsFile conflicts(ConflictsFile::pathIn(env.root() + QStringLiteral("/vault")));
    const QDateTime t0 = QDateTime::fromSecsSinceEpoch(1'800'000'000, Qt::UTC);
    const std::vector<Lost> first = {
        {t0, "lists/active/a.md", "the phone", true, "- [x] oat milk ✓"},
        {t0.addSecs(1), "orientation/board.md", "the phone", false, "## Heading · with ## marks"},
    };
    const std::vector<Lost> second = {
        {t0.addSecs(2), "lists/active/a.md", "the phone", true, ""},
        {t0.addSecs(3), "lists/active/b c.md", "the phone", false, "    indented `code` line"},
    };
    EXPECT_EQ(conflicts.unreviewed(), 0);
    ASSERT_TRUE(conflicts.append(first).ok());
    EXPECT_EQ(conflicts.read(), first);
    EXPECT_EQ(conflicts.unreviewed(), 2);
    ASSERT_TRUE(conflicts.markReviewed().ok());
    EXPECT_EQ(conflicts.unreviewed(), 0);

    // A reader that opened the file before an append still reads the whole old file.
    QFile before(conflicts.path());
    ASSERT_TRUE(before.open(QIODevice::ReadOnly));
    const QByteArray old = TestEnvironment::readFile(conflicts.path());
    ASSERT_TRUE(conflicts.append(second).ok());
    EXPECT_EQ(before.readAll(), old);
    EXPECT_EQ(conflicts.read(), (std::vector<Lost>{first[0], first[1], second[0], second[1]}));
    EXPECT_EQ(conflicts.unreviewed(), 2);
    EXPECT_TRUE(
        TestEnvironment::readFile(conflicts.path()).startsWith("# Edits that lost a conflict\n"));
    EXPECT_TRUE(TestEnvironment::readFile(conflicts.path())
                    .endsWith("\n## 2027-01-15T08:00:03Z · lists/active/b c.md\n\nLost at this "
                              "desktop, replaced by the phone:\n\n        indented `code` line\n"));
}

} // namespace
} // namespace mnemora::test
