#include "cloud/CompanionPublisher.h"

#include "platform/BundleInfo.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QPointer>

namespace mnemora::CompanionPublisher {

namespace {

const QString designName = QStringLiteral("companion");

// What a browser needs to be told of each kind of file; a service worker is refused without a
// script type, a manifest is ignored without its own.
QString contentType(const QString& fileName) {
    static const QList<std::pair<QString, QString>> types{
        {QStringLiteral(".html"), QStringLiteral("text/html; charset=utf-8")},
        {QStringLiteral(".js"), QStringLiteral("text/javascript; charset=utf-8")},
        {QStringLiteral(".css"), QStringLiteral("text/css; charset=utf-8")},
        {QStringLiteral(".webmanifest"), QStringLiteral("application/manifest+json")},
        {QStringLiteral(".json"), QStringLiteral("application/json")},
        {QStringLiteral(".svg"), QStringLiteral("image/svg+xml")},
        {QStringLiteral(".png"), QStringLiteral("image/png")},
    };
    for (const auto& [suffix, type] : types) {
        if (fileName.endsWith(suffix)) {
            return type;
        }
    }
    return QStringLiteral("application/octet-stream");
}

} // namespace

Expected<AppFiles> read(const QString& folder) {
    const QDir dir(folder);
    const QStringList names = dir.entryList(QDir::Files, QDir::Name);
    for (const char* required : {"index.html", "pouchdb.min.js"}) {
        if (!names.contains(QLatin1String(required))) {
            return fail(
                QStringLiteral("The phone app is incomplete: %1 is missing from %2.")
                    .arg(QLatin1String(required), QDir::toNativeSeparators(dir.absolutePath())));
        }
    }
    QCryptographicHash hash(QCryptographicHash::Sha256);
    QJsonObject attachments;
    for (const QString& name : names) {
        QFile file(dir.filePath(name));
        if (!file.open(QIODevice::ReadOnly)) {
            return fail(QStringLiteral("The phone app's file %1 cannot be read: %2")
                            .arg(file.fileName(), file.errorString()));
        }
        const QByteArray bytes = file.readAll();
        // Name and length first, so that moving bytes from one file to the next changes the digest.
        hash.addData(name.toUtf8() + '\0' + QByteArray::number(bytes.size()) + '\0');
        hash.addData(bytes);
        attachments.insert(
            name, QJsonObject{{QStringLiteral("content_type"), contentType(name)},
                              {QStringLiteral("data"), QString::fromLatin1(bytes.toBase64())}});
    }
    const QString digest = QString::fromLatin1(hash.result().toHex());
    return AppFiles{QJsonObject{{QStringLiteral("_id"), designDocumentID},
                                {QStringLiteral("digest"), digest},
                                {QStringLiteral("_attachments"), attachments}},
                    digest};
}

QUrl appUrl(const QUrl& databaseUrl) {
    QUrl url = databaseUrl;
    QString path = url.path();
    while (path.endsWith(QLatin1Char('/'))) {
        path.chop(1);
    }
    url.setPath(path + QStringLiteral("/") + designDocumentID + QStringLiteral("/index.html"));
    url.setUserInfo({});
    return url;
}

QString bundledFolder() {
    // Someone working on the app points the application at their copy and restarts it.
    const QString working = qEnvironmentVariable("MNEMORA_COMPANION_DIR");
    return working.isEmpty() ? BundleInfo::main().resourcesFolder() + QStringLiteral("/companion")
                             : working;
}

QCoro::Task<Expected<Outcome>> publish(CouchRecordStore& store, QString folder) {
    const Expected<AppFiles> files = read(folder);
    if (!files.ok()) {
        co_return fail(files.error());
    }
    QPointer<CouchRecordStore> guard(&store);
    QCoro::Task<StoreResult<std::optional<QJsonObject>>> fetching =
        store.fetchDesignDocument(designName);
    const StoreResult<std::optional<QJsonObject>> current = co_await fetching;
    if (!guard) {
        co_return fail(RecordStoreError::closed().message);
    }
    if (!current.ok()) {
        co_return fail(current.error->message);
    }
    QJsonObject document = files.value().document;
    if (current.value) {
        if (current.value->value(QStringLiteral("digest")).toString() == files.value().digest) {
            co_return Outcome::unchanged;
        }
        document.insert(QStringLiteral("_rev"), current.value->value(QStringLiteral("_rev")));
    }
    QCoro::Task<StoreAction> putting = guard->putDesignDocument(designName, document);
    const StoreAction put = co_await putting;
    if (!put.ok()) {
        co_return fail(put.error->message);
    }
    co_return Outcome::published;
}

} // namespace mnemora::CompanionPublisher
