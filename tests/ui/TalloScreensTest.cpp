#include <gtest/gtest.h>

#include <QClipboard>
#include <QDate>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMimeData>
#include <QQuickWindow>
#include <QUrlQuery>

#include "app/AppStateStore.h"
#include "app/UserDefaults.h"
#include "cloud/RecordStoreSettings.h"
#include "periodclose/PeriodCloseStore.h"
#include "periodclose/QuotaWatcher.h"
#include "runtime/MnemoraApp.h"
#include "support/EventLoop.h"
#include "support/QtPrinters.h"
#include "support/TestEnvironment.h"
#include "ui/CloseRunModel.h"
#include "ui/CloseSessionsModel.h"
#include "ui/LetterModel.h"
#include "ui/TalloShellModel.h"
#include "ui/UiFixture.h"
#include "ui/WindowShell.h"

using namespace mnemora;
using namespace mnemora::test;

namespace {

QStringList column(const QVariantList& rows, const char* key) {
    QStringList values;
    for (const QVariant& row : rows) {
        values << row.toMap().value(QLatin1String(key)).toString();
    }
    return values;
}

// Tallo's window over the Acme books, on the surface of each screen in turn, in German: the
// amounts and days must come out in the user's locale, not in the C locale of the files.
class TalloScreens : public ::testing::Test {
protected:
    void SetUp() override {
        QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
        fixture = std::make_unique<UiFixture>(Brand::tallo, true);
        fixture->start();
        fixture->show(SidebarItem::home);
        shell = qobject_cast<TalloShellModel*>(fixture->shell().screenModel(SidebarItem::home));
        ASSERT_TRUE(shell);
        ASSERT_TRUE(waitUntil([this] { return shell->close().hasRun(); }));
        ASSERT_TRUE(waitUntil([this] { return shell->sessions().known(); }));
        ASSERT_TRUE(waitUntil([this] { return !shell->attention().isEmpty(); }));
    }

    void TearDown() override {
        fixture.reset();
        QLocale::setDefault(QLocale::c());
    }

    // Goes to a period through the window's store, as automation does.
    void step(const char* direction, const QString& period) {
        fixture->app().appState().setPendingPeriodStep(QString::fromLatin1(direction));
        ASSERT_TRUE(waitUntil([this, period] {
            return shell->period() == period && shell->store().run() &&
                   shell->store().run()->period == period;
        }));
    }

    QJsonObject lastBody(const QByteArray& path) const {
        for (auto it = fixture->daemon().requests().crbegin();
             it != fixture->daemon().requests().crend(); ++it) {
            if (it->path == path) {
                return QJsonDocument::fromJson(it->body).object();
            }
        }
        return {};
    }

    std::unique_ptr<UiFixture> fixture;
    TalloShellModel* shell = nullptr;
};

} // namespace

