#include <gtest/gtest.h>

#include "setup/FirstRun.h"
#include "support/QtPrinters.h"

namespace mnemora {
namespace {

using namespace FirstRun;

GateInputs allSettled() {
    GateInputs inputs;
    inputs.micGranted = true;
    inputs.engineInstalled = true;
    inputs.claudeBackend = QStringLiteral("anthropic");
    inputs.enginePassed = true;
    inputs.browserPassed = true;
    return inputs;
}

TEST(FirstRun, GatesAndProofsFollowTheBrand) {
    EXPECT_EQ(gates(Brand::voxlet), (QList<Gate>{Gate::microphone, Gate::checks}));
    for (Brand brand : {Brand::mnemora, Brand::tallo}) {
        EXPECT_EQ(gates(brand),
                  (QList<Gate>{Gate::microphone, Gate::engine, Gate::funding, Gate::checks}));
    }
    EXPECT_EQ(proofs(Brand::mnemora), (QList<Proof>{Proof::photos, Proof::voice, Proof::caption,
                                                    Proof::engine, Proof::browser}));
    EXPECT_EQ(proofs(Brand::tallo),
              (QList<Proof>{Proof::photos, Proof::voice, Proof::engine, Proof::browser}));
    EXPECT_EQ(proofs(Brand::voxlet), QList<Proof>{Proof::voice});
}

TEST(FirstRun, EachGateSettlesOnItsOwnInputAndPretendFreshUnsettlesThemAll) {
    struct Case {
        const char* name;
        std::function<void(GateInputs&)> undo;
        Gate gate;
    };
    const Case cases[] = {
        {"no microphone", [](GateInputs& in) { in.micGranted = false; }, Gate::microphone},
        {"no engine", [](GateInputs& in) { in.engineInstalled = false; }, Gate::engine},
        {"nobody pays", [](GateInputs& in) { in.claudeBackend.clear(); }, Gate::funding},
        {"engine proof failed", [](GateInputs& in) { in.enginePassed = false; }, Gate::checks},
        {"browser proof failed", [](GateInputs& in) { in.browserPassed = false; }, Gate::checks},
    };
    EXPECT_TRUE(waitingGates(Brand::tallo, allSettled()).isEmpty());
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        GateInputs inputs = allSettled();
        c.undo(inputs);
        EXPECT_EQ(waitingGates(Brand::tallo, inputs), QList<Gate>{c.gate});
    }

    // Voxlet has neither engine nor browser to prove: its own voice settles its checks.
    GateInputs voice = allSettled();
    EXPECT_EQ(waitingGates(Brand::voxlet, voice), QList<Gate>{Gate::checks});
    voice.voicePassed = true;
    voice.enginePassed = false;
    EXPECT_TRUE(waitingGates(Brand::voxlet, voice).isEmpty());

