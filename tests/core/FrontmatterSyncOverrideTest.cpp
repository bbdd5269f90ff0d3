#include "core/FrontmatterSyncOverride.h"

#include <gtest/gtest.h>

#include <optional>

namespace mnemora::core {
namespace {

using FrontmatterSyncOverride::parse;

TEST(FrontmatterSyncOverrideTest, ReadsTheSyncKey) {
    EXPECT_EQ(parse("---\nsync: false\n---\nBody"), SyncOverride::disabled);
    EXPECT_EQ(parse("---\nsync: cloudkit\n---\n"), SyncOverride::enabled);
    EXPECT_EQ(parse("---\ntitle: Groceries\n\t sync \t:\t cloudkit \n---\n"),
              SyncOverride::enabled);
    // Files saved with CR LF or lone CR line ends say the same.
    EXPECT_EQ(parse("---\r\nsync: false\r\n---\r\nBody"), SyncOverride::disabled);
    EXPECT_EQ(parse("---\rtitle: a\rsync: false\r---\rBody"), SyncOverride::disabled);
    EXPECT_EQ(parse("---\r\nsync: cloudkit\r\n---\r\n"), SyncOverride::enabled);
}

TEST(FrontmatterSyncOverrideTest, UnknownValueOrMissingKeyGivesNothing) {
    EXPECT_EQ(parse("---\nsync: maybe\n---\n"), std::nullopt);
    EXPECT_EQ(parse("---\nsync: False\n---\n"), std::nullopt);
    EXPECT_EQ(parse("---\ntitle: a\nno colon here\n---\n"), std::nullopt);
    EXPECT_EQ(parse("---\nsyncing: false\n---\n"), std::nullopt);
}

TEST(FrontmatterSyncOverrideTest, FirstSyncKeyDecidesEvenWhenItsValueIsUnknown) {
    EXPECT_EQ(parse("---\nsync: maybe\nsync: false\n---\n"), std::nullopt);
    EXPECT_EQ(parse("---\nsync: false\nsync: cloudkit\n---\n"), SyncOverride::disabled);
}

TEST(FrontmatterSyncOverrideTest, NeedsTwoMarkers) {
    EXPECT_EQ(parse("sync: false"), std::nullopt);
    EXPECT_EQ(parse("---\nsync: false\n"), std::nullopt);
    EXPECT_EQ(parse(""), std::nullopt);
}

TEST(FrontmatterSyncOverrideTest, ReadsBetweenTheFirstTwoMarkersWhereverTheyStand) {
    EXPECT_EQ(parse("Intro --- sync: false --- tail"), SyncOverride::disabled);
    EXPECT_EQ(parse("# Title\n---\nsync: cloudkit\n---\n"), SyncOverride::enabled);
    // Only the first block counts.
    EXPECT_EQ(parse("---\ntitle: a\n---\n---\nsync: false\n---\n"), std::nullopt);
}

} // namespace
} // namespace mnemora::core
