#pragma once

#include <QString>

#include <optional>

namespace mnemora {

// Where the Tallo shell goes one level down into a period: the letter, the ledger of its lines,
// or the review of what the run found in the photos and documents.
enum class TalloDestination { letter, ledger, photoReview };

// "letter", "ledger", "photo-review": the words automation and the screens use.
QString talloDestinationWord(TalloDestination destination);
std::optional<TalloDestination> talloDestinationFromWord(const QString& word);

// The step from the shell into one period of one set of books.
struct TalloOneLevelDown {
    QString period;
    QString books;
    TalloDestination destination = TalloDestination::ledger;

    bool operator==(const TalloOneLevelDown&) const = default;
};

} // namespace mnemora
