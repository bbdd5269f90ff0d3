#include <gtest/gtest.h>

#include "app/UserDefaults.h"
#include "support/TestEnvironment.h"

using namespace mnemora;

TEST(UserDefaults, PersistsPerBundleIdentifier) {
    test::TestEnvironment env;
    {
        UserDefaults tallo("tallo.ai");
        EXPECT_FALSE(tallo.boolValue(UserDefaults::onboardingComplete));
        tallo.setBool(UserDefaults::onboardingComplete, true);
        tallo.setString(UserDefaults::onboardingStep, "welcome");
        tallo.setData(UserDefaults::syncEngineStateKey("zone-a"), QByteArray("\x00\x01\xff", 3));
        EXPECT_EQ(tallo.filePath(), env.configHome() + "/tallo.ai.ini");
    }
    UserDefaults again("tallo.ai");
    EXPECT_TRUE(again.boolValue(UserDefaults::onboardingComplete));
    EXPECT_EQ(again.stringValue(UserDefaults::onboardingStep), "welcome");
    EXPECT_EQ(again.dataValue("syncedDocs.engineState.v1.zone-a"), QByteArray("\x00\x01\xff", 3));
    again.remove(UserDefaults::onboardingStep);
    EXPECT_EQ(again.stringValue(UserDefaults::onboardingStep), std::nullopt);

    UserDefaults voxlet("vox.let");
    EXPECT_FALSE(voxlet.boolValue(UserDefaults::onboardingComplete));
}
