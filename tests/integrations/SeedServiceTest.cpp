#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

#include "app/Brand.h"
#include "integrations/PromptSeedService.h"
#include "integrations/SeedTemplates.h"
#include "integrations/SkillSeedService.h"
#include "integrations/SourceSeedService.h"
#include "support/BundleOverride.h"
#include "support/EventLoop.h"
#include "support/QtPrinters.h"
#include "support/TestEnvironment.h"

using namespace mnemora;
using mnemora::test::runTask;
using mnemora::test::TestEnvironment;

namespace {

// Stands in for the terminal: keeps each line and fails when told to.
class RecordingTerminal : public TerminalLauncher {
public:
    QStringList lines;
    Result answer;
    QCoro::Task<Result> runCommand(QString line) override {
        lines << line;
        co_return answer;
    }
};

struct SeedServiceTest : ::testing::Test {
    TestEnvironment env;
    QString resources = env.root() + "/Resources";
    RecordingTerminal terminal;

    void seed(const QString& kind, const QString& name, const QByteArray& text) const {
        TestEnvironment::writeFile(resources + "/" + kind + "/" + name, text);
    }
    template <typename Service> void prepare(Service& service) {
        service.setResourcesFolder(resources);
        service.setTerminal(&terminal);
    }
};

QStringList ids(const QVariantList& rows) {
    QStringList found;
    for (const QVariant& row : rows) {
        found << row.toMap().value("id").toString();
    }
    return found;
}

} // namespace

TEST(SeedTemplates, FrontMatterReadsOnlyWhatTheFormatSays) {
    struct Case {
        const char* text;
        const char* key;
        std::optional<QString> value;
    };
    const Case cases[] = {
        {"---\ntitle: \"a: b\"\n---\nbody", "title", "a: b"},    // first colon splits, quotes go
        {"---\ntitle: \"lone\n---\n", "title", "\"lone"},        // one quote mark stays
        {"---\ntitle: \"\n---\n", "title", "\""},                // too short to unquote
        {"---\n\t title : spaced \t\n---\n", "title", "spaced"}, // blanks and tabs trimmed
        {"---\nid: a\nid: b\n---\n", "id", "b"},                 // a later key wins
        {"---\nno colon here\nid: x\n---\n", "id", "x"},         // such lines are skipped
        {"---\nno pairs\n---\n", "id", std::nullopt},            // nothing: dropped
        {"id: x\n---\n", "id", std::nullopt},                    // one fence only
    };
    for (const Case& c : cases) {
        const auto pairs = SeedTemplates::frontMatter(QString::fromUtf8(c.text));
        const std::optional<QString> value =
            pairs && pairs->contains(c.key) ? std::optional(pairs->value(c.key)) : std::nullopt;
        EXPECT_EQ(value, c.value) << c.text;
    }
}

TEST(SeedTemplates, ThePrimerKeepsFencesInTheBodyAndTheLineQuotesApostrophes) {
    EXPECT_EQ(SeedTemplates::primer("---\nid: a\n---\n\n Part one\n---\nPart two \n\n"),
              "Part one\n---\nPart two");
    EXPECT_EQ(SeedTemplates::primer("no front matter"), "no front matter");
    EXPECT_EQ(SeedTemplates::claudeLine("/home/o'neil/Vault", QString("Don't delete")),
              "cd '/home/o'\\''neil/Vault' && claude 'Don'\\''t delete'");
    EXPECT_EQ(SeedTemplates::claudeLine("/v", std::nullopt), "cd '/v' && claude");
}

