#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include "app/AppStateStore.h"
#include "app/ConfigService.h"
#include "app/UserDefaults.h"
#include "daemon/FakeDaemonFixture.h"
#include "platform/TerminalLauncher.h"
#include "setup/AgentAcceptance.h"
#include "setup/FirstRunView.h"
#include "support/EventLoop.h"
#include "support/QtPrinters.h"
#include "voice/AnswerControlModel.h"
#include "voice/FakeRecorder.h"

namespace mnemora {
namespace {

using namespace std::chrono_literals;
using FirstRun::Phase;
using test::HttpServer;
using test::TestEnvironment;
using test::waitUntil;

// A terminal that records the line instead of opening a window.
class RecordingTerminal : public TerminalLauncher {
public:
    QStringList lines;
    QCoro::Task<Result> runCommand(QString line) override {
        lines << line;
        co_return std::nullopt;
    }
};

const QString kAsked = QStringLiteral("2026-03-01T09:30:00Z");
const char* const kAccountantNotes = "## Business\n- Billing entity: **Acme** Oy\n"
                                     "## Accountant\n- Name: Tiklex\n- Email: t@fischer.example\n";

// Tallo's first run over a vault in a temporary home, an in-process daemon whose answers each
// test chooses, and a clock the test moves.
class FirstRunViewTest : public test::FakeDaemonFixture {
protected:
    void SetUp() override {
        FakeDaemonFixture::SetUp();
        vault = env.root() + QStringLiteral("/vault");
        TestEnvironment::writeFile(env.root() + QStringLiteral("/config.json"), "{}");
        config.setConfigPathOverride(env.root() + QStringLiteral("/config.json"));
        config.load();
        server.setHandler([this](const HttpServer::Request& request) { return answer(request); });
        pointAt(server);
        view = std::make_unique<FirstRunView>(
            Brand::tallo,
            FirstRunView::Services{
                &state, &config, &daemon, &terminal, vault, QStringLiteral("me"), {}});
        view->setTimings({5ms, 5ms, 5ms});
        view->setClock([this] { return now; });
    }
    void TearDown() override {
        view.reset();
        AudioRecorder::setFactory({});
        FakeDaemonFixture::TearDown();
    }

    HttpServer::Response answer(const HttpServer::Request& request) {
        const QByteArray path = request.path;
        if (path == "/status") {
            return HttpServer::json(R"({"processing_active": false, "pending_items": 0})");
        }
        if (path == "/prerequisites") {
            return HttpServer::json(toolsInstalled ? R"({"tools": [{"id": "claude", "label":
                "Claude Code CLI", "path": "/c"}, {"id": "tmux", "label": "tmux", "path": "/t"}]})"
                                                   : R"({"tools": [{"id": "claude", "label":
                "Claude Code CLI"}, {"id": "tmux", "label": "tmux", "path": "/t"}]})");
        }
        if (path.startsWith("/verify/")) {
            const bool ok = !failingProofs.contains(path.mid(8));
            return HttpServer::json(ok ? R"({"ok": true, "message": "Fine"})"
                                       : R"({"ok": false, "message": "It did not answer"})");
        }
        if (path == "/dreamer/trigger") {
            return HttpServer::json(launchFails ? "{}" : R"({"ok": true})",
                                    launchFails ? 500 : 200);
        }
        if (path == "/dreamer/sessions") {
            return HttpServer::json(sessionRuns ? R"({"sessions": ["tallo-period-close"]})"
                                                : R"({"sessions": []})");
        }
        if (path == "/transcribe-file") {
            return transcript.isEmpty() ? HttpServer::json(R"({"error": "no speech"})", 500)
                                        : HttpServer::json(R"({"text": ")" + transcript + "\"}");
        }
        if (path.startsWith("/transcriptions/record")) {
            return HttpServer::json(R"({"ok": true, "file_path": "/tmp/clip-1.m4a"})");
        }
        if (path == "/models/whisper/status" || path == "/models/whisper/prefetch") {
            return HttpServer::json(R"({"ok": true, "model": "base", "ready": true})");
        }
        HttpServer::Response stream;
        stream.stream = true;
        stream.contentType = "text/event-stream";
        return stream;
    }

    QString questionFile() const { return FirstRun::questionFilePath(vault, QStringLiteral("me")); }
    QString questionText() const {
        return QString::fromUtf8(TestEnvironment::readFile(questionFile()));
    }
    // Everything but the read-back ready: tools, funding and the consent.
    void settleTheGates() {
        toolsInstalled = true;
        ASSERT_TRUE(config.write({{QStringLiteral("claude_backend"), QJsonValue("anthropic")}}));
        ASSERT_TRUE(
            AgentAcceptance::save(
                vault, AgentAcceptance::accepted(std::nullopt, AgentAcceptanceTrigger::setupCheck(),
                                                 now, QStringLiteral("Tallo"), std::nullopt))
                .ok());
    }

    HttpServer server;
    QString vault;
    ConfigService config;
    AppStateStore state;
    RecordingTerminal terminal;
    QDateTime now = QDateTime::fromString(kAsked, Qt::ISODate);
    std::unique_ptr<FirstRunView> view;
    bool toolsInstalled = false;
    QList<QByteArray> failingProofs;
    bool launchFails = false;
    bool sessionRuns = true;
    QByteArray transcript;
};