TEST_F(TalloScreens, EachSurfaceOfAMonthInProgressShowsTheRunWithoutAWarning) {
    WarningLog warnings;
    for (const QVariant& surface : shell->surfaces()) {
        shell->setSurface(surface.toMap().value("word").toString());
        ASSERT_FALSE(fixture->grab().isNull());
    }
    EXPECT_EQ(warnings.lines(), QStringList());

    EXPECT_EQ(shell->books(),
              (QVariantList{QVariantMap{{"slug", "acme"}, {"name", "Acme Bakery Ltd"}}}));
    EXPECT_EQ(shell->period(), "2026-10");
    EXPECT_EQ(fixture->app().appState().shownPeriod(), std::optional<QString>("2026-10"));
    const QVariantMap stepper = shell->stepper();
    EXPECT_EQ(stepper.value("label"), "Oktober 2026");
    EXPECT_EQ(stepper.value("accessibleName"), "Period: Oktober 2026");
    EXPECT_EQ(stepper.value("back"), "2026-09");
    EXPECT_EQ(stepper.value("forward"), "");
    EXPECT_EQ(stepper.value("backHelp"), "Go back a period");
    EXPECT_EQ(stepper.value("forwardHelp"), "Nothing after this yet");

    const CloseRunModel& close = shell->close();
    EXPECT_EQ(close.phaseLabel(), "Matching documents");
    EXPECT_EQ(column(close.phases(), "state"),
              (QStringList{"done", "done", "current", "next", "next", "next", "next"}));
    EXPECT_EQ(column(close.steps(), "stateText"),
              (QStringList{"Done", "Working on it", "Not started"}));
    EXPECT_EQ(close.livenessText(), "Matching the card lines against the receipts in your mail");
    EXPECT_TRUE(close.working()); // its session is alive
    EXPECT_FALSE(close.stopped());
    // A session waits at its usage limit: nothing for the user to do.
    EXPECT_EQ(shell->attention(),
              (QVariantMap{{"title", "Paused — waiting for AI capacity"},
                           {"detail", "Nothing for you to do — it resumes by itself."},
                           {"icon", "‖"},
                           {"needsYou", false},
                           {"period", ""}}));
    EXPECT_EQ(close.deliverableCount(), "1 of 3 in hand");
    EXPECT_EQ(column(close.deliverables(), "statusText"),
              (QStringList{"In hand", "Still to gather", "Still to gather"}));
    // The invoice document backs the Metro line and does not show twice.
    EXPECT_EQ(column(close.ledger(), "name"),
              (QStringList{"Metro Cash & Carry", "Stadtwerke", "Café Lindner", "Office Depot"}));
    EXPECT_EQ(column(close.ledger(), "date"),
              (QStringList{"03.10.26", "07.10.26", "12.10.26", "15.10.26"}));
    EXPECT_EQ(column(close.ledger(), "amount"),
              (QStringList{"-412,80\u00a0€", "-96,40\u00a0€", "1.234,50\u00a0€", "-23,99\u00a0€"}));
    EXPECT_EQ(column(close.ledger(), "evidence"),
              (QStringList{"Receipt: metro.pdf", "A photo in your library", "No document yet",
                           "No document yet"}));
    EXPECT_EQ(close.totals(), QStringList{"701,31\u00a0€"});
    EXPECT_EQ(close.ledgerSummary(), "4 lines · total 701,31\u00a0€ · 2 with no document yet");
    EXPECT_EQ(column(close.unbacked(), "name"), (QStringList{"Café Lindner", "Office Depot"}));
    // Undated first, then by day; a candidate counts in no total.
    EXPECT_EQ(column(close.candidates(), "name"), (QStringList{"Amazon", "Bauhaus"}));
    EXPECT_EQ(column(close.candidates(), "date"), (QStringList{"No date", "20.10.26"}));
    EXPECT_EQ(column(close.candidates(), "source"), (QStringList{"your mail", "your photos"}));
    EXPECT_EQ(
        column(shell->surfaces(), "label"),
        (QStringList{"Close", "Ledger", "Review (2)", "Letter", "Questions (2)", "Sessions"}));
    EXPECT_FALSE(close.finished());
    EXPECT_EQ(close.doneSentence(), "");

    const LetterModel& letter = shell->letter();
    EXPECT_EQ(letter.proseKind(), "filling");
    EXPECT_EQ(letter.to(), "maria@ledgerhouse.example");
    EXPECT_EQ(letter.subject(), "Acme Bakery — October 2026");
    EXPECT_EQ(letter.notes(), "Still matching the card lines; the letter is half written.");
    EXPECT_EQ(letter.paragraphs(),
              (QStringList{"<p>Dear Maria,</p>",
                           "<p>Here are October's books for <strong>Acme Bakery Ltd</strong>, "
                           "with a receipt behind every line I could match.</p>"}));
    EXPECT_EQ(letter.paragraphsAfter(), QStringList{"<p>Many thanks,<br>Jonas</p>"});
    EXPECT_EQ(letter.ghostLines(), 3);
    EXPECT_FALSE(letter.canSend());
    EXPECT_EQ(letter.sendRefusal(), "The letter is still being written.");
    EXPECT_EQ(
        column(letter.attachments(), "name"),
        (QStringList{"01-metro.pdf", "02-stadtwerke.jpg", "Card statement", "Supplier invoices"}));
    EXPECT_EQ(column(letter.attachments(), "provenance"),
              (QStringList{"from Metro portal", "your photos", "still looking", "still looking"}));
    EXPECT_EQ(column(letter.tally(), "label"),
              (QStringList{"Supplier portals", "Your photos", "Still looking"}));
    EXPECT_EQ(column(letter.tally(), "count"), (QStringList{"1", "1", "2"}));
    EXPECT_EQ(letter.instruction(), "Drag the 2 files onto the message");

    const CloseSessionsModel& sessions = shell->sessions();
    EXPECT_TRUE(sessions.closeRunning());
    EXPECT_EQ(column(sessions.sessions(), "title").first(), "Bookkeeping close");
    EXPECT_EQ(column(sessions.sessions(), "label").first(), "period-…0800");
    EXPECT_EQ(column(sessions.sessions(), "limit").last(), "Usage limit reached");
    EXPECT_EQ(sessions.startText(), "Start closing Oktober 2026");
}

