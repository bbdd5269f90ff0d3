#pragma once

#include "cloud/CouchRecordStore.h"
#include "cloud/InMemoryRecordStore.h"
#include "support/EventLoop.h"
#include "support/PouchServer.h"
#include "support/QtPrinters.h"

#include <gtest/gtest.h>

#include <memory>

namespace mnemora {

// Failure messages that show what a record holds.
inline void PrintTo(const Record& record, std::ostream* out) {
    *out << record.recordType().toStdString() << ' ' << record.recordID().zoneName.toStdString()
         << '/' << record.recordID().recordName.toStdString() << " @"
         << record.changeTag().value_or(QStringLiteral("-")).toStdString() << " {";
    for (const Record::Field& field : record.fields()) {
        *out << ' ' << field.key.toStdString() << ':' << static_cast<int>(fieldType(field.value))
             << '=';
        std::visit(
            [out](const auto& value) {
                using T = std::decay_t<decltype(value)>;
                if constexpr (std::is_same_v<T, QString>) {
                    *out << value.toStdString();
                } else if constexpr (std::is_same_v<T, QDateTime>) {
                    *out << value.toString(Qt::ISODateWithMs).toStdString();
                } else if constexpr (std::is_same_v<T, RecordReference>) {
                    *out << value.recordID.recordName.toStdString();
                } else if constexpr (std::is_same_v<T, RecordAsset>) {
                    *out << value.filePath.toStdString() << value.digest.toStdString();
                } else {
                    *out << value;
                }
            },
            field.value);
    }
    *out << " }";
}

} // namespace mnemora

namespace mnemora::test {

enum class Backend { memory, couch };

inline std::string backendName(const testing::TestParamInfo<Backend>& info) {
    return info.param == Backend::memory ? "InMemory" : "PouchDB";
}

// A test run against each record store back end. Every test gets a fresh database; clients made
// by `newClient()` share it, as two devices share an account. One PouchDB Server serves the
// whole suite.
class BackendTest : public testing::TestWithParam<Backend> {
protected:
    static void TearDownTestSuite() { sharedServer().reset(); }

    void SetUp() override {
        if (GetParam() == Backend::couch) {
            if (!sharedServer()) {
                sharedServer() = std::make_unique<PouchServer>();
            }
            ASSERT_TRUE(sharedServer()->isRunning()) << sharedServer()->error().toStdString();
            databaseUrl = sharedServer()->freshDatabaseUrl();
        }
    }

    std::shared_ptr<RecordStore> newClient(const QString& accountName = QStringLiteral("anna")) {
        if (GetParam() == Backend::memory) {
            return std::make_shared<InMemoryRecordStore>(database, accountName);
        }
        return std::make_shared<CouchRecordStore>(RecordStoreAccount{databaseUrl, {}, {}});
    }

    static std::unique_ptr<PouchServer>& sharedServer() {
        static std::unique_ptr<PouchServer> server;
        return server;
    }

    std::shared_ptr<InMemoryRecordDatabase> database = std::make_shared<InMemoryRecordDatabase>();
    QUrl databaseUrl;
};

// Every change after `token`, page by page; the token ends where the feed ended.
inline ChangesPage allChanges(RecordStore& store, QString& token, int pageLimit = 1000) {
    ChangesPage all;
    for (;;) {
        StoreResult<ChangesPage> page = runTask(store.fetchChanges(token, pageLimit));
        EXPECT_TRUE(page.ok()) << page.error->message.toStdString();
        if (!page.ok()) {
            return all;
        }
        all.modifiedZones += page.value.modifiedZones;
        all.deletedZones += page.value.deletedZones;
        all.modifiedRecords += page.value.modifiedRecords;
        all.deletedRecords += page.value.deletedRecords;
        token = page.value.token;
        if (!page.value.moreComing) {
            return all;
        }
    }
}

} // namespace mnemora::test
