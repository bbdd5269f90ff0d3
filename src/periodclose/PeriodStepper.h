#pragma once

#include <QLocale>
#include <QString>
#include <QStringList>

#include <optional>

namespace mnemora {

// The back and forward arrows through the periods of one set of books.
namespace PeriodStepper {

// An arrow is available with the period it goes to, or unavailable.
struct Arrow {
    std::optional<QString> period;

    static Arrow available(const QString& period) { return {period}; }
    static Arrow unavailable() { return {}; }
    bool isAvailable() const { return period.has_value(); }

    bool operator==(const Arrow&) const = default;
};

struct State {
    Arrow back;
    Arrow forward;
    QString label; // the period in view, as the user reads it

    bool operator==(const State&) const = default;
};

// The neighbours of `current` among `periods` of the same form, so a close by months never steps
// into a yearly run. `current` need not be among them yet.
State state(const QString& current, const QStringList& periods, const QLocale& locale = QLocale());

// The arrows' help texts and the control's accessible name.
QString backHelp(const Arrow& back);
QString forwardHelp(const Arrow& forward);
QString accessibleLabel(const State& state);

} // namespace PeriodStepper

} // namespace mnemora
