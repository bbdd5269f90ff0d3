#include "QuestionScan.h"

#include <QDir>
#include <QFileInfo>

#include "FrontmatterFile.h"

namespace mnemora::refdaemon::QuestionScan {

namespace {

QVariant valueOrNull(const FrontmatterFile::Keys& keys, const char* key) {
    const QString value = keys.value(QLatin1String(key));
    return value.isEmpty() ? QVariant() : QVariant(value);
}

} // namespace

IndexRows rows(const QString& vaultPath) {
    IndexRows result{"entities",
                     {"entity_type", "slug", "name", "status", "file_path", "date_start",
                      "date_end", "identity_id"},
                     {}};
    const QDir registry(vaultPath + QStringLiteral("/Registry"));
    for (const QString& identity :
         registry.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name)) {
        const QDir questions(registry.filePath(identity) + QStringLiteral("/questions"));
        for (const QFileInfo& file :
             questions.entryInfoList({QStringLiteral("*.md")}, QDir::Files, QDir::Name)) {
            const std::optional<QString> text = FrontmatterFile::read(file.absoluteFilePath());
            if (!text) {
                continue;
            }
            const FrontmatterFile::Keys keys = FrontmatterFile::parse(*text);
            // A question with no text is still listed, by its file name, so it can be answered.
            const QString name = keys.value(QStringLiteral("question"), file.completeBaseName());
            result.rows.append({QStringLiteral("question"), file.completeBaseName(), name,
                                valueOrNull(keys, "status"), file.absoluteFilePath(),
                                valueOrNull(keys, "asked_at"), valueOrNull(keys, "answered_at"),
                                identity});
        }
    }
    return result;
}

} // namespace mnemora::refdaemon::QuestionScan
