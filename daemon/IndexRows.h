#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>

namespace mnemora::refdaemon {

// Rows for one table of the index, read from the vault's files: the columns once, then one list of
// values per row in that order. A null QVariant is SQL NULL.
struct IndexRows {
    const char* table = "";
    QStringList columns;
    QList<QVariantList> rows;

    bool operator==(const IndexRows& other) const {
        return columns == other.columns && rows == other.rows;
    }
};

} // namespace mnemora::refdaemon