TEST_F(FirstRunViewTest, ATypedAnswerGoesThroughEveryGateToTheFirstRun) {
    view->present();
    EXPECT_EQ(view->phase(), Phase::question);
    EXPECT_EQ(questionText(), FirstRun::openForm(kAsked));
    EXPECT_FALSE(view->canSend());
    view->setDraft(QStringLiteral("  An Oy in Helsinki; monthly to Tiklex.  "));
    now = now.addSecs(90);
    view->send();
    EXPECT_EQ(view->phase(), Phase::setup);
    EXPECT_EQ(state.firstRunPhase(), QStringLiteral("setup"));
    EXPECT_EQ(questionText(), FirstRun::answeredForm(
                                  kAsked, QStringLiteral("An Oy in Helsinki; monthly to Tiklex.")));
    EXPECT_EQ(view->answerBlockVariant().value("heading"), QStringLiteral("GOT IT"));

    // The engine is missing, then arrives while the screen watches.
    ASSERT_TRUE(waitUntil([&] { return !view->missingTools().isEmpty(); }));
    EXPECT_EQ(view->missingTools(), QStringList{QStringLiteral("Claude Code CLI")});
    EXPECT_EQ(view->caption(), QStringLiteral("Waiting on the engine…"));
    view->openTerminal();
    ASSERT_TRUE(waitUntil([&] { return !terminal.lines.isEmpty(); }));
    EXPECT_EQ(terminal.lines.first(), FirstRun::Text::engineCommand);
    toolsInstalled = true;
    ASSERT_TRUE(waitUntil([&] { return view->engine().completedDuringThisWatch(); }));
    EXPECT_EQ(view->caption(), QStringLiteral("Waiting on you to pick one…"));

    // Funding, then the proofs: the engine's fails once, the browser's asks first.
    failingProofs = {"engine"};
    view->chooseSubscription();
    EXPECT_EQ(config.claudeBackend(), QStringLiteral("anthropic"));
    ASSERT_TRUE(waitUntil([&] { return view->acceptanceShown(); }));
    EXPECT_EQ(view->caption(), QStringLiteral("Checking it all works…"));
    EXPECT_FALSE(view->verify().passed(VerifyService::Proof::engine));
    view->acceptBrowser();
    ASSERT_TRUE(waitUntil([&] { return view->verify().passed(VerifyService::Proof::browser); }));
    EXPECT_EQ(view->phase(), Phase::setup);
    failingProofs.clear();
    view->retryChecks();

    // The gates are through: the read-back launches the agent and waits for its notes.
    ASSERT_TRUE(waitUntil([&] { return view->phase() == Phase::readBack; }));
    ASSERT_TRUE(waitUntil([&] { return server.requestCount("/dreamer/trigger") == 1; }));
    EXPECT_EQ(server.requests().last().body.contains("\"cadence\":\"period-close\""), true);
    EXPECT_EQ(view->waitText(), FirstRun::waitText(FirstRun::ReadBackWait::reading));
    TestEnvironment::writeFile(vault + QStringLiteral("/Notes/bookkeeping/accountant.md"),
                               kAccountantNotes);
    ASSERT_TRUE(waitUntil([&] { return view->readBack().has_value(); }));
    EXPECT_EQ(view->confirmText(), QStringLiteral("That's right — start on Acme Oy"));
    EXPECT_EQ(view->readBackNote(),
              QStringLiteral("I don't know which country you file in yet. I'll ask when I get "
                             "there rather than making you find it now."));

    view->confirm();
    EXPECT_EQ(view->phase(), Phase::working);
    EXPECT_FALSE(view->isPresented());
    EXPECT_TRUE(UserDefaults().boolValue(QString::fromLatin1(UserDefaults::demoOfferPending)));
}

