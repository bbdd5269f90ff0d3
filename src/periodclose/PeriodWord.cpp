#include "periodclose/PeriodWord.h"

#include <QStringList>

namespace mnemora::PeriodWord {

namespace {

bool allDigits(const QString& text) {
    for (const QChar c : text) {
        if (!c.isNumber()) {
            return false;
        }
    }
    return true;
}

} // namespace

Form form(const QString& word) {
    const QStringList pieces = word.split(QLatin1Char('-'), Qt::SkipEmptyParts);
    if (pieces.isEmpty() || pieces.size() > 2 || pieces[0].size() != 4 || !allDigits(pieces[0])) {
        return Form::none;
    }
    if (pieces.size() == 1) {
        return Form::year;
    }
    const QString& second = pieces[1];
    if (second.size() != 2) {
        return Form::none;
    }
    if (allDigits(second)) {
        return Form::month;
    }
    return second[0] == QLatin1Char('Q') && second[1].isNumber() ? Form::quarter : Form::none;
}

QString label(const QString& word, const QLocale& locale) {
    const QString trimmed = word.trimmed();
    const QStringList pieces = trimmed.split(QLatin1Char('-'), Qt::SkipEmptyParts);
    switch (form(trimmed)) {
    case Form::none:
        return trimmed;
    case Form::year:
        return pieces[0];
    case Form::quarter:
        return pieces[1] + QLatin1Char(' ') + pieces[0];
    case Form::month:
        break;
    }
    bool isNumber = false;
    const int month = pieces[1].toInt(&isNumber);
    if (!isNumber || month < 1 || month > 12) {
        return trimmed;
    }
    return locale.standaloneMonthName(month, QLocale::LongFormat) + QLatin1Char(' ') + pieces[0];
}

} // namespace mnemora::PeriodWord
