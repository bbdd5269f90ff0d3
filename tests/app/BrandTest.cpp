#include <gtest/gtest.h>

#include "app/Brand.h"
#include "support/BundleOverride.h"

using namespace mnemora;
using mnemora::test::BundleOverride;

TEST(Brand, OnlyExactIdentifiersSelectVoxletOrTallo) {
    EXPECT_EQ(brandForIdentifier("vox.let"), Brand::voxlet);
    EXPECT_EQ(brandForIdentifier("tallo.ai"), Brand::tallo);
    for (const char* other :
         {"ai.mnemora", "", "tallo.ai.beta", "com.tallo.ai", "Tallo.ai", " tallo.ai", "vox.let2"}) {
        EXPECT_EQ(brandForIdentifier(other), Brand::mnemora) << other;
    }
}

TEST(Brand, IsRecomputedFromTheBundleAtEachUse) {
    {
        BundleOverride bundle("tallo.ai", "Tallo", "Tallo");
        EXPECT_EQ(brand(), Brand::tallo);
    }
    {
        BundleOverride bundle("vox.let", "Voxlet", "Voxlet");
        EXPECT_EQ(brand(), Brand::voxlet);
    }
    BundleOverride none("", "", "");
    EXPECT_EQ(brand(), Brand::mnemora);
    EXPECT_EQ(bundleIdentifier(), "ai.mnemora");
}

TEST(Brand, DisplayNameFallsThroughEmptyValues) {
    {
        BundleOverride bundle("tallo.ai", "Tallo Books", "Tallo");
        EXPECT_EQ(appDisplayName(), "Tallo Books");
    }
    {
        BundleOverride bundle("tallo.ai", "", "Tallo");
        EXPECT_EQ(appDisplayName(), "Tallo");
    }
    {
        BundleOverride bundle("tallo.ai", "", "");
        EXPECT_EQ(appDisplayName(), "tallo.ai");
    }
    BundleOverride bundle("", "", "");
    EXPECT_EQ(appDisplayName(), "ai.mnemora");
}

TEST(BrandProfile, ValuesDifferByProductAsTheTableSays) {
    using namespace BrandProfile;
    EXPECT_EQ(name(Brand::voxlet), "Voxlet");
    EXPECT_EQ(slug(Brand::voxlet), "voxlite"); // the slug differs from the name
    EXPECT_EQ(serverKey(Brand::voxlet), "voxlet");
    EXPECT_EQ(slug(Brand::tallo), "tallo");
    EXPECT_EQ(daemonBinaryNames(Brand::mnemora), QStringList{"mnemora-daemon"});
    EXPECT_EQ(daemonBinaryNames(Brand::tallo), (QStringList{"tallo-daemon", "mnemora-daemon"}));
    EXPECT_EQ(daemonBinaryNames(Brand::voxlet), (QStringList{"voxlet-daemon", "mnemora-daemon"}));
    EXPECT_EQ(introspectionBasePort(Brand::mnemora), 21500);
    EXPECT_EQ(introspectionBasePort(Brand::voxlet), 21520);
    EXPECT_EQ(introspectionBasePort(Brand::tallo), 21540);
    EXPECT_EQ(minimumWindowWidth(Brand::tallo), 720);
    EXPECT_EQ(minimumWindowWidth(Brand::voxlet), 900);
    EXPECT_EQ(minimumWindowHeight(Brand::tallo), 600);
    EXPECT_EQ(sidebarLabel(SidebarItem::integrations, Brand::tallo), "Sessions and Claude Code");
    EXPECT_EQ(sidebarLabel(SidebarItem::integrations, Brand::mnemora), "AI Integrations");
    EXPECT_EQ(updateFeedPath(Brand::tallo), "/darwin/aarch64/appcast.xml");
}

TEST(BrandProfile, SidebarsAndInitialSelection) {
    using S = SidebarItem;
    EXPECT_EQ(BrandProfile::sidebarItems(Brand::tallo), QList<S>{S::home});
    EXPECT_EQ(BrandProfile::initialSelection(Brand::tallo), S::home);
    EXPECT_EQ(BrandProfile::initialSelection(Brand::voxlet), S::transcribe);
    const QList<S> mnemora = BrandProfile::sidebarItems(Brand::mnemora);
    ASSERT_EQ(mnemora.size(), 8);
    EXPECT_EQ(sidebarItemWord(mnemora[1]), "lifeBook");
    EXPECT_EQ(sidebarItemWord(mnemora[7]), "transcribe");
}

TEST(Brand, SessionNamePrefixesAndTheOlderForm) {
    EXPECT_EQ(sessionNamePrefix("nightly", Brand::tallo), "tallo-dreamer-nightly-");
    EXPECT_EQ(sessionNamePrefix("a", Brand::voxlet), "vx-dreamer-a-");
    EXPECT_EQ(sessionNamePrefix("a", Brand::mnemora), "mn-dreamer-a-");
    EXPECT_EQ(dreamerSessionPrefixes(Brand::tallo), (QStringList{"tallo-dreamer-", "mn-dreamer-"}));
    EXPECT_EQ(dreamerSessionPrefixes(Brand::mnemora), QStringList{"mn-dreamer-"});
}
