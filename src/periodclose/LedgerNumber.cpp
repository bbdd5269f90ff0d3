#include "periodclose/LedgerNumber.h"

#include <QHash>
#include <QRegularExpression>
#include <QStringList>

#include <cmath>

namespace mnemora::LedgerNumber {

namespace {

bool isCurrencyCode(const QString& code) {
    static const QRegularExpression letters(QStringLiteral("^[A-Za-z]{3}$"));
    return letters.match(code).hasMatch();
}

// The symbols of every currency some locale uses, by code: one per language, and the first met.
struct CurrencySymbols {
    QHash<QString, QHash<QLocale::Language, QString>> byLanguage;
    QHash<QString, QString> first;
};

const CurrencySymbols& currencySymbols() {
    static const CurrencySymbols table = [] {
        CurrencySymbols symbols;
        for (const QLocale& locale : QLocale::matchingLocales(
                 QLocale::AnyLanguage, QLocale::AnyScript, QLocale::AnyTerritory)) {
            const QString code = locale.currencySymbol(QLocale::CurrencyIsoCode);
            const QString symbol = locale.currencySymbol(QLocale::CurrencySymbol);
            if (code.isEmpty() || symbol.isEmpty()) {
                continue;
            }
            QHash<QLocale::Language, QString>& byLanguage = symbols.byLanguage[code];
            byLanguage.insert(locale.language(), byLanguage.value(locale.language(), symbol));
            symbols.first.insert(code, symbols.first.value(code, symbol));
        }
        return symbols;
    }();
    return table;
}

// The symbol a currency is written with: the locale's own for its own currency, else the symbol
// a locale of the same language uses for it ("$" beside English), else any locale's ("€"), else
// the code itself.
QString currencySymbol(const QString& code, const QLocale& locale) {
    if (locale.currencySymbol(QLocale::CurrencyIsoCode) == code) {
        return locale.currencySymbol(QLocale::CurrencySymbol);
    }
    const CurrencySymbols& symbols = currencySymbols();
    const QString sameLanguage = symbols.byLanguage.value(code).value(locale.language());
    if (!sameLanguage.isEmpty()) {
        return sameLanguage;
    }
    return symbols.first.value(code, code);
}

} // namespace

std::optional<double> parse(const QString& text) {
    QString number = text;
    number.remove(QLatin1Char(' '))
        .remove(QChar(0x00A0))
        .remove(QChar(0x202F))
        .remove(QLatin1Char('\''));
    if (number.contains(QLatin1Char('.'))) {
        number.remove(QLatin1Char(','));
    } else {
        number.replace(QLatin1Char(','), QLatin1Char('.'));
    }
    static const QRegularExpression decimal(
        QStringLiteral("^[+-]?(?:[0-9]+(?:\\.[0-9]*)?|\\.[0-9]+)(?:[eE][+-]?[0-9]+)?$"));
    if (!decimal.match(number).hasMatch()) {
        return std::nullopt;
    }
    return QLocale::c().toDouble(number);
}

std::optional<QString> display(const std::optional<QString>& amount,
                               const std::optional<QString>& currency, const QLocale& locale) {
    const QString value = amount.value_or(QString()).trimmed();
    if (value.isEmpty()) {
        return std::nullopt;
    }
    const QString code = currency.value_or(QString()).trimmed();
    if (const std::optional<double> number = parse(value); number && isCurrencyCode(code)) {
        // Qt writes losses in accounting brackets; a ledger line shows its sign instead.
        const QString money =
            locale.toCurrencyString(std::abs(*number), currencySymbol(code.toUpper(), locale), 2);
        return *number < 0 ? locale.negativeSign() + money : money;
    }
    return code.isEmpty() ? value : value + QLatin1Char(' ') + code;
}

} // namespace mnemora::LedgerNumber