TEST_F(SeedServiceTest, SkillsOfTheBrandAreListedInOrderAndBrokenOnesDroppedSilently) {
    seed("skill-seeds", "b.md", "---\nid: b\ntitle: Beta\ndescription: d\nsort_order: 5\n---\nx");
    seed("skill-seeds", "a.md", "---\nid: a\ntitle: Alpha\ndescription: d\nsort_order: 5\n---\nx");
    seed("skill-seeds", "c.md",
         "---\nid: c\ntitle: Aardvark\ndescription: d\nsort_order: x\n---\n");
    seed("skill-seeds", "both.md",
         "---\nid: both\ntitle: Both\ndescription: d\nbrand: tallo,,mnemora\nsort_order: 1\n---\n");
    seed("skill-seeds", "other.md",
         "---\nid: other\ntitle: T\ndescription: d\nbrand: tallo\n---\n");
    seed("skill-seeds", "nodesc.md", "---\nid: nodesc\ntitle: No description\n---\nx");
    seed("skill-seeds", "bad.md", "---\nid: bad\ntitle: \xff\xfe\ndescription: d\n---\n");
    seed("skill-seeds", "upper.MD", "---\nid: upper\ntitle: U\ndescription: d\n---\n");
    seed("skill-seeds", "notes.txt", "---\nid: txt\ntitle: U\ndescription: d\n---\n");
    TestEnvironment::writeFile(QDir::homePath() + "/Mnemora/.claude/skills/a/SKILL.md", "skill");
    test::BundleOverride bundle("ai.mnemora", "Mnemora", "Mnemora");

    SkillSeedService skills;
    prepare(skills);
    runTask(skills.refresh());

    EXPECT_EQ(ids(skills.rows()), QStringList({"both", "a", "b", "c"}));
    EXPECT_EQ(skills.seeds().at(0).brands, QSet<QString>({"tallo", "mnemora"}));
    EXPECT_EQ(skills.seeds().at(3).sortOrder, 100);
    EXPECT_EQ(skills.seeds().at(3).suggestedSchedule, "manual");
    EXPECT_EQ(skills.seeds().at(3).inferenceTier, "standard");
    EXPECT_EQ(skills.seeds().at(1).installedSkillPath,
              QDir::homePath() + "/Mnemora/.claude/skills/a/SKILL.md");
    EXPECT_EQ(skills.seeds().at(2).installedSkillPath, std::nullopt);
    EXPECT_TRUE(skills.dataFolderReady());
    EXPECT_FALSE(skills.claudeAvailable()); // no daemon to say otherwise
}

TEST_F(SeedServiceTest, PromptsFollowTheirOneBrandAndSourcesAreForEveryone) {
    seed("prompt-seeds", "z.md", "---\nid: z\ntitle: Zed\ndescription: d\n---\n");
    seed("prompt-seeds", "m.md", "---\nid: m\ntitle: Mine\ndescription: d\nbrand: voxlite\n---\n");
    seed("prompt-seeds", "e.md", "---\nid: e\ntitle: Empty\ndescription: d\nbrand:\n---\n");
    seed("prompt-seeds", "t.md", "---\nid: t\ntitle: Theirs\ndescription: d\nbrand: tallo\n---\n");
    seed("source-seeds", "s.md",
         "---\nid: s\ntitle: Src\ndescription: d\nbrand: tallo\nsource_type: calendar\n---\n");
    seed("source-seeds", "n.md", "---\nid: n\ntitle: No type\ndescription: d\n---\n");
    test::BundleOverride bundle("vox.let", "Voxlet", "Voxlet");

    PromptSeedService prompts;
    SourceSeedService sources;
    prepare(prompts);
    prepare(sources);
    runTask(prompts.refresh());
    runTask(sources.refresh());

    EXPECT_EQ(ids(prompts.rows()), QStringList({"e", "m", "z"}));
    EXPECT_EQ(ids(sources.rows()), QStringList({"s"}));
    EXPECT_EQ(sources.rows().at(0).toMap().value("sourceType"), "calendar");
}

TEST_F(SeedServiceTest, NoTemplatesGiveAnEmptyListWithTheWordsToShow) {
    SkillSeedService skills;
    PromptSeedService prompts;
    prepare(skills);
    prepare(prompts);
    runTask(skills.refresh());
    runTask(prompts.refresh());
    EXPECT_TRUE(skills.isEmpty());
    EXPECT_EQ(skills.emptyTitle(), "No seed templates bundled");
    EXPECT_EQ(prompts.emptyText(),
              "No bundled prompts found. Reinstall the app to restore the library.");
    EXPECT_EQ(skills.lastError(), std::nullopt);
}

