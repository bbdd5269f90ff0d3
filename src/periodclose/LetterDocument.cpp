#include "periodclose/LetterDocument.h"

#include <QRegularExpression>
#include <QTextBoundaryFinder>

#include <algorithm>

#include "registry/Frontmatter.h"

namespace mnemora::LetterDocument {

namespace {

using Frontmatter::trimBlanks;

QStringList linesOf(QString text) {
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n")).replace(QLatin1Char('\r'), '\n');
    return text.split(QLatin1Char('\n'));
}

std::optional<QString> nonBlank(const QString& text) {
    const QString trimmed = text.trimmed();
    return trimmed.isEmpty() ? std::nullopt : std::optional(trimmed);
}

// The value of a header line for `name`: "To: x", "**To:** x" or "**To**: x", also as a list item.
// An empty value is still a header; none when the line is no header for the name.
std::optional<QString> headerValue(QString line, const QString& name) {
    while (line.startsWith(QLatin1String("- ")) || line.startsWith(QLatin1String("* "))) {
        line = line.mid(2);
    }
    const QString forms[] = {QStringLiteral("**") + name + QStringLiteral(":**"),
                             QStringLiteral("**") + name + QStringLiteral("**:"),
                             name + QLatin1Char(':')};
    for (const QString& form : forms) {
        if (line.startsWith(form, Qt::CaseInsensitive)) {
            return line.mid(form.size()).trimmed();
        }
    }
    return std::nullopt;
}

// Sets a field that is still unset from a header line; a blank header line is used up too.
bool takeHeader(const QString& line, const QString& name, std::optional<QString>& field) {
    if (field) {
        return false;
    }
    const std::optional<QString> value = headerValue(line, name);
    if (!value) {
        return false;
    }
    field = nonBlank(*value);
    return true;
}

// `to` and `subject` from a frontmatter block; the index of the first line after it, else 0.
qsizetype readFrontmatter(const QStringList& lines, Draft& draft) {
    if (lines.isEmpty() || trimBlanks(lines[0]) != QLatin1String("---")) {
        return 0;
    }
    qsizetype end = 1;
    while (end < lines.size() && trimBlanks(lines[end]) != QLatin1String("---")) {
        ++end;
    }
    if (end == lines.size()) {
        return 0;
    }
    for (qsizetype i = 1; i < end; ++i) {
        const qsizetype colon = lines[i].indexOf(QLatin1Char(':'));
        if (colon < 0) {
            continue;
        }
        const QString key = trimBlanks(lines[i].left(colon)).toLower();
        QString value = trimBlanks(lines[i].mid(colon + 1));
        if (value.size() >= 2 && value.startsWith(QLatin1Char('"')) &&
            value.endsWith(QLatin1Char('"'))) {
            value = value.mid(1, value.size() - 2);
        }
        std::optional<QString>* field = key == QLatin1String("to")        ? &draft.to
                                        : key == QLatin1String("subject") ? &draft.subject
                                                                          : nullptr;
        if (field && !*field) {
            *field = nonBlank(value);
        }
    }
    return end + 1;
}

qsizetype characterCount(const QString& text) {
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype count = 0;
    while (finder.toNextBoundary() >= 0) {
        ++count;
    }
    return count;
}

// Paragraphs at empty lines; within one, lines join with a space, except after a hard break (a
// line ending in a backslash or two spaces), which keeps its line break.
QStringList paragraphsOf(const QString& body) {
    QStringList paragraphs;
    QString current;
    bool open = false;
    bool hardBreak = false;
    for (QString line : linesOf(body)) {
        if (line.trimmed().isEmpty()) {
            if (open) {
                paragraphs.append(current);
            }
            current.clear();
            open = false;
            continue;
        }
        const bool breaks = line.endsWith(QLatin1Char('\\')) || line.endsWith(QLatin1String("  "));
        if (line.endsWith(QLatin1Char('\\'))) {
            line.chop(1);
        }
        if (open) {
            current += hardBreak ? QLatin1Char('\n') : QLatin1Char(' ');
        }
        current += line.trimmed();
        open = true;
        hardBreak = breaks;
    }
    if (open) {
        paragraphs.append(current);
    }
    return paragraphs;
}

// "3 Oct" or "Oct 3", in the order the locale writes a short date.
QString dayAndMonth(int day, const QString& monthName, const QLocale& locale) {
    const QString format = locale.dateFormat(QLocale::ShortFormat);
    const bool dayFirst = format.indexOf(QLatin1Char('d')) < format.indexOf(QLatin1Char('M'));
    const QString number = QString::number(day);
    return dayFirst ? number + QLatin1Char(' ') + monthName : monthName + QLatin1Char(' ') + number;
}

// The emphasis a letter may use, in the order they are found.
struct Span {
    QRegularExpression expression;
    QString open;
    QString close;
};

const QList<Span>& spans() {
    static const QList<Span> table = {
        {QRegularExpression(QStringLiteral("`([^`\\n]+)`")),
         QStringLiteral("<code style=\"font-family: ui-monospace, SFMono-Regular, Menlo, "
                        "Consolas, 'Courier New', monospace\">"),
         QStringLiteral("</code>")},
        {QRegularExpression(QStringLiteral("\\*\\*(.+?)\\*\\*")), QStringLiteral("<strong>"),
         QStringLiteral("</strong>")},
        {QRegularExpression(QStringLiteral("(?<![A-Za-z0-9*])\\*([^*\\n]+)\\*(?![A-Za-z0-9*])")),
         QStringLiteral("<em>"), QStringLiteral("</em>")},
        {QRegularExpression(QStringLiteral("(?<![A-Za-z0-9_])_([^_\\n]+)_(?![A-Za-z0-9_])")),
         QStringLiteral("<em>"), QStringLiteral("</em>")},
    };
    return table;
}

// The steps both pasted forms share: no marker, no hard-break marks, "• " for list marks.
QString prepared(const QString& body) {
    static const QRegularExpression hardBreak(QStringLiteral("(?m)(?:\\\\|[ \\t]{2,})$"));
    static const QRegularExpression listMark(QStringLiteral("(?m)^[ \\t]*[-*+] "));
    QString text = linesOf(body).join(QLatin1Char('\n'));
    text.remove(fillingMarker);
    text.remove(hardBreak);
    text.replace(listMark, QStringLiteral("• "));
    return text;
}

// Each web address as a link to itself; a full stop or bracket after it stays outside.
QString linked(const QString& text) {
    static const QRegularExpression link(QStringLiteral("https?://[^\\s<]*[^\\s<.,;:!?)\\]]"));
    QString result;
    qsizetype done = 0;
    for (QRegularExpressionMatchIterator it = link.globalMatch(text); it.hasNext();) {
        const QRegularExpressionMatch match = it.next();
        const QString address = match.captured();
        result += text.mid(done, match.capturedStart() - done) + QStringLiteral("<a href=\"") +
                  address + QStringLiteral("\">") + address + QStringLiteral("</a>");
        done = match.capturedEnd();
    }
    return result + text.mid(done);
}

QString inlineHtml(QString text) {
    text.replace(QLatin1Char('&'), QStringLiteral("&amp;"))
        .replace(QLatin1Char('<'), QStringLiteral("&lt;"))
        .replace(QLatin1Char('>'), QStringLiteral("&gt;"));
    text = linked(text);
    for (const Span& span : spans()) {
        text.replace(span.expression, span.open + QStringLiteral("\\1") + span.close);
    }
    return text;
}

QString paragraphHtml(const QStringList& lines) {
    const bool isList = std::all_of(lines.cbegin(), lines.cend(), [](const QString& line) {
        return line.startsWith(QStringLiteral("• "));
    });
    if (!isList) {
        QStringList parts;
        for (const QString& line : lines) {
            parts.append(inlineHtml(line));
        }
        return QStringLiteral("<p>") + parts.join(QStringLiteral("<br>")) + QStringLiteral("</p>");
    }
    QString list = QStringLiteral("<ul>");
    for (const QString& line : lines) {
        list += QStringLiteral("<li>") + inlineHtml(line.mid(2)) + QStringLiteral("</li>");
    }
    return list + QStringLiteral("</ul>");
}

} // namespace

QString Provenance::label() const {
    switch (kind) {
    case Kind::portal:
        return text.isEmpty() ? QStringLiteral("a supplier portal")
                              : QStringLiteral("from ") + text;
    case Kind::other:
        return text;
    case Kind::photos:
        return QStringLiteral("your photos");
    case Kind::mail:
        return QStringLiteral("your mail");
    case Kind::card:
        return QStringLiteral("from your card");
    case Kind::bank:
        return QStringLiteral("from your bank");
    case Kind::behindLogin:
        return QStringLiteral("behind a login");
    case Kind::looking:
        return QStringLiteral("still looking");
    case Kind::youSaid:
        return QStringLiteral("you told me");
    }
    return text;
}

Draft parseDraft(const std::optional<QString>& text) {
    Draft draft;
    if (!text || text->trimmed().isEmpty()) {
        return draft;
    }
    const QStringList lines = linesOf(*text);
    QStringList body;
    QStringList notes;
    bool bodyStarted = false;
    for (qsizetype i = readFrontmatter(lines, draft); i < lines.size(); ++i) {
        const QString line = trimBlanks(lines[i]);
        if (takeHeader(line, QStringLiteral("To"), draft.to) ||
            takeHeader(line, QStringLiteral("Subject"), draft.subject) ||
            takeHeader(line, QStringLiteral("Cc"), draft.cc) ||
            takeHeader(line, QStringLiteral("From"), draft.from)) {
            continue;
        }
        if (line == QLatin1String("---") || line == QLatin1String("***")) {
            continue;
        }
        if (const std::optional<QString> value = headerValue(line, QStringLiteral("Attachments"))) {
            if (!value->isEmpty()) {
                notes.append(QStringLiteral("Attachments: ") + *value);
            }
            continue;
        }
        if (!bodyStarted && line.startsWith(QLatin1String("# "))) {
            continue;
        }
        if (!bodyStarted && line.startsWith(QLatin1Char('>'))) {
            if (const std::optional<QString> quoted = nonBlank(line.mid(1))) {
                notes.append(*quoted);
            }
            continue;
        }
        body.append(lines[i]);
        bodyStarted = bodyStarted || !line.isEmpty();
    }
    draft.body = body.join(QLatin1Char('\n')).trimmed();
    draft.notes = nonBlank(notes.join(QLatin1Char('\n')));
    draft.notReady = text->contains(QLatin1String("NOT READY TO SEND"), Qt::CaseInsensitive);
    return draft;
}

Prose prose(const Draft& draft, const std::optional<QString>& recipientName) {
    const QString body = draft.body.trimmed();
    const QStringList paragraphs = paragraphsOf(body);
    if (characterCount(body) < 24 || paragraphs.isEmpty()) {
        const std::optional<QString> name = nonBlank(recipientName.value_or(QString()));
        return Skeleton{name ? QStringLiteral("Dear ") + *name + QLatin1Char(',')
                             : QStringLiteral("Hello,"),
                        3, QStringLiteral("Many thanks,")};
    }
    const qsizetype marker = paragraphs.indexOf(fillingMarker);
    if (marker < 0) {
        return Written{paragraphs};
    }
    Filling filling{paragraphs.mid(0, marker), 3, {}};
    for (const QString& paragraph : paragraphs.mid(marker + 1)) {
        if (paragraph != fillingMarker) {
            filling.after.append(paragraph);
        }
    }
    return filling;
}

Provenance provenance(const std::optional<QString>& source, const std::optional<QString>& status) {
    static const QStringList stillGathering = {
        QStringLiteral("ask"),      QStringLiteral("collecting"), QStringLiteral("pending"),
        QStringLiteral("skeleton"), QStringLiteral("none"),
    };
    const QString state = status.value_or(QString()).trimmed();
    const QString original = source.value_or(QString()).trimmed();
    const QString words = original.toLower();
    if (state.isEmpty() || stillGathering.contains(state) || words.isEmpty()) {
        return {Provenance::Kind::looking, {}};
    }
    static const struct {
        QStringList words;
        Provenance::Kind kind;
    } table[] = {
        {{QStringLiteral("photo")}, Provenance::Kind::photos},
        {{QStringLiteral("gmail"), QStringLiteral("mail"), QStringLiteral("inbox")},
         Provenance::Kind::mail},
        {{QStringLiteral("card")}, Provenance::Kind::card},
        {{QStringLiteral("bank"), QStringLiteral("statement")}, Provenance::Kind::bank},
        {{QStringLiteral("you said"), QStringLiteral("your answer")}, Provenance::Kind::youSaid},
        {{QStringLiteral("login"), QStringLiteral("sign in")}, Provenance::Kind::behindLogin},
    };
    for (const auto& row : table) {
        for (const QString& word : row.words) {
            if (words.contains(word)) {
                return {row.kind, {}};
            }
        }
    }
    return Provenance::portal(original);
}

QHash<QString, Provenance> provenanceByFile(const QList<PeriodCloseMaterial>& materials) {
    QHash<QString, Provenance> byFile;
    for (const PeriodCloseMaterial& row : materials) {
        QString path = row.stagedAs.value_or(QString()).trimmed();
        while (path.endsWith(QLatin1Char('/'))) {
            path.chop(1);
        }
        const QString name = path.mid(path.lastIndexOf(QLatin1Char('/')) + 1).trimmed();
        if (name.isEmpty() || byFile.contains(name)) {
            continue;
        }
        const Provenance found = provenance(row.source, row.status);
        if (found.kind != Provenance::Kind::behindLogin &&
            found.kind != Provenance::Kind::looking) {
            byFile.insert(name, found);
        }
    }
    return byFile;
}

QList<Tally> tally(const QList<Attachment>& attachments) {
    using Kind = Provenance::Kind;
    static const QHash<Kind, QString> labels = {
        {Kind::portal, QStringLiteral("Supplier portals")},
        {Kind::other, QStringLiteral("Elsewhere")},
        {Kind::photos, QStringLiteral("Your photos")},
        {Kind::mail, QStringLiteral("Your mail")},
        {Kind::card, QStringLiteral("Your card")},
        {Kind::bank, QStringLiteral("Your bank")},
        {Kind::behindLogin, QStringLiteral("Behind a login")},
        {Kind::looking, QStringLiteral("Still looking")},
        {Kind::youSaid, QStringLiteral("You told me")},
    };
    QList<Kind> order;
    QHash<Kind, int> counts;
    for (const Attachment& attachment : attachments) {
        if (!attachment.provenance) {
            continue; // a file we know nothing about has no line to count under
        }
        const Kind kind = attachment.provenance->kind;
        if (!counts.contains(kind)) {
            order.append(kind);
        }
        ++counts[kind];
    }
    QList<Tally> tallies;
    for (const Kind kind : order) {
        tallies.append({labels.value(kind), counts.value(kind)});
    }
    return tallies;
}

QString attachmentInstruction(int count) {
    if (count == 0) {
        return QStringLiteral("Drag the files onto the message");
    }
    if (count == 1) {
        return QStringLiteral("Drag the file onto the message");
    }
    return QStringLiteral("Drag the %1 files onto the message").arg(count);
}

QString happeningLine(const std::optional<QString>& vendor, const std::optional<QString>& date,
                      const QLocale& locale) {
    static const QRegularExpression dayForm(QStringLiteral("^([0-9]+)-([0-9]{1,2})-([0-9]{1,2})$"));
    const std::optional<QString> who = nonBlank(vendor.value_or(QString()));
    std::optional<QString> when;
    const QRegularExpressionMatch match = dayForm.match(date.value_or(QString()).trimmed());
    if (match.hasMatch()) {
        const int month = match.captured(2).toInt();
        const int day = match.captured(3).toInt();
        if (month >= 1 && month <= 12 && day >= 1 && day <= 31) {
            when = dayAndMonth(day, locale.monthName(month, QLocale::ShortFormat), locale);
        }
    }
    if (who && when) {
        return QStringLiteral("A receipt for %1, %2").arg(*who, *when);
    }
    if (who) {
        return QStringLiteral("A receipt for %1").arg(*who);
    }
    if (when) {
        return QStringLiteral("A receipt for the %1 line").arg(*when);
    }
    return QStringLiteral("A receipt for this line");
}

std::optional<QString> sentSummary(int lines, int onStatement, bool noStatementForm) {
    if (lines < 1) {
        return std::nullopt;
    }
    if (!noStatementForm && onStatement >= 1 && onStatement <= lines) {
        return QStringLiteral("%1 lines, %2 of them on the statement — each with what backs it "
                              "and where that came from.")
            .arg(lines)
            .arg(onStatement);
    }
    return QStringLiteral("%1 transactions, each with what backs it and where that came from.")
        .arg(lines);
}

QString sentLabel(const std::optional<QDateTime>& date, const QCalendar& calendar,
                  const QLocale& locale) {
    if (!date || !date->isValid()) {
        return QStringLiteral("the letter you sent");
    }
    const QCalendar::YearMonthDay parts = calendar.partsFromDate(date->toLocalTime().date());
    const QString month = calendar.monthName(locale, parts.month, parts.year, QLocale::LongFormat);
    return QStringLiteral("the letter you sent, ") + dayAndMonth(parts.day, month, locale);
}

QString html(const QString& body) {
    QStringList blocks;
    QStringList lines;
    const QStringList all = linesOf(prepared(body)) << QString();
    for (const QString& line : all) {
        if (!line.trimmed().isEmpty()) {
            lines.append(line.trimmed());
            continue;
        }
        if (!lines.isEmpty()) {
            blocks.append(paragraphHtml(lines));
            lines.clear();
        }
    }
    return blocks.join(QLatin1Char('\n'));
}

QString plainText(const QString& body) {
    QString text = prepared(body);
    for (const Span& span : spans()) {
        text.replace(span.expression, QStringLiteral("\\1"));
    }
    return text;
}

} // namespace mnemora::LetterDocument
