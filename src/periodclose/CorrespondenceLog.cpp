#include "periodclose/CorrespondenceLog.h"

#include <QRegularExpression>
#include <QStringList>

#include "registry/Frontmatter.h"
#include "registry/RowReader.h"

namespace mnemora::CorrespondenceLog {

namespace {

const QString kSeparator = QStringLiteral(" · ");

// An entry being read, with its lines so far.
struct Open {
    Entry entry;
    QStringList lines;
};

void finish(std::optional<Open>& open, QList<Entry>& entries) {
    if (!open) {
        return;
    }
    open->entry.text = open->lines.join(QLatin1Char('\n')).trimmed();
    const Entry& entry = open->entry;
    if (!entry.kind.isEmpty() || entry.at || !entry.text.isEmpty()) {
        entries.append(entry);
    }
    open.reset();
}

Open opened(const QString& heading) {
    const QString rest = Frontmatter::trimBlanks(heading.mid(3));
    const qsizetype cut = rest.indexOf(kSeparator);
    if (cut < 0) {
        return {{rest, std::nullopt, {}}, {}};
    }
    const QString stamp = rest.mid(cut + kSeparator.size()).trimmed();
    return {{rest.left(cut), RowReader::parseDate(stamp), {}}, {}};
}

bool hasWord(const QString& text, const char* pattern) {
    return QRegularExpression(QLatin1String(pattern), QRegularExpression::CaseInsensitiveOption)
        .match(text)
        .hasMatch();
}

} // namespace

QList<Entry> parse(const QString& text) {
    QList<Entry> entries;
    std::optional<Open> open;
    QString normalized = text;
    normalized.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    for (const QString& line : normalized.split(QLatin1Char('\n'))) {
        if (line.startsWith(QLatin1String("## "))) {
            finish(open, entries);
            open = opened(line);
        } else if (open && !line.startsWith(QLatin1String("# "))) {
            open->lines.append(line);
        }
    }
    finish(open, entries);
    return entries;
}

bool isFromAccountant(const Entry& entry) {
    const QString kind = entry.kind.toLower();
    return kind.contains(QLatin1String("reply")) ||
           kind.contains(QLatin1String("from accountant")) ||
           kind.contains(QLatin1String("received"));
}

QString displayKind(const Entry& entry) {
    const QString& kind = entry.kind;
    if (hasWord(kind, "\\bpasted\\b")) {
        return QStringLiteral("you pasted their reply in");
    }
    if (hasWord(kind, "\\bnotes?\\b")) {
        return QStringLiteral("your note");
    }
    if (isFromAccountant(entry)) {
        return QStringLiteral("their reply");
    }
    if (hasWord(kind, "\\bsent\\b")) {
        return QStringLiteral("the letter went out");
    }
    if (hasWord(kind, "you said|your answer")) {
        return QStringLiteral("what you told me");
    }
    return kind.trimmed();
}

QString plainPreview(const QString& text) {
    for (const QString& raw : text.split(QLatin1Char('\n'))) {
        QString line = raw.trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1String("- ")) ||
            line.startsWith(QLatin1String("* ")) || line.startsWith(QLatin1Char('#'))) {
            continue;
        }
        for (const char* mark : {"**", "__", "`", "*", "_"}) {
            line.remove(QLatin1String(mark));
        }
        return line.trimmed();
    }
    return {};
}

} // namespace mnemora::CorrespondenceLog
