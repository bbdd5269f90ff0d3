#include "registry/RowReader.h"

#include <QTimeZone>

#include <SQLiteCpp/Column.h>

#include <cmath>
#include <stdexcept>
#include <string>

namespace mnemora {

namespace {

std::optional<QDateTime> dateFromSeconds(double seconds) {
    if (!std::isfinite(seconds)) {
        return std::nullopt;
    }
    return QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(std::llround(seconds * 1000.0)),
                                          QTimeZone::utc());
}

std::optional<QDateTime> dateFromText(const QString& text) {
    bool isNumber = false;
    const double seconds = text.toDouble(&isNumber);
    if (isNumber) {
        return dateFromSeconds(seconds);
    }
    // ISO 8601 with or without zone; a text without zone is taken as UTC, as SQLite's own are.
    QDateTime parsed = QDateTime::fromString(text, Qt::ISODateWithMs);
    if (!parsed.isValid()) {
        parsed = QDateTime::fromString(QString(text).replace(QLatin1Char(' '), QLatin1Char('T')),
                                       Qt::ISODateWithMs);
    }
    if (!parsed.isValid()) {
        const QDate day = QDate::fromString(text, Qt::ISODate);
        if (!day.isValid()) {
            return std::nullopt;
        }
        parsed = QDateTime(day, QTime(0, 0), QTimeZone::utc());
    }
    if (parsed.timeSpec() == Qt::LocalTime) {
        parsed.setTimeZone(QTimeZone::utc());
    }
    return parsed.toUTC();
}

} // namespace

SQLite::Column RowReader::column(const char* name) const {
    try {
        return statement_.getColumn(name);
    } catch (const SQLite::Exception&) {
        // The library's own words do not name the column; an older index is found by its name.
        throw std::runtime_error(std::string("no such column: ") + name);
    }
}

std::optional<QString> RowReader::text(const char* column) const {
    const SQLite::Column value = this->column(column);
    if (value.isNull()) {
        return std::nullopt;
    }
    return QString::fromStdString(value.getString());
}

std::optional<qint64> RowReader::integer(const char* column) const {
    const SQLite::Column value = this->column(column);
    if (value.isNull()) {
        return std::nullopt;
    }
    return value.getInt64();
}

std::optional<double> RowReader::real(const char* column) const {
    const SQLite::Column value = this->column(column);
    if (value.isNull()) {
        return std::nullopt;
    }
    return value.getDouble();
}

std::optional<bool> RowReader::flag(const char* column) const {
    const std::optional<qint64> value = integer(column);
    if (!value) {
        return std::nullopt;
    }
    return *value != 0;
}

std::optional<QDateTime> RowReader::parseDate(const QString& text) {
    return dateFromText(text);
}

std::optional<QDateTime> RowReader::date(const char* column) const {
    const SQLite::Column value = this->column(column);
    if (value.isInteger()) {
        return QDateTime::fromSecsSinceEpoch(value.getInt64(), QTimeZone::utc());
    }
    if (value.isFloat()) {
        return dateFromSeconds(value.getDouble());
    }
    if (value.isText()) {
        return dateFromText(QString::fromStdString(value.getString()));
    }
    return std::nullopt;
}

} // namespace mnemora
