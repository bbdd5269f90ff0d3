#pragma once

#include "platform/Expected.h"

#include <QDateTime>
#include <QString>

#include <vector>

namespace mnemora {

// The vault's record of block versions that lost a conflict, `{vault}/.mnemora/conflicts.md`: the
// phone's text that an unread edit at the desk or a rejected save replaced, and the desk's text
// that a fetched change replaced. It lies outside the Notes folder, so it is never synced, and
// it is only ever appended to, so that nothing anyone typed is gone without a trace. A person
// reads it in their editor; beside it, `conflicts-reviewed` holds how many entries they have
// been shown.
class ConflictsFile {
public:
    // One lost version of a block.
    struct LostEdit {
        QDateTime time;
        QString docPath;
        // The other side of this desktop in the conflict, e.g. "the phone".
        QString otherSide;
        // True when the other side's version lost; false when this desktop's did.
        bool otherSideLost = true;
        // The block as its line of the file reads.
        QString text;

        bool operator==(const LostEdit&) const = default;
    };

    explicit ConflictsFile(QString path);

    // `{vaultRoot}/.mnemora/conflicts.md`.
    static QString pathIn(const QString& vaultRoot);

    const QString& path() const { return path_; }

    // Appends the entries and replaces the file atomically; a failure leaves it as it was.
    Expected<void> append(const std::vector<LostEdit>& edits) const;

    // Every entry the file holds, in order; what a person wrote between entries is passed over.
    std::vector<LostEdit> read() const;

    // Entries not yet shown to the person: those above the count of the last review. A file
    // that a person cut down below that count has nothing new.
    qsizetype unreviewed() const;
    // Counts every entry now in the file as shown.
    Expected<void> markReviewed() const;

private:
    QString reviewedPath() const;

    QString path_;
};

} // namespace mnemora