TEST_F(TalloScreens, AFinishedMonthEndsInItsFactsAndALetterReadyToCopyAndMail) {
    WarningLog warnings;
    shell->setSurface("letter");
    step("back", "2026-09");
    EXPECT_EQ(fixture->app().appState().pendingPeriodStep(), std::nullopt);
    EXPECT_EQ(fixture->app().appState().shownPeriod(), std::optional<QString>("2026-09"));
    EXPECT_EQ(shell->stepper().value("forward"), "2026-10");
    EXPECT_EQ(shell->stepper().value("back"), "2026-08");

    const CloseRunModel& close = shell->close();
    EXPECT_TRUE(close.finished());
    EXPECT_EQ(close.phaseLabel(), "Closed");
    EXPECT_EQ(close.doneSentence(), "September 2026's done. Everything has a document behind it.");
    EXPECT_EQ(close.detailSentences(), QStringList{"1 thing I put forward was dropped"});
    EXPECT_EQ(close.factsLine(), "Took 6 days · 3 transactions, 1 backed by your photos");

    LetterModel& letter = shell->letter();
    ASSERT_EQ(letter.proseKind(), "written");
    ASSERT_TRUE(letter.canSend());
    // On screen as on the clipboard: a list, not dashes in a line.
    ASSERT_EQ(letter.paragraphs().size(), 5);
    EXPECT_TRUE(letter.paragraphs()[2].startsWith("<ul><li>3 supplier invoices from the Metro "
                                                  "portal</li><li>the card statement"));
    EXPECT_EQ(column(letter.tally(), "label"),
              (QStringList{"Your bank", "Your photos", "Your card", "Supplier portals"}));
    EXPECT_EQ(letter.instruction(), "Drag the 4 files onto the message");

    letter.copy();
    const QMimeData* copied = QGuiApplication::clipboard()->mimeData();
    ASSERT_TRUE(copied);
    const QString plain =
        "Dear Maria,\n\nHere are September's books for Acme Bakery Ltd. Every line has a document "
        "behind it, and the\nbank statement is attached as a PDF from the bank's portal.\n\n"
        "• 3 supplier invoices from the Metro portal\n• the card statement, card-2026-09.pdf\n"
        "• 1 receipt from the photos\n\nThe full ledger is also at "
        "https://books.example/acme/2026-09.\n\nMany thanks,\nJonas";
    EXPECT_EQ(copied->text(), plain);
    const QString html = copied->html();
    EXPECT_TRUE(html.contains("<strong>Acme Bakery Ltd</strong>")) << html.toStdString();
    EXPECT_TRUE(html.contains("<em>the bank's portal</em>")) << html.toStdString();
    EXPECT_TRUE(html.contains("<ul><li>3 supplier invoices")) << html.toStdString();
    EXPECT_TRUE(html.contains(
        "<a href=\"https://books.example/acme/2026-09\">https://books.example/acme/2026-09</a>."))
        << html.toStdString();
    for (const char* mark : {"**", "`", "- ", "*the", "_"}) {
        EXPECT_FALSE(copied->text().contains(mark)) << mark;
        EXPECT_FALSE(html.contains(mark)) << mark;
    }

    UrlCatcher desktop({"mailto", "file"});
    letter.openInMail();
    letter.revealAttachments();
    ASSERT_EQ(desktop.urls.size(), 2);
    const QUrl mail = desktop.urls[0];
    EXPECT_EQ(mail.scheme(), "mailto");
    EXPECT_EQ(mail.path(), "maria@ledgerhouse.example");
    const QUrlQuery query(mail);
    EXPECT_EQ(query.queryItemValue("subject", QUrl::FullyDecoded), "Acme Bakery — September 2026");
    EXPECT_EQ(query.queryItemValue("body", QUrl::FullyDecoded), plain);
    EXPECT_EQ(desktop.urls[1],
              QUrl::fromLocalFile(fixture->periodFolder("2026-09") + "/attachments-to-send"));

    EXPECT_EQ(column(letter.correspondence(), "kind"),
              (QStringList{"the letter went out", "their reply", "your note"}));
    EXPECT_EQ(column(letter.correspondence(), "preview")[1],
              "Thanks Jonas — all clear. One question: is the Bauhaus receipt business or "
              "private?");
    letter.addNote("  Paid the Bauhaus invoice in cash. ");
    ASSERT_TRUE(waitUntil([&] { return letter.correspondence().size() == 4; }));
    EXPECT_EQ(column(letter.correspondence(), "text").last(), "Paid the Bauhaus invoice in cash.");
    EXPECT_EQ(lastBody("/period-close/run/correspondence"),
              (QJsonObject{{"period", "2026-09"},
                           {"books", "acme"},
                           {"kind", "note"},
                           {"text", "Paid the Bauhaus invoice in cash."}}));
    EXPECT_EQ(letter.message(), "Note saved.");
    EXPECT_EQ(warnings.lines(), QStringList());
}