    GateInputs fresh = allSettled();
    fresh.pretendFresh = true;
    EXPECT_EQ(waitingGates(Brand::mnemora, fresh), gates(Brand::mnemora));
    for (AnswerOrigin origin : {AnswerOrigin::transcribed, AnswerOrigin::spoken}) {
        fresh.heldOrigin = origin;
        EXPECT_TRUE(isSettled(Brand::tallo, Gate::microphone, fresh));
    }
    for (AnswerOrigin origin : {AnswerOrigin::typed, AnswerOrigin::phone}) {
        fresh.heldOrigin = origin;
        EXPECT_FALSE(isSettled(Brand::tallo, Gate::microphone, fresh));
    }
}

TEST(FirstRun, TheLeadingGateGivesTheCaption) {
    struct Case {
        QList<Gate> waiting;
        const char* caption;
    };
    const Case cases[] = {
        {{Gate::microphone, Gate::engine, Gate::funding}, "Waiting on the engine…"},
        {{Gate::funding, Gate::checks}, "Waiting on you to pick one…"},
        {{Gate::microphone, Gate::checks}, "Checking it all works…"},
        {{Gate::microphone}, "Reading it back…"},
        {{}, "Reading it back…"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(waitingCaption(leadingGate(c.waiting)), QString::fromUtf8(c.caption));
    }
}

TEST(FirstRun, RowsNoteTheMicrophoneSummariseTheSettledAndCountTheRest) {
    const QString mic =
        QStringLiteral("I'll ask for the microphone the moment you reach for it — not before.");
    using K = Row::Kind;
    EXPECT_EQ(rows({Gate::microphone, Gate::engine, Gate::funding, Gate::checks}, {}),
              (QList<Row>{{K::note, mic, {}, {}, 0, Presentation::card},
                          {K::gate, {}, {}, Gate::engine, 1, Presentation::card},
                          {K::gate, {}, {}, Gate::funding, 2, Presentation::card},
                          {K::gate, {}, {}, Gate::checks, 3, Presentation::line}}));
    EXPECT_EQ(rows({Gate::checks}, {Gate::microphone, Gate::engine, Gate::funding}),
              (QList<Row>{{K::settled,
                           QStringLiteral("Microphone, engine and subscription: all set"),
                           {Gate::microphone, Gate::engine, Gate::funding},
                           {},
                           0,
                           Presentation::card},
                          {K::gate, {}, {}, Gate::checks, 1, Presentation::line}}));

    EXPECT_EQ(settledSummary({Gate::engine}), QStringLiteral("Engine"));
    EXPECT_EQ(settledSummary({Gate::microphone, Gate::checks}),
              QStringLiteral("Microphone and checks"));
    EXPECT_EQ(settledSummary({Gate::microphone, Gate::engine, Gate::funding, Gate::checks}),
              QStringLiteral("Microphone, engine, subscription and checks"));
    // A Voxlet user never sees the engine or who pays.
    GateInputs nothing;
    for (const Row& row : rows(waitingGates(Brand::voxlet, nothing), {})) {
        EXPECT_NE(row.gate, Gate::engine);
        EXPECT_NE(row.gate, Gate::funding);
    }
}

TEST(FirstRun, TitlesNumbersAndPhaseWords) {
    EXPECT_EQ(gateTitle(Gate::microphone), QStringLiteral("The microphone"));
    EXPECT_EQ(gateTitle(Gate::engine), QStringLiteral("The engine — one line in a terminal"));
    EXPECT_EQ(gateTitle(Gate::funding), QStringLiteral("Who pays for the AI"));
    EXPECT_EQ(gateTitle(Gate::checks), QStringLiteral("Then I check it all actually works"));
    EXPECT_EQ(numberWord(0), QStringLiteral("zero"));
    EXPECT_EQ(numberWord(3), QStringLiteral("three"));
    EXPECT_EQ(numberWord(10), QStringLiteral("ten"));
    EXPECT_EQ(numberWord(11), QStringLiteral("11"));
    const std::pair<Phase, const char*> phases[] = {
        {Phase::question, "A"}, {Phase::setup, "B"}, {Phase::readBack, "C"}, {Phase::working, "—"}};
    for (const auto& [phase, letter] : phases) {
        EXPECT_EQ(phaseOfWord(phaseWord(phase)), phase);
        EXPECT_EQ(screenLetter(phase), QString::fromUtf8(letter));
    }
    EXPECT_EQ(phaseWord(Phase::readBack), QStringLiteral("readBack"));
    EXPECT_EQ(problemReportHeader(Phase::setup, Gate::funding),
              QStringLiteral("Reported from first run, screen B.\n"
                             "The screen was waiting on: Who pays for the AI."));
    EXPECT_EQ(problemReportHeader(Phase::working, std::nullopt),
              QStringLiteral("Reported from first run, screen —."));
}

TEST(FirstRun, TheHeldAnswerDecidesWhereTheGatesLead) {
    const QString clip = QStringLiteral("/clips/a.m4a");
    struct Case {
        std::optional<Answer> held;
        Phase next;
    };
    const Case cases[] = {
        {std::nullopt, Phase::question},
        {Answer{QStringLiteral(" An Oy "), AnswerOrigin::typed, {}, {}}, Phase::readBack},
        {Answer{QStringLiteral("  "), AnswerOrigin::typed, {}, {}}, Phase::question},
        {Answer{std::nullopt, AnswerOrigin::spoken, 12, clip}, Phase::setup},
        {Answer{std::nullopt, AnswerOrigin::spoken, 12, std::nullopt}, Phase::question},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(nextPhaseAfterGates(c.held), c.next);
    }
}

TEST(FirstRun, SendingTakesTheDraftOrTheUnreadableClip) {
    EXPECT_FALSE(sendAllowed(QStringLiteral("  \n"), false, std::nullopt));
    EXPECT_TRUE(sendAllowed(QStringLiteral("  \n"), true, std::nullopt));
    EXPECT_TRUE(sendAllowed({}, false, 7));
    EXPECT_TRUE(sendAllowed(QStringLiteral("an Oy"), false, std::nullopt));

    const QString clip = QStringLiteral("/clips/a.m4a");
    EXPECT_EQ(answerOnSend({}, false, 7, clip),
              (Answer{std::nullopt, AnswerOrigin::spoken, 7, clip}));
    EXPECT_EQ(answerOnSend(QStringLiteral(" an Oy\n"), true, 7, clip),
              (Answer{QStringLiteral("an Oy"), AnswerOrigin::transcribed, std::nullopt, clip}));
    EXPECT_EQ(answerOnSend(QStringLiteral("an Oy"), false, std::nullopt, std::nullopt),
              (Answer{QStringLiteral("an Oy"), AnswerOrigin::typed, std::nullopt, std::nullopt}));
}

TEST(FirstRun, TheAnswerBlockByModeOriginAndDownload) {
    const Answer typed{QStringLiteral("An Oy"), AnswerOrigin::typed, {}, {}};
    const Answer spoken{std::nullopt, AnswerOrigin::spoken, 75, QStringLiteral("/c.m4a")};
    const Answer phone{QStringLiteral("An Oy"), AnswerOrigin::phone, {}, {}};
    const ModelDownload download{QStringLiteral("40 of 120 MB"), 1.0 / 3};
    struct Case {
        const char* name;
        Answer held;
        int mode;
        std::optional<ModelDownload> download;
        std::optional<AnswerBlock> block;
    };
    const Case cases[] = {
        {"typed, setup", typed, 0, download,
         AnswerBlock{"GOT IT", QStringLiteral("An Oy"), {}, {}, {}, false}},
        {"typed, later", typed, 1, {}, std::nullopt},
        {"typed, other screen",
         typed,
         2,
         {},
         AnswerBlock{"YOU SAID", QStringLiteral("An Oy"), {}, {}, {}, false}},
        {"spoken, downloading", spoken, 0, download,
         AnswerBlock{"GOT IT — 75 SECONDS",
                     {},
                     QStringLiteral("1:15"),
                     QStringLiteral("learning to read it… 40 of 120 MB"),
                     1.0 / 3,
                     false}},
        {"spoken, no size yet", spoken, 0, ModelDownload{},
         AnswerBlock{"GOT IT — 75 SECONDS",
                     {},
                     QStringLiteral("1:15"),
                     QStringLiteral("learning to read it…"),
                     {},
                     false}},
        {"spoken, later", spoken, 1, download, std::nullopt},
        {"phone", phone, 0, {}, AnswerBlock{"GOT IT", QStringLiteral("An Oy"), {}, {}, {}, true}},
        {"nothing at all", Answer{std::nullopt, AnswerOrigin::spoken, {}, {}}, 0, {}, std::nullopt},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(answerBlock(c.held, c.mode, c.download), c.block);
    }
    EXPECT_EQ(answerBlock(Answer{std::nullopt, AnswerOrigin::spoken, -4, {}}, 0, {})->length,
              QStringLiteral("0:00"));
}

TEST(FirstRun, TheReadBackWaitAndItsWords) {
    struct Case {
        bool launchFailed;
        bool running;
        qint64 elapsed;
        ReadBackWait wait;
    };
    const Case cases[] = {
        {true, true, 0, ReadBackWait::failed},      {true, false, 500, ReadBackWait::failed},
        {false, false, 19, ReadBackWait::reading},  {false, false, 20, ReadBackWait::stopped},
        {false, true, 119, ReadBackWait::reading},  {false, true, 120, ReadBackWait::slow},
        {false, false, 130, ReadBackWait::stopped},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(readBackWait(c.launchFailed, c.running, c.elapsed), c.wait) << c.elapsed;
    }
    EXPECT_EQ(waitText(ReadBackWait::reading),
              QStringLiteral("I'm reading it through now. This takes a moment the first time."));
    EXPECT_EQ(waitText(ReadBackWait::stopped),
              QStringLiteral("I started reading it and then stopped before I finished. I still "
                             "have your answer, and I'll ask you about anything I'm unsure of as "
                             "I go."));
}

TEST(FirstRun, TheReadBackParserTakesRowsByTableAndNotesWhatIsMissing) {
    const QString text = QStringLiteral(
        "# Accountant notes\n<!-- the agent keeps this up to date\n- Name: hidden -->\n"
        "## Business\n- Billing entity: **Acme** Oy\n- Default filing cadence: `monthly`\n"
        "### Accountant\n- Name:\n- Name (preferred): Tiklex\n  at Fischer & Co\n\n  stray\n"
        "## conventions\n- Anything the accountant always asks for: receipts_and_statements\n"
        "<!-- unclosed\n- Email: lost@example.com\n");
    const std::optional<SetupReadBack> readBack = parseReadBack(text);
    ASSERT_TRUE(readBack);
    EXPECT_EQ(readBack->rows,
              (QList<SetupReadBack::Row>{
                  {QStringLiteral("The business"), QStringLiteral("Acme Oy")},
                  {QStringLiteral("How often"), QStringLiteral("monthly")},
                  {QStringLiteral("Goes to"), QStringLiteral("Tiklex at Fischer & Co")},
                  {QStringLiteral("What to send"), QStringLiteral("receiptsandstatements")}}));
    EXPECT_EQ(readBack->note,
              QStringLiteral("I don't know their email address, or which country you file in "
                             "yet. I'll ask when I get there rather than making you find them "
                             "now."));
    EXPECT_EQ(confirmText(readBack), QStringLiteral("That's right — start on Acme Oy"));

    const std::optional<SetupReadBack> one =
        parseReadBack(QStringLiteral("## Business\n- Billing entity: Acme\n- Country: Finland\n"));
    ASSERT_TRUE(one);
    EXPECT_EQ(one->note, QStringLiteral("I don't know their email address yet. I'll ask when I "
                                        "get there rather than making you find it now."));
    const std::optional<SetupReadBack> none = parseReadBack(QStringLiteral(
        "## Business\n- Billing entity: \n- Country: FI\n## Accountant\n- Email: a@b.c\n"));
    EXPECT_FALSE(none);
    EXPECT_EQ(confirmText(none), QStringLiteral("Start on your books"));
}

TEST(FirstRun, TheQuestionFileInBothFormsAndItsReaders) {
    const QString asked = QStringLiteral("2026-03-01T09:30:00Z");
    const QString open = openForm(asked);
    EXPECT_EQ(open,
              QStringLiteral("---\nkind: setup\nstatus: open\nquestion: So — tell me about your "
                             "business, and what you send your accountant.\nasked_at: "
                             "2026-03-01T09:30:00Z\n---\n\n## Question\n\nSo — tell me about your "
                             "business, and what you send your accountant.\n"));
    const QString answered = answeredForm(asked, QStringLiteral("  An Oy.\n"));
    EXPECT_TRUE(answered.startsWith(QStringLiteral(
        "---\nkind: setup\nstatus: answered\nquestion: So — tell me about your business, and "
        "what you send your accountant.\nasked_at: 2026-03-01T09:30:00Z\nanswered_at: "
        "2026-03-01T09:30:00Z\nanswered_by: user\n---\n\n## Question\n\n")));
    EXPECT_TRUE(answered.endsWith(QStringLiteral("accountant.\n\n## Answer\n\nAn Oy.\n")));

    EXPECT_EQ(frontmatterValue(QStringLiteral("status"), answered), QStringLiteral("answered"));
    EXPECT_EQ(frontmatterValue(QStringLiteral("asked_at"), open), asked);
    EXPECT_EQ(frontmatterValue(QStringLiteral("answered_by"), open), std::nullopt);
    EXPECT_EQ(frontmatterValue(QStringLiteral("status"), QStringLiteral("---\nstatus: open\n")),
              std::nullopt);
    EXPECT_EQ(answerSection(answered), QStringLiteral("An Oy."));
    EXPECT_EQ(answerSection(open), std::nullopt);
    // An answer from the phone: its heading carries the instant, which is no part of the answer,
    // and only the last answer counts, up to the next heading.
    EXPECT_EQ(answerSection(open + QStringLiteral("\n## Answer (2026-03-01T09:31:00Z)\n\nFirst.\n"
                                                  "\n## Answer (2026-03-01T09:32:00Z)\n\nA bakery"
                                                  "\nin Tampere.\n\n## Notes\n\nlater\n")),
              QStringLiteral("A bakery\nin Tampere."));
    EXPECT_EQ(answerSection(QStringLiteral("## Answers to come\n\nnot yet\n")), std::nullopt);
    EXPECT_EQ(questionFilePath(QStringLiteral("/v"), QStringLiteral("me")),
              QStringLiteral("/v/Registry/me/questions/setup-business.md"));
}

} // namespace
} // namespace mnemora
