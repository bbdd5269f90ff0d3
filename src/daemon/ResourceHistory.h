#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>

namespace mnemora {

// Memory and processor use of the daemon's processes over time, from `resources/history`.
struct ResourceHistory {
    struct Point {
        double t = 0; // as the daemon stamps it
        double rssMb = 0;
        double footprintMb = 0;
        double cpuPct = 0;
        bool operator==(const Point&) const = default;
    };
    struct Series {
        QString proc;
        QList<Point> points;
        bool operator==(const Series&) const = default;
    };
    struct SwapPoint {
        double t = 0;
        double mb = 0;
        bool operator==(const SwapPoint&) const = default;
    };

    qint64 intervalSecs = 0;
    QList<Series> series;
    QList<SwapPoint> swap;

    static ResourceHistory fromJson(const QJsonObject& body);
    bool operator==(const ResourceHistory&) const = default;
};

} // namespace mnemora
