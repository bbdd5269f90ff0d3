#pragma once

#include <QHash>
#include <QString>
#include <QStringList>

#include <optional>

namespace mnemora::SeedTemplates {

// The bundle folders that hold each kind of seed.
inline constexpr const char* skillFolder = "skill-seeds";
inline constexpr const char* promptFolder = "prompt-seeds";
inline constexpr const char* sourceFolder = "source-seeds";

// The `.md` files of one kind in a resource folder, in file-name order; empty when the folder is
// missing or unreadable.
QStringList list(const QString& resourcesFolder, const QString& kindFolder);

// The file as UTF-8 text; absent when it cannot be read or is not valid UTF-8.
std::optional<QString> read(const QString& path);

// The `key: value` pairs between the first two "---" marks. Only the first colon splits; one
// pair of outer double quotes is taken off; a later key wins. Absent when the text has no front
// matter or it holds no pair.
std::optional<QHash<QString, QString>> frontMatter(const QString& text);

// What Claude Code is primed with: everything after the front matter, trimmed of blanks and line
// feeds; the whole text when it has no front matter.
QString primer(const QString& text);

// `cd '{folder}' && claude '{primer}'`, each quote of the folder and the primer written so it
// cannot leave its quotes; without a primer, `cd '{folder}' && claude`.
QString claudeLine(const QString& folder, const std::optional<QString>& primer);

} // namespace mnemora::SeedTemplates
