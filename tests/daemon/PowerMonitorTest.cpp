#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

#include "daemon/DaemonService.h"
#include "daemon/PowerMonitor.h"
#include "support/EventLoop.h"
#include "support/HttpServer.h"
#include "support/QtPrinters.h"
#include "support/TestEnvironment.h"

using namespace mnemora;
using namespace std::chrono_literals;
using mnemora::test::HttpServer;
using mnemora::test::runTask;
using mnemora::test::TestEnvironment;
using mnemora::test::waitUntil;

namespace {

struct Supply {
    const char* name;
    const char* type;
    const char* online; // nullptr: no such file
};

struct PowerTest : ::testing::Test {
    TestEnvironment env;
    QString sys = env.root() + "/sys/class/power_supply";
    QString tool = env.root() + "/bin/powerprofilesctl";

    void supplies(const std::vector<Supply>& list) const {
        for (const Supply& supply : list) {
            const QString base = sys + "/" + supply.name + "/";
            TestEnvironment::writeFile(base + "type", QByteArray(supply.type) + "\n");
            if (supply.online) {
                TestEnvironment::writeFile(base + "online", QByteArray(supply.online) + "\n");
            }
        }
    }
    // A stand-in for the profile tool that prints `profile`, or fails when it is empty.
    void profile(const QByteArray& profile) const {
        TestEnvironment::writeFile(
            tool, profile.isEmpty() ? QByteArray("#!/bin/sh\nexit 1\n")
                                    : "#!/bin/sh\n[ \"$1\" = get ] && echo " + profile + "\n");
        QFile::setPermissions(tool, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    void point(PowerProbe& probe) const {
        probe.setSupplyFolder(sys);
        probe.setProfileCommand({tool, "get"});
    }
};

} // namespace

TEST_F(PowerTest, TheStateFollowsTheSuppliesAndTheProfile) {
    const std::vector<Supply> laptopOnBattery{{"AC", "Mains", "0"}, {"BAT0", "Battery", "1"}};
    const std::vector<Supply> laptopOnMains{{"ADP1", "Mains", "1"}, {"BAT0", "Battery", nullptr}};
    const std::vector<Supply> usbCharger{{"ucsi-source-psy-1", "USB", "1"},
                                         {"BAT1", "Battery", "1"}};
    const std::vector<Supply> desktop{};
    const std::vector<Supply> desktopWithMouse{{"hidpp_battery_0", "Battery", nullptr}};
    struct Case {
        const char* what;
        std::vector<Supply> supplies;
        QByteArray profile; // empty: the tool fails; "missing": no tool at all
        DaemonPowerState state;
    };
    const Case cases[] = {
        {"battery, balanced", laptopOnBattery, "balanced", DaemonPowerState::batteryAutoPower},
        {"battery, performance", laptopOnBattery, "performance",
         DaemonPowerState::batteryHighPower},
        {"battery, power saver", laptopOnBattery, "power-saver", DaemonPowerState::batteryLowPower},
        {"mains, power saver", laptopOnMains, "power-saver", DaemonPowerState::batteryLowPower},
        {"mains, performance", laptopOnMains, "performance", DaemonPowerState::ac},
        {"USB charger", usbCharger, "balanced", DaemonPowerState::ac},
        {"no supplies", desktop, "balanced", DaemonPowerState::ac},
        {"battery, tool fails", laptopOnBattery, "", DaemonPowerState::batteryAutoPower},
        {"battery, no tool", laptopOnBattery, "missing", DaemonPowerState::batteryAutoPower},
        {"a mouse battery only", desktopWithMouse, "missing", DaemonPowerState::batteryAutoPower},
    };
    for (const Case& c : cases) {
        QDir(env.root() + "/sys").removeRecursively();
        QFile::remove(tool);
        supplies(c.supplies);
        if (c.profile != "missing") {
            profile(c.profile);
        }
        PowerProbe probe;
        point(probe);
        EXPECT_EQ(PowerMonitor::decide(runTask(probe.read())), c.state) << c.what;
    }
    PowerProbe unreadable;
    unreadable.setSupplyFolder(env.root() + "/nowhere");
    EXPECT_TRUE(unreadable.onAC());
}

TEST_F(PowerTest, OnlyAChangeIsPushedAndAFailedPushWaitsForTheNextChange) {
    supplies({{"AC", "Mains", "0"}, {"BAT0", "Battery", "1"}});
    profile("balanced");
    int answer = 200;
    HttpServer server([&](const HttpServer::Request&) { return HttpServer::json("{}", answer); });
    DaemonService daemon;
    TestEnvironment::writeFile(daemon.portFilePath(), QByteArray::number(server.port()));
    PowerMonitor monitor;
    point(monitor.probe());
    monitor.setPollInterval(10ms);
    monitor.start(&daemon);

    ASSERT_TRUE(waitUntil([&] { return server.requestCount("/power-state") == 1; }));
    EXPECT_EQ(QJsonDocument::fromJson(server.requests().at(0).body).object(),
              (QJsonObject{{"state", "battery_auto_power"}}));
    ASSERT_TRUE(waitUntil([&] { return monitor.lastPushedAt().has_value(); }));
    // Many polls with nothing changed: no further request.
    runTask(monitor.refresh("tick"));
    runTask(monitor.refresh("tick"));
    EXPECT_EQ(server.requestCount("/power-state"), 1);

    answer = 500;
    profile("power-saver");
    ASSERT_TRUE(waitUntil([&] { return server.requestCount("/power-state") == 2; }));
    EXPECT_EQ(monitor.state(), DaemonPowerState::batteryLowPower);
    runTask(monitor.refresh("tick"));
    EXPECT_EQ(server.requestCount("/power-state"), 2); // not repeated

    monitor.stop();
    profile("performance");
    runTask(monitor.refresh("tick"));
    // A poll that began before stop() may be the one that sees the change and pushes it; either
    // way exactly one more push arrives.
    ASSERT_TRUE(waitUntil([&] { return server.requestCount("/power-state") == 3; }));
    EXPECT_EQ(QJsonDocument::fromJson(server.requests().last().body).object(),
              (QJsonObject{{"state", "battery_high_power"}}));
}