TEST_F(FirstRunViewTest, TheReadBackWaitTurnsSlowStoppedOrFailedAndConfirmStillWorks) {
    settleTheGates();
    view->present();
    view->setDraft(QStringLiteral("An Oy"));
    view->send();
    ASSERT_TRUE(waitUntil([&] { return view->phase() == Phase::readBack; }));
    ASSERT_TRUE(waitUntil([&] { return server.requestCount("/dreamer/sessions") > 0; }));
    now = now.addSecs(119);
    ASSERT_TRUE(waitUntil([&] {
        return view->readBackWait() == FirstRun::ReadBackWait::reading &&
               server.requestCount("/dreamer/sessions") > 2;
    }));
    now = now.addSecs(1);
    ASSERT_TRUE(waitUntil([&] { return view->readBackWait() == FirstRun::ReadBackWait::slow; }));
    sessionRuns = false;
    ASSERT_TRUE(waitUntil([&] { return view->readBackWait() == FirstRun::ReadBackWait::stopped; }));
    EXPECT_FALSE(view->showsCorrectionHint());
    EXPECT_EQ(view->confirmText(), QStringLiteral("Start on your books"));

    // A launch that fails says so at once and keeps saying it.
    launchFails = true;
    view->command(QStringLiteral("restart"));
    view->setDraft(QStringLiteral("An Oy"));
    view->send();
    ASSERT_TRUE(waitUntil([&] { return view->readBackWait() == FirstRun::ReadBackWait::failed; }));
    EXPECT_TRUE(view->showsCorrectionHint());
    view->confirm();
    EXPECT_EQ(view->phase(), Phase::working);
}

TEST_F(FirstRunViewTest, AnUnreadableClipIsHeldUntilTheDaemonReadsIt) {
    settleTheGates();
    test::FakeRecorder* mic = nullptr;
    AudioRecorder::setFactory([&mic] {
        auto made = std::make_unique<test::FakeRecorder>();
        mic = made.get();
        return made;
    });
    AnswerControlModel control;
    control.setDaemon(&daemon);
    control.setClipFolder(env.root() + QStringLiteral("/clips"));
    view->attachAnswer(&control);
    EXPECT_TRUE(view->micGranted());
    view->present();

    QDateTime pressed = QDateTime::currentDateTimeUtc();
    control.holder()->setClock([&pressed] { return pressed; });
    control.holder()->press();
    mic->meterAt(0.5);
    control.holder()->sampleLevel();
    pressed = pressed.addSecs(2);
    control.holder()->release();
    EXPECT_TRUE(waitUntil([&] { return server.requestCount("/models/whisper/prefetch") == 1; }));
    ASSERT_TRUE(waitUntil([&] { return server.openStreamCount() > 0; }));
    server.sendToStreams(
        R"(data: {"event": "asset-status-updated", "payload": {"file_path": "/tmp/clip-1.m4a", "status": "failed"}})"
        "\n\n");
    ASSERT_TRUE(waitUntil([&] { return view->unreadableSeconds().has_value(); }));
    EXPECT_TRUE(view->canSend());

    transcript = "An Oy in Helsinki";
    view->send();
    EXPECT_EQ(view->held()->origin, FirstRun::AnswerOrigin::spoken);
    EXPECT_EQ(view->held()->spokenSeconds, 2);
    ASSERT_TRUE(view->held()->clipPath);
    ASSERT_TRUE(waitUntil([&] { return view->phase() == Phase::readBack; }));
    EXPECT_EQ(view->held()->text, QStringLiteral("An Oy in Helsinki"));
    EXPECT_TRUE(questionText().endsWith(QStringLiteral("## Answer\n\nAn Oy in Helsinki\n")));
}

