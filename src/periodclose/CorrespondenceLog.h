#pragma once

#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>

namespace mnemora {

// What passed between the user and the accountant, as the daemon logs it in the period folder:
// sections opened by "## {kind} · {timestamp}". Only the daemon writes the file.
namespace CorrespondenceLog {

struct Entry {
    QString kind;
    std::optional<QDateTime> at;
    QString text;

    bool operator==(const Entry&) const = default;
};

// The entries in file order. Lines before the first section and "# " titles belong to none.
QList<Entry> parse(const QString& text);

bool isFromAccountant(const Entry& entry);

// Who the entry is from, in a few words for its heading.
QString displayKind(const Entry& entry);

// The first line of prose in an entry, without list items, headings or Markdown marks.
QString plainPreview(const QString& text);

} // namespace CorrespondenceLog

} // namespace mnemora
