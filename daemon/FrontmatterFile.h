#pragma once

#include <QMap>
#include <QString>

#include <optional>

namespace mnemora::refdaemon {

// The flat frontmatter of the vault's Markdown files, as the daemon indexes and edits it: a first
// line "---", then "key: value" lines up to the next "---". Nested and list lines are skipped.
namespace FrontmatterFile {

using Keys = QMap<QString, QString>;

// The keys of a text; empty when it has no frontmatter. A later key replaces an earlier one, and
// one pair of surrounding quotes is removed from a value.
Keys parse(const QString& text);

// The text with each key set: its first line replaced in place, or the line appended at the end
// of the frontmatter. None when the text has no frontmatter to edit.
std::optional<QString> withKeys(const QString& text, const Keys& keys);

// Reads a file as UTF-8; none when it cannot be read.
std::optional<QString> read(const QString& path);

} // namespace FrontmatterFile

} // namespace mnemora::refdaemon
