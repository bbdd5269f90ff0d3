#pragma once

#include <QLocale>
#include <QString>

#include <optional>

namespace mnemora {

// Amounts as the run writes them, in whatever way the user's documents wrote them, and as the
// ledger and the letter show them.
namespace LedgerNumber {

// Spaces (plain, no-break, narrow no-break) and apostrophes group digits and are dropped. With a
// "." left, every "," is a grouping mark; otherwise a "," is the decimal mark. So "1234,50" and
// "1,234.50" are both understood, and "1.234,50" is not taken for a comma decimal. Anything but
// one decimal number in what remains gives none.
std::optional<double> parse(const QString& text);

// An amount in `currency`, formatted as money in `locale` when the amount parses and the currency
// is a three-letter code; otherwise the two texts as they are, with a space between. A blank
// amount gives no text.
std::optional<QString> display(const std::optional<QString>& amount,
                               const std::optional<QString>& currency,
                               const QLocale& locale = QLocale());

} // namespace LedgerNumber

} // namespace mnemora
