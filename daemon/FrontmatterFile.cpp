#include "FrontmatterFile.h"

#include <QFile>
#include <QStringList>

namespace mnemora::refdaemon::FrontmatterFile {

namespace {

QString trimBlanks(const QString& text) {
    qsizetype start = 0;
    qsizetype end = text.size();
    const auto blank = [](QChar c) { return c == QLatin1Char(' ') || c == QLatin1Char('\t'); };
    while (start < end && blank(text.at(start))) {
        ++start;
    }
    while (end > start && blank(text.at(end - 1))) {
        --end;
    }
    return text.mid(start, end - start);
}

QString unquoted(const QString& value) {
    if (value.size() >= 2 &&
        ((value.startsWith(QLatin1Char('"')) && value.endsWith(QLatin1Char('"'))) ||
         (value.startsWith(QLatin1Char('\'')) && value.endsWith(QLatin1Char('\''))))) {
        return value.mid(1, value.size() - 2);
    }
    return value;
}

// The index of the closing "---" line, or -1 when the text has no frontmatter.
qsizetype closingLine(const QStringList& lines) {
    if (lines.isEmpty() || trimBlanks(lines.first()) != QLatin1String("---")) {
        return -1;
    }
    for (qsizetype i = 1; i < lines.size(); ++i) {
        if (trimBlanks(lines.at(i)) == QLatin1String("---")) {
            return i;
        }
    }
    return -1;
}

} // namespace

Keys parse(const QString& text) {
    Keys keys;
    const QStringList lines = text.split(QLatin1Char('\n'));
    if (lines.isEmpty() || trimBlanks(lines.first()) != QLatin1String("---")) {
        return keys;
    }
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const QString& line = lines.at(i);
        if (trimBlanks(line) == QLatin1String("---")) {
            break;
        }
        if (line.isEmpty() || line.startsWith(QLatin1Char(' ')) ||
            line.startsWith(QLatin1Char('\t')) || line.startsWith(QLatin1Char('-'))) {
            continue;
        }
        const qsizetype colon = line.indexOf(QLatin1Char(':'));
        if (colon < 0) {
            continue;
        }
        const QString key = trimBlanks(line.left(colon));
        const QString value =
            unquoted(trimBlanks(trimBlanks(line.mid(colon + 1)).remove(QLatin1Char('\r'))));
        if (!key.isEmpty() && !value.isEmpty()) {
            keys.insert(key, value);
        }
    }
    return keys;
}

std::optional<QString> withKeys(const QString& text, const Keys& keys) {
    QStringList lines = text.split(QLatin1Char('\n'));
    qsizetype closing = closingLine(lines);
    if (closing < 0) {
        return std::nullopt;
    }
    for (auto it = keys.cbegin(); it != keys.cend(); ++it) {
        const QString line = it.key() + QStringLiteral(": ") + it.value();
        bool replaced = false;
        for (qsizetype i = 1; i < closing && !replaced; ++i) {
            if (trimBlanks(lines.at(i)).startsWith(it.key() + QLatin1Char(':'))) {
                lines[i] = line;
                replaced = true;
            }
        }
        if (!replaced) {
            lines.insert(closing++, line);
        }
    }
    return lines.join(QLatin1Char('\n'));
}

std::optional<QString> read(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    return QString::fromUtf8(file.readAll());
}

} // namespace mnemora::refdaemon::FrontmatterFile