TEST_F(FirstRunViewTest, AClipThatNeverBecomesWordsAsksAgain) {
    settleTheGates();
    const QString clip = env.root() + QStringLiteral("/clip.m4a");
    TestEnvironment::writeFile(clip, "not audio");
    view->present();
    view->noteClipSaved(clip, 3);
    view->noteUnreadableClip(3);
    view->send();
    EXPECT_EQ(questionText(), FirstRun::openForm(kAsked)); // nothing to write yet
    EXPECT_EQ(view->answerBlockVariant().value("length"), QStringLiteral("0:03"));
    ASSERT_TRUE(waitUntil([&] { return view->phase() == Phase::question; }));
    EXPECT_TRUE(view->reAskAfterUnreadableClip());
    EXPECT_FALSE(view->held());
}

TEST_F(FirstRunViewTest, AnAnswerFromThePhoneMovesTheScreenOn) {
    view->present();
    // Another run's answer is not ours.
    TestEnvironment::writeFile(
        questionFile(),
        FirstRun::answeredForm(QStringLiteral("2025-01-01T00:00:00Z"), QStringLiteral("old"))
            .toUtf8());
    test::runTask(view->checkQuestionFile());
    EXPECT_EQ(view->phase(), Phase::question);
    TestEnvironment::writeFile(
        questionFile(), FirstRun::answeredForm(kAsked, QStringLiteral("From the phone")).toUtf8());
    ASSERT_TRUE(waitUntil([&] { return view->phase() == Phase::setup; }));
    EXPECT_EQ(view->held()->origin, FirstRun::AnswerOrigin::phone);
    EXPECT_EQ(view->answerBlockVariant().value("phoneChip"), QStringLiteral("from your phone"));
}

TEST_F(FirstRunViewTest, AnAnswerGivenBeforeAQuitIsTakenUpAgainAndOnlyARestartAsksAnew) {
    // The last launch took the answer and quit at the gates.
    const QByteArray answered =
        FirstRun::answeredForm(kAsked, QStringLiteral("A bakery in Tampere.")).toUtf8();
    TestEnvironment::writeFile(questionFile(), answered);
    now = now.addDays(1);
    view->present();
    EXPECT_EQ(view->phase(), Phase::setup);
    ASSERT_TRUE(view->held().has_value());
    EXPECT_EQ(view->held()->text, QStringLiteral("A bakery in Tampere."));
    EXPECT_EQ(view->held()->origin, FirstRun::AnswerOrigin::typed);
    EXPECT_EQ(TestEnvironment::readFile(questionFile()), answered);

    view->command(QStringLiteral("restart"));
    EXPECT_EQ(view->phase(), Phase::question);
    EXPECT_FALSE(view->held().has_value());
    EXPECT_EQ(FirstRun::frontmatterValue(QStringLiteral("status"), questionText()),
              QStringLiteral("open"));
}

TEST_F(FirstRunViewTest, AProofThatFoundNoDaemonRunsAgainOnceTheDaemonAnswers) {
    // The application opens its screens while the daemon it started is still coming up.
    QFile::remove(portFile);
    FirstRunView voxlet(Brand::voxlet,
                        {&state, &config, &daemon, &terminal, vault, QStringLiteral("me"), {}});
    voxlet.present();
    const auto voice = [&] { return voxlet.verify().result(VerifyService::Proof::transcribe); };
    ASSERT_TRUE(waitUntil([&] { return voice().has_value(); }));
    EXPECT_FALSE(voice()->ok);
    EXPECT_EQ(voice()->message,
              QStringLiteral("Daemon isn't reachable yet — try again once the indicator turns green"));

    pointAt(server);
    test::runTask(daemon.refreshStatus());
    ASSERT_TRUE(waitUntil([&] { return voice() && voice()->ok; }));
    EXPECT_FALSE(voxlet.verify().foundNoDaemon());
}