TEST_F(SeedServiceTest, OpeningASeedRunsClaudePrimedWithItsBodyInTheDataFolder) {
    seed("prompt-seeds", "p.md",
         "---\nid: p\ntitle: P\ndescription: d\n---\nFind what's open.\n---\nThen stop.\n");
    PromptSeedService prompts;
    prepare(prompts);
    runTask(prompts.refresh());

    const Expected<void> opened = runTask(prompts.launch("p"));
    ASSERT_TRUE(opened.ok()) << opened.error().toStdString();
    const QString folder = QDir::homePath() + "/" + appDisplayName();
    EXPECT_TRUE(QDir(folder).exists()); // made for the session
    ASSERT_EQ(terminal.lines.size(), 1);
    EXPECT_EQ(terminal.lines.at(0),
              "cd '" + folder + "' && claude 'Find what'\\''s open.\n---\nThen stop.'");

    terminal.answer = TerminalLauncher::LaunchError::nonZeroExit(3, "no display\n");
    EXPECT_EQ(runTask(prompts.launchCustomSession()).error(),
              "The terminal exited with status 3: no display");
    EXPECT_EQ(terminal.lines.at(1), "cd '" + folder + "' && claude");
}

TEST_F(SeedServiceTest, ASkillOpensOnlyWhenClaudeCodeIsInstalled) {
    seed("skill-seeds", "s.md", "---\nid: s\ntitle: S\ndescription: d\n---\nbody");
    SkillSeedService skills;
    prepare(skills);
    runTask(skills.refresh());
    EXPECT_EQ(runTask(skills.launch("s")).error(),
              "Claude Code is not installed. Run `npm install -g @anthropic-ai/claude-code`, then "
              "try again.");
    EXPECT_TRUE(terminal.lines.isEmpty());

    const auto tools = [](const char* json) {
        return std::optional(QJsonDocument::fromJson(json).object());
    };
    EXPECT_TRUE(SkillSeedService::claudeInstalled(tools(
        R"({"tools":[{"id":"tmux","label":"tmux"},{"id":"claude","label":"C","path":"/c"}]})")));
    EXPECT_FALSE(SkillSeedService::claudeInstalled(tools(R"({"tools":[{"id":"claude"}]})")));
    EXPECT_FALSE(SkillSeedService::claudeInstalled(std::nullopt));
}

// The templates that ship: every brand has skills and prompts, and every file of ours parses.
TEST(BundledSeeds, EveryBrandHasItsOwnSeedsAndEveryTemplateIsWhole) {
    const QString resources = QString(MNEMORA_BUNDLES_DIR) + "/Mnemora/Resources";
    for (const char* kind : {"skill-seeds", "prompt-seeds", "source-seeds"}) {
        const QStringList files = SeedTemplates::list(resources, kind);
        EXPECT_FALSE(files.isEmpty()) << kind;
        for (const QString& file : files) {
            const auto pairs = SeedTemplates::frontMatter(SeedTemplates::read(file).value_or(""));
            ASSERT_TRUE(pairs) << file.toStdString();
            const bool whole =
                QString(kind) == "skill-seeds"    ? SkillSeed::fromPairs(*pairs).has_value()
                : QString(kind) == "prompt-seeds" ? PromptSeed::fromPairs(*pairs).has_value()
                                                  : SourceSeed::fromPairs(*pairs).has_value();
            EXPECT_TRUE(whole) << file.toStdString();
        }
    }
    for (const auto& [identifier, name] :
         {std::pair{"ai.mnemora", "Mnemora"}, std::pair{"vox.let", "Voxlet"},
          std::pair{"tallo.ai", "Tallo"}}) {
        test::BundleOverride bundle(identifier, name, name);
        SkillSeedService skills;
        PromptSeedService prompts;
        skills.setResourcesFolder(resources);
        prompts.setResourcesFolder(resources);
        runTask(skills.refresh());
        runTask(prompts.refresh());
        EXPECT_GE(skills.seeds().size(), 2) << name;
        EXPECT_GE(prompts.seeds().size(), 2) << name;
    }
}