TEST_F(TalloScreens, ADraftMarkedNotReadyRefusesEveryWayOfSendingIt) {
    step("back", "2026-09");
    LetterModel& letter = shell->letter();
    TestEnvironment::writeFile(fixture->periodFolder("2026-09") + "/accountant-email-draft.md",
                               "Dear Maria,\n\nThe September books, every line backed.\n\n"
                               "<!-- Not ready to send: the card total is off by 3 euros -->\n");
    letter.reload();
    QGuiApplication::clipboard()->setText("what the user had copied");
    UrlCatcher desktop({"mailto"});

    letter.copy();
    letter.openInMail();

    EXPECT_TRUE(letter.notReady());
    EXPECT_FALSE(letter.canSend());
    EXPECT_EQ(letter.errorText(),
              "The run marked this letter NOT READY TO SEND. It can be copied or opened in your "
              "mail once the run takes that mark away.");
    EXPECT_EQ(QGuiApplication::clipboard()->text(), "what the user had copied");
    EXPECT_TRUE(desktop.urls.isEmpty());
}

TEST_F(TalloScreens, ActionsPostToTheDaemonsCloseEndpoints) {
    WarningLog warnings;
    struct Case {
        const char* name;
        std::function<void()> act;
        QByteArray path;
        QJsonObject body;
    };
    const QString closeSession = "tallo-dreamer-period-close-20261101-0800";
    const Case cases[] = {
        {"accept a candidate",
         [&] { shell->close().accept("c-bauhaus"); },
         "/period-close/material/status",
         {{"period", "2026-10"},
          {"line_key", "c-bauhaus"},
          {"status", "included"},
          {"books", "acme"}}},
        {"leave one out",
         [&] { shell->close().exclude("c-amazon"); },
         "/period-close/material/status",
         {{"period", "2026-10"},
          {"line_key", "c-amazon"},
          {"status", "excluded"},
          {"books", "acme"}}},
        {"resume the run",
         [&] { shell->close().resume(); },
         "/dreamer/trigger",
         {{"cadence", "period-close"}, {"period", "2026-10"}, {"books", "acme"}}},
        {"start a close",
         [&] { shell->sessions().start(); },
         "/dreamer/trigger",
         {{"cadence", "period-close"}, {"period", "2026-10"}, {"books", "acme"}}},
        {"stop a session",
         [&] { shell->sessions().stop(closeSession); },
         "/dreamer/sessions/kill",
         {{"name", closeSession}}},
    };
    for (const Case& c : cases) {
        const int before = fixture->daemon().requestCount(c.path);
        c.act();
        ASSERT_TRUE(waitUntil([&] { return fixture->daemon().requestCount(c.path) > before; }))
            << c.name;
        EXPECT_EQ(lastBody(c.path), c.body) << c.name;
    }
    EXPECT_TRUE(waitUntil([&] {
        return shell->sessions().message() == "Stopped. Nothing it had already found is lost.";
    }));
    EXPECT_EQ(warnings.lines(), QStringList());
}

