#include "ui/TalloDestination.h"

namespace mnemora {

QString talloDestinationWord(TalloDestination destination) {
    switch (destination) {
    case TalloDestination::letter:
        return QStringLiteral("letter");
    case TalloDestination::ledger:
        return QStringLiteral("ledger");
    case TalloDestination::photoReview:
        return QStringLiteral("photo-review");
    }
    return {};
}

std::optional<TalloDestination> talloDestinationFromWord(const QString& word) {
    for (TalloDestination destination :
         {TalloDestination::letter, TalloDestination::ledger, TalloDestination::photoReview}) {
        if (talloDestinationWord(destination) == word) {
            return destination;
        }
    }
    return std::nullopt;
}

} // namespace mnemora
