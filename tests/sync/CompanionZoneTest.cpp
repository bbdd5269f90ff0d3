#include "sync/CompanionZoneMaintenance.h"

#include "cloud/InMemoryRecordStore.h"
#include "cloud/SyncedDocZone.h"
#include "support/EventLoop.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QRegularExpression>

#include <gtest/gtest.h>

namespace mnemora::test {
namespace {

namespace Zones = CompanionZoneMaintenance;
using core::SyncedDocCollectionConfig;

TEST(CompanionZones, SlugKeepsLettersAndDigitsAndCollapsesTheRest) {
    const std::vector<std::pair<QString, QString>> cases = {
        {QStringLiteral("Äiti & Isä"), QStringLiteral("Äiti-Isä")},
        {QStringLiteral("---"), QStringLiteral("vault")},
        {QStringLiteral(""), QStringLiteral("vault")},
        {QStringLiteral("  Books 2026 (old) "), QStringLiteral("Books-2026-old")},
        {QStringLiteral("a__b..c"), QStringLiteral("a-b-c")},
    };
    for (const auto& [name, slug] : cases) {
        EXPECT_EQ(Zones::slug(name), slug) << name.toStdString();
    }
}

TEST(CompanionZones, ScopeIsEmptyForThePrimaryWrittenOnceAndSurvivesARename) {
    TestEnvironment env;
    const QString primary = env.root() + QStringLiteral("/Mnemora");
    TestEnvironment::writeFile(primary + QStringLiteral("/.mnemora/sync-zone"), "stale-0001\n");
    EXPECT_EQ(Zones::vaultScope(primary + QStringLiteral("/./"), primary), QString());

    const QString vault = env.root() + QStringLiteral("/Äiti & Isä");
    QDir().mkpath(vault);
    const QString scope = Zones::vaultScope(vault, primary);
    EXPECT_TRUE(
        QRegularExpression(QStringLiteral("^Äiti-Isä-[0-9a-f]{4}$")).match(scope).hasMatch())
        << scope.toStdString();
    EXPECT_EQ(TestEnvironment::readFile(vault + QStringLiteral("/.mnemora/sync-zone")),
              scope.toUtf8());

    const QString renamed = env.root() + QStringLiteral("/Family");
    ASSERT_TRUE(QDir().rename(vault, renamed));
    EXPECT_EQ(Zones::vaultScope(renamed, primary), scope);

    TestEnvironment::writeFile(renamed + QStringLiteral("/.mnemora/sync-zone"), "  \n");
    EXPECT_TRUE(Zones::vaultScope(renamed, primary).startsWith(QStringLiteral("Family-")));
}

TEST(CompanionZones, ListsScopesAndDeletesOnlyAVaultsOwnZones) {
    TestEnvironment env;
    const auto& collections = SyncedDocCollectionConfig::launchDefaults();
    auto store = std::make_shared<InMemoryRecordStore>();
    QStringList all;
    for (const QString& scope : {QString(), QStringLiteral("b2-00af")}) {
        for (const SyncedDocCollectionConfig& collection : collections) {
            all << SyncedDocZone::zoneID(collection, scope);
        }
    }
    all << QStringLiteral("Other");
    ASSERT_TRUE(runTask(store->modifyZones(all, {})).ok());

    const Expected<QList<Zones::Zone>> listed = runTask(Zones::listZones(store, collections));
    ASSERT_TRUE(listed.ok());
    EXPECT_EQ(listed->size(), 8);
    EXPECT_TRUE(listed->contains(
        Zones::Zone{QStringLiteral("SyncedDocs-b2-00af-lists-active"), QStringLiteral("b2-00af")}));
    EXPECT_TRUE(
        listed->contains(Zones::Zone{QStringLiteral("SyncedDocs-lists-active"), QString()}));

    const Expected<QStringList> refused =
        runTask(Zones::deleteZones(store, QString(), collections));
    EXPECT_EQ(refused.error(), QStringLiteral("refusing to delete the primary vault's zones — "
                                              "pass the scope of a specific vault"));
    EXPECT_EQ(runTask(store->fetchAllZones()).value.size(), 9);

    const Expected<QStringList> deleted =
        runTask(Zones::deleteZones(store, QStringLiteral("b2-00af"), collections));
    ASSERT_TRUE(deleted.ok()) << deleted.error().toStdString();
    EXPECT_EQ(deleted->size(), 4);
    QStringList left = runTask(store->fetchAllZones()).value;
    left.sort();
    QStringList expected = all.mid(0, 4) << QStringLiteral("Other");
    expected.sort();
    EXPECT_EQ(left, expected);

    EXPECT_EQ(runTask(Zones::listZones(nullptr, collections)).value(), QList<Zones::Zone>{});
}

} // namespace
} // namespace mnemora::test
