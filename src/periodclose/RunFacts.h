#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <optional>

namespace mnemora {

// What a finished run did, and the sentences the user reads about it at the end.
namespace RunFacts {

struct Facts {
    std::optional<int> days;
    int questionsAsked = 0;
    int transactions = 0;
    int foundInPhotos = 0;
    int missingEvidence = 0;
    QStringList unbacked; // the lines with no document, by name
    int droppedCandidates = 0;

    bool operator==(const Facts&) const = default;
};

// Calendar days the run took, counting the first: the whole days between start and last update,
// plus one. None when a date is missing or the update lies before the start.
std::optional<int> days(const std::optional<QDateTime>& startedAt,
                        const std::optional<QDateTime>& updatedAt);

// "{label}'s done." and how well everything is backed.
QString doneSentence(const Facts& facts, const QString& label);

// Short lines on what went over without a document and what was dropped.
QStringList detailSentences(const Facts& facts);

// The same lines for the close's summary, without those about missing documents.
QStringList summarySentences(const Facts& facts);

} // namespace RunFacts

} // namespace mnemora