TEST_F(FirstRunViewTest, InspectionStatesWriteNothingAndOtherBrandsSeeOnlyTheGates) {
    state.setPendingOnboardingCommand(QStringLiteral("screen-b-fresh"));
    view->present();
    EXPECT_FALSE(QFile::exists(questionFile()));
    EXPECT_TRUE(view->inspecting());
    EXPECT_TRUE(view->pretendFresh());
    EXPECT_EQ(view->phase(), Phase::setup);
    EXPECT_EQ(view->rowsVariant().size(), 4); // the note and three numbered gates
    state.setPendingOnboardingCommand(QStringLiteral("screen-c"));
    EXPECT_EQ(view->phase(), Phase::readBack);
    EXPECT_EQ(view->readBackRows().size(), 4);
    state.setPendingOnboardingCommand(QStringLiteral("finish"));
    EXPECT_FALSE(view->isPresented());

    FirstRunView voxlet(Brand::voxlet, {&state, &config, &daemon, &terminal, vault, {}, {}});
    voxlet.present();
    EXPECT_EQ(voxlet.phase(), Phase::setup);
    EXPECT_FALSE(QFile::exists(questionFile()));
    for (const QVariant& row : voxlet.rowsVariant()) {
        EXPECT_NE(row.toMap().value("gate"), QStringLiteral("engine"));
        EXPECT_NE(row.toMap().value("gate"), QStringLiteral("funding"));
    }
}

TEST_F(FirstRunViewTest, ThePhoneOfferStandsOnlyForAUserSignedIntoTheRecordStore) {
    view->present();
    EXPECT_FALSE(view->phoneOffer()); // no greyed-out offer, no instruction to sign in
    view->setPhoneOffer(true);
    EXPECT_TRUE(view->phoneOffer());
    EXPECT_EQ(view->phoneOfferText(),
              QStringLiteral("You're signed into the record store, so open Tallo on a phone "
                             "signed into the same account and this question is already there. "
                             "Speak it walking to the kitchen — this window notices and moves on "
                             "by itself."));
    // What the phone writes into the question file moves the screen on by itself.
    TestEnvironment::writeFile(
        questionFile(),
        FirstRun::answeredForm(kAsked, QStringLiteral("  Spoken outside  ")).toUtf8());
    ASSERT_TRUE(waitUntil([&] { return view->phase() == Phase::setup; }));
    EXPECT_EQ(view->held(),
              (FirstRun::Answer{QStringLiteral("Spoken outside"), FirstRun::AnswerOrigin::phone,
                                std::nullopt, std::nullopt}));

    FirstRunView voxlet(Brand::voxlet, {&state, &config, &daemon, &terminal, vault, {}, {}});
    voxlet.setPhoneOffer(true);
    EXPECT_TRUE(voxlet.phoneOfferText().startsWith(
        QStringLiteral("You're signed into the record store, so open Voxlet on a phone")));
}

