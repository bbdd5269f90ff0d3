#pragma once

#include <QList>

#include "periodclose/PeriodCloseMaterial.h"

namespace mnemora {

// The lists the run screens show, derived from a run's materials as the index gave them.
namespace MaterialLists {

// The lines that count: no deliverables, candidates or dropped rows, and no document row whose
// receipt or photo already backs a transaction, so a piece of evidence never shows twice.
QList<PeriodCloseMaterial> visible(const QList<PeriodCloseMaterial>& materials);

// Found but not accepted, by date (undated first) and then key.
QList<PeriodCloseMaterial> candidates(const QList<PeriodCloseMaterial>& materials);

// By their order; rows of equal order keep theirs.
QList<PeriodCloseMaterial> deliverables(const QList<PeriodCloseMaterial>& materials);

// Visible lines with an amount and nothing behind it: no receipt and no photo.
QList<PeriodCloseMaterial> unbacked(const QList<PeriodCloseMaterial>& materials);

// The sum of the visible lines' amounts, in their order.
double visibleTotal(const QList<PeriodCloseMaterial>& materials);

} // namespace MaterialLists

} // namespace mnemora
