#include <gtest/gtest.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QQuickWindow>
#include <QTest>

#include "app/AppStateStore.h"
#include "app/VaultPaths.h"
#include "migration/MigrationGate.h"
#include "runtime/MnemoraApp.h"
#include "support/EventLoop.h"
#include "support/QtPrinters.h"
#include "support/TestEnvironment.h"
#include "sync/ConflictsFile.h"
#include "ui/CommandBarModel.h"
#include "ui/ConflictsNotice.h"
#include "ui/DesktopShell.h"
#include "ui/ScreenModel.h"
#include "ui/UiFixture.h"
#include "ui/WindowShell.h"

using namespace mnemora;
using namespace mnemora::test;

TEST(MainWindow, AnsweringOnHomeWritesTheFileAndTheCommandBarChangesTheScreen) {
    WarningLog warnings;
    UiFixture fixture(Brand::mnemora, true);
    fixture.start();
    QQuickWindow& window = fixture.window();
    AppStateStore& state = fixture.app().appState();
    ASSERT_EQ(state.selection(), SidebarItem::home);
    fixture.show(SidebarItem::home);

    // The open question shows on Home with its suggested answers.
    const QString slug = UiFixture::kDocSlug;
    QAccessibleInterface* field = nullptr;
    ASSERT_TRUE(waitUntil([&] { return (field = findAccessible(window, "Answer to " + slug)); }));
    EXPECT_TRUE(findAccessible(window, "Could you find the December bank statement?"));
    EXPECT_TRUE(findAccessible(window, "Answer Ana"));

    click(window, field);
    type(window, "It is in the shoebox");
    QAccessibleInterface* send = findAccessible(window, "Send answer to " + slug);
    ASSERT_TRUE(send);
    click(window, send);

    const QString text = QString::fromUtf8(TestEnvironment::readFile(fixture.questionFile(slug)));
    EXPECT_TRUE(text.contains("\nstatus: answered\n")) << text.toStdString();
    EXPECT_TRUE(text.contains("\nanswer: \"It is in the shoebox\"")) << text.toStdString();
    EXPECT_TRUE(text.contains("\n## Answer (")) << text.toStdString();
    // The index still calls it open; the file says otherwise, so the card goes.
    EXPECT_TRUE(waitUntil([&] { return !findAccessible(window, "Answer to " + slug); }));
    EXPECT_TRUE(findAccessible(window, "Answer to " + UiFixture::kAskedSlug));

    // Ctrl+K, a query, Return: the first command it keeps runs.
    QTest::keyClick(&window, Qt::Key_K, Qt::ControlModifier);
    ASSERT_TRUE(waitUntil([&] { return state.showCommandBar(); }));
    QAccessibleInterface* command = nullptr;
    ASSERT_TRUE(waitUntil([&] { return (command = findAccessible(window, "Command")); }));
    ASSERT_TRUE(waitUntil([&] { return command->state().focused; }));
    type(window, "go to proc");
    EXPECT_EQ(fixture.shell().commandBar().footer(), "1 result");
    EXPECT_TRUE(findAccessible(window, "Go to Processing"));
    QTest::keyClick(&window, Qt::Key_Return);
    EXPECT_EQ(state.selection(), SidebarItem::processing);
    EXPECT_FALSE(state.showCommandBar());
    EXPECT_TRUE(waitUntil([&] { return findAccessible(window, "Recent files"); }));

    // A query handed over by code that is no screen runs the same way and is consumed.
    state.setPendingCommandBarRun(QStringLiteral("timeline"));
    EXPECT_EQ(state.selection(), SidebarItem::timeline);
    EXPECT_EQ(state.pendingCommandBarRun(), std::nullopt);
    state.setPendingCommandBarRun(QStringLiteral("no such command"));
    EXPECT_EQ(state.selection(), SidebarItem::timeline);
    EXPECT_EQ(state.pendingCommandBarRun(), std::nullopt);

    EXPECT_EQ(warnings.lines(), QStringList());
}

TEST(MainWindow, TheDemoOpensInAVaultWindowOfItsOwn) {
    WarningLog warnings;
    UiFixture fixture(Brand::tallo, false);
    fixture.start();
    fixture.show(SidebarItem::home);
    // The demo vault's own daemon, found through that vault's port file; its answer comes on a
    // later turn of the event loop, so the window first shows that it is opening.
    const QString path = fixture.home() + "/Tallo Demo";
    HttpServer demoDaemon(
        [](const HttpServer::Request&) { return HttpServer::json(R"({"pid": 1})"); });
    TestEnvironment::writeFile(VaultPaths::vaultCacheFolder(path) + "/daemon.port",
                               QByteArray::number(demoDaemon.port()));
    QAccessibleInterface* demo = findAccessible(fixture.window(), "Open the demo vault");
    ASSERT_TRUE(demo);
    click(fixture.window(), demo);

    QQuickWindow* window = fixture.desktop().vaultWindow(path);
    ASSERT_TRUE(window);
    EXPECT_EQ(window->title(), "Tallo Demo");
    EXPECT_TRUE(findAccessible(*window, "Opening vault…"));
    EXPECT_TRUE(waitUntil([&] { return window->objectName() == "tallo.window.vault:" + path; }));
    EXPECT_EQ(fixture.window().objectName(), "tallo.window.primary");

    // Its own runtime comes up on its own daemon, and the window shows its own books, nothing
    // indexed yet; the primary window still has no daemon.
    EXPECT_TRUE(waitUntil([&] { return !findAccessible(*window, "Opening vault…"); }));
    EXPECT_TRUE(waitUntil([&] { return findAccessible(*window, "Nothing indexed yet"); }));
    EXPECT_TRUE(waitUntil([&] { return findAccessible(*window, "Daemon running"); }));
    EXPECT_TRUE(findAccessible(fixture.window(), "Tallo isn't running"));
    // Asking again brings back the same window.
    fixture.desktop().openVaultWindow(path);
    EXPECT_EQ(fixture.desktop().vaultWindow(path), window);
    EXPECT_EQ(warnings.lines(), QStringList());
}

