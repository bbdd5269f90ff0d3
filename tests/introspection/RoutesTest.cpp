#include <gtest/gtest.h>

#include <QAccessibleInterface>
#include <QImage>
#include <QJsonArray>
#include <QQuickWindow>

#include "app/AppStateStore.h"
#include "app/ConfigService.h"
#include "app/VaultPaths.h"
#include "daemon/DaemonProcess.h"
#include "introspection/IntrospectionActions.h"
#include "introspection/IntrospectionServer.h"
#include "introspection/ServerClient.h"
#include "runtime/MnemoraApp.h"
#include "support/EventLoop.h"
#include "support/QtPrinters.h"
#include "support/TestEnvironment.h"
#include "sync/ConflictsFile.h"
#include "ui/DesktopShell.h"
#include "ui/UiFixture.h"

using namespace mnemora;
using namespace mnemora::test;

namespace {

class Routes : public ::testing::Test {
protected:
    void SetUp() override {
        fixture.start();
        ASSERT_TRUE(server().isRunning()) << server().lastError().toStdString();
        port = *server().port();
    }

    IntrospectionServer& server() { return fixture.app().introspection(); }
    AppStateStore& state() { return fixture.app().appState(); }
    QJsonObject stateOf(const QByteArray& query = {}) { return get(port, "/state" + query).json(); }
    // The middle of a labelled element, in the window's own coordinates.
    QPoint middleOf(const QString& label) {
        QAccessibleInterface* element = findAccessible(fixture.window(), label);
        return element ? fixture.window().mapFromGlobal(element->rect().center()) : QPoint();
    }

    UiFixture fixture{Brand::mnemora, true};
    int port = 0;
};

QStringList labels(const QJsonObject& tree) {
    QStringList found;
    for (const QJsonValue& element : tree.value("elements").toArray()) {
        found << element.toObject().value("label").toString();
    }
    return found;
}

} // namespace

TEST_F(Routes, StateOfThePrimaryAndOfAVaultWindow) {
    const QJsonObject primary = stateOf();
    EXPECT_EQ(primary.value("selection"), "home");
    EXPECT_EQ(primary.value("answered_for"), "primary");
    EXPECT_EQ(primary.value("bundle"), "ai.mnemora");
    EXPECT_EQ(primary.value("open_question_count"), 2);
    EXPECT_EQ(primary.value("introspection_port"), port);
    EXPECT_EQ(primary.value("kept_conflicts"), 0);
    ASSERT_TRUE(ConflictsFile(ConflictsFile::pathIn(fixture.vault()))
                    .append({{QDateTime::currentDateTimeUtc(), "lists/active/a.md", "the phone",
                              true, "- [ ] oat milk"}})
                    .ok());
    EXPECT_EQ(stateOf().value("kept_conflicts"), 1);
    EXPECT_EQ(primary.value("daemon").toObject().value("pending_items"), 12);
    EXPECT_EQ(primary.value("windows").toObject(),
              (QJsonObject{{"command_bar_visible", false}, {"overlay_active", false}}));
    EXPECT_EQ(get(port, "/health").json(),
              (QJsonObject{{"app", "Mnemora"}, {"bundle", "ai.mnemora"}}));

    const QString path = fixture.home() + "/Second";
    HttpServer daemon([](const HttpServer::Request&) { return HttpServer::json(R"({"pid": 1})"); });
    TestEnvironment::writeFile(VaultPaths::vaultCacheFolder(path) + "/daemon.port",
                               QByteArray::number(daemon.port()));
    fixture.desktop().openVaultWindow(path);
    ASSERT_TRUE(waitUntil([&] { return server().vaultWindows().contains(path); }));
    EXPECT_EQ(stateOf().value("vault_windows"), QJsonArray{path});
    const QJsonObject vault = stateOf("?vault=" + QUrl::toPercentEncoding(path));
    EXPECT_EQ(vault.value("answered_for"), path);
    EXPECT_EQ(vault.value("open_question_count"), 0);
    EXPECT_EQ(vault.value("kept_conflicts"), 0);
    EXPECT_EQ(stateOf("?window=Second").value("answered_for"), path);

    const ServerReply closed = get(port, "/state?vault=%2Fclosed");
    EXPECT_EQ(closed.status, 404);
    EXPECT_EQ(closed.json(), (QJsonObject{{"error", "no window matches that target"},
                                          {"asked_for", "/closed"},
                                          {"open_vaults", QJsonArray{path}},
                                          {"open_windows", QJsonArray{"Mnemora", "Second"}}}));
    // Closing the window takes it out of the registry.
    fixture.desktop().vaultWindow(path)->close();
    EXPECT_TRUE(waitUntil([&] { return !server().vaultWindows().contains(path); }));
}