TEST_F(TalloScreens, ARunCutOffMidWorkWaitsForResume) {
    WarningLog warnings;
    fixture->sessionsLive = false;
    // The screen shows the application's watcher: its next look moves the item, with no reload.
    QCoro::Task<> looking = fixture->app().quotaWatcher().tick();
    ASSERT_TRUE(waitUntil([&] { return shell->attention().value("needsYou").toBool(); }));
    shell->reload();
    ASSERT_TRUE(waitUntil([&] { return shell->close().stopped(); }));

    EXPECT_EQ(shell->close().livenessText(), "It stopped. Nothing it had already found is lost.");
    EXPECT_EQ(shell->attention(),
              (QVariantMap{{"title", "Oktober 2026 — interrupted, press Resume"},
                           {"detail", "It stopped where it was — press Resume to pick it back up."},
                           {"icon", "!"},
                           {"needsYou", true},
                           {"period", "2026-10"}}));
    step("back", "2026-09");
    EXPECT_EQ(shell->close().livenessText(), ""); // a finished close says so itself
    // The cut-off close is October's, whichever period is on screen.
    const int before = fixture->daemon().requestCount("/dreamer/trigger");
    shell->resumeInterrupted();
    ASSERT_TRUE(
        waitUntil([&] { return fixture->daemon().requestCount("/dreamer/trigger") > before; }));
    EXPECT_EQ(lastBody("/dreamer/trigger"),
              (QJsonObject{{"cadence", "period-close"}, {"period", "2026-10"}, {"books", "acme"}}));
    EXPECT_EQ(warnings.lines(), QStringList());
}

TEST_F(TalloScreens, TheWindowStoreChoosesSurfaceAndBooks) {
    AppStateStore& state = fixture->app().appState();
    struct Case {
        QString destination;
        QString surface;
    };
    for (const Case& c : {Case{"letter", "letter"}, Case{"photo-review", "photo-review"},
                          Case{"nowhere", "photo-review"}, Case{"ledger", "ledger"}}) {
        state.setPendingTalloDestination(c.destination);
        EXPECT_EQ(state.pendingTalloDestination(), std::nullopt) << c.destination.toStdString();
        EXPECT_EQ(shell->surface(), c.surface) << c.destination.toStdString();
    }
    EXPECT_EQ(shell->oneLevelDown(),
              (TalloOneLevelDown{"2026-10", "acme", TalloDestination::ledger}));
    shell->setSurface("sessions");
    EXPECT_EQ(shell->oneLevelDown(), std::nullopt);

    // Unknown books leave the books in view; known ones are taken.
    state.setPendingBooksSelection("nobody");
    EXPECT_EQ(state.pendingBooksSelection(), std::nullopt);
    EXPECT_EQ(shell->selectedBooks(), "acme");
    state.setPendingPeriodStep("forward"); // nothing after October: it stays
    EXPECT_EQ(state.pendingPeriodStep(), std::nullopt);
    EXPECT_EQ(shell->period(), "2026-10");
}

