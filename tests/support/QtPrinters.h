#pragma once

#include <QByteArray>
#include <QString>

#include <ostream>

// Readable failure messages for Qt's text types in GoogleTest assertions.
inline void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}
inline void PrintTo(const QByteArray& bytes, std::ostream* out) {
    *out << '"' << bytes.toStdString() << '"';
}
