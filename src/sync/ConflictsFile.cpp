#include "sync/ConflictsFile.h"

#include "platform/AtomicFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

namespace mnemora {

namespace {

const QString kHeader = QStringLiteral(
    "# Edits that lost a conflict\n\n"
    "Each entry is a version of a block that another version replaced, when this desktop and "
    "the phone changed the same block at about the same time. Copy back what you want to keep; "
    "this file is never synced.\n");
const QString kIndent = QStringLiteral("    ");
const QString kSeparator = QStringLiteral(" · ");
const QString kDesktopLostPrefix = QStringLiteral("Lost at this desktop, replaced by ");
const QString kOtherLostPrefix = QStringLiteral("Lost by ");
const QString kOtherLostSuffix = QStringLiteral(", kept at this desktop:");

QString entryText(const ConflictsFile::LostEdit& edit) {
    QString entry = QStringLiteral("\n## %1%2%3\n\n")
                        .arg(edit.time.toUTC().toString(Qt::ISODate), kSeparator, edit.docPath);
    entry += edit.otherSideLost ? kOtherLostPrefix + edit.otherSide + kOtherLostSuffix
                                : kDesktopLostPrefix + edit.otherSide + QLatin1Char(':');
    entry += QStringLiteral("\n\n");
    for (const QString& line : edit.text.split(QLatin1Char('\n'))) {
        entry += kIndent + line + QLatin1Char('\n');
    }
    return entry;
}

// The side sentence of an entry, or false when `line` is none.
bool readSide(const QString& line, ConflictsFile::LostEdit& edit) {
    if (line.startsWith(kDesktopLostPrefix) && line.endsWith(QLatin1Char(':'))) {
        edit.otherSideLost = false;
        edit.otherSide = line.mid(kDesktopLostPrefix.size()).chopped(1);
        return true;
    }
    if (line.startsWith(kOtherLostPrefix) && line.endsWith(kOtherLostSuffix)) {
        edit.otherSideLost = true;
        edit.otherSide = line.mid(kOtherLostPrefix.size()).chopped(kOtherLostSuffix.size());
        return true;
    }
    return false;
}

} // namespace

ConflictsFile::ConflictsFile(QString path)
    : path_(std::move(path)) {}

QString ConflictsFile::pathIn(const QString& vaultRoot) {
    return QDir(vaultRoot).filePath(QStringLiteral(".mnemora/conflicts.md"));
}

QString ConflictsFile::reviewedPath() const {
    return QFileInfo(path_).dir().filePath(QStringLiteral("conflicts-reviewed"));
}

Expected<void> ConflictsFile::append(const std::vector<LostEdit>& edits) const {
    if (edits.empty()) {
        return {};
    }
    QString text = QString::fromUtf8(readWholeFile(path_).value_or(QByteArray()));
    if (text.isEmpty()) {
        text = kHeader;
    } else if (!text.endsWith(QLatin1Char('\n'))) {
        text += QLatin1Char('\n');
    }
    for (const LostEdit& edit : edits) {
        text += entryText(edit);
    }
    if (!QDir().mkpath(QFileInfo(path_).absolutePath())) {
        return fail(QStringLiteral("Could not create the folder of %1.").arg(path_));
    }
    if (const std::optional<QString> failure = writeFileAtomically(path_, text.toUtf8())) {
        return fail(*failure);
    }
    return {};
}

std::vector<ConflictsFile::LostEdit> ConflictsFile::read() const {
    static const QRegularExpression heading(
        QStringLiteral("^## (\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\dZ) · (.*)$"));
    std::vector<LostEdit> edits;
    const QStringList lines =
        QString::fromUtf8(readWholeFile(path_).value_or(QByteArray())).split(QLatin1Char('\n'));
    std::optional<LostEdit> entry;
    QStringList text;
    bool sided = false;
    const auto finish = [&] {
        if (entry && sided) {
            entry->text = text.join(QLatin1Char('\n'));
            edits.push_back(*entry);
        }
        entry.reset();
        text.clear();
        sided = false;
    };
    for (const QString& line : lines) {
        if (const QRegularExpressionMatch match = heading.match(line); match.hasMatch()) {
            finish();
            entry = LostEdit{QDateTime::fromString(match.captured(1), Qt::ISODate),
                             match.captured(2), QString(), true, QString()};
        } else if (entry && !sided) {
            sided = readSide(line, *entry);
        } else if (entry && line.startsWith(kIndent)) {
            text << line.mid(kIndent.size());
        }
    }
    finish();
    return edits;
}

qsizetype ConflictsFile::unreviewed() const {
    const qsizetype total = static_cast<qsizetype>(read().size());
    bool known = false;
    const qsizetype reviewed =
        QString::fromUtf8(readWholeFile(reviewedPath()).value_or(QByteArray()))
            .trimmed()
            .toLongLong(&known);
    return known ? std::max<qsizetype>(0, total - reviewed) : total;
}

Expected<void> ConflictsFile::markReviewed() const {
    const QByteArray count = QByteArray::number(static_cast<qint64>(read().size())) + '\n';
    if (const std::optional<QString> failure = writeFileAtomically(reviewedPath(), count)) {
        return fail(*failure);
    }
    return {};
}

} // namespace mnemora
