#pragma once

#include <QCalendar>
#include <QDateTime>
#include <QHash>
#include <QList>
#include <QLocale>
#include <QString>
#include <QStringList>

#include <optional>
#include <variant>

#include "periodclose/PeriodCloseMaterial.h"

namespace mnemora {

// The letter a close ends in: the run writes a draft to the accountant into the period folder and
// stages the files to attach, and the user sends it from their own mail program. These are the
// rules of that letter as pure functions: reading the draft, how much of it is written, where
// each attachment came from, and the two forms it takes on the clipboard.
namespace LetterDocument {

inline const QString draftFileName = QStringLiteral("accountant-email-draft.md");
inline const QString correspondenceFileName = QStringLiteral("accountant-correspondence.md");
inline const QString attachmentsFolderName = QStringLiteral("attachments-to-send");

// The marker the run leaves where it is still writing.
inline const QString fillingMarker = QStringLiteral("<!-- filling in -->");

struct Draft {
    std::optional<QString> to;
    std::optional<QString> subject;
    std::optional<QString> cc;
    std::optional<QString> from;
    QString body;
    std::optional<QString> notes; // what the run says to the user, not to the accountant
    bool notReady = false;        // the run's mark that the letter must not go yet

    bool operator==(const Draft&) const = default;
};

// How much of the letter exists: all of it, part of it with the run writing at a marker, or none.
struct Written {
    QStringList paragraphs;
    bool operator==(const Written&) const = default;
};
struct Filling {
    QStringList before;
    int ghostLines = 3;
    QStringList after;
    bool operator==(const Filling&) const = default;
};
struct Skeleton {
    QString greeting;
    int ghostLines = 3;
    QString signOff;
    bool operator==(const Skeleton&) const = default;
};
using Prose = std::variant<Written, Filling, Skeleton>;

// A line of the ledger that a receipt would back.
struct Happening {
    std::optional<QString> vendor;
    std::optional<QString> date;
    bool operator==(const Happening&) const = default;
};

// A deliverable still being fetched.
struct Pending {
    std::optional<QString> waitingFor;
    std::optional<QString> source;
    std::optional<QString> status;
    bool operator==(const Pending&) const = default;
};

// Where a staged file came from.
struct Provenance {
    enum class Kind { portal, other, photos, mail, card, bank, behindLogin, looking, youSaid };
    Kind kind = Kind::looking;
    QString text; // the portal's name, or the words of `other`

    static Provenance portal(const QString& name) { return {Kind::portal, name}; }
    static Provenance other(const QString& text) { return {Kind::other, text}; }

    // "from {name}", "your photos", "still looking", ...
    QString label() const;

    bool operator==(const Provenance&) const = default;
};

// One file to attach, numbered as the letter lists them.
struct Attachment {
    int number = 0;
    std::optional<QString> filename;
    std::optional<Provenance> provenance;
    std::optional<QString> waitingLabel; // what a file not yet staged is waiting for

    bool operator==(const Attachment&) const = default;
};

// One line of the count of attachments by where they came from.
struct Tally {
    QString label;
    int count = 0;

    bool operator==(const Tally&) const = default;
};

// A blank text gives an empty draft. Header lines (to, subject, cc, from), in a frontmatter
// block or as "To:" lines, "**To:**" or "- To:" list items, set each field once; the run's own
// notes (quoted lines and the attachments line) are kept apart from the body.
Draft parseDraft(const std::optional<QString>& text);

// How far the letter is written. A body of fewer than 24 characters is no prose yet.
Prose prose(const Draft& draft, const std::optional<QString>& recipientName);

// Where a file came from, from the row's `source` words; rows still being gathered are looking.
Provenance provenance(const std::optional<QString>& source, const std::optional<QString>& status);

// By staged file name, the first row's provenance for each; a file on disk is by then neither
// behind a login nor being looked for, so those are left out.
QHash<QString, Provenance> provenanceByFile(const QList<PeriodCloseMaterial>& materials);

// One line for each kind of provenance among the attachments, in the order first met; every
// supplier portal counts under one line.
QList<Tally> tally(const QList<Attachment>& attachments);

// What to do with the staged files.
QString attachmentInstruction(int count);

// What a receipt would back: "A receipt for {vendor}, {day month}" and its shorter forms.
QString happeningLine(const std::optional<QString>& vendor, const std::optional<QString>& date,
                      const QLocale& locale = QLocale());

// How a sent letter's lines were covered; none for a letter with no lines.
std::optional<QString> sentSummary(int lines, int onStatement, bool noStatementForm);

// "the letter you sent, {day month}", or without the date when there is none.
QString sentLabel(const std::optional<QDateTime>& date, const QCalendar& calendar = QCalendar(),
                  const QLocale& locale = QLocale());

// The body as HTML for a rich paste: paragraphs, bullet lists, links, code, bold and italics.
QString html(const QString& body);

// The body for a plain paste, with no Markdown marks left.
QString plainText(const QString& body);

} // namespace LetterDocument

} // namespace mnemora
