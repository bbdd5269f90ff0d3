#include "periodclose/PeriodCloseMaterial.h"

#include <QStringList>

namespace mnemora {

PeriodCloseMaterial::Standing PeriodCloseMaterial::standing() const {
    static const struct {
        QStringList words;
        Standing standing;
    } table[] = {
        {{QStringLiteral("candidate")}, Standing::candidate},
        {{QStringLiteral("excluded")}, Standing::excluded},
        {{QStringLiteral("skeleton"), QStringLiteral("pending"), QStringLiteral("collecting")},
         Standing::toGather},
        {{QStringLiteral("done"), QStringLiteral("downloaded"), QStringLiteral("matched"),
          QStringLiteral("included")},
         Standing::inHand},
        {{QStringLiteral("none"), QStringLiteral("empty"), QStringLiteral("n/a"),
          QStringLiteral("na")},
         Standing::nothingToGather},
    };
    if (!status || status->isEmpty()) {
        return Standing::toGather;
    }
    for (const auto& row : table) {
        if (row.words.contains(*status)) {
            return row.standing;
        }
    }
    return Standing::other;
}

} // namespace mnemora
