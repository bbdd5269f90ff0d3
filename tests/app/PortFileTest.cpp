#include <gtest/gtest.h>

#include "app/PortFile.h"
#include "support/TestEnvironment.h"

using namespace mnemora;

TEST(PortFile, ParsesATrimmedDecimalWithAnOptionalSign) {
    EXPECT_EQ(PortFile::parse("+8123\n"), 8123);
    EXPECT_EQ(PortFile::parse("  8123 \r\n"), 8123);
    EXPECT_EQ(PortFile::parse("-1"), -1);
    EXPECT_EQ(PortFile::parse("2147483647"), 2147483647);
    for (const char* bad : {"8123x", "", "  ", "+", "12 34", "0x1F", "99999999999", "2147483648"}) {
        EXPECT_EQ(PortFile::parse(bad), std::nullopt) << bad;
    }
}

TEST(PortFile, AMissingFileHasNoPort) {
    test::TestEnvironment env;
    EXPECT_EQ(PortFile::read(env.root() + "/daemon.port"), std::nullopt);
    test::TestEnvironment::writeFile(env.root() + "/daemon.port", "41234\n");
    EXPECT_EQ(PortFile::read(env.root() + "/daemon.port"), 41234);
}
