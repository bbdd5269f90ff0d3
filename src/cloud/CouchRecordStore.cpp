#include "cloud/CouchRecordStore.h"

#include "cloud/CouchDocument.h"

#include <QCoreApplication>
#include <QHash>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

#include <QCoroNetworkReply>

#include <memory>

namespace mnemora {

namespace {

using Code = RecordStoreError::Code;

RecordStoreError errorOf(Code code, const QString& message) {
    return RecordStoreError::make(code, message);
}

RecordStoreError storeClosed() {
    return RecordStoreError::closed();
}

// One HTTP session for every store of the main thread. It lives as long as the application, so
// a reply in flight never outlives its session, whatever becomes of the store that started it;
// it goes with the application, before Qt's own teardown, so its thread stops in time.
QNetworkAccessManager& session() {
    static QNetworkAccessManager* manager = new QNetworkAccessManager(QCoreApplication::instance());
    return *manager;
}

struct DeleteLater {
    void operator()(QObject* object) const { object->deleteLater(); }
};

QString reasonOf(const QByteArray& body) {
    const QJsonObject object = QJsonDocument::fromJson(body).object();
    const QString reason = object.value(QStringLiteral("reason")).toString();
    return reason.isEmpty() ? object.value(QStringLiteral("error")).toString() : reason;
}

RecordStoreError transportError(const QNetworkReply& reply) {
    switch (reply.error()) {
    case QNetworkReply::ConnectionRefusedError:
    case QNetworkReply::HostNotFoundError:
    case QNetworkReply::NetworkSessionFailedError:
    case QNetworkReply::TemporaryNetworkFailureError:
    case QNetworkReply::UnknownNetworkError:
        return RecordStoreError::unreachable(reply.url().host(), reply.errorString());
    case QNetworkReply::OperationCanceledError:
        return errorOf(Code::networkFailure,
                       QStringLiteral("The record store did not answer in time."));
    default:
        return errorOf(Code::networkFailure,
                       QStringLiteral("The connection to the record store failed: %1")
                           .arg(reply.errorString()));
    }
}

std::optional<RecordStoreError> statusError(int status, const QByteArray& body) {
    if (status >= 200 && status < 300) {
        return std::nullopt;
    }
    const QString reason = reasonOf(body);
    if (status == 401) {
        return errorOf(Code::notAuthenticated,
                       QStringLiteral("The record store did not accept the user name or "
                                      "password."));
    }
    if (status == 403) {
        return errorOf(Code::permissionFailure,
                       QStringLiteral("The record store refused access: %1").arg(reason));
    }
    if (status == 429) {
        return errorOf(Code::requestRateLimited,
                       QStringLiteral("The record store asked to slow down; it will be tried "
                                      "again shortly."));
    }
    if (status >= 500) {
        return errorOf(
            Code::serviceUnavailable,
            QStringLiteral("The record store is not available right now (HTTP %1).").arg(status));
    }
    return errorOf(Code::serverRejectedRequest,
                   QStringLiteral("The record store refused the request (HTTP %1): %2")
                       .arg(status)
                       .arg(reason));
}

// The failure of one document in a `_bulk_docs` answer, other than a conflict.
RecordStoreError documentError(const QJsonObject& answer, const QString& recordName) {
    const QString error = answer.value(QStringLiteral("error")).toString();
    const QString reason = answer.value(QStringLiteral("reason")).toString();
    const Code code = error == QLatin1String("forbidden") || error == QLatin1String("unauthorized")
                          ? Code::permissionFailure
                          : Code::serverRejectedRequest;
    return errorOf(code, QStringLiteral("The record store refused %1: %2")
                             .arg(recordName, reason.isEmpty() ? error : reason));
}

QString jsonKey(const QString& key) {
    return QString::fromUtf8(QJsonDocument(QJsonArray{key}).toJson(QJsonDocument::Compact))
        .mid(1)
        .chopped(1);
}

// A query string with every value percent-encoded whole ("+" included, which servers may read as
// a blank).
QString queryOf(const QList<std::pair<QString, QString>>& items) {
    QStringList parts;
    for (const auto& [name, value] : items) {
        parts.append(name + QLatin1Char('=') + QString::fromLatin1(QUrl::toPercentEncoding(value)));
    }
    return parts.join(QLatin1Char('&'));
}

QString tokenText(const QJsonValue& seq) {
    return seq.isString() ? seq.toString() : QString::number(seq.toInteger());
}

// The zone an answer of `_bulk_docs` belongs to: the zone's own document or one of its records.
QString zoneOfAnswer(const QJsonObject& answer) {
    const QString id = answer.value(QStringLiteral("id")).toString();
    if (CouchDocument::isZone({}, id)) {
        return CouchDocument::zoneNameOf({}, id);
    }
    const auto recordID = CouchDocument::recordIDOf({}, id);
    return recordID ? recordID->zoneName : QString();
}

// `answers` holds the saves' answers first, then those of every tombstone of the deleted zones.
ModifyZonesResult zoneResults(const QStringList& saves, const QStringList& deletes,
                              const QJsonArray& answers) {
    ModifyZonesResult result;
    for (qsizetype i = 0; i < saves.size(); ++i) {
        const QJsonObject answer = answers.at(i).toObject();
        const QString error = answer.value(QStringLiteral("error")).toString();
        // A conflict on a save without a tag: the zone is there already.
        result.saves.append(
            ZoneResult{saves[i], error.isEmpty() || error == QLatin1String("conflict")
                                     ? std::nullopt
                                     : std::optional(documentError(answer, saves[i]))});
    }
    QHash<QString, RecordStoreError> failures;
    for (qsizetype i = saves.size(); i < answers.size(); ++i) {
        const QJsonObject answer = answers.at(i).toObject();
        const QString zone = zoneOfAnswer(answer);
        if (answer.contains(QStringLiteral("error")) && !failures.contains(zone)) {
            failures.insert(zone, documentError(answer, zone));
        }
    }
    for (const QString& zone : deletes) {
        result.deletes.append(ZoneResult{
            zone, failures.contains(zone) ? std::optional(failures.value(zone)) : std::nullopt});
    }
    return result;
}

void addChange(ChangesPage& page, const QJsonObject& row) {
    const QString id = row.value(QStringLiteral("id")).toString();
    const QJsonObject document = row.value(QStringLiteral("doc")).toObject();
    const bool deleted = row.value(QStringLiteral("deleted")).toBool();
    if (id.startsWith(QLatin1String("_design/"))) {
        return;
    }
    if (CouchDocument::isZone(document, id)) {
        (deleted ? page.deletedZones : page.modifiedZones)
            .append(CouchDocument::zoneNameOf(document, id));
        return;
    }
    if (!deleted) {
        if (auto record = CouchDocument::toRecord(document)) {
            page.modifiedRecords.append(std::move(*record));
        }
        return;
    }
    if (const auto recordID = CouchDocument::recordIDOf(document, id)) {
        page.deletedRecords.append(
            RecordDeletion{*recordID, document.value(QStringLiteral("recordType")).toString(),
                           document.value(QStringLiteral("_rev")).toString()});
    }
}

ChangesPage changesPage(const QJsonObject& feed, const QString& since, int limit) {
    ChangesPage page;
    const QJsonArray results = feed.value(QStringLiteral("results")).toArray();
    for (const QJsonValue& row : results) {
        addChange(page, row.toObject());
    }
    const QJsonValue lastSeq = feed.value(QStringLiteral("last_seq"));
    page.token = lastSeq.isUndefined() || lastSeq.isNull() ? since : tokenText(lastSeq);
    // CouchDB counts what is left; PouchDB Server does not, and a full page may have more.
    const QJsonValue pending = feed.value(QStringLiteral("pending"));
    page.moreComing = pending.isDouble() ? pending.toInteger() > 0 : results.size() >= limit;
    return page;
}

// The documents of one `_bulk_docs` call and what each stands for: the index of a save, or -1
// minus the index of a delete.
struct BatchDocuments {
    QJsonArray documents;
    QList<qsizetype> owners;
};

// The saves' documents; a record that cannot be written (its asset file is gone) fails at once.
BatchDocuments saveDocuments(const QList<Record>& saves, ModifyRecordsResult& result) {
    BatchDocuments batch;
    for (qsizetype i = 0; i < saves.size(); ++i) {
        result.saves.append(RecordSaveResult{saves[i].recordID(), std::nullopt, std::nullopt});
        auto document = CouchDocument::fromRecord(saves[i]);
        if (auto* error = std::get_if<RecordStoreError>(&document)) {
            result.saves.last().error = *error;
            continue;
        }
        batch.documents.append(std::get<QJsonObject>(document));
        batch.owners.append(i);
    }
    return batch;
}

// A tombstone for each record of `deletes` that is there, from its `_all_docs` row.
void addTombstones(const QList<RecordID>& deletes, const QJsonArray& rows, BatchDocuments& batch) {
    for (qsizetype j = 0; j < deletes.size(); ++j) {
        const QJsonObject document = rows.at(j).toObject().value(QStringLiteral("doc")).toObject();
        if (document.isEmpty()) {
            continue; // gone already: nothing to delete
        }
        batch.documents.append(CouchDocument::tombstone(
            deletes[j], document.value(QStringLiteral("recordType")).toString(),
            document.value(QStringLiteral("_rev")).toString()));
        batch.owners.append(-1 - j);
    }
}

// Fills in the answer of each document; gives the indexes of the saves that met a conflict,
// whose failure depends on what the server holds now.
QList<qsizetype> readAnswers(const QJsonArray& answers, const QList<qsizetype>& owners,
                             const QList<Record>& saves, ModifyRecordsResult& result) {
    QList<qsizetype> conflicted;
    for (qsizetype k = 0; k < owners.size(); ++k) {
        const QJsonObject answer = answers.at(k).toObject();
        const QString error = answer.value(QStringLiteral("error")).toString();
        const QString rev = answer.value(QStringLiteral("rev")).toString();
        if (owners[k] >= 0) {
            RecordSaveResult& save = result.saves[owners[k]];
            if (error.isEmpty()) {
                save.savedRecord = saves[owners[k]];
                save.savedRecord->setChangeTag(rev);
            } else if (error == QLatin1String("conflict")) {
                conflicted.append(owners[k]);
            } else {
                save.error = documentError(answer, save.recordID.recordName);
            }
            continue;
        }
        RecordDeleteResult& deletion = result.deletes[-1 - owners[k]];
        if (error.isEmpty()) {
            deletion.changeTag = rev;
        } else if (error == QLatin1String("conflict")) {
            deletion.error = errorOf(Code::serverRecordChanged,
                                     QStringLiteral("The record %1 was changed on the server while "
                                                    "it was being deleted.")
                                         .arg(deletion.recordID.recordName));
        } else {
            deletion.error = documentError(answer, deletion.recordID.recordName);
        }
    }
    return conflicted;
}

} // namespace

CouchRecordStore::CouchRecordStore(RecordStoreAccount account, QObject* parent)
    : RecordStore(parent)
    , account_(std::move(account)) {
    account_.databaseUrl.setUserInfo({});
    QString path = account_.databaseUrl.path();
    while (path.endsWith(QLatin1Char('/'))) {
        path.chop(1);
    }
    account_.databaseUrl.setPath(path);
}

CouchRecordStore::~CouchRecordStore() {
    abortWaits();
}

QString CouchRecordStore::accountName() const {
    return account_.userName;
}

QUrl CouchRecordStore::urlFor(const QStringList& segments, const QString& query) const {
    QByteArray encoded = account_.databaseUrl.toEncoded();
    for (const QString& segment : segments) {
        encoded += '/' + QUrl::toPercentEncoding(segment);
    }
    if (!query.isEmpty()) {
        encoded += '?' + query.toUtf8();
    }
    return QUrl::fromEncoded(encoded, QUrl::StrictMode);
}

QCoro::Task<CouchRecordStore::Answer> CouchRecordStore::send(QByteArray method, QUrl url,
                                                             QByteArray body,
                                                             std::chrono::milliseconds timeout,
                                                             bool isWait) {
    QNetworkRequest request(url);
    request.setTransferTimeout(static_cast<int>(timeout.count()));
    request.setRawHeader("Accept", "application/json");
    if (!body.isEmpty()) {
        request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    }
    if (!account_.userName.isEmpty()) {
        const QByteArray credentials =
            (account_.userName + QLatin1Char(':') + account_.password).toUtf8().toBase64();
        request.setRawHeader("Authorization", "Basic " + credentials);
    }
    std::unique_ptr<QNetworkReply, DeleteLater> reply(
        session().sendCustomRequest(request, method, body));
    if (isWait) {
        waits_.append(reply.get());
    }
    QPointer<CouchRecordStore> self(this);
    co_await reply.get();
    if (self) {
        self->waits_.removeAll(reply.get());
    }
    Answer answer;
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (status.isNull()) {
        answer.aborted = reply->error() == QNetworkReply::OperationCanceledError;
        answer.failure = transportError(*reply);
        co_return answer;
    }
    answer.status = status.toInt();
    answer.body = reply->readAll();
    answer.failure = statusError(answer.status, answer.body);
    co_return answer;
}

QCoro::Task<std::optional<RecordStoreError>> CouchRecordStore::ensureDatabase() {
    if (databaseReady_) {
        co_return std::nullopt;
    }
    QPointer<CouchRecordStore> self(this);
    QCoro::Task<Answer> probing = send("GET", urlFor({}), {}, requestTimeout);
    const Answer probe = co_await probing;
    if (!self) {
        co_return storeClosed();
    }
    if (probe.status == 404) {
        QCoro::Task<Answer> creating = send("PUT", urlFor({}), {}, requestTimeout);
        const Answer created = co_await creating;
        if (!self) {
            co_return storeClosed();
        }
        // 412: another client created it in the meantime.
        if (created.failure && created.status != 412) {
            co_return created.failure;
        }
    } else if (probe.failure) {
        co_return probe.failure;
    }
    self->databaseReady_ = true;
    co_return std::nullopt;
}

QCoro::Task<StoreResult<QByteArray>> CouchRecordStore::sendWhenReady(QByteArray method, QUrl url,
                                                                     QByteArray body) {
    QCoro::Task<std::optional<RecordStoreError>> ready = ensureDatabase();
    // Ends with the store's closing as a failure of its own, so no guard is needed after it.
    if (std::optional<RecordStoreError> notReady = co_await ready) {
        co_return StoreResult<QByteArray>{notReady, {}};
    }
    QCoro::Task<Answer> sending = send(method, url, body, requestTimeout);
    const Answer answer = co_await sending;
    co_return StoreResult<QByteArray>{answer.failure, answer.failure ? QByteArray() : answer.body};
}

QCoro::Task<StoreResult<std::optional<QJsonObject>>>
CouchRecordStore::fetchDesignDocument(QString name) {
    using Result = StoreResult<std::optional<QJsonObject>>;
    QPointer<CouchRecordStore> self(this);
    QCoro::Task<std::optional<RecordStoreError>> ready = ensureDatabase();
    std::optional<RecordStoreError> notReady = co_await ready;
    if (!self || notReady) {
        co_return Result{self ? notReady : storeClosed(), {}};
    }
    QCoro::Task<Answer> sending =
        send("GET", urlFor({QStringLiteral("_design"), name}), {}, requestTimeout);
    const Answer answer = co_await sending;
    if (answer.status == 404) {
        co_return Result{std::nullopt, std::nullopt};
    }
    if (answer.failure) {
        co_return Result{answer.failure, {}};
    }
    co_return Result{std::nullopt, QJsonDocument::fromJson(answer.body).object()};
}

QCoro::Task<StoreAction> CouchRecordStore::putDesignDocument(QString name, QJsonObject document) {
    QCoro::Task<StoreResult<QByteArray>> sending =
        sendWhenReady("PUT", urlFor({QStringLiteral("_design"), name}),
                      QJsonDocument(document).toJson(QJsonDocument::Compact));
    const StoreResult<QByteArray> answer = co_await sending;
    co_return StoreAction{answer.error, {}};
}

QCoro::Task<StoreResult<QJsonArray>> CouchRecordStore::postJson(QString path, QString query,
                                                                QJsonObject body, QString rowsKey) {
    QCoro::Task<StoreResult<QByteArray>> sending = sendWhenReady(
        "POST", urlFor({path}, query), QJsonDocument(body).toJson(QJsonDocument::Compact));
    const StoreResult<QByteArray> answer = co_await sending;
    if (!answer.ok()) {
        co_return StoreResult<QJsonArray>{answer.error, {}};
    }
    const QJsonDocument document = QJsonDocument::fromJson(answer.value);
    co_return StoreResult<QJsonArray>{
        std::nullopt,
        rowsKey.isEmpty() ? document.array() : document.object().value(rowsKey).toArray()};
}

QCoro::Task<StoreResult<QJsonArray>> CouchRecordStore::allDocs(QStringList documentIDs) {
    QCoro::Task<StoreResult<QJsonArray>> posting =
        postJson(QStringLiteral("_all_docs"), QStringLiteral("include_docs=true"),
                 QJsonObject{{QStringLiteral("keys"), QJsonArray::fromStringList(documentIDs)}},
                 QStringLiteral("rows"));
    co_return co_await posting;
}

QCoro::Task<StoreResult<QJsonArray>> CouchRecordStore::bulkDocs(QJsonArray documents) {
    QCoro::Task<StoreResult<QJsonArray>> posting = postJson(
        QStringLiteral("_bulk_docs"), {}, QJsonObject{{QStringLiteral("docs"), documents}}, {});
    co_return co_await posting;
}

QCoro::Task<StoreResult<QJsonArray>> CouchRecordStore::allDocsInRange(QString firstID,
                                                                      bool includeDocs) {
    const QString query = queryOf({{QStringLiteral("include_docs"),
                                    includeDocs ? QStringLiteral("true") : QStringLiteral("false")},
                                   {QStringLiteral("startkey"), jsonKey(firstID)},
                                   {QStringLiteral("endkey"), jsonKey(firstID + QChar(0xFFF0))}});
    QCoro::Task<StoreResult<QByteArray>> sending =
        sendWhenReady("GET", urlFor({QStringLiteral("_all_docs")}, query), {});
    const StoreResult<QByteArray> answer = co_await sending;
    if (!answer.ok()) {
        co_return StoreResult<QJsonArray>{answer.error, {}};
    }
    co_return StoreResult<QJsonArray>{
        std::nullopt,
        QJsonDocument::fromJson(answer.value).object().value(QStringLiteral("rows")).toArray()};
}

QCoro::Task<StoreResult<QStringList>> CouchRecordStore::fetchAllZones() {
    QCoro::Task<StoreResult<QJsonArray>> listing =
        allDocsInRange(CouchDocument::zoneDocumentPrefix, false);
    const StoreResult<QJsonArray> rows = co_await listing;
    if (!rows.ok()) {
        co_return StoreResult<QStringList>{rows.error, {}};
    }
    QStringList zones;
    for (const QJsonValue& row : rows.value) {
        const QString id = row.toObject().value(QStringLiteral("id")).toString();
        if (CouchDocument::isZone({}, id)) {
            zones.append(CouchDocument::zoneNameOf({}, id));
        }
    }
    co_return StoreResult<QStringList>{std::nullopt, zones};
}

QCoro::Task<StoreResult<QJsonArray>> CouchRecordStore::zoneTombstones(QStringList zones) {
    QPointer<CouchRecordStore> self(this);
    QStringList zoneIDs;
    for (const QString& zone : zones) {
        zoneIDs.append(CouchDocument::zoneDocumentID(zone));
    }
    QCoro::Task<StoreResult<QJsonArray>> reading = allDocs(zoneIDs);
    const StoreResult<QJsonArray> zoneRows = co_await reading;
    if (!self || !zoneRows.ok()) {
        co_return StoreResult<QJsonArray>{self ? zoneRows.error : storeClosed(), {}};
    }
    QJsonArray tombstones;
    for (qsizetype i = 0; i < zones.size(); ++i) {
        const QJsonObject value =
            zoneRows.value.at(i).toObject().value(QStringLiteral("value")).toObject();
        if (value.contains(QStringLiteral("rev")) &&
            !value.value(QStringLiteral("deleted")).toBool()) {
            tombstones.append(CouchDocument::zoneTombstone(
                zones[i], value.value(QStringLiteral("rev")).toString()));
        }
        const QString prefix = CouchDocument::recordDocumentID(RecordID{zones[i], {}});
        QCoro::Task<StoreResult<QJsonArray>> listing = allDocsInRange(prefix, true);
        const StoreResult<QJsonArray> rows = co_await listing;
        if (!self || !rows.ok()) {
            co_return StoreResult<QJsonArray>{self ? rows.error : storeClosed(), {}};
        }
        for (const QJsonValue& row : rows.value) {
            const QJsonObject document = row.toObject().value(QStringLiteral("doc")).toObject();
            const QString id = document.value(QStringLiteral("_id")).toString();
            if (const auto recordID = CouchDocument::recordIDOf(document, id)) {
                tombstones.append(CouchDocument::tombstone(
                    *recordID, document.value(QStringLiteral("recordType")).toString(),
                    document.value(QStringLiteral("_rev")).toString()));
            }
        }
    }
    co_return StoreResult<QJsonArray>{std::nullopt, tombstones};
}

QCoro::Task<StoreResult<ModifyZonesResult>> CouchRecordStore::modifyZones(QStringList saves,
                                                                          QStringList deletes) {
    QPointer<CouchRecordStore> self(this);
    QJsonArray documents;
    for (const QString& zone : saves) {
        documents.append(CouchDocument::zoneDocument(zone));
    }
    if (!deletes.isEmpty()) {
        QCoro::Task<StoreResult<QJsonArray>> collecting = zoneTombstones(deletes);
        const StoreResult<QJsonArray> tombstones = co_await collecting;
        if (!self || !tombstones.ok()) {
            co_return StoreResult<ModifyZonesResult>{self ? tombstones.error : storeClosed(), {}};
        }
        for (const QJsonValue& tombstone : tombstones.value) {
            documents.append(tombstone);
        }
    }
    QJsonArray answers;
    if (!documents.isEmpty()) {
        QCoro::Task<StoreResult<QJsonArray>> writing = bulkDocs(documents);
        const StoreResult<QJsonArray> written = co_await writing;
        if (!written.ok()) {
            co_return StoreResult<ModifyZonesResult>{written.error, {}};
        }
        answers = written.value;
    }
    co_return StoreResult<ModifyZonesResult>{std::nullopt, zoneResults(saves, deletes, answers)};
}

QCoro::Task<StoreResult<ModifyRecordsResult>>
CouchRecordStore::modifyRecords(QList<Record> saves, QList<RecordID> deletes) {
    QPointer<CouchRecordStore> self(this);
    ModifyRecordsResult result;
    BatchDocuments batch = saveDocuments(saves, result);
    for (const RecordID& id : deletes) {
        result.deletes.append(RecordDeleteResult{id, {}, std::nullopt});
    }
    if (!deletes.isEmpty()) {
        QStringList ids;
        for (const RecordID& id : deletes) {
            ids.append(CouchDocument::recordDocumentID(id));
        }
        QCoro::Task<StoreResult<QJsonArray>> reading = allDocs(ids);
        const StoreResult<QJsonArray> rows = co_await reading;
        if (!self || !rows.ok()) {
            co_return StoreResult<ModifyRecordsResult>{self ? rows.error : storeClosed(), {}};
        }
        addTombstones(deletes, rows.value, batch);
    }
    if (batch.documents.isEmpty()) {
        co_return StoreResult<ModifyRecordsResult>{std::nullopt, result};
    }
    QCoro::Task<StoreResult<QJsonArray>> writing = self->bulkDocs(batch.documents);
    const StoreResult<QJsonArray> answers = co_await writing;
    if (!self || !answers.ok()) {
        co_return StoreResult<ModifyRecordsResult>{self ? answers.error : storeClosed(), {}};
    }
    const QList<qsizetype> conflicted = readAnswers(answers.value, batch.owners, saves, result);
    if (conflicted.isEmpty()) {
        co_return StoreResult<ModifyRecordsResult>{std::nullopt, result};
    }
    QList<RecordID> ids;
    for (qsizetype index : conflicted) {
        ids.append(saves[index].recordID());
    }
    QCoro::Task<StoreResult<QList<RecordStoreError>>> reading = self->conflictErrors(ids);
    const StoreResult<QList<RecordStoreError>> errors = co_await reading;
    if (!errors.ok()) {
        co_return StoreResult<ModifyRecordsResult>{errors.error, {}};
    }
    for (qsizetype c = 0; c < conflicted.size(); ++c) {
        result.saves[conflicted[c]].error = errors.value[c];
    }
    co_return StoreResult<ModifyRecordsResult>{std::nullopt, result};
}

QCoro::Task<StoreResult<QList<RecordStoreError>>>
CouchRecordStore::conflictErrors(QList<RecordID> ids) {
    QStringList documentIDs;
    for (const RecordID& id : ids) {
        documentIDs.append(CouchDocument::recordDocumentID(id));
    }
    QCoro::Task<StoreResult<QJsonArray>> reading = allDocs(documentIDs);
    const StoreResult<QJsonArray> rows = co_await reading;
    if (!rows.ok()) {
        co_return StoreResult<QList<RecordStoreError>>{rows.error, {}};
    }
    QList<RecordStoreError> errors;
    for (qsizetype i = 0; i < ids.size(); ++i) {
        const QJsonObject document =
            rows.value.at(i).toObject().value(QStringLiteral("doc")).toObject();
        const std::optional<Record> server = CouchDocument::toRecord(document);
        errors.append(server ? RecordStoreError::serverChanged(*server)
                             : RecordStoreError::unknownItem(ids[i]));
    }
    co_return StoreResult<QList<RecordStoreError>>{std::nullopt, errors};
}

QCoro::Task<StoreResult<ChangesPage>> CouchRecordStore::fetchChanges(QString token, int limit) {
    QPointer<CouchRecordStore> self(this);
    QCoro::Task<std::optional<RecordStoreError>> ready = ensureDatabase();
    std::optional<RecordStoreError> notReady = co_await ready;
    if (!self || notReady) {
        co_return StoreResult<ChangesPage>{self ? notReady : storeClosed(), {}};
    }
    const QString query =
        queryOf({{QStringLiteral("include_docs"), QStringLiteral("true")},
                 {QStringLiteral("limit"), QString::number(limit)},
                 {QStringLiteral("since"), token.isEmpty() ? QStringLiteral("0") : token}});
    QCoro::Task<Answer> sending =
        send("GET", urlFor({QStringLiteral("_changes")}, query), {}, requestTimeout);
    const Answer answer = co_await sending;
    if (answer.failure) {
        co_return StoreResult<ChangesPage>{answer.failure, {}};
    }
    co_return StoreResult<ChangesPage>{
        std::nullopt, changesPage(QJsonDocument::fromJson(answer.body).object(), token, limit)};
}

QCoro::Task<StoreResult<bool>> CouchRecordStore::waitForChanges(QString token,
                                                                std::chrono::milliseconds limit) {
    QPointer<CouchRecordStore> self(this);
    QCoro::Task<std::optional<RecordStoreError>> ready = ensureDatabase();
    std::optional<RecordStoreError> notReady = co_await ready;
    if (!self || notReady) {
        co_return StoreResult<bool>{self ? notReady : storeClosed(), false};
    }
    const QString query =
        queryOf({{QStringLiteral("feed"), QStringLiteral("longpoll")},
                 {QStringLiteral("limit"), QStringLiteral("1")},
                 {QStringLiteral("timeout"), QString::number(limit.count())},
                 {QStringLiteral("since"), token.isEmpty() ? QStringLiteral("0") : token}});
    // Some servers keep a long poll open past its `timeout`; our own limit ends it then.
    QCoro::Task<Answer> waiting = send("GET", urlFor({QStringLiteral("_changes")}, query), {},
                                       limit + std::chrono::seconds(1), true);
    const Answer answer = co_await waiting;
    if (answer.aborted) {
        co_return StoreResult<bool>{std::nullopt, false};
    }
    if (answer.failure) {
        co_return StoreResult<bool>{answer.failure, false};
    }
    const QJsonArray results =
        QJsonDocument::fromJson(answer.body).object().value(QStringLiteral("results")).toArray();
    co_return StoreResult<bool>{std::nullopt, !results.isEmpty()};
}

void CouchRecordStore::abortWaits() {
    const QList<QPointer<QNetworkReply>> waits = std::exchange(waits_, {});
    for (const QPointer<QNetworkReply>& reply : waits) {
        if (reply) {
            reply->abort();
        }
    }
}

QCoro::Task<StoreAction> CouchRecordStore::downloadAsset(RecordID recordID, QString fieldName,
                                                         QString filePath) {
    QPointer<CouchRecordStore> self(this);
    QCoro::Task<std::optional<RecordStoreError>> ready = ensureDatabase();
    std::optional<RecordStoreError> notReady = co_await ready;
    if (!self || notReady) {
        co_return StoreAction{self ? notReady : storeClosed(), {}};
    }
    const QUrl url = urlFor({CouchDocument::recordDocumentID(recordID), fieldName});
    QCoro::Task<Answer> sending = send("GET", url, {}, requestTimeout);
    const Answer answer = co_await sending;
    if (answer.status == 404) {
        co_return StoreAction{RecordStoreError::assetMissing(recordID, fieldName), {}};
    }
    if (answer.failure) {
        co_return StoreAction{answer.failure, {}};
    }
    co_return StoreAction{writeAssetFile(filePath, answer.body), {}};
}

} // namespace mnemora
