#include <gtest/gtest.h>

#include "app/VaultPaths.h"
#include "app/WindowTarget.h"
#include "support/BundleOverride.h"
#include "support/TestEnvironment.h"

using namespace mnemora;
using namespace mnemora::WindowTarget;

namespace {

const QStringList vaults{"/srv/Books", "/srv/Books Archive", "/home/x/Primary"};
const QList<OpenWindow> windows{
    {"Tallo", std::nullopt, true},
    {"Books", QString("/srv/Books"), false},
    {"Books Archive", QString("/srv/Books Archive"), false},
    {"Books Archive — Ledger", QString("/srv/Books Archive"), false},
    {"Gone", QString("/srv/Closed"), false},
};

} // namespace

TEST(WindowTarget, NothingOrPrimaryInAnyCaseMeansThePrimaryWindow) {
    EXPECT_EQ(resolve(std::nullopt, vaults, windows), Resolution::primary());
    EXPECT_EQ(resolve(" \n", vaults, windows), Resolution::primary());
    EXPECT_EQ(resolve(" PriMary\n", vaults, windows), Resolution::primary());
}

TEST(WindowTarget, VaultPathsWinExactlyThenTitlesThenTheLongestSubstring) {
    EXPECT_EQ(resolve("/SRV/books", vaults, windows), Resolution::vault("/srv/Books"));
    // "books archive" is a window title of one vault (two windows, one vault).
    EXPECT_EQ(resolve("books archive", vaults, windows), Resolution::vault("/srv/Books Archive"));
    // A part of two vault paths: the longest path wins.
    EXPECT_EQ(resolve("srv/bo", vaults, windows), Resolution::vault("/srv/Books Archive"));
    // A window title of the primary.
    EXPECT_EQ(resolve("tallo", vaults, windows), Resolution::primary());
}

TEST(WindowTarget, AmbiguousOrUnknownTargetsAreNotResolved) {
    // Title parts of windows of two different vaults: listed, sorted.
    const QList<OpenWindow> two{{"Ledger B", QString("/b"), false},
                                {"Ledger A", QString("/a"), false}};
    EXPECT_EQ(resolve("ledger", {"/a", "/b"}, two), Resolution::none({"Ledger A", "Ledger B"}));
    // The primary and a vault window together are ambiguous too.
    const QList<OpenWindow> mixed{{"Books", std::nullopt, true}, {"Books", QString("/b"), false}};
    EXPECT_EQ(resolve("books", {"/b"}, mixed), Resolution::none({"Books", "Books"}));
    // A window whose vault is no longer open.
    EXPECT_EQ(resolve("gone", vaults, windows), Resolution::none());
    EXPECT_EQ(resolve("nothing like it", vaults, windows), Resolution::none());
}

TEST(VaultPaths, CacheKeyAndLocations) {
    test::TestEnvironment env;
    test::BundleOverride bundle("tallo.ai", "Tallo", "Tallo");
    EXPECT_EQ(VaultPaths::cacheKey("/Users/x/Foo Bar/"), "_Users_x_Foo Bar");
    EXPECT_EQ(VaultPaths::cacheKey("/a/b//"), "_a_b");
    EXPECT_EQ(VaultPaths::vaultCacheFolder("/a/b"), VaultPaths::vaultCacheFolder("/a/b/"));
    EXPECT_EQ(VaultPaths::vaultCacheFolder("/a/b"), env.cacheHome() + "/tallo.ai/vaults/_a_b");
    EXPECT_EQ(VaultPaths::daemonLogFile(""), env.stateHome() + "/tallo.ai/daemon.log");
    EXPECT_EQ(VaultPaths::daemonLogFile("_a_b"), env.stateHome() + "/tallo.ai/daemon-_a_b.log");
    EXPECT_EQ(VaultPaths::vaultConfigFile("/a/b/"), "/a/b/.mnemora/config.json");
}
