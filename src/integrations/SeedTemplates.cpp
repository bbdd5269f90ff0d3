#include "integrations/SeedTemplates.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>

#include "platform/TerminalLauncher.h"

namespace mnemora::SeedTemplates {

namespace {

const QString fence = QStringLiteral("---");

QString trimmedOf(const QString& text, const QString& blanks) {
    qsizetype start = 0;
    qsizetype end = text.size();
    while (start < end && blanks.contains(text.at(start))) {
        ++start;
    }
    while (end > start && blanks.contains(text.at(end - 1))) {
        --end;
    }
    return text.mid(start, end - start);
}

} // namespace

QStringList list(const QString& resourcesFolder, const QString& kindFolder) {
    const QDir folder(resourcesFolder + QLatin1Char('/') + kindFolder);
    QStringList paths;
    const QFileInfoList entries = folder.entryInfoList(QDir::Files, QDir::Name);
    for (const QFileInfo& entry : entries) {
        // The extension must be exactly "md": "notes.MD" or "notes.md.bak" are not seeds.
        if (entry.suffix() == QStringLiteral("md")) {
            paths << entry.absoluteFilePath();
        }
    }
    return paths;
}

std::optional<QString> read(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(file.readAll());
    if (decoder.hasError()) {
        return std::nullopt;
    }
    return text;
}

std::optional<QHash<QString, QString>> frontMatter(const QString& text) {
    const QStringList pieces = text.split(fence);
    if (pieces.size() < 3) {
        return std::nullopt;
    }
    const QString blanks = QStringLiteral(" \t");
    QHash<QString, QString> pairs;
    for (const QString& rawLine : pieces.at(1).split(QLatin1Char('\n'))) {
        const QString line = trimmedOf(rawLine, blanks);
        const qsizetype colon = line.indexOf(QLatin1Char(':'));
        if (colon < 0) {
            continue;
        }
        const QString key = line.left(colon).trimmed();
        QString value = line.mid(colon + 1).trimmed();
        if (value.size() >= 2 && value.startsWith(QLatin1Char('"')) &&
            value.endsWith(QLatin1Char('"'))) {
            value = value.mid(1, value.size() - 2);
        }
        pairs.insert(key, value);
    }
    if (pairs.isEmpty()) {
        return std::nullopt;
    }
    return pairs;
}

QString primer(const QString& text) {
    const QStringList pieces = text.split(fence);
    if (pieces.size() < 3) {
        return text;
    }
    return trimmedOf(pieces.mid(2).join(fence), QStringLiteral(" \n"));
}

QString claudeLine(const QString& folder, const std::optional<QString>& primer) {
    QString line = QStringLiteral("cd ") + TerminalLauncher::shellQuoted(folder) +
                   QStringLiteral(" && claude");
    if (primer) {
        line += QLatin1Char(' ') + TerminalLauncher::shellQuoted(*primer);
    }
    return line;
}

} // namespace mnemora::SeedTemplates
