#include "periodclose/RunFacts.h"

#include <algorithm>

namespace mnemora::RunFacts {

std::optional<int> days(const std::optional<QDateTime>& startedAt,
                        const std::optional<QDateTime>& updatedAt) {
    if (!startedAt || !updatedAt || !startedAt->isValid() || !updatedAt->isValid() ||
        *updatedAt < *startedAt) {
        return std::nullopt;
    }
    const qint64 wholeDays = startedAt->secsTo(*updatedAt) / 86'400;
    return std::max<qint64>(1, wholeDays + 1);
}

QString doneSentence(const Facts& facts, const QString& label) {
    const int missing = facts.missingEvidence;
    QString sentence = label + QStringLiteral("'s done.");
    if (missing < 1) {
        return sentence + QStringLiteral(" Everything has a document behind it.");
    }
    if (facts.unbacked.size() == missing && missing <= 2) {
        return sentence + QStringLiteral(" Everything has a document behind it, except %1 — "
                                         "flagged as missing rather than guessed at.")
                              .arg(facts.unbacked.join(QStringLiteral(" and ")));
    }
    return sentence +
           QStringLiteral(" Everything has a document behind it except %1 %2 — "
                          "flagged as missing rather than guessed at.")
               .arg(missing)
               .arg(missing == 1 ? QStringLiteral("transaction") : QStringLiteral("transactions"));
}

QStringList detailSentences(const Facts& facts) {
    QStringList lines;
    const int missing = facts.missingEvidence;
    if (missing >= 1) {
        lines.append(QStringLiteral("%1 %2 went over with no document, flagged as missing rather "
                                    "than guessed at")
                         .arg(missing)
                         .arg(missing == 1 ? QStringLiteral("transaction")
                                           : QStringLiteral("transactions")));
    }
    const int dropped = facts.droppedCandidates;
    if (dropped == 1) {
        lines.append(QStringLiteral("1 thing I put forward was dropped"));
    } else if (dropped > 1) {
        lines.append(QStringLiteral("%1 things I put forward were dropped").arg(dropped));
    }
    return lines;
}

QStringList summarySentences(const Facts& facts) {
    QStringList lines = detailSentences(facts);
    lines.removeIf([](const QString& line) { return line.contains(QLatin1String("no document")); });
    return lines;
}

} // namespace mnemora::RunFacts
