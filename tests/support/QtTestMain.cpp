#include <QCoreApplication>

#include <gtest/gtest.h>

// The main of every test program that uses Qt: services need an application object and the
// main thread's event loop.
int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
