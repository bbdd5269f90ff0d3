#include "core/SyncedDocOptIn.h"
#include "core/SyncedDocCollectionConfig.h"
#include "core/SyncedDocWellKnownPath.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace mnemora::core {
namespace {

const std::vector<SyncedDocCollectionConfig>& defaults() {
    return SyncedDocCollectionConfig::launchDefaults();
}

// --- SyncedDocCollectionConfig -----------------------------------------------------------------

TEST(SyncedDocCollectionConfigTest, LaunchDefaultsInOrder) {
    const std::vector<SyncedDocCollectionConfig> expected{
        {"lists/active", "Household lists", SyncedDocType::checklist, true},
        {"orientation", "Orientation board", SyncedDocType::board, false},
        {"questions", "Questions", SyncedDocType::questionInbox, false},
        {"status", "Close status", SyncedDocType::closeStatus, false},
    };
    EXPECT_EQ(defaults(), expected);
}

TEST(SyncedDocCollectionConfigTest, ContainsOnlyPathsBelowTheFolder) {
    const SyncedDocCollectionConfig lists = defaults()[0];
    EXPECT_TRUE(lists.contains("lists/active/groceries.md"));
    EXPECT_TRUE(lists.contains("lists/active/deep/er.md"));
    EXPECT_FALSE(lists.contains("lists/active"));
    EXPECT_FALSE(lists.contains("lists/activeness.md"));
    EXPECT_FALSE(lists.contains("lists/groceries.md"));
    EXPECT_FALSE(lists.contains(""));
}

TEST(SyncedDocCollectionConfigTest, TypeWireWords) {
    EXPECT_EQ(wireWord(SyncedDocType::questionInbox), "questionInbox");
    EXPECT_EQ(fromWireWord<SyncedDocType>("closeStatus"), SyncedDocType::closeStatus);
    EXPECT_EQ(fromWireWord<SyncedDocType>("Doc"), std::nullopt);
}

// --- SyncedDocOptIn ----------------------------------------------------------------------------

TEST(SyncedDocOptInTest, CollectionDecidesWithoutOverride) {
    EXPECT_TRUE(SyncedDocOptIn::shouldSync("lists/active/groceries.md", "", defaults()));
    EXPECT_FALSE(SyncedDocOptIn::shouldSync("lists/active", "", defaults()));
    EXPECT_FALSE(SyncedDocOptIn::shouldSync("notes/a.md", "# Plain note", defaults()));
    EXPECT_FALSE(SyncedDocOptIn::shouldSync("lists/active/groceries.md", "", {}));
}

TEST(SyncedDocOptInTest, OverrideWinsBothWays) {
    EXPECT_TRUE(SyncedDocOptIn::shouldSync("notes/a.md", "---\nsync: cloudkit\n---\n", defaults()));
    EXPECT_FALSE(
        SyncedDocOptIn::shouldSync("status/close.md", "---\nsync: false\n---\n", defaults()));
    EXPECT_TRUE(
        SyncedDocOptIn::shouldSync("status/close.md", "---\nsync: maybe\n---\n", defaults()));
}

TEST(SyncedDocOptInTest, ANotesPathIsRelativeInNamedPartsAndBounded) {
    for (const char* path : {"lists/active/Groceries.md", "a", "Journal 2026/..notes.md",
                             "lists/active/caf\xc3\xa9 \xe2\x80\x94 list.md", "x/.hidden.md"}) {
        EXPECT_TRUE(SyncedDocOptIn::isNotesPath(path)) << path;
    }
    for (const char* path : {"", "/etc/passwd", "lists/active/../../../.bashrc", "..", ".",
                             "lists//Groceries.md", "lists/active/", "./Groceries.md",
                             "lists/..", "lists/active/two\nlines.md", "tab\there.md"}) {
        EXPECT_FALSE(SyncedDocOptIn::isNotesPath(path)) << path;
    }
    const std::string longest = "lists/" + std::string(SyncedDocOptIn::kMaxPathBytes - 6, 'x');
    EXPECT_TRUE(SyncedDocOptIn::isNotesPath(longest));
    EXPECT_FALSE(SyncedDocOptIn::isNotesPath(longest + "x"));
    EXPECT_FALSE(SyncedDocOptIn::isNotesPath(std::string_view("nul\0byte.md", 12)));
}

TEST(SyncedDocOptInTest, CollectionForPathIsTheFirstThatContainsIt) {
    EXPECT_EQ(SyncedDocOptIn::collection("notes/a.md", defaults()), std::nullopt);
    EXPECT_EQ(SyncedDocOptIn::collection("questions/inbox.md", defaults()), defaults()[2]);

    const std::vector<SyncedDocCollectionConfig> nested{
        {"lists", "All lists", SyncedDocType::doc, false},
        {"lists/active", "Household lists", SyncedDocType::checklist, true},
    };
    EXPECT_EQ(SyncedDocOptIn::collection("lists/active/a.md", nested), nested[0]);
}

// --- SyncedDocWellKnownPath --------------------------------------------------------------------

TEST(SyncedDocWellKnownPathTest, FixedAndPerBooksPaths) {
    namespace P = SyncedDocWellKnownPath;
    EXPECT_EQ(P::questionsInbox(), "questions/inbox.md");
    EXPECT_EQ(P::vaultIdentity(), "status/vault.md");
    EXPECT_EQ(P::closeStatus(), "status/close.md");
    for (const std::optional<std::string>& books : {std::optional<std::string>(), {""}}) {
        EXPECT_EQ(P::closeStatus(books), "status/close.md");
        EXPECT_EQ(P::ledger(books), "status/ledger.md");
    }
    EXPECT_EQ(P::closeStatus("acme"), "status/close-acme.md");
    EXPECT_EQ(P::ledger("acme"), "status/ledger-acme.md");
}

} // namespace
} // namespace mnemora::core
