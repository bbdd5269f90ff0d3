#include <QApplication>

#include <gtest/gtest.h>

#include "ui/UiFixture.h"

// The main of the tests that load the screens: a widgets application on the offscreen platform,
// the way the product runs with a display.
int main(int argc, char** argv) {
    mnemora::test::prepareOffscreenEnvironment();
    QApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
