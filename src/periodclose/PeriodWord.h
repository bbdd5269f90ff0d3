#pragma once

#include <QLocale>
#include <QString>

namespace mnemora {

// A period word names what one close covers: a year "2026", a month "2026-10" or a quarter
// "2026-Q3". Folder names, index rows and screens all use it, so its shape and its display form
// live here once.
namespace PeriodWord {

enum class Form { none, year, month, quarter };

// The pieces between "-" (empty ones dropped): four digits, then nothing (a year), two digits (a
// month) or "Q" and one digit (a quarter). A digit is any character with the Unicode number
// property, as folder names may be typed on any keyboard. Anything else is no period word.
Form form(const QString& word);

inline bool isPeriod(const QString& word) {
    return form(word) != Form::none;
}

// What the user reads for a period: "October 2026", "Q3 2026" or "2026", with the month named in
// `locale`. A word that is no period, or a month outside the calendar, is shown as it stands.
QString label(const QString& word, const QLocale& locale = QLocale());

} // namespace PeriodWord

} // namespace mnemora
