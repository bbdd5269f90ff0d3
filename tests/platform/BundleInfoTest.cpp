#include <gtest/gtest.h>

#include "platform/BundleInfo.h"
#include "support/TestEnvironment.h"

using namespace mnemora;
using mnemora::test::TestEnvironment;

TEST(BundleInfo, ReadsTheInfoValuesOfABundleFolder) {
    TestEnvironment env;
    const QString folder = env.root() + "/Tallo";
    TestEnvironment::writeFile(
        folder + "/Info.json",
        R"({"identifier": "tallo.ai", "displayName": "", "name": "Tallo", "extra": 1,
            "desktopEntry": "ai.tallo.Tallo"})");

    const BundleInfo info = BundleInfo::read(folder);
    EXPECT_EQ(info.identifier, "tallo.ai");
    EXPECT_EQ(info.displayName, "");
    EXPECT_EQ(info.name, "Tallo");
    EXPECT_EQ(info.desktopEntry, "ai.tallo.Tallo");
    EXPECT_EQ(info.resourcesFolder(), folder + "/Resources");
    EXPECT_TRUE(BundleInfo::isBundleFolder(folder));
}

TEST(BundleInfo, MissingMalformedOrMistypedInfoGivesEmptyValues) {
    TestEnvironment env;
    EXPECT_FALSE(BundleInfo::isBundleFolder(env.root()));
    EXPECT_TRUE(BundleInfo::read(env.root()).identifier.isEmpty());

    TestEnvironment::writeFile(env.root() + "/bad/Info.json", "{not json");
    EXPECT_TRUE(BundleInfo::read(env.root() + "/bad").identifier.isEmpty());

    TestEnvironment::writeFile(env.root() + "/typed/Info.json", R"({"identifier": 7})");
    EXPECT_TRUE(BundleInfo::read(env.root() + "/typed").identifier.isEmpty());
}

TEST(BundleInfo, MainCanBeStoodInForByTests) {
    BundleInfo fake;
    fake.identifier = "vox.let";
    BundleInfo::overrideMainForTesting(fake);
    EXPECT_EQ(BundleInfo::main().identifier, "vox.let");
    BundleInfo::overrideMainForTesting(std::nullopt);
    EXPECT_NE(BundleInfo::main().identifier, "vox.let");
}
