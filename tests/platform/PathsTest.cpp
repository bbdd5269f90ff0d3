#include <gtest/gtest.h>

#include "platform/Paths.h"
#include "support/TestEnvironment.h"

using namespace mnemora;
using mnemora::test::TestEnvironment;

TEST(Paths, RootsFollowTheXdgVariablesAndFallBackBelowHome) {
    TestEnvironment env;
    EXPECT_EQ(platform::Paths::applicationSupportRoot(), env.dataHome());
    EXPECT_EQ(platform::Paths::cachesRoot(), env.cacheHome());
    EXPECT_EQ(platform::Paths::logsRoot(), env.stateHome());

    env.setEnv("XDG_DATA_HOME", QString());
    env.setEnv("XDG_CACHE_HOME", QStringLiteral("relative/cache")); // not absolute: ignored
    env.setEnv("XDG_STATE_HOME", QStringLiteral("/elsewhere/state/"));
    EXPECT_EQ(platform::Paths::applicationSupportRoot(), env.home() + "/.local/share");
    EXPECT_EQ(platform::Paths::cachesRoot(), env.home() + "/.cache");
    EXPECT_EQ(platform::Paths::logsRoot(), QStringLiteral("/elsewhere/state"));
}

TEST(Paths, ExpandsOnlyALeadingTilde) {
    TestEnvironment env;
    EXPECT_EQ(platform::Paths::expandTilde("~"), env.home());
    EXPECT_EQ(platform::Paths::expandTilde("~/Tallo"), env.home() + "/Tallo");
    EXPECT_EQ(platform::Paths::expandTilde("~other/x"), QStringLiteral("~other/x"));
    EXPECT_EQ(platform::Paths::expandTilde("/a/~/b"), QStringLiteral("/a/~/b"));
}