TEST(TalloEmptyVault, SaysNothingIsIndexedYetOnEverySurface) {
    WarningLog warnings;
    UiFixture fixture(Brand::tallo, false);
    fixture.start();
    ScreenModel& screen = fixture.show(SidebarItem::home);
    auto* shell = qobject_cast<TalloShellModel*>(&screen);
    ASSERT_TRUE(shell);
    ASSERT_TRUE(waitUntil([&] { return !shell->period().isEmpty(); }));

    EXPECT_FALSE(shell->indexed());
    EXPECT_FALSE(shell->hasRuns());
    EXPECT_EQ(shell->emptyTitle(), "Nothing indexed yet");
    EXPECT_TRUE(findAccessible(fixture.window(), "Nothing indexed yet"));
    EXPECT_EQ(shell->period(), QDate::currentDate().toString("yyyy-MM"));
    EXPECT_FALSE(shell->close().hasRun());
    EXPECT_EQ(shell->close().ledgerSummary(), "No lines yet for this period.");
    EXPECT_FALSE(shell->letter().hasDraft());
    EXPECT_EQ(shell->letter().sendRefusal(), "There is no letter to send yet.");
    EXPECT_TRUE(shell->sessions().sessions().isEmpty());
    for (const QVariant& surface : shell->surfaces()) {
        shell->setSurface(surface.toMap().value("word").toString());
        ASSERT_FALSE(fixture.grab().isNull());
    }
    EXPECT_EQ(warnings.lines(), QStringList());
}

TEST_F(TalloScreens, TheSidebarListsThePlacesOfTheBooks) {
    EXPECT_EQ(fixture->shell().talloShell(), shell);
    QQuickWindow& window = fixture->window();
    for (const auto& [label, surface] : {std::pair{"Letter", "letter"},
                                         {"Sessions", "sessions"},
                                         {"Ledger", "ledger"},
                                         {"Close", "run"}}) {
        click(window, findAccessible(window, QString::fromLatin1(label)));
        EXPECT_EQ(shell->surface(), surface) << label;
    }
}

TEST(TalloPhone, WithARecordStoreTheShellGainsAPhonePlaceWithTheCompanionsAddress) {
    WarningLog warnings;
    UiFixture fixture(Brand::tallo, false);
    const QString url = "http://127.0.0.1:5984/tallo/_design/companion/index.html";
    UserDefaults().setString(RecordStoreSettings::urlKey, "http://127.0.0.1:5984/tallo");
    fixture.start();
    auto* shell = qobject_cast<TalloShellModel*>(&fixture.show(SidebarItem::home));
    ASSERT_TRUE(shell);
    ASSERT_TRUE(waitUntil([&] { return !shell->period().isEmpty(); }));

    EXPECT_EQ(column(shell->surfaces(), "label").last(), "Phone");
    EXPECT_EQ(shell->companion().value("url").toString(), url);
    shell->setSurface("phone");
    EXPECT_EQ(shell->surface(), "phone");
    QAccessibleInterface* address = nullptr;
    ASSERT_TRUE(waitUntil([&] {
        address = findAccessible(fixture.window(), "Phone companion address");
        return address != nullptr;
    }));
    EXPECT_EQ(address->text(QAccessible::Value), url);
    EXPECT_TRUE(findAccessible(fixture.window(), "QR code of the phone companion address"));
    EXPECT_EQ(warnings.lines(), QStringList());

    // Without one there is no such place.
    UserDefaults().setString(RecordStoreSettings::urlKey, "");
    EXPECT_EQ(column(shell->surfaces(), "label").last(), "Sessions");
}
