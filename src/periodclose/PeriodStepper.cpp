#include "periodclose/PeriodStepper.h"

#include "periodclose/PeriodWord.h"

namespace mnemora::PeriodStepper {

State state(const QString& current, const QStringList& periods, const QLocale& locale) {
    const QString here = current.trimmed();
    const PeriodWord::Form form = PeriodWord::form(here);
    State result{Arrow::unavailable(), Arrow::unavailable(), PeriodWord::label(here, locale)};
    for (const QString& given : periods) {
        const QString period = given.trimmed();
        if (period.isEmpty() || PeriodWord::form(period) != form) {
            continue;
        }
        if (period < here && (!result.back.period || *result.back.period < period)) {
            result.back = Arrow::available(period);
        }
        if (period > here && (!result.forward.period || period < *result.forward.period)) {
            result.forward = Arrow::available(period);
        }
    }
    return result;
}

QString backHelp(const Arrow& back) {
    return back.isAvailable() ? QStringLiteral("Go back a period")
                              : QStringLiteral("Nothing before this");
}

QString forwardHelp(const Arrow& forward) {
    return forward.isAvailable() ? QStringLiteral("Go forward a period")
                                 : QStringLiteral("Nothing after this yet");
}

QString accessibleLabel(const State& state) {
    return QStringLiteral("Period: ") + state.label;
}

} // namespace mnemora::PeriodStepper
