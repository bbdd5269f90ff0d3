#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>

namespace mnemora {

// A stretch of life the daemon proposes as an era, from `life/era-candidates`; also the
// `selected_era` a dreamer run is given.
struct EraCandidate {
    QString slug;
    QString name;
    QString dateStart;
    QString dateEnd;
    qint64 photoCount = 0;
    QStringList topPlaces;
    QStringList topPeople;

    static EraCandidate fromJson(const QJsonObject& object);
    QJsonObject toJson() const;
    bool operator==(const EraCandidate&) const = default;
};

} // namespace mnemora
