#pragma once

#include "app/VaultPaths.h"
#include "cloud/CouchRecordStore.h"
#include "core/SqliteSidecarStore.h"
#include "core/SyncedDocEngine.h"
#include "daemon/DaemonService.h"
#include "platform/BundleInfo.h"
#include "support/EventLoop.h"
#include "support/HttpServer.h"
#include "support/PouchServer.h"
#include "support/TestEnvironment.h"
#include "sync/SyncedDocsBridgeService.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <memory>

namespace mnemora::test {

using namespace std::chrono_literals;

inline const QString kDoc = QStringLiteral("lists/active/Groceries.md");

inline QByteArray checklist(const QStringList& items) {
    QByteArray text;
    for (const QString& item : items) {
        text += "- [ ] " + item.toUtf8() + '\n';
    }
    return text;
}

inline QStringList items(int count, const QString& word = QStringLiteral("item")) {
    QStringList list;
    for (int i = 1; i <= count; ++i) {
        list << QStringLiteral("%1 %2").arg(word).arg(i);
    }
    return list;
}

// One desktop: a vault's Notes folder, its sidecar file, the engine and the bridge.
struct Desktop {
    QString notes;
    QString logPath;
    std::unique_ptr<core::SqliteSidecarStore> sidecar;
    std::unique_ptr<core::SyncedDocEngine> engine;
    std::unique_ptr<SyncedDocsBridgeService> bridge;

    QStringList logLines() const {
        SyncLog::flush();
        QStringList lines;
        QFile file(logPath);
        if (file.open(QIODevice::ReadOnly)) {
            static const QRegularExpression stamp(QStringLiteral("^\\S+Z "));
            for (QString line : QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'))) {
                lines << line.remove(stamp);
            }
        }
        return lines;
    }
    bool logged(const QString& line) const { return logLines().contains(line); }
    bool idle() const {
        const RecordSyncEngine* engine = bridge->syncEngine();
        return engine && engine->state().pendingRecordZoneChanges().isEmpty() &&
               engine->state().pendingDatabaseChanges().isEmpty();
    }
    QString filePath(const QString& docPath) const { return notes + QLatin1Char('/') + docPath; }
};

// A real PouchDB Server as the account's database, a fake daemon that writes `docs/write` into
// the first desktop's Notes folder, and plain HTTP for the phone's side.
class BridgeFixture : public testing::Test {
protected:
    static void TearDownTestSuite() { server().reset(); }

    void SetUp() override {
        BundleInfo::overrideMainForTesting(
            BundleInfo{QString(), QStringLiteral("ai.mnemora"), {}, {}});
        if (!server()) {
            server() = std::make_unique<PouchServer>();
        }
        ASSERT_TRUE(server()->isRunning()) << server()->error().toStdString();
        databaseUrl = server()->freshDatabaseUrl();
        daemon.setHandler([this](const HttpServer::Request& request) {
            if (request.path != "/docs/write") {
                return HttpServer::json(R"({"error":"not found"})", 404);
            }
            const QJsonObject body = QJsonDocument::fromJson(request.body).object();
            TestEnvironment::writeFile(desktopNotes + QLatin1Char('/') +
                                           body.value(QStringLiteral("path")).toString(),
                                       body.value(QStringLiteral("content")).toString().toUtf8());
            return HttpServer::json(R"({"ok":true})");
        });
        TestEnvironment::writeFile(VaultPaths::sharedCacheFolder() + QStringLiteral("/daemon.port"),
                                   QByteArray::number(daemon.port()) + '\n');
    }
    void TearDown() override {
        desktops.clear();
        BundleInfo::overrideMainForTesting(std::nullopt);
    }

    static std::unique_ptr<PouchServer>& server() {
        static std::unique_ptr<PouchServer> instance;
        return instance;
    }

    SyncedDocsBridgeService::Timing fastTiming() const {
        SyncedDocsBridgeService::Timing timing;
        timing.fetchInterval = 1h; // the long poll brings the phone's changes
        timing.watcherLatency = 100ms;
        timing.sendDelay = 50ms;
        return timing;
    }

    // A desktop on `vault` with `scope`, its sidecar kept under the vault's name.
    Desktop& addDesktop(const QString& vault = QStringLiteral("vault"), const QString& scope = {},
                        std::optional<QUrl> database = std::nullopt) {
        auto desktop = std::make_unique<Desktop>();
        desktop->notes = env.root() + QLatin1Char('/') + vault + QStringLiteral("/Notes");
        desktop->logPath = env.root() + QStringLiteral("/%1-%2.log").arg(vault).arg(++desktopCount);
        QDir().mkpath(desktop->notes + QStringLiteral("/lists/active"));
        desktop->sidecar = std::make_unique<core::SqliteSidecarStore>(
            (env.root() + QLatin1Char('/') + vault + QStringLiteral(".sqlite")).toStdString());
        desktop->engine = std::make_unique<core::SyncedDocEngine>(*desktop->sidecar);
        desktop->bridge = std::make_unique<SyncedDocsBridgeService>(
            *desktop->engine, &daemonClient,
            std::make_shared<CouchRecordStore>(
                RecordStoreAccount{database.value_or(databaseUrl), {}, {}}),
            core::SyncedDocCollectionConfig::launchDefaults(), scope,
            SyncLog({}, desktop->logPath));
        desktop->bridge->setTiming(fastTiming());
        desktop->bridge->setVoiceAnswersFolder(env.root() + QStringLiteral("/voice-answers"));
        if (desktops.empty()) {
            desktopNotes = desktop->notes;
        }
        desktops.push_back(std::move(desktop));
        return *desktops.back();
    }

