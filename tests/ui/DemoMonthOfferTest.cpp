#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>

#include "app/AppStateStore.h"
#include "app/UserDefaults.h"
#include "support/BundleOverride.h"
#include "support/QtPrinters.h"
#include "support/TestEnvironment.h"
#include "ui/DemoMonthOffer.h"

using namespace mnemora;
using namespace mnemora::test;

namespace {

const QString kPending = QString::fromLatin1(UserDefaults::demoOfferPending);
const QString kDeclined = QString::fromLatin1(UserDefaults::demoOfferDeclined);

class DemoMonthOfferTest : public ::testing::Test {
protected:
    TestEnvironment env;
    BundleOverride bundle{"tallo.ai", "Tallo", "Tallo"};
    AppStateStore state;
    DemoMonthOffer offer{&state};
};

TEST_F(DemoMonthOfferTest, StandsOnlyWhileTheFirstRunLeftItPendingAndNotDeclined) {
    EXPECT_FALSE(offer.shown());
    UserDefaults().setBool(kPending, true);
    EXPECT_TRUE(offer.shown());
    EXPECT_EQ(offer.title(),
              "This'll take a while. Want to watch me do a made-up month in the meantime?");
    EXPECT_EQ(offer.detail(), "It opens in its own window, on made-up books. Yours keeps going.");
    offer.decline();
    EXPECT_TRUE(UserDefaults().boolValue(kDeclined));
    EXPECT_FALSE(offer.shown());
    offer.accept(); // declined: nothing opens
    EXPECT_EQ(state.pendingOpenWindow(), std::nullopt);
}

TEST_F(DemoMonthOfferTest, ShowMeBuildsTheDemoVaultAndAsksForItsWindowOnce) {
    UserDefaults().setBool(kPending, true);
    offer.accept();
    const QString vault = env.home() + "/Tallo Demo";
    EXPECT_EQ(offer.failure(), "");
    EXPECT_EQ(state.pendingOpenWindow(), (OpenWindowRequest{"vault-window", vault}));
    EXPECT_TRUE(QFileInfo(vault + "/Notes").isDir());
    EXPECT_TRUE(QFileInfo::exists(vault + "/.mnemora/config.json"));
    EXPECT_FALSE(UserDefaults().boolValue(kPending));
    EXPECT_FALSE(offer.shown());
    EXPECT_FALSE(offer.opening());
}

TEST_F(DemoMonthOfferTest, AFailureSaysWhyAndKeepsTheOffer) {
    UserDefaults().setBool(kPending, true);
    // A file where the demo's folder goes: the folders cannot be made.
    TestEnvironment::writeFile(env.home() + "/Tallo Demo", "in the way");
    offer.accept();
    EXPECT_EQ(offer.failure(), "Couldn't set the demo up: could not create the folder " +
                                   env.home() +
                                   "/Tallo Demo/Registry Your own period is unaffected.");
    EXPECT_EQ(state.pendingOpenWindow(), std::nullopt);
    EXPECT_TRUE(offer.shown());
}

} // namespace
