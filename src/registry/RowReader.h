#pragma once

#include <QDateTime>
#include <QString>

#include <SQLiteCpp/Column.h>
#include <SQLiteCpp/Statement.h>

#include <optional>

namespace mnemora {

// Reads the current row of a statement by column name. A column the daemon's schema lacks throws,
// which the query pattern turns into its error words; a null reads as no value.
class RowReader {
public:
    explicit RowReader(const SQLite::Statement& statement)
        : statement_(statement) {}

    std::optional<QString> text(const char* column) const;
    std::optional<qint64> integer(const char* column) const;
    std::optional<double> real(const char* column) const;
    // An integer used as a flag: anything but zero is true.
    std::optional<bool> flag(const char* column) const;
    // Seconds since 1970 as a number, or an ISO 8601 or SQLite date text; anything else is none.
    std::optional<QDateTime> date(const char* column) const;

    // The date reading of a text, for dates that the daemon writes into files as it writes them
    // into the index: seconds since 1970, or ISO 8601 or SQLite's form, zoneless meaning UTC.
    static std::optional<QDateTime> parseDate(const QString& text);

private:
    SQLite::Column column(const char* name) const;

    const SQLite::Statement& statement_;
};

} // namespace mnemora
