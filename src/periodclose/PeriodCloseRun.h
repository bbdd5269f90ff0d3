#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QMetaType>
#include <QString>

#include <optional>

namespace mnemora {

// One step of a run as the run lists them, in the run's own words.
struct RunStep {
    QString key;
    QString label;
    QString state;
    std::optional<QString> detail;

    // The steps from the index's JSON text. Anything but UTF-8 holding an array of objects with
    // text `key`, `label` and `state` (and a text or null `detail`) gives no steps: a run whose
    // step list is broken still shows everything else.
    static QList<RunStep> listFromJson(const QByteArray& json);

    bool operator==(const RunStep&) const = default;
};

// One close of one set of books for one period, as the daemon indexed its `run.md`.
struct PeriodCloseRun {
    QString period;
    std::optional<QString> phase;
    QList<RunStep> steps;
    std::optional<QString> currentActivity; // what the run says it is doing
    std::optional<QString> status;
    std::optional<QString> accountant;
    std::optional<QDateTime> startedAt;
    std::optional<QDateTime> updatedAt;
    std::optional<QString> closedVia;

    bool operator==(const PeriodCloseRun&) const = default;
};

} // namespace mnemora

Q_DECLARE_METATYPE(mnemora::PeriodCloseRun)
