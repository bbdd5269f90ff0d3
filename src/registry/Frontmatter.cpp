#include "registry/Frontmatter.h"

#include <QFile>
#include <QStringDecoder>

namespace mnemora::Frontmatter {

namespace {

const QString kMarker = QStringLiteral("---");

bool isBlank(QChar c) {
    return c == QLatin1Char(' ') || c == QLatin1Char('\t');
}

} // namespace

std::optional<Parts> split(const QString& text) {
    const QStringList pieces = text.split(kMarker);
    if (pieces.size() < 3) {
        return std::nullopt;
    }
    return Parts{pieces.at(1), pieces.mid(2).join(kMarker)};
}

QStringList lines(const QString& text) {
    QStringList result;
    qsizetype start = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c != QLatin1Char('\r') && c != QLatin1Char('\n')) {
            continue;
        }
        result << text.mid(start, i - start);
        if (c == QLatin1Char('\r') && i + 1 < text.size() && text.at(i + 1) == QLatin1Char('\n')) {
            ++i;
        }
        start = i + 1;
    }
    result << text.mid(start);
    return result;
}

QString lineEnd(const QString& text) {
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text.at(i) == QLatin1Char('\n')) {
            return QStringLiteral("\n");
        }
        if (text.at(i) == QLatin1Char('\r')) {
            const bool crLf = i + 1 < text.size() && text.at(i + 1) == QLatin1Char('\n');
            return crLf ? QStringLiteral("\r\n") : QStringLiteral("\r");
        }
    }
    return QStringLiteral("\n");
}

QString trimBlanks(const QString& text) {
    qsizetype start = 0;
    qsizetype end = text.size();
    while (start < end && isBlank(text.at(start))) {
        ++start;
    }
    while (end > start && isBlank(text.at(end - 1))) {
        --end;
    }
    return text.mid(start, end - start);
}

qsizetype keyLine(const QStringList& lines, const QString& key) {
    const QString prefix = key + QLatin1Char(':');
    for (qsizetype i = 0; i < lines.size(); ++i) {
        if (trimBlanks(lines.at(i)).startsWith(prefix)) {
            return i;
        }
    }
    return -1;
}

std::optional<QString> value(const QString& fileText, const QString& key) {
    const std::optional<Parts> parts = split(fileText);
    if (!parts) {
        return std::nullopt;
    }
    const QStringList frontmatter = lines(parts->frontmatter);
    const qsizetype index = keyLine(frontmatter, key);
    if (index < 0) {
        return std::nullopt;
    }
    QString rest = trimBlanks(trimBlanks(frontmatter.at(index)).mid(key.size() + 1));
    if (rest.size() >= 2) {
        const QChar first = rest.front();
        const bool quoted = first == QLatin1Char('"') || first == QLatin1Char('\'');
        if (quoted && rest.back() == first) {
            rest = rest.mid(1, rest.size() - 2);
        }
    }
    if (rest.isEmpty()) {
        return std::nullopt;
    }
    return rest;
}

ReadResult readFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return {std::nullopt,
                QStringLiteral("Could not read %1: %2").arg(path, file.errorString())};
    }
    const QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError) {
        return {std::nullopt,
                QStringLiteral("Could not read %1: %2").arg(path, file.errorString())};
    }
    // Invalid UTF-8 is a failed read, never text with replacement characters that a rewrite
    // would then write back.
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(bytes);
    if (decoder.hasError()) {
        return {std::nullopt,
                QStringLiteral("Could not read %1: the file is not UTF-8 text.").arg(path)};
    }
    return {std::move(text), {}};
}

} // namespace mnemora::Frontmatter
