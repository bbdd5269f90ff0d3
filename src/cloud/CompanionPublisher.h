#pragma once

#include "cloud/CouchRecordStore.h"
#include "platform/Expected.h"

#include <QJsonObject>
#include <QString>
#include <QUrl>

#include <QCoroTask>

namespace mnemora {

// The phone companion is a web app served by the record store itself: its files travel as the
// attachments of one design document in the account database, so a phone opens a page on the
// same origin as the data and needs nothing installed. The document carries a digest of the
// files; the desktop writes it only when its own files give another digest.
namespace CompanionPublisher {

inline const QString designDocumentID = QStringLiteral("_design/companion");

// The files as they are published: the design document (without `_rev`) and their digest.
struct AppFiles {
    QJsonObject document;
    QString digest;
};

// Reads every file of `folder` (not below it). The folder must hold `index.html` and
// `pouchdb.min.js`; otherwise the words say what is missing.
Expected<AppFiles> read(const QString& folder);

// The page a phone opens: `{database}/_design/companion/index.html`.
QUrl appUrl(const QUrl& databaseUrl);

// The app's files in the bundle, `{Resources}/companion`, or the folder MNEMORA_COMPANION_DIR
// names.
QString bundledFolder();

enum class Outcome { published, unchanged };

// Puts the files of `folder` into the store's database unless the document there has their
// digest already.
QCoro::Task<Expected<Outcome>> publish(CouchRecordStore& store, QString folder);

} // namespace CompanionPublisher

} // namespace mnemora
