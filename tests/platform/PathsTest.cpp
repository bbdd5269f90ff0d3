#include <gtest/gtest.h>

#include "platform/Paths.h"
#include "support/TestEnvironment.h"

using namespace mnemora;
using mnemora::test::TestEnvironment;

TEST(Paths, RootsFollowTheXdgVariablesAndFallBackBelowHome) {
    TestEnvironment env;
    EXPECT_EQ(Paths::applicationSupportRoot(), env.dataHome());
    EXPECT_EQ(Paths::cachesRoot(), env.cacheHome());
    EXPECT_EQ(Paths::logsRoot(), env.stateHome());

    env.setEnv("XDG_DATA_HOME", QString());
    env.setEnv("XDG_CACHE_HOME", QStringLiteral("relative/cache")); // not absolute: ignored
    env.setEnv("XDG_STATE_HOME", QStringLiteral("/elsewhere/state/"));
    EXPECT_EQ(Paths::applicationSupportRoot(), env.home() + "/.local/share");
    EXPECT_EQ(Paths::cachesRoot(), env.home() + "/.cache");
    EXPECT_EQ(Paths::logsRoot(), QStringLiteral("/elsewhere/state"));
}

TEST(Paths, ExpandsOnlyALeadingTilde) {
    TestEnvironment env;
    EXPECT_EQ(Paths::expandTilde("~"), env.home());
    EXPECT_EQ(Paths::expandTilde("~/Tallo"), env.home() + "/Tallo");
    EXPECT_EQ(Paths::expandTilde("~other/x"), QStringLiteral("~other/x"));
    EXPECT_EQ(Paths::expandTilde("/a/~/b"), QStringLiteral("/a/~/b"));
}