TEST(MainWindow, ADueMigrationHoldsTheWindowUnderTheWizardUntilItHasRun) {
    WarningLog warnings;
    UiFixture fixture(Brand::mnemora, true);
    fixture.migrationStatus = R"({"v4_preview":{"needs_migration":true,"old_folders":[
        {"name":"Camera Roll","photo_count":40,"enrichment_score":7}],"recommended_primary_idx":0,
        "identity_id":"me","identity_display_name":"Me"}})";
    fixture.start();
    QQuickWindow& window = fixture.window();
    ASSERT_TRUE(waitUntil([&] { return fixture.app().migrationGate().closed(); }));
    ASSERT_TRUE(waitUntil([&] { return findAccessible(window, "Start migration"); }));
    EXPECT_TRUE(findAccessible(window, "Migration required — complete to continue."));
    EXPECT_TRUE(findAccessible(window, "Quit"));
    QAccessibleInterface* folder = findAccessible(
        window, "Camera Roll (recommended) — 40 photos, 0 voice memos, 0% captioned, 0% "
                "triaged, 0% processed, score 7");
    ASSERT_TRUE(folder);

    click(window, findAccessible(window, "Start migration"));
    ASSERT_TRUE(
        waitUntil([&] { return fixture.daemon().requestCount("/migrations/v4/run") == 1; }));
    EXPECT_EQ(QJsonDocument::fromJson(fixture.daemon().requests().last().body).object(),
              (QJsonObject{{"identity_id", "me"},
                           {"display_name", "Me"},
                           {"primary_folder", "Camera Roll"}}));
    ASSERT_TRUE(waitUntil([&] {
        return findAccessible(window, "Migrating… please leave this window open until finished.");
    }));
    fixture.migrationStatus = "{}";
    fixture.daemon().sendToStreams(
        "data: {\"event\":\"migration-progress\",\"payload\":{\"done\":true}}\n\n");
    ASSERT_TRUE(waitUntil([&] { return findAccessible(window, "Restart indexing"); }));
    EXPECT_TRUE(findAccessible(window, "Backfill cloud identifiers"));
    click(window, findAccessible(window, "Restart indexing"));
    EXPECT_TRUE(waitUntil([&] { return !fixture.app().migrationGate().closed(); }));
    EXPECT_EQ(warnings.lines(), QStringList());
}

TEST(MainWindow, KeptConflictsShowAQuietLineThatOpensThemInTheEditorOnce) {
    WarningLog warnings;
    UiFixture fixture(Brand::mnemora, true);
    fixture.start();
    QQuickWindow& window = fixture.window();
    // The desktop's opener, as a person's desktop has it, noting what it was asked to open.
    const QString bin = fixture.home() + "/bin";
    TestEnvironment::writeFile(bin + "/xdg-open", "#!/bin/sh\nprintf '%s' \"$1\" > \"$0.args\"\n");
    ASSERT_TRUE(QFile::setPermissions(bin + "/xdg-open", QFile::ReadOwner | QFile::ExeOwner));
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", bin.toUtf8() + ':' + path);

    const ConflictsFile conflicts(ConflictsFile::pathIn(fixture.vault()));
    const QDateTime now = QDateTime::currentDateTimeUtc();
    ASSERT_TRUE(conflicts
                    .append({{now, "lists/active/a.md", "the phone", true, "- [ ] oat milk"},
                             {now, "lists/active/a.md", "the phone", false, "- [ ] eggs"}})
                    .ok());
    const QString two = "Kept 2 edits that lost a conflict — review";
    QAccessibleInterface* line = nullptr;
    ASSERT_TRUE(waitUntil([&] { return (line = findAccessible(window, two)); }));
    if (const QString shots = qEnvironmentVariable("MNEMORA_SHOTS"); !shots.isEmpty()) {
        fixture.grab().save(shots + "/conflicts-line.png");
    }

    click(window, line);
    EXPECT_TRUE(waitUntil([&] {
        return TestEnvironment::readFile(bin + "/xdg-open.args") == conflicts.path().toUtf8();
    }));
    EXPECT_TRUE(waitUntil([&] { return !findAccessible(window, two); }));
    EXPECT_EQ(fixture.shell().conflicts().count(), 0);

    // Only what came after the review counts.
    ASSERT_TRUE(
        conflicts.append({{now, "lists/active/a.md", "the phone", true, "- [ ] bread"}}).ok());
    EXPECT_TRUE(waitUntil(
        [&] { return findAccessible(window, "Kept 1 edits that lost a conflict — review"); }));
    qputenv("PATH", path);
    EXPECT_EQ(warnings.lines(), QStringList());
}
