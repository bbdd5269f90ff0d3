#include "ui/Display.h"

#include <QtGlobal>

namespace mnemora::Display {

bool available(const QString& qpaPlatform, const QString& x11Display,
               const QString& waylandDisplay) {
    return !qpaPlatform.trimmed().isEmpty() || !x11Display.trimmed().isEmpty() ||
           !waylandDisplay.trimmed().isEmpty();
}

bool available() {
    return available(qEnvironmentVariable("QT_QPA_PLATFORM"), qEnvironmentVariable("DISPLAY"),
                     qEnvironmentVariable("WAYLAND_DISPLAY"));
}

QString absentNotice() {
    return QStringLiteral("no display (neither DISPLAY nor WAYLAND_DISPLAY is set): running "
                          "without a window; the daemon and the vault keep working, and SIGTERM "
                          "or Ctrl-C quits");
}

} // namespace mnemora::Display
