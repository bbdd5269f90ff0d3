#include <gtest/gtest.h>

#include <QDirIterator>
#include <QQuickWindow>

#include "app/AppStateStore.h"
#include "runtime/MnemoraApp.h"
#include "setup/FirstRunView.h"
#include "support/EventLoop.h"
#include "support/QtPrinters.h"
#include "support/TestEnvironment.h"
#include "ui/UiFixture.h"
#include "ui/WindowShell.h"

using namespace mnemora;
using namespace mnemora::test;

namespace {

const QString kQuestion =
    QStringLiteral("So — tell me about your business, and what you send your accountant.");

// Every inspection state of every brand's first run loads without a QML warning and shows what
// that screen is for.
TEST(FirstRunScreen, EveryScreenOfEveryBrandLoadsAndSaysWhatItIsFor) {
    struct Case {
        Brand brand;
        const char* state;
        QString shown;
        QString absent;
    };
    const QString funding = QStringLiteral("Who pays for the AI");
    const Case cases[] = {
        {Brand::tallo, "screen-a", kQuestion, funding},
        {Brand::tallo, "screen-b", funding, kQuestion},
        {Brand::tallo, "screen-b-spoken", QStringLiteral("Recording 0:14"), kQuestion},
        {Brand::tallo, "screen-b-phone", QStringLiteral("from your phone"), kQuestion},
        {Brand::tallo, "screen-c", QStringLiteral("The business: Northwind Design Oy"), funding},
        {Brand::tallo, "acceptance-card", QStringLiteral("I understand — go ahead"), kQuestion},
        {Brand::mnemora, "screen-a", funding, kQuestion},
        {Brand::mnemora, "screen-b-fresh", QStringLiteral("It can drive a browser"), kQuestion},
        {Brand::mnemora, "screen-b",
         QStringLiteral("Name the identity for your primary library. You can add more later."),
         kQuestion},
        {Brand::tallo, "screen-b-fresh", QStringLiteral("Let me read your photos"),
         QStringLiteral("Identity name")},
        {Brand::voxlet, "screen-a", QStringLiteral("Your voice comes back as words"), funding},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.state) + " " + BrandProfile::name(c.brand).toStdString());
        WarningLog warnings;
        UiFixture fixture(c.brand, false);
        fixture.start();
        fixture.app().appState().setPendingOnboardingCommand(QString::fromLatin1(c.state));
        QQuickWindow& window = fixture.window();
        EXPECT_TRUE(waitUntil([&] { return findAccessible(window, c.shown) != nullptr; }));
        EXPECT_EQ(findAccessible(window, c.absent), nullptr);
        fixture.app().appState().setPendingOnboardingCommand(QStringLiteral("finish"));
        EXPECT_TRUE(waitUntil([&] { return !findAccessible(window, c.shown); }));
        EXPECT_EQ(warnings.lines(), QStringList());
    }
}

TEST(FirstRunScreen, ATypedAnswerIsOnDiskBeforeTheGatesBegin) {
    WarningLog warnings;
    UiFixture fixture(Brand::tallo, true);
    fixture.start();
    fixture.app().appState().setShowOnboarding(true);
    QQuickWindow& window = fixture.window();
    QAccessibleInterface* field = nullptr;
    ASSERT_TRUE(waitUntil([&] { return (field = findAccessible(window, "Your answer")); }));
    QAccessibleInterface* start = findAccessible(window, "That's it — get started");
    ASSERT_TRUE(start);
    EXPECT_FALSE(fixture.shell().firstRun()->canSend()); // nothing said yet
    // No record store, no phone offer: not even a greyed-out one.
    EXPECT_EQ(findAccessible(window, "Rather answer on your phone?"), nullptr);
    fixture.shell().firstRun()->setPhoneOffer(true);
    EXPECT_TRUE(waitUntil([&] { return findAccessible(window, "Rather answer on your phone?"); }));

    click(window, field);
    type(window, "A design studio in Helsinki");
    EXPECT_TRUE(fixture.shell().firstRun()->canSend());
    click(window, start);
    ASSERT_TRUE(waitUntil([&] { return findAccessible(window, "Who pays for the AI"); }));
    EXPECT_EQ(fixture.app().appState().firstRunPhase(), QStringLiteral("setup"));

    QDirIterator files(fixture.vault() + QStringLiteral("/Registry"),
                       {QStringLiteral("setup-business.md")}, QDir::Files,
                       QDirIterator::Subdirectories);
    ASSERT_TRUE(files.hasNext());
    const QString text = QString::fromUtf8(TestEnvironment::readFile(files.next()));
    EXPECT_TRUE(text.contains(QStringLiteral("\nstatus: answered\n"))) << text.toStdString();
    EXPECT_TRUE(text.endsWith(QStringLiteral("## Answer\n\nA design studio in Helsinki\n")));
    EXPECT_EQ(warnings.lines(), QStringList());
}

} // namespace