    // A started desktop with `lines` checklist items synced to the server: a block per line, and
    // one for the empty rest after the last line break. `timing` replaces the fast one.
    Desktop& syncedDesktop(int lines,
                           std::optional<SyncedDocsBridgeService::Timing> timing = std::nullopt) {
        Desktop& desktop = addDesktop();
        if (timing) {
            desktop.bridge->setTiming(*timing);
        }
        desktop.bridge->start(desktop.notes);
        TestEnvironment::writeFile(desktop.filePath(kDoc), checklist(items(lines)));
        desktop.bridge->handleFileChange(desktop.filePath(kDoc)); // the watcher may be slow
        EXPECT_TRUE(waitUntil([&] { return blocks().size() == lines + 1 && desktop.idle(); }, 15s));
        return desktop;
    }

    // --- the phone's side: plain HTTP on the database ---

    QByteArray http(const QByteArray& method, const QUrl& url, const QByteArray& body = {}) {
        QNetworkRequest request(url);
        request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArray("application/json"));
        std::unique_ptr<QNetworkReply> reply(network.sendCustomRequest(request, method, body));
        EXPECT_TRUE(waitUntil([&] { return reply->isFinished(); }, 10s));
        return reply->readAll();
    }
    QUrl documentUrl(const QString& id, const QUrl& database) const {
        QUrl url = database;
        url.setPath(url.path() + QLatin1Char('/') +
                        QString::fromLatin1(QUrl::toPercentEncoding(id)),
                    QUrl::TolerantMode);
        return url;
    }

    // Every live record document of the database by record name, for one zone.
    QMap<QString, QJsonObject> records(const QString& zone, std::optional<QUrl> database = {}) {
        QUrl url = database.value_or(databaseUrl);
        url.setPath(url.path() + QStringLiteral("/_all_docs"));
        url.setQuery(QStringLiteral("include_docs=true"));
        QMap<QString, QJsonObject> found;
        const QJsonArray rows = QJsonDocument::fromJson(http("GET", url))
                                    .object()
                                    .value(QStringLiteral("rows"))
                                    .toArray();
        for (const QJsonValue& row : rows) {
            const QJsonObject doc = row.toObject().value(QStringLiteral("doc")).toObject();
            if (doc.value(QStringLiteral("type")) == QLatin1String("record") &&
                doc.value(QStringLiteral("zone")) == zone) {
                found.insert(doc.value(QStringLiteral("recordName")).toString(), doc);
            }
        }
        return found;
    }
    QMap<QString, QJsonObject> blocks(const QString& zone = kLists) {
        QMap<QString, QJsonObject> found;
        const QMap<QString, QJsonObject> all = records(zone);
        for (auto it = all.begin(); it != all.end(); ++it) {
            if (it->value(QStringLiteral("recordType")) == QLatin1String("SyncedDocBlock")) {
                found.insert(it.key(), *it);
            }
        }
        return found;
    }
    static QString text(const QJsonObject& doc) {
        return doc.value(QStringLiteral("fields"))
            .toObject()
            .value(QStringLiteral("text"))
            .toString();
    }
    // The block record whose text is `line`.
    QJsonObject blockWithText(const QString& line, const QString& zone = kLists) {
        for (const QJsonObject& doc : blocks(zone)) {
            if (text(doc) == line) {
                return doc;
            }
        }
        return {};
    }
    void phoneSave(QJsonObject doc) {
        const QJsonObject answer =
            QJsonDocument::fromJson(
                http("PUT", documentUrl(doc.value(QStringLiteral("_id")).toString(), databaseUrl),
                     QJsonDocument(doc).toJson()))
                .object();
        ASSERT_TRUE(answer.value(QStringLiteral("ok")).toBool())
            << QJsonDocument(answer).toJson().toStdString();
    }
    // The phone changes the text of the block whose text is `line`.
    void phoneEdit(const QString& line, const QString& newText) {
        QJsonObject doc = blockWithText(line);
        ASSERT_FALSE(doc.isEmpty()) << line.toStdString();
        QJsonObject fields = doc.value(QStringLiteral("fields")).toObject();
        fields.insert(QStringLiteral("text"), newText);
        doc.insert(QStringLiteral("fields"), fields);
        phoneSave(doc);
    }
    void phoneDelete(const QJsonObject& doc) {
        QUrl url = documentUrl(doc.value(QStringLiteral("_id")).toString(), databaseUrl);
        url.setQuery(QStringLiteral("rev=") + doc.value(QStringLiteral("_rev")).toString());
        ASSERT_TRUE(QJsonDocument::fromJson(http("DELETE", url))
                        .object()
                        .value(QStringLiteral("ok"))
                        .toBool());
    }

    static inline const QString kLists = QStringLiteral("SyncedDocs-lists-active");

    TestEnvironment env;
    HttpServer daemon;
    DaemonService daemonClient;
    QNetworkAccessManager network;
    QUrl databaseUrl;
    QString desktopNotes;
    int desktopCount = 0;
    std::vector<std::unique_ptr<Desktop>> desktops;
};

} // namespace mnemora::test