TEST_F(FirstRunViewTest, TheOtherBrandsNameTheIdentityBeforeTheyGoOn) {
    EXPECT_EQ(view->naming(), nullptr); // Tallo asks no form
    const QString root = env.root() + QStringLiteral("/samples");
    TestEnvironment::writeFile(root +
                                   QStringLiteral("/generate/photos/manifests/ada-lovelace.yaml"),
                               "photos:\n  - a.jpg\n  - b.jpg\n");
    TestEnvironment::writeFile(root + QStringLiteral("/generate/audio/manifests/ada-lovelace.yaml"),
                               "- memo.m4a\n");
    FirstRunView mnemora(Brand::mnemora, {&state, &config, &daemon, &terminal, root, {}, {root}});
    mnemora.setClock([this] { return now; });
    IdentityNamingStep& naming = *mnemora.naming();
    struct Case {
        QString name;
        std::optional<QString> shortName;
        QString id;
        QString problem;
    };
    const QString badShort = QStringLiteral(
        "The short name can hold only lower-case letters, digits and single hyphens.");
    const Case cases[] = {
        {QStringLiteral("   "), std::nullopt, QString(),
         QStringLiteral("Give the identity a name first.")},
        {QStringLiteral("  Åsa Öberg-Lind "), std::nullopt, QStringLiteral("asa-oberg-lind"), {}},
        {QStringLiteral("李"), std::nullopt, QString(), badShort},
        {QStringLiteral("Ada"), QStringLiteral("Ada L"), QStringLiteral("Ada L"), badShort},
        {QStringLiteral("Ada"), QStringLiteral(" a--b "), QStringLiteral("a--b"), badShort},
        {QStringLiteral("Ada"), QStringLiteral(""), QStringLiteral("ada"), {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name.toStdString());
        naming.setIdentityId(c.shortName.value_or(QString()));
        naming.setDisplayName(c.name);
        if (c.shortName) {
            naming.setIdentityId(*c.shortName);
        }
        EXPECT_EQ(naming.identityId(), c.id);
        EXPECT_EQ(naming.problem(), c.problem);
    }

    // Refused in the product's words, and nothing written.
    naming.setIdentityId(QString());
    naming.setDisplayName(QStringLiteral(" "));
    mnemora.confirm();
    EXPECT_EQ(mnemora.actionError(), QStringLiteral("Give the identity a name first."));
    EXPECT_NE(mnemora.phase(), Phase::working);
    EXPECT_FALSE(config.config().contains(QStringLiteral("identities")));

    naming.setDisplayName(QStringLiteral("  Ada Lovelace "));
    EXPECT_EQ(naming.previewText(), QStringLiteral("2 photos · 1 voice memos"));
    mnemora.confirm();
    EXPECT_EQ(mnemora.actionError(), QString());
    EXPECT_EQ(mnemora.phase(), Phase::working);
    const QJsonObject written =
        QJsonDocument::fromJson(
            TestEnvironment::readFile(env.root() + QStringLiteral("/config.json")))
            .object();
    EXPECT_EQ(written.value(QStringLiteral("active_identity_id")), QStringLiteral("ada-lovelace"));
    EXPECT_EQ(
        written.value(QStringLiteral("identities")),
        (QJsonArray{QJsonObject{{QStringLiteral("id"), QStringLiteral("ada-lovelace")},
                                {QStringLiteral("display_name"), QStringLiteral("Ada Lovelace")},
                                {QStringLiteral("created_at"), kAsked},
                                {QStringLiteral("is_default"), true}}}));

    // Named again later: the same identity, renamed, keeps when it was made.
    FirstRunView again(Brand::voxlet, {&state, &config, &daemon, &terminal, root, {}, {}});
    again.setClock([this] { return now.addDays(3); });
    EXPECT_EQ(again.naming()->identityId(), QStringLiteral("ada-lovelace"));
    EXPECT_EQ(again.naming()->displayName(), QStringLiteral("Ada Lovelace"));
    again.naming()->setDisplayName(QStringLiteral("Ada King"));
    again.confirm();
    const QJsonArray identities = config.config().value(QStringLiteral("identities")).toArray();
    ASSERT_EQ(identities.size(), 1);
    EXPECT_EQ(identities.at(0).toObject().value(QStringLiteral("display_name")),
              QStringLiteral("Ada King"));
    EXPECT_EQ(identities.at(0).toObject().value(QStringLiteral("created_at")), kAsked);
}

TEST_F(FirstRunViewTest, PhotoAccessIsAskedOnceAndARefusalMendedIsNoticed) {
    const QString pictures = env.root() + QStringLiteral("/Pictures");
    // A photo folder the user cannot open as a folder.
    TestEnvironment::writeFile(pictures, "not a folder");
    FirstRunView mnemora(Brand::mnemora,
                         {&state, &config, &daemon, &terminal, vault, {}, {pictures}});
    mnemora.setTimings({5ms, 5ms, 5ms});
    PhotoAccess& photos = *mnemora.photos();
    EXPECT_EQ(photos.state(), PhotoAccess::State::undetermined); // never asked before the press
    mnemora.requestPhotos();
    EXPECT_EQ(photos.state(), PhotoAccess::State::refused);
    EXPECT_TRUE(
        UserDefaults().boolValue(QString::fromLatin1(UserDefaults::photosStatusDetermined)));

    ASSERT_TRUE(QFile::remove(pictures));
    ASSERT_TRUE(QDir().mkpath(pictures));
    ASSERT_TRUE(waitUntil([&] { return photos.state() == PhotoAccess::State::granted; }));

    // Asked once: a later first run starts from the answer.
    FirstRunView later(Brand::tallo, {&state, &config, &daemon, &terminal, vault, {}, {pictures}});
    EXPECT_EQ(later.photos()->state(), PhotoAccess::State::granted);
    FirstRunView voxlet(Brand::voxlet, {&state, &config, &daemon, &terminal, vault, {}, {}});
    EXPECT_EQ(voxlet.photos(), nullptr); // it reads no photos
}

} // namespace
} // namespace mnemora
