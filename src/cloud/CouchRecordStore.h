#pragma once

#include "cloud/RecordStore.h"
#include "cloud/RecordStoreSettings.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QPointer>
#include <QUrl>

class QNetworkReply;

namespace mnemora {

// The record store on a CouchDB-protocol server (Apache CouchDB, a cluster, PouchDB Server), one
// database per account, written as CouchDocument describes. Batches go through `_bulk_docs`,
// the change feed is `_changes` with the documents included, and a wait is a long poll on the
// same feed that the server answers as soon as anything is written. The database is created on
// first use when it is missing and the account may create it.
class CouchRecordStore : public RecordStore {
    Q_OBJECT

public:
    // The longest silence allowed on an ordinary request.
    static constexpr std::chrono::milliseconds requestTimeout{30000};

    explicit CouchRecordStore(RecordStoreAccount account, QObject* parent = nullptr);
    ~CouchRecordStore() override;

    QString accountName() const override;
    // The database's URL as the settings name it.
    const QUrl& accountUrl() const { return account_.databaseUrl; }

    QCoro::Task<StoreResult<QStringList>> fetchAllZones() override;
    QCoro::Task<StoreResult<ModifyZonesResult>> modifyZones(QStringList saves,
                                                            QStringList deletes) override;
    QCoro::Task<StoreResult<ModifyRecordsResult>> modifyRecords(QList<Record> saves,
                                                                QList<RecordID> deletes) override;
    QCoro::Task<StoreResult<ChangesPage>> fetchChanges(QString token, int limit) override;
    QCoro::Task<StoreResult<bool>> waitForChanges(QString token,
                                                  std::chrono::milliseconds limit) override;
    void abortWaits() override;
    QCoro::Task<StoreAction> downloadAsset(RecordID recordID, QString fieldName,
                                           QString filePath) override;

    // A design document of the database by its name (after "_design/"): none when there is
    // none. Design documents hold what the server serves besides records, e.g. the phone's app.
    QCoro::Task<StoreResult<std::optional<QJsonObject>>> fetchDesignDocument(QString name);
    // Writes a design document whole, attachments inlined; its `_rev` must be the current one.
    QCoro::Task<StoreAction> putDesignDocument(QString name, QJsonObject document);

    // What a request came to: the failure in the store's words, else the status and body.
    struct Answer {
        std::optional<RecordStoreError> failure;
        int status = 0;
        QByteArray body;
        bool aborted = false; // ended by abortWaits() or its own time limit
    };

private:
    // The URL of the path below the database; each segment is percent-encoded whole, "/" too.
    QUrl urlFor(const QStringList& segments, const QString& query = {}) const;
    QCoro::Task<Answer> send(QByteArray method, QUrl url, QByteArray body,
                             std::chrono::milliseconds timeout, bool isWait = false);
    QCoro::Task<std::optional<RecordStoreError>> ensureDatabase();
    // One request once the database exists: the answer's body, or why there is none.
    QCoro::Task<StoreResult<QByteArray>> sendWhenReady(QByteArray method, QUrl url,
                                                       QByteArray body);
    QCoro::Task<StoreResult<QJsonArray>> postJson(QString path, QString query, QJsonObject body,
                                                  QString rowsKey);
    QCoro::Task<StoreResult<QJsonArray>> allDocs(QStringList documentIDs);
    QCoro::Task<StoreResult<QJsonArray>> allDocsInRange(QString firstID, bool includeDocs);
    QCoro::Task<StoreResult<QJsonArray>> bulkDocs(QJsonArray documents);
    QCoro::Task<StoreResult<QJsonArray>> zoneTombstones(QStringList zones);
    QCoro::Task<StoreResult<QList<RecordStoreError>>> conflictErrors(QList<RecordID> ids);

    RecordStoreAccount account_;
    bool databaseReady_ = false;
    QList<QPointer<QNetworkReply>> waits_;
};

} // namespace mnemora
