#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>

#include <functional>

class QAccessibleInterface;
class QWindow;

namespace mnemora::AccessibilityWalk {

// The most elements an answer holds, and the most nodes a walk visits.
inline constexpr int kMaxElements = 3000;
inline constexpr int kMaxBudget = 50000;

// The tree of these windows, each walked through its sheet when one is up: `elements` (records
// of `role`, `window`, `label`, `enabled`, `pressable`, `value`, `visible`), `visited`, `walked`
// (the window titles) and `truncated`, with a `note` when the budget ran out.
QJsonObject walk(const QList<QWindow*>& windows, int budget);

// The first element of these windows whose label is `label` (else holds it), ignoring case,
// of `role` when one is given.
QAccessibleInterface* find(const QList<QWindow*>& windows, const QString& label,
                           const QString& role = {});

// The word a record gives for an element's role.
QString roleWord(const QAccessibleInterface* element);

} // namespace mnemora::AccessibilityWalk
