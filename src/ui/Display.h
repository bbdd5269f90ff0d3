#pragma once

#include <QString>

namespace mnemora::Display {

// Whether windows can be shown: a platform chosen by hand (QT_QPA_PLATFORM, such as
// "offscreen") or an X11 or Wayland display to connect to.
bool available(const QString& qpaPlatform, const QString& x11Display,
               const QString& waylandDisplay);

// The same, read from this process's environment.
bool available();

// The sentence the log carries when the application runs without windows.
QString absentNotice();

} // namespace mnemora::Display
