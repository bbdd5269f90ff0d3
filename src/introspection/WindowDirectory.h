#pragma once

#include <QJsonArray>
#include <QList>
#include <QString>

#include <optional>

class QQuickWindow;
class QWindow;

namespace mnemora::WindowDirectory {

// The windows of this process that a script can see, tagged or not, in creation order.
QList<QWindow*> visibleWindows();

// The vault a window shows, read from its tag; none for the primary window and untagged ones.
std::optional<QString> vaultOf(const QWindow* window);

// The visible window tagged for this vault (none: the primary window).
QQuickWindow* windowShowing(const std::optional<QString>& vaultPath);

// The first visible window whose title holds `part`, ignoring case.
QWindow* windowTitled(const QString& part);

// A modal window on top of `window` that takes its place for a script: its sheet.
QWindow* sheetOf(const QWindow* window);

// `title`, `visible`, `has_sheet`, `key_window` of each visible window.
QJsonArray describe();
QStringList titles();

} // namespace mnemora::WindowDirectory