TEST_F(Routes, ScreenshotAccessibilityAndAClickThatChangesTheSelection) {
    const ServerReply shot = get(port, "/screenshot");
    ASSERT_EQ(shot.status, 200);
    EXPECT_TRUE(shot.raw.contains("\r\nContent-Type: image/png\r\n"));
    const QImage image = QImage::fromData(shot.body, "PNG");
    EXPECT_EQ(image.size(), fixture.window().size() * fixture.window().devicePixelRatio());
    EXPECT_EQ(get(port, "/screenshot?windowTitle=nothing").status, 404);

    const QJsonObject tree = get(port, "/ax?budget=abc").json();
    EXPECT_FALSE(tree.value("truncated").toBool());
    EXPECT_EQ(tree.value("walked"), QJsonArray{"Mnemora"});
    const QStringList found = labels(tree);
    for (const char* item : {"Home", "Life Book", "Timeline", "Processing", "Transcribe"}) {
        EXPECT_TRUE(found.contains(item)) << item;
    }
    EXPECT_EQ(tree.value("visited").toInt(), found.size());
    const QJsonObject first = tree.value("elements").toArray().first().toObject();
    EXPECT_EQ(QStringList(first.keys()),
              (QStringList{"enabled", "label", "pressable", "role", "value", "visible", "window"}));
    const QJsonObject cut = get(port, "/ax/all?budget=5").json();
    EXPECT_EQ(cut.value("visited"), 5);
    EXPECT_TRUE(cut.value("truncated").toBool());
    EXPECT_EQ(cut.value("note"), "walk stopped at 5 visited nodes — narrow with ?window=<title "
                                 "substring> or raise ?budget= (max 50k). A sheet is walked in "
                                 "place of its parent, so ?window=<parent title> reaches a modal.");

    const QPoint timeline = middleOf("Timeline");
    ASSERT_FALSE(timeline.isNull());
    EXPECT_EQ(action(port, {{"action", "click"}, {"x", timeline.x()}, {"y", timeline.y()}}).status,
              200);
    EXPECT_TRUE(waitUntil([&] { return stateOf().value("selection") == "timeline"; }));
    EXPECT_EQ(action(port, {{"action", "ax-press"}, {"label", "processing"}}).json(),
              (QJsonObject{{"ok", true}, {"label", "Processing"}, {"role", "listItem"}}));
    EXPECT_TRUE(waitUntil([&] { return stateOf().value("selection") == "processing"; }));
}

TEST_F(Routes, TypingGoesIntoTheClickedFieldAndKeysReachTheWindow) {
    fixture.show(SidebarItem::home);
    const QString field = "Answer to " + UiFixture::kAskedSlug;
    EXPECT_EQ(action(port, {{"action", "type-text"}, {"text", "x"}}).json().value("error"),
              "no focused text field (click one first)");
    const QPoint where = middleOf(field);
    ASSERT_FALSE(where.isNull());
    action(port, {{"action", "click"}, {"x", where.x()}, {"y", where.y()}});
    EXPECT_EQ(action(port, {{"action", "type-text"}, {"text", "Ana, née Sousa"}}).status, 200);
    EXPECT_EQ(findAccessible(fixture.window(), field)->text(QAccessible::Value), "Ana, née Sousa");
    EXPECT_EQ(action(port, {{"action", "ax-set-value"}, {"label", field}, {"value", "Jo"}}).status,
              200);
    EXPECT_EQ(findAccessible(fixture.window(), field)->text(QAccessible::Value), "Jo");
    // Ctrl+K opens the command bar, as a user's keys would.
    EXPECT_EQ(
        action(port, {{"action", "key"}, {"key", "k"}, {"modifiers", QJsonArray{"cmd"}}}).status,
        200);
    EXPECT_TRUE(waitUntil([&] { return state().showCommandBar(); }));
    EXPECT_EQ(action(port, {{"action", "key"}, {"key", "escape"}}).status, 200);
}

