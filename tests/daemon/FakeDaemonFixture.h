#pragma once

#include <QByteArray>
#include <QString>

#include <gtest/gtest.h>

#include <optional>

#include "app/VaultPaths.h"
#include "daemon/DaemonService.h"
#include "platform/BundleInfo.h"
#include "support/HttpServer.h"
#include "support/TestEnvironment.h"

namespace mnemora::test {

// A daemon client pointed at an in-process fake daemon through the shared port file.
class FakeDaemonFixture : public ::testing::Test {
protected:
    void SetUp() override {
        BundleInfo::overrideMainForTesting(
            BundleInfo{QString(), QStringLiteral("ai.mnemora"), {}, {}});
        portFile = VaultPaths::sharedCacheFolder() + QStringLiteral("/daemon.port");
    }
    void TearDown() override { BundleInfo::overrideMainForTesting(std::nullopt); }

    void pointAt(const HttpServer& server) const {
        TestEnvironment::writeFile(portFile, QByteArray::number(server.port()) + '\n');
    }

    TestEnvironment env;
    QString portFile;
    DaemonService daemon;
};

} // namespace mnemora::test
