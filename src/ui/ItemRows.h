#pragma once

#include <QDateTime>
#include <QString>
#include <QVariantMap>

#include "registry/DatabaseService.h"
#include "registry/RegistryItem.h"

namespace mnemora::ItemRows {

// "Photo", "Video", "Voice memo", "Time entry"; the word itself for any other type.
QString typeLabel(const QString& itemType);
// "Photos", "Videos", "Voice memos", "Time entries".
QString typePluralLabel(const QString& itemType);

// A capture time as rows show it: the date and the time to the minute, in the user's locale.
QString when(const QDateTime& time);

// A list row for a captured item: its best name, and its kind, time and place.
QString title(const RegistryItem& item);
QString subtitle(const RegistryItem& item);
QVariantMap row(const RegistryItem& item);

// A source's row: its name and what it has given.
QString coverageTitle(const DatabaseService::SourceCoverageRow& source);
QString coverageSummary(const DatabaseService::SourceCoverageRow& source);

} // namespace mnemora::ItemRows
