#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace mnemora {

// The frontmatter of a question file as this product reads it: the text is cut at every "---",
// the second piece is the frontmatter and the pieces from the third on are the body, wherever the
// first marker stands. Keys are found line by line, not by a YAML parser, so that a rewrite touches
// nothing but the lines it sets.
namespace Frontmatter {

struct Parts {
    QString frontmatter;
    QString body; // the remaining pieces joined again with "---"
};

// None when the text holds fewer than two markers.
std::optional<Parts> split(const QString& text);

// The lines of a text, split at every CR LF, LF or lone CR, so that a file saved on any system
// reads alike; none of the lines holds a line-end character.
QStringList lines(const QString& text);

// The line end a file uses: that of its first line break, LF when it has none. A rewrite writes
// its lines with it, so that the lines it does not touch stay as they were.
QString lineEnd(const QString& text);

// Trims spaces and tabs only.
QString trimBlanks(const QString& text);

// The index of the first line that, trimmed of spaces and tabs, begins with "{key}:"; else -1.
qsizetype keyLine(const QStringList& lines, const QString& key);

// The value of `key` in a file's text: the rest of its line, trimmed of spaces and tabs and freed
// of one pair of enclosing double or single quotes. Escapes are left as they are. Empty is none.
std::optional<QString> value(const QString& fileText, const QString& key);

// The whole file as UTF-8 text, or the reason it could not be read.
struct ReadResult {
    std::optional<QString> text;
    QString error;
};
ReadResult readFile(const QString& path);

} // namespace Frontmatter

} // namespace mnemora
