#pragma once

#include <QDateTime>
#include <QMetaType>
#include <QString>

#include <optional>

namespace mnemora {

// One row of the list of runs: a period of a set of books and how many lines it holds.
struct PeriodSummary {
    QString period;
    QString books;
    std::optional<QString> status;
    std::optional<QString> phase;
    qint64 itemCount = 0; // lines that count, without deliverables, candidates and dropped rows
    std::optional<QDateTime> updatedAt;

    bool operator==(const PeriodSummary&) const = default;
};

} // namespace mnemora

Q_DECLARE_METATYPE(mnemora::PeriodSummary)
