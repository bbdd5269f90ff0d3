#include "core/FrontmatterSyncOverride.h"

#include <gtest/gtest.h>

#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace mnemora::core {
namespace {

TEST(FrontmatterSyncOverrideTest, ReadsTheFirstSyncKeyBetweenTheFirstTwoMarkers) {
    const std::optional<SyncOverride> none;
    const std::vector<std::pair<std::string_view, std::optional<SyncOverride>>> cases = {
        {"---\nsync: false\n---\nBody", SyncOverride::disabled},
        {"---\nsync: cloudkit\n---\n", SyncOverride::enabled},
        {"---\ntitle: Groceries\n\t sync \t:\t cloudkit \n---\n", SyncOverride::enabled},
        // Files saved with CR LF or lone CR line ends say the same.
        {"---\r\nsync: false\r\n---\r\nBody", SyncOverride::disabled},
        {"---\rtitle: a\rsync: false\r---\rBody", SyncOverride::disabled},
        {"---\r\nsync: cloudkit\r\n---\r\n", SyncOverride::enabled},
        // An unknown value or a missing key gives nothing.
        {"---\nsync: maybe\n---\n", none},
        {"---\nsync: False\n---\n", none},
        {"---\ntitle: a\nno colon here\n---\n", none},
        {"---\nsyncing: false\n---\n", none},
        // The first sync key decides, even when its value is unknown.
        {"---\nsync: maybe\nsync: false\n---\n", none},
        {"---\nsync: false\nsync: cloudkit\n---\n", SyncOverride::disabled},
        // Two markers are needed, wherever they stand; only the first pair counts.
        {"sync: false", none},
        {"---\nsync: false\n", none},
        {"", none},
        {"Intro --- sync: false --- tail", SyncOverride::disabled},
        {"# Title\n---\nsync: cloudkit\n---\n", SyncOverride::enabled},
        {"---\ntitle: a\n---\n---\nsync: false\n---\n", none},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(FrontmatterSyncOverride::parse(text), expected) << text;
    }
}

} // namespace
} // namespace mnemora::core
