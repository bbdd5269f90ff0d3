#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>

#include <optional>

namespace mnemora {

// A set of books a close can be run for, from `period-close/books`.
struct BooksRef {
    QString slug;
    QString name;
    QString recipient;

    bool operator==(const BooksRef&) const = default;
};

// The bookkeeping round in progress, from `period-close/round`.
struct CloseRound {
    struct Scope {
        QString sweptFrom;
        QString sweptTo;
        qint64 scanned = 0;
        qint64 produced = 0;
        bool operator==(const Scope&) const = default;
    };
    struct Destination {
        QString books;
        QString period;
        QString status;
        bool operator==(const Destination&) const = default;
    };

    QString status; // "running", "paused"; empty when no round is under way
    std::optional<QString> currentActivity;
    Scope scope;
    QList<Destination> destinations;

    static CloseRound fromJson(const QJsonObject& body);
    bool operator==(const CloseRound&) const = default;
};

// One period's run as `period-close/runs` lists it.
struct CloseRunSummary {
    QString period;
    QString status;
    std::optional<QString> currentActivity;

    bool operator==(const CloseRunSummary&) const = default;
};

} // namespace mnemora
