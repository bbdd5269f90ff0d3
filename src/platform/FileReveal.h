#pragma once

#include <QString>

namespace mnemora::FileReveal {

// Shows a file in the desktop's file manager with the file selected, through the freedesktop
// file manager service; a desktop without one gets the file's folder opened by `xdg-open`.
// Returns at once; the file manager comes up on its own.
void reveal(const QString& path);

// Opens a file in the desktop's application for its type (a text file in the desktop's editor)
// through `xdg-open`. Returns at once.
void open(const QString& path);

} // namespace mnemora::FileReveal