TEST_F(Routes, EveryActionWordAnswersWithItsOwnKeysOrWords) {
    struct Case {
        QJsonObject body;
        int status;
        QString error; // empty for a success
    };
    const QString asked = UiFixture::kAskedSlug;
    const QString doc = UiFixture::kDocSlug;
    const Case cases[] = {
        {{{"action", "navigate"}, {"target", "nowhere"}}, 400, "unknown target"},
        {{{"action", "navigate"}, {"target", "people"}}, 200, {}},
        {{{"action", "navigate"}, {"target", "people"}, {"vault", "/closed"}},
         404,
         "no window matches that target"},
        {{{"action", "toggle-command-bar"}}, 200, {}},
        {{{"action", "toggle-onboarding"}}, 200, {}},
        {{{"action", "dismiss-overlay"}}, 200, {}},
        {{{"action", "open-settings"}}, 200, {}},
        {{{"action", "command-bar-run"}}, 400, "expect {query}"},
        {{{"action", "command-bar-run"}, {"query", "timeline"}}, 200, {}},
        {{{"action", "show-surface"}, {"target", "cellar"}}, 400, "expect {target}"},
        {{{"action", "show-surface"}, {"target", "letter"}}, 200, {}},
        {{{"action", "step-period"}, {"direction", "sideways"}},
         400,
         "direction must be back or forward"},
        {{{"action", "step-period"}, {"direction", "back"}}, 200, {}},
        {{{"action", "select-books"}}, 400, "expect {books: <slug>}"},
        {{{"action", "select-books"}, {"books", "acme"}}, 200, {}},
        {{{"action", "refresh-questions"}}, 200, {}},
        {{{"action", "answer-question"}, {"slug", "nope"}, {"text", "x"}},
         400,
         "slug not found in openQuestions; provide file_path"},
        {{{"action", "answer-question"}, {"slug", doc}}, 400, "expect {slug?, file_path?, text}"},
        {{{"action", "answer-question"}, {"slug", doc}, {"text", "In the shoebox"}}, 200, {}},
        {{{"action", "dismiss-question"}}, 400, "expect {slug?, file_path?, reason?}"},
        {{{"action", "dismiss-question"}, {"slug", asked}, {"reason", "not me"}}, 200, {}},
        {{{"action", "update-config"}}, 400, "expect {updates: {...}}"},
        {{{"action", "update-config"}, {"updates", QJsonObject{{"whisper_language", "pt"}}}},
         200,
         {}},
        {{{"action", "reveal-photo"}}, 400, "expect {uuid}"},
        {{{"action", "reveal-photo"}, {"uuid", "A1"}}, 500, "photoWriter not attached"},
        {{{"action", "start-processing"}}, 200, {}},
        {{{"action", "stop-processing"}}, 200, {}},
        {{{"action", "restart-daemon"}}, 500, "daemon is externally managed — cannot restart"},
        {{{"action", "resync-vault"}}, 400, "vault path required"},
        {{{"action", "resync-vault"}, {"vault", "/nowhere"}}, 404, "no open vault at /nowhere"},
        {{{"action", "sync-zones"}}, 400, "expect {command: 'list'|'forget'}"},
        {{{"action", "sync-zones"}, {"command", "forget"}},
         400,
         "expect {command:'forget', scope}"},
        {{{"action", "open-window"}}, 400, "expect {id, value?}"},
        {{{"action", "activate"}}, 200, {}},
        {{{"action", "focus-window"}}, 400, "expect {title} (substring match)"},
        {{{"action", "focus-window"}, {"title", "mnem"}}, 200, {}},
        {{{"action", "close-window"}, {"title", "zzz"}}, 404, "no visible window matching 'zzz'"},
        {{{"action", "window-frame"}, {"title", "Mnemora"}},
         400,
         "expect {title, width, height, x?, y?} — size in points, origin top-left"},
        {{{"action", "window-frame"}, {"title", "Mnemora"}, {"width", 100}, {"height", 700}},
         200,
         {}},
        {{{"action", "appearance"}, {"mode", "sepia"}}, 400, "unknown mode 'sepia'"},
        {{{"action", "ax-press"}},
         400,
         "expect {label, role?, window?} — labels come from GET /ax"},
        {{{"action", "ax-press"}, {"label", "No such thing"}},
         404,
         "no element matching 'No such thing' — check GET /ax"},
        {{{"action", "ax-set-value"}, {"label", "x"}}, 400, "expect {label, value, window?}"},
        {{{"action", "click"}, {"x", 1}},
         400,
         "expect {x, y, window?, right?, double?} (top-left window-local coords)"},
        {{{"action", "click"}, {"x", 1}, {"y", 1}, {"window", "zzz"}}, 404, "no matching window"},
        {{{"action", "type-text"}}, 400, "expect {text}"},
        {{{"action", "key"}, {"key", "hyperspace"}}, 400, "unknown key 'hyperspace'"},
        {{{"action", "scroll"}, {"to", "middle"}},
         400,
         "expect {dy} or {to: top|bottom}, got to='middle'"},
        {{{"action", "onboarding"}}, 400, "expect {command}"},
        {{{"action", "onboarding"}, {"command", "fly"}}, 400, "unknown first-run command"},
        {{{"action", "onboarding"}, {"command", "advance"}}, 200, {}},
        {{{"action", "first-run"}, {"command", "fly"}}, 400, "unknown command 'fly'"},
        {{{"action", "first-run"}, {"command", "speak"}, {"clip", "/no/such.m4a"}},
         400,
         "no such clip: /no/such.m4a"},
        {{{"action", "first-run"}, {"command", "state"}}, 200, {}},
        {{{"action", "drop-voice-model"}}, 200, {}},
        {{{"action", "fly"}}, 400, "unknown action"},
    };
    // The fixture's daemon is one this process did not spawn.
    ASSERT_TRUE(waitUntil([&] { return fixture.app().daemonProcess().port().has_value(); }));
    for (const Case& item : cases) {
        const ServerReply reply = action(port, item.body);
        const QString name = item.body.value("action").toString();
        EXPECT_EQ(reply.status, item.status)
            << name.toStdString() << ": " << reply.body.toStdString();
        if (item.error.isEmpty()) {
            EXPECT_EQ(reply.json().value("ok"), true) << name.toStdString();
        } else {
            EXPECT_EQ(reply.json().value("error").toString(), item.error) << name.toStdString();
        }
    }
    EXPECT_EQ(post(port, "/action", "[]").json().value("error"),
              "invalid body, expect {action: String, ...}");
    EXPECT_EQ(action(port, {{"action", "fly"}}).json().value("valid").toArray().size(),
              IntrospectionActions::words().size());

    // The effects, as the state and the files show them.
    EXPECT_EQ(state().selection(), SidebarItem::timeline);
    EXPECT_TRUE(state().pendingOpenSettings());
    EXPECT_EQ(state().pendingTalloDestination(), "letter");
    EXPECT_EQ(state().pendingPeriodStep(), "back");
    EXPECT_EQ(state().pendingBooksSelection(), "acme");
    EXPECT_EQ(state().pendingOnboardingCommand(), "advance");
    EXPECT_TRUE(
        TestEnvironment::readFile(fixture.questionFile(doc)).contains("\nstatus: answered\n"));
    EXPECT_TRUE(
        TestEnvironment::readFile(fixture.questionFile(asked)).contains("\nstatus: dismissed\n"));
    EXPECT_EQ(fixture.app().config().config().value("whisper_language"), "pt");
    EXPECT_EQ(fixture.window().width(), fixture.window().minimumWidth());
    const QJsonObject toggled = action(port, {{"action", "toggle-onboarding"}}).json();
    EXPECT_EQ(toggled.value("show_onboarding"), false);
}
