#include "daemon/ResourceHistory.h"

#include "app/JsonRead.h"

namespace mnemora {

using namespace JsonRead;

ResourceHistory ResourceHistory::fromJson(const QJsonObject& body) {
    ResourceHistory history;
    history.intervalSecs = integerOr(body, QLatin1String("interval_secs"));
    for (const QJsonValue& value : array(body, QLatin1String("series"))) {
        const QJsonObject object = value.toObject();
        Series series{stringOr(object, QLatin1String("proc")), {}};
        for (const QJsonValue& pointValue : array(object, QLatin1String("points"))) {
            const QJsonObject point = pointValue.toObject();
            series.points << Point{number(point, QLatin1String("t")).value_or(0),
                                   number(point, QLatin1String("rss_mb")).value_or(0),
                                   number(point, QLatin1String("footprint_mb")).value_or(0),
                                   number(point, QLatin1String("cpu_pct")).value_or(0)};
        }
        history.series << series;
    }
    for (const QJsonValue& value : array(body, QLatin1String("swap"))) {
        const QJsonObject point = value.toObject();
        history.swap << SwapPoint{number(point, QLatin1String("t")).value_or(0),
                                  number(point, QLatin1String("mb")).value_or(0)};
    }
    return history;
}

} // namespace mnemora
