#pragma once

#include <QList>
#include <QLocale>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>

#include <optional>

#include "core/ClosePhase.h"
#include "periodclose/PeriodCloseMaterial.h"
#include "periodclose/PeriodCloseRun.h"
#include "periodclose/RunFacts.h"

namespace mnemora {

// What the close screens show of a run and its lines, as rows the QML binds to: pure functions
// of the store's values and the user's locale, with their words beside them.
namespace CloseRows {

// Where the run stands: the run's own phase word, except that a run marked sent or closed is so
// whatever its phase says, and an unknown phase counts as collecting. None without a run.
std::optional<core::ClosePhase> phase(const std::optional<PeriodCloseRun>& run);
QString phaseLabel(core::ClosePhase phase);
// The seven phases in order, each `label` and `state` ("done", "current", "next").
QVariantList phaseRows(std::optional<core::ClosePhase> current);
bool isFinished(std::optional<core::ClosePhase> phase);

// The run's steps with `label`, `state` (the run's word), `stateText` and `detail`.
QVariantList stepRows(const QList<RunStep>& steps);
QString stepStateText(const QString& state);

// A day as the locale writes it short; a text that is no day stays as it is.
QString dateText(const std::optional<QString>& date, const QLocale& locale);
// An amount as money in its currency, or in the locale's number form when it has none.
QString amountText(const PeriodCloseMaterial& row, const QLocale& locale);
// What backs a line: its receipt's file name, a photo, or nothing yet.
QString evidenceText(const PeriodCloseMaterial& row);

QVariantList deliverableRows(const QList<PeriodCloseMaterial>& deliverables);
// "2 of 3 in hand", and how many have nothing this period; empty without deliverables.
QString deliverableCount(const QList<PeriodCloseMaterial>& deliverables);
QVariantList ledgerRows(const QList<PeriodCloseMaterial>& visible, const QLocale& locale);
QVariantList candidateRows(const QList<PeriodCloseMaterial>& candidates, const QLocale& locale);
// The sum of the lines with an amount, one text per currency in the order first met.
QStringList totals(const QList<PeriodCloseMaterial>& visible, const QLocale& locale);

// What a run did, for the sentences at its end.
RunFacts::Facts facts(const std::optional<PeriodCloseRun>& run,
                      const QList<PeriodCloseMaterial>& materials);
// How long it took and what it went through, in one line; empty when there is nothing to say.
QString factsLine(const RunFacts::Facts& facts);

} // namespace CloseRows

} // namespace mnemora
